// Owns the times that make the cycles: when something was last done, kept in the store across restarts.
#ifndef NUVEK_AGENT_BASE_STAMP_H
#define NUVEK_AGENT_BASE_STAMP_H

#include <cstdint>

// An attribute of node "nuvek_Common" in seconds since the epoch. A time that the store refuses to take is remembered
// for the life of the process, until it takes one: a store that cannot be written must not make a cycle fire in every
// turn. Main thread only.
class Stamp {
 public:
  explicit constexpr Stamp(const char* attribute) : attribute_(attribute) {}

  // Reads the store's text, and returns it as a number, or the time that it refused; 0 when there is neither.
  int32_t read() const;

  // The same, but whether there is a text at all, be it no number.
  bool is_set() const;

  // Makes it `now_s`, without saving.
  void write(int32_t now_s);

 private:
  const char* attribute_;
  int32_t refused_s_ = 0;
  bool is_refused_ = false;
};

#endif
