// Owns what the test and the agent share while the agent runs: a small mapped file of 32-bit words. The test sets the
// clock and the shell by it and sees by it that the timer thread lives. Words are big-endian, so that an emulated agent
// and the test read the same.
#ifndef NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H
#define NUVEK_TESTS_DIALOGUE_RECORDER_CONTROL_H

#include <cstdint>
#include <string>

namespace control {

enum Word { kClock_s, kClock_us, kUptime_s, kShellRuns, kStoreEdits, kTicks, kWords };

uint32_t read(Word word);

// Adds 1 to a word of which the agent is the only writer.
void count(Word word);

// A file of the folder that NUVEK_RECORDER names: "control", "store", "record" or "console".
std::string file(const char* name);

}  // namespace control

#endif
