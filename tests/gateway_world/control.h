// Owns what the test and the agent share while the agent runs: a small mapped file of 32-bit words, listed in
// words.def. Words are big-endian, so that an emulated agent and the test read the same.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_CONTROL_H
#define NUVEK_TESTS_GATEWAY_WORLD_CONTROL_H

#include <cstdint>
#include <string>

namespace control {

enum Word {
#define WORD(name) name,
#define FAULT(name) name##_faults,
#include "words.def"
#undef WORD
#undef FAULT
  kWords
};

uint32_t read(Word word);
void write(Word word, uint32_t value);

// Makes the words this process's own, all 0, instead of a file's.
void begin_here();

// Adds 1 to a word of which the agent is the only writer.
void count(Word word);

// A file of the folder that NUVEK_WORLD_FOLDER names: "control", "store.1", "record" or "console".
std::string file(const char* name);

}  // namespace control

#endif
