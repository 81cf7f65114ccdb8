// Owns what the test and the agent share while the agent runs: a small mapped file of 32-bit words. The test sets the
// clock and the shell by it and sees by it that the timer thread lives. Words are big-endian, so that an emulated agent
// and the test read the same.
#ifndef NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H
#define NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H

#include <cstdint>
#include <string>

namespace control {

enum Word {
  kClock_s,
  kClock_us,
  kUptime_s,
  kShellRuns,
  kStoreEdits,
  kTicks,
  // Of the soak only: how far its clock may go and in what steps, and what its witness counts.
  kTarget_s,
  kStep_s,
  kParked,
  kTurns,
  kLongestTurn_us,
  kLongestTurn_s,
  kReports,
  kFullSpeedTables,
  kEmptySpeedTables,
  kTraceEnds,
  kRefusedConnects,
  kHeap_bytes,
  kWords
};

uint32_t read(Word word);

void write(Word word, uint32_t value);

// Adds 1 to a word of which the agent is the only writer.
void count(Word word);

// A file of the folder that NUVEK_RECORDER names: "control", "store", "record" or "console".
std::string file(const char* name);

}  // namespace control

#endif
