// The MD5 digest: the standard's own suite, every padding length, and messages that come in pieces.
#include "agent/ident/md5.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/unit/ident/md5_vectors.h"

namespace {

// The message of md5_vectors.h, its first `length` bytes.
std::string message(size_t length) {
  std::string bytes;
  for (size_t k = 0; k < length; ++k) bytes.push_back(static_cast<char>((7 * k + 3) % 256));
  return bytes;
}

std::string finish(MD5Context* context) {
  uint8_t digest[kMd5DigestSize];
  char text[kMd5TextSize];
  MD5Final(digest, context);
  MD5toString(digest, text);
  return text;
}

std::string digest_of(const std::string& bytes) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, bytes.data(), bytes.size());
  return finish(&context);
}

// In pieces of the given sizes, over and over.
std::string digest_in_pieces(const std::string& bytes, const std::vector<size_t>& sizes) {
  MD5Context context;
  MD5Init(&context);
  size_t at = 0;
  for (size_t piece = 0; at < bytes.size(); ++piece) {
    const size_t size = std::min(sizes[piece % sizes.size()], bytes.size() - at);
    MD5Update(&context, bytes.data() + at, size);
    at += size;
  }
  return finish(&context);
}

}  // namespace

TEST(Md5, TheDigestOfTheEmptyText) { EXPECT_EQ(digest_of(""), "d41d8cd98f00b204e9800998ecf8427e"); }

// RFC 1321, appendix A.5.
TEST(Md5, TheStandardsOwnSuite) {
  EXPECT_EQ(digest_of("a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(digest_of("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(digest_of("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(digest_of("abcdefghijklmnopqrstuvwxyz"), "c3fcd3d76192e4007dfb496cca67e13b");
  EXPECT_EQ(digest_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
            "d174ab98d277d9f5a5611c2c9f419d9f");
  EXPECT_EQ(digest_of("12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

// 55 bytes take one block with their padding, 56 to 64 take two.
TEST(Md5, EveryLengthFrom0To130InOneCall) {
  for (size_t length = 0; length <= 130; ++length) {
    EXPECT_EQ(digest_of(message(length)), kDigestsByLength[length]) << length;
  }
}

TEST(Md5, EveryLengthInTwoPiecesCutAnywhere) {
  for (size_t length = 0; length <= 130; ++length) {
    const std::string bytes = message(length);
    for (size_t cut = 0; cut <= length; ++cut) {
      MD5Context context;
      MD5Init(&context);
      MD5Update(&context, bytes.data(), cut);
      MD5Update(&context, bytes.data() + cut, length - cut);
      EXPECT_EQ(finish(&context), kDigestsByLength[length]) << length << " cut at " << cut;
    }
  }
}

TEST(Md5, EveryLengthInPiecesOfManySizes) {
  for (const std::vector<size_t>& sizes : std::vector<std::vector<size_t>>{{1}, {3, 61}, {63, 1}, {64}, {65}, {7, 0}}) {
    for (size_t length = 0; length <= 130; ++length) {
      EXPECT_EQ(digest_in_pieces(message(length), sizes), kDigestsByLength[length]) << length;
    }
  }
}

TEST(Md5, APieceOfNoBytesChangesNothing) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, "abc", 3);
  MD5Update(&context, "", 0);
  EXPECT_EQ(finish(&context), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(Md5, DataNeedNotBeAligned) {
  const std::string bytes = message(130);
  for (size_t shift = 0; shift < 4; ++shift) {
    const std::string shifted = std::string(shift, '-') + bytes;
    MD5Context context;
    MD5Init(&context);
    MD5Update(&context, shifted.data() + shift, bytes.size());
    EXPECT_EQ(finish(&context), kDigestsByLength[130]);
  }
}

TEST(Md5, TheStartValuesAreTheStandards) {
  MD5Context context;
  memset(&context, 0xff, sizeof context);
  MD5Init(&context);
  EXPECT_EQ(context.buf[0], 0x67452301U);
  EXPECT_EQ(context.buf[1], 0xefcdab89U);
  EXPECT_EQ(context.buf[2], 0x98badcfeU);
  EXPECT_EQ(context.buf[3], 0x10325476U);
  EXPECT_EQ(context.bits[0], 0U);
  EXPECT_EQ(context.bits[1], 0U);
}

TEST(Md5, TheLengthIsCountedInBitsAndTheRestIsKept) {
  MD5Context context;
  MD5Init(&context);
  const std::string bytes = message(70);
  MD5Update(&context, bytes.data(), bytes.size());
  EXPECT_EQ(context.bits[0], 560U);
  EXPECT_EQ(context.bits[1], 0U);
  EXPECT_EQ(memcmp(context.in, bytes.data() + 64, 6), 0);
}

TEST(Md5, TheBitCountCarriesIntoItsHighWord) {
  MD5Context context;
  MD5Init(&context);
  context.bits[0] = 0xfffffe00;  // a whole number of blocks, 512 bits short of 2^32
  context.bits[1] = 6;
  const std::string block = message(64);
  MD5Update(&context, block.data(), block.size());
  EXPECT_EQ(context.bits[0], 0U);
  EXPECT_EQ(context.bits[1], 7U);
}

// Half a gibibyte fills the low word in one call: its length reaches the high word directly.
TEST(Md5, DISABLED_AMessageOfMoreThan512MebibytesInOneCall) {
  constexpr size_t kLength = size_t{512} << 20;
  // Pages that are only read take no memory.
  void* zeros = mmap(nullptr, kLength, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, zeros, kLength);
  munmap(zeros, kLength);
  EXPECT_EQ(context.bits[0], 0U);
  EXPECT_EQ(context.bits[1], 1U);
  MD5Update(&context, "abc", 3);
  EXPECT_EQ(finish(&context), "a3ccf7c5cf278a179e6bf3514b6931b2");
}

TEST(Md5, TheEndClearsOnlyTheContextsFirstWord) {
  MD5Context context;
  MD5Init(&context);
  MD5Update(&context, "abc", 3);
  uint8_t digest[kMd5DigestSize];
  MD5Final(digest, &context);
  EXPECT_EQ(context.buf[0], 0U);
  for (size_t k = 1; k < 4; ++k) EXPECT_NE(context.buf[k], 0U);
  EXPECT_EQ(context.bits[0], 24U);
  EXPECT_EQ(memcmp(context.in, "abc\x80", 4), 0);
}

TEST(Md5, AContextServesAgainAfterANewStart) {
  MD5Context context;
  for (int round = 0; round < 2; ++round) {
    MD5Init(&context);
    MD5Update(&context, "abc", 3);
    EXPECT_EQ(finish(&context), "900150983cd24fb0d6963f7d28e17f72");
  }
}

// The one block of the empty text, its words as the standard counts them.
TEST(Md5, OneBlockThroughTheCompressionFunction) {
  uint32_t words[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  const uint32_t block[16] = {0x80};
  MD5Transform(words, block);
  EXPECT_EQ(words[0], 0xd98c1dd4U);
  EXPECT_EQ(words[1], 0x04b2008fU);
  EXPECT_EQ(words[2], 0x980980e9U);
  EXPECT_EQ(words[3], 0x7e42f8ecU);
}

TEST(Md5, ADigestIsPrintedAs32LowerCaseDigitsAndATerminator) {
  const uint8_t digest[kMd5DigestSize] = {0x00, 0x01, 0x0a, 0x10, 0x7f, 0x80, 0xab, 0xcd,
                                          0xef, 0xff, 0x99, 0x12, 0x34, 0x56, 0x78, 0x9a};
  char text[kMd5TextSize + 1];
  memset(text, '#', sizeof text);
  EXPECT_EQ(MD5toString(digest, text), 2);
  EXPECT_STREQ(text, "00010a107f80abcdefff99123456789a");
  EXPECT_EQ(text[kMd5TextSize], '#');
}
