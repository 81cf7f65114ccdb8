// Owns the times that make the cycles: when something was last done, kept in the store across restarts.
#ifndef NUVEK_AGENT_BASE_STAMP_H
#define NUVEK_AGENT_BASE_STAMP_H

#include <cstdint>

// An attribute of node "nuvek_Common" in seconds since the epoch. A time that is written is remembered until the store
// tells it; one that the store refuses, until it takes one: a store that is full or dead must not make a cycle fire in
// every turn. What the store has told and tells no more counts as gone: the operator's tools ask for a report that way.
// Main thread only.
class Stamp {
 public:
  explicit constexpr Stamp(const char* attribute) : attribute_(attribute) {}

  // Reads the store's text, and returns it as a number, or the time that is remembered; 0 when there is neither.
  int32_t read();

  // The same, but whether there is a text at all, be it no number.
  bool is_set();

  // Makes it `now_s`, without saving.
  void write(int32_t now_s);

 private:
  bool look(int32_t* seconds);

  const char* attribute_;
  int32_t written_s_ = 0;
  bool is_refused_ = false;
  bool is_remembered_ = false;
};

#endif
