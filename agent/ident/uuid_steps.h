// The steps of making a UUID, for tests; and the kernel's UUID, which nothing asks for at present.
#ifndef NUVEK_AGENT_IDENT_UUID_STEPS_H
#define NUVEK_AGENT_IDENT_UUID_STEPS_H

#include <cstddef>
#include <cstdint>

#include "agent/ident/uuid.h"

constexpr size_t kUuidTextSize = 37;  // 36 characters and a terminator
constexpr size_t kMacSize = 6;

struct Uuid {
  uint32_t time_low;
  uint16_t time_mid;
  uint16_t time_hi_and_version;
  uint16_t clock_seq;  // variant bits included
  uint8_t node[kMacSize];
};

// Makes a new UUID with the given node bytes and prints it, lower-case, into `out`, cut to what fits into `size` bytes.
// Returns 36, the length of the whole text.
int uuid_generateUuidStr(char* out, size_t size, const uint8_t* node);

// Writes the fields in their order, big-endian, as 16 bytes.
void uuid_pack(const Uuid& uuid, uint8_t* out);

// Reads six hexadecimal groups joined by colons into six bytes, the low 8 bits of each; a group that is missing leaves
// its byte as it is, and a text of 19 characters or more leaves all.
void nuvek_macStrToNum(const char* mac, uint8_t* out);

// Reads a random UUID from the kernel into `out`, without its line end. Returns the length of the line, line end
// counted, or 0 with an error line.
int nuvek_getRandomUuid(char* out, size_t size);

#endif
