// Owns the MD5 digest (RFC 1321).
#ifndef NUVEK_AGENT_IDENT_MD5_H
#define NUVEK_AGENT_IDENT_MD5_H

#include <cstddef>
#include <cstdint>

constexpr size_t kMd5DigestSize = 16;
constexpr size_t kMd5TextSize = 33;  // 32 hexadecimal digits and a terminator

struct MD5Context {
  uint32_t buf[4];   // chaining values A, B, C, D
  uint32_t bits[2];  // message length in bits, low word first
  uint8_t in[64];    // the partly filled block
};
static_assert(sizeof(MD5Context) == 88, "the device's layout");

void MD5Init(MD5Context* context);

// Digests `length` bytes more; a message may come in pieces of any sizes.
void MD5Update(MD5Context* context, const void* data, size_t length);

// Ends the message, writes the digest, and clears the context's first word.
void MD5Final(uint8_t digest[kMd5DigestSize], MD5Context* context);

// The 64 steps for one block, given as sixteen words of the message.
void MD5Transform(uint32_t buf[4], const uint32_t in[16]);

// Writes a digest as 32 lower-case hexadecimal digits and a terminator into `out` (kMd5TextSize bytes). Returns the
// number of characters that the last byte took, 2.
int MD5toString(const uint8_t digest[kMd5DigestSize], char* out);

// Digests a text into `out` (kMd5TextSize bytes), printed as above.
void nuvek_calculate_md5(const char* text, char* out);

#endif
