// Owns what the test and the agent share while the agent runs: a small mapped file of 32-bit words. The test sets the
// clock and the shell by it and sees by it that the timer thread lives. Words are big-endian, so that an emulated agent
// and the test read the same.
#ifndef NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H
#define NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H

#include <cstdint>
#include <string>

namespace control {

// The words from kMemoryFaults on count what was made to fail; their order is that of faults::Kind.
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
  // Of the dialogues with faults.
  kTick_us,         // length of the timer thread's sleep; 0 is as long as it asks for
  kFailAllocation,  // the n-th allocation from now fails; 0 is none
  kAllocations,     // allocations since the start
  kLive,            // allocations not released yet
  kFaultSeed,       // of the faults drawn at random
  kFaultRate,       // of 65536 calls of each kind, so many fail; 0 is none
  kMemoryFaults,
  kSocketFaults,
  kConnectFaults,
  kAcceptFaults,
  kSelectFaults,
  kSendFaults,
  kShortSends,
  kReceiveFaults,
  kOpenFaults,
  kFullDisks,
  kSystemFaults,
  kLookupFaults,
  kWords
};

uint32_t read(Word word);
void write(Word word, uint32_t value);

// Adds 1 to a word of which the agent is the only writer.
void count(Word word);

// A file of the folder that NUVEK_RECORDER names: "control", "store.1", "record" or "console".
std::string file(const char* name);

}  // namespace control

#endif
