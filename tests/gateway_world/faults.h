// Owns the faults that a test lets the agent meet: which call fails is decided here, the stand-ins beside make it fail.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_FAULTS_H
#define NUVEK_TESTS_GATEWAY_WORLD_FAULTS_H

#include <cstdint>

namespace faults {

enum Kind {
#define WORD(name)
#define FAULT(name) name,
#include "words.def"
#undef WORD
#undef FAULT
  kKinds
};

// While one lives on a thread, what the thread does is the recorder's own work: it never fails and is not counted.
class Aside {
 public:
  Aside();
  ~Aside();
  Aside(const Aside&) = delete;
  Aside& operator=(const Aside&) = delete;
};

bool is_aside();

// While one lives, what the thread does is the agent's after all: where the test is in the agent's process, it calls
// the agent from within a stop.
class AsAgent {
 public:
  AsAgent();
  ~AsAgent();
  AsAgent(const AsAgent&) = delete;
  AsAgent& operator=(const AsAgent&) = delete;

 private:
  int aside_;
};

// Whether the next call of this kind fails. The draw depends on the seed, the kind and the number of the kind's calls
// since the seed was set, so that a seed brings the same faults to each kind however the kinds follow each other.
// `draw`, when given, receives a number from which the caller takes the rest of its choice.
bool strikes(Kind kind, uint32_t* draw = nullptr);

// Sets errno to one of those that the system could give, by the draw. Returns -1.
int fail(uint32_t draw);

}  // namespace faults

#endif
