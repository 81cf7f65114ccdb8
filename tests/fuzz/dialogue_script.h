// The script of a dialogue: a step on each line, a letter, a blank, and what the letter asks for. Lines that are none
// are passed over.
//
//   t          one turn of the main loop
//   k          one tick of the timer
//   s N        N seconds pass
//   c N        the clock is corrected by N seconds
//   m          the mark of a synchronised clock comes, or goes
//   a OBJECTS  the platform answers, with a good head, ["...",OBJECTS]; @ is the identifier of the last message, & of
//              the one before
//   b BYTES    the platform sends that
//   x          the platform closes
//   d, n       the platform, the name server is down, or up again
//   l BYTES    a client of the local port sends that and nothing more
//   h N BYTES  the N-th of the helper programs' result files holds that
//   p BYTES    pidof prints that
//   v N        helper programs end with that status
//   w          the store takes no writes, or takes them again
//   e          the gateway's own software unlocks the location
//
// In OBJECTS and BYTES, \r, \n and \0 behind a caret instead of the backslash stand for these bytes: "^r^n".
#ifndef NUVEK_TESTS_FUZZ_DIALOGUE_SCRIPT_H
#define NUVEK_TESTS_FUZZ_DIALOGUE_SCRIPT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fuzz {

struct Step {
  char verb;
  uint32_t number;   // wraps, as the clock does
  std::string text;  // behind the number, where there is one
};

class Script {
 public:
  explicit Script(std::string_view bytes) : rest_(bytes) {}
  std::optional<Step> next();

 private:
  static constexpr int kMostSteps = 100;

  std::string_view rest_;
  int steps_ = 0;
};

}  // namespace fuzz

#endif
