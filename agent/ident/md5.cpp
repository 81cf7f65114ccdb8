#include "agent/ident/md5.h"

#include <endian.h>

#include <cstdio>
#include <cstring>

#include "agent/base/log.h"

namespace {

constexpr size_t kBlockSize = 64;
constexpr size_t kLengthOffset = 56;  // of the message length in the last block

// The message's words are little-endian on every machine.
void load_block(uint32_t (&words)[16], const uint8_t* bytes) {
  memcpy(words, bytes, kBlockSize);
  for (uint32_t& word : words) word = le32toh(word);
}

void digest_block(MD5Context* context, const uint8_t* bytes) {
  uint32_t words[16];
  load_block(words, bytes);
  MD5Transform(context->buf, words);
}

// The four functions of the rounds and one step, as RFC 1321 section 3.4 names them. Written out step by step because
// the compiler then keeps the four words in registers and the constants in the code.
constexpr uint32_t f(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
constexpr uint32_t g(uint32_t x, uint32_t y, uint32_t z) { return f(z, x, y); }
constexpr uint32_t h(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
constexpr uint32_t i(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

template <uint32_t Round(uint32_t, uint32_t, uint32_t), unsigned Shift>
inline void step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d, uint32_t word_and_constant) {
  a += Round(b, c, d) + word_and_constant;
  a = ((a << Shift) | (a >> (32 - Shift))) + b;
}

}  // namespace

void MD5Init(MD5Context* context) {
  context->buf[0] = 0x67452301;
  context->buf[1] = 0xefcdab89;
  context->buf[2] = 0x98badcfe;
  context->buf[3] = 0x10325476;
  context->bits[0] = 0;
  context->bits[1] = 0;
}

void MD5Update(MD5Context* context, const void* data, size_t length) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  const size_t pending = (context->bits[0] / 8) % kBlockSize;
  const uint32_t added_bits = static_cast<uint32_t>(length << 3);
  context->bits[0] += added_bits;
  if (context->bits[0] < added_bits) ++context->bits[1];
  context->bits[1] += static_cast<uint32_t>(length >> 29);

  if (pending != 0) {
    const size_t missing = kBlockSize - pending;
    if (length < missing) {
      memcpy(context->in + pending, bytes, length);
      return;
    }
    memcpy(context->in + pending, bytes, missing);
    digest_block(context, context->in);
    bytes += missing;
    length -= missing;
  }
  for (; length >= kBlockSize; bytes += kBlockSize, length -= kBlockSize) digest_block(context, bytes);
  if (length != 0) memcpy(context->in, bytes, length);
}

void MD5Final(uint8_t digest[kMd5DigestSize], MD5Context* context) {
  size_t used = (context->bits[0] / 8) % kBlockSize;
  context->in[used++] = 0x80;
  if (used > kLengthOffset) {
    memset(context->in + used, 0, kBlockSize - used);
    digest_block(context, context->in);
    used = 0;
  }
  memset(context->in + used, 0, kLengthOffset - used);
  const uint32_t length[2] = {htole32(context->bits[0]), htole32(context->bits[1])};
  memcpy(context->in + kLengthOffset, length, sizeof length);
  digest_block(context, context->in);

  uint32_t words[4];
  for (size_t k = 0; k < 4; ++k) words[k] = htole32(context->buf[k]);
  memcpy(digest, words, sizeof words);
  context->buf[0] = 0;
}

int MD5toString(const uint8_t digest[kMd5DigestSize], char* out) {
  int written = 0;
  for (size_t k = 0; k < kMd5DigestSize; ++k) written = snprintf(out + 2 * k, 3, "%02x", digest[k]);
  return written;
}

// NOLINTNEXTLINE(readability-function-size): the sixty-four steps are the algorithm.
void MD5Transform(uint32_t buf[4], const uint32_t in[16]) {
  uint32_t a = buf[0];
  uint32_t b = buf[1];
  uint32_t c = buf[2];
  uint32_t d = buf[3];

  step<f, 7>(a, b, c, d, in[0] + 0xd76aa478);
  step<f, 12>(d, a, b, c, in[1] + 0xe8c7b756);
  step<f, 17>(c, d, a, b, in[2] + 0x242070db);
  step<f, 22>(b, c, d, a, in[3] + 0xc1bdceee);
  step<f, 7>(a, b, c, d, in[4] + 0xf57c0faf);
  step<f, 12>(d, a, b, c, in[5] + 0x4787c62a);
  step<f, 17>(c, d, a, b, in[6] + 0xa8304613);
  step<f, 22>(b, c, d, a, in[7] + 0xfd469501);
  step<f, 7>(a, b, c, d, in[8] + 0x698098d8);
  step<f, 12>(d, a, b, c, in[9] + 0x8b44f7af);
  step<f, 17>(c, d, a, b, in[10] + 0xffff5bb1);
  step<f, 22>(b, c, d, a, in[11] + 0x895cd7be);
  step<f, 7>(a, b, c, d, in[12] + 0x6b901122);
  step<f, 12>(d, a, b, c, in[13] + 0xfd987193);
  step<f, 17>(c, d, a, b, in[14] + 0xa679438e);
  step<f, 22>(b, c, d, a, in[15] + 0x49b40821);

  step<g, 5>(a, b, c, d, in[1] + 0xf61e2562);
  step<g, 9>(d, a, b, c, in[6] + 0xc040b340);
  step<g, 14>(c, d, a, b, in[11] + 0x265e5a51);
  step<g, 20>(b, c, d, a, in[0] + 0xe9b6c7aa);
  step<g, 5>(a, b, c, d, in[5] + 0xd62f105d);
  step<g, 9>(d, a, b, c, in[10] + 0x02441453);
  step<g, 14>(c, d, a, b, in[15] + 0xd8a1e681);
  step<g, 20>(b, c, d, a, in[4] + 0xe7d3fbc8);
  step<g, 5>(a, b, c, d, in[9] + 0x21e1cde6);
  step<g, 9>(d, a, b, c, in[14] + 0xc33707d6);
  step<g, 14>(c, d, a, b, in[3] + 0xf4d50d87);
  step<g, 20>(b, c, d, a, in[8] + 0x455a14ed);
  step<g, 5>(a, b, c, d, in[13] + 0xa9e3e905);
  step<g, 9>(d, a, b, c, in[2] + 0xfcefa3f8);
  step<g, 14>(c, d, a, b, in[7] + 0x676f02d9);
  step<g, 20>(b, c, d, a, in[12] + 0x8d2a4c8a);

  step<h, 4>(a, b, c, d, in[5] + 0xfffa3942);
  step<h, 11>(d, a, b, c, in[8] + 0x8771f681);
  step<h, 16>(c, d, a, b, in[11] + 0x6d9d6122);
  step<h, 23>(b, c, d, a, in[14] + 0xfde5380c);
  step<h, 4>(a, b, c, d, in[1] + 0xa4beea44);
  step<h, 11>(d, a, b, c, in[4] + 0x4bdecfa9);
  step<h, 16>(c, d, a, b, in[7] + 0xf6bb4b60);
  step<h, 23>(b, c, d, a, in[10] + 0xbebfbc70);
  step<h, 4>(a, b, c, d, in[13] + 0x289b7ec6);
  step<h, 11>(d, a, b, c, in[0] + 0xeaa127fa);
  step<h, 16>(c, d, a, b, in[3] + 0xd4ef3085);
  step<h, 23>(b, c, d, a, in[6] + 0x04881d05);
  step<h, 4>(a, b, c, d, in[9] + 0xd9d4d039);
  step<h, 11>(d, a, b, c, in[12] + 0xe6db99e5);
  step<h, 16>(c, d, a, b, in[15] + 0x1fa27cf8);
  step<h, 23>(b, c, d, a, in[2] + 0xc4ac5665);

  step<i, 6>(a, b, c, d, in[0] + 0xf4292244);
  step<i, 10>(d, a, b, c, in[7] + 0x432aff97);
  step<i, 15>(c, d, a, b, in[14] + 0xab9423a7);
  step<i, 21>(b, c, d, a, in[5] + 0xfc93a039);
  step<i, 6>(a, b, c, d, in[12] + 0x655b59c3);
  step<i, 10>(d, a, b, c, in[3] + 0x8f0ccc92);
  step<i, 15>(c, d, a, b, in[10] + 0xffeff47d);
  step<i, 21>(b, c, d, a, in[1] + 0x85845dd1);
  step<i, 6>(a, b, c, d, in[8] + 0x6fa87e4f);
  step<i, 10>(d, a, b, c, in[15] + 0xfe2ce6e0);
  step<i, 15>(c, d, a, b, in[6] + 0xa3014314);
  step<i, 21>(b, c, d, a, in[13] + 0x4e0811a1);
  step<i, 6>(a, b, c, d, in[4] + 0xf7537e82);
  step<i, 10>(d, a, b, c, in[11] + 0xbd3af235);
  step<i, 15>(c, d, a, b, in[2] + 0x2ad7d2bb);
  step<i, 21>(b, c, d, a, in[9] + 0xeb86d391);

  buf[0] += a;
  buf[1] += b;
  buf[2] += c;
  buf[3] += d;
}

void nuvek_calculate_md5(const char* text, char* out) {
  memset(out, 0, kMd5TextSize);
  NUVEK_DEBUG("before MD5 string: %s", text);
  MD5Context context;
  uint8_t digest[kMd5DigestSize];
  MD5Init(&context);
  MD5Update(&context, text, strlen(text));
  MD5Final(digest, &context);
  MD5toString(digest, out);
}
