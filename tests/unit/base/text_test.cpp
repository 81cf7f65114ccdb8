// Bounded texts and the device's 32-bit numbers.
#include "agent/base/text.h"

#include <gtest/gtest.h>

TEST(Text, CopyCutsToTheBufferAndTerminates) {
  char field[4] = {'x', 'x', 'x', 'x'};
  text::copy(field, "abcdef");
  EXPECT_STREQ(field, "abc");
}

TEST(Text, NumbersSaturateAtTheDevicesThirtyTwoBits) {
  EXPECT_EQ(text::to_int32("2147483648"), INT32_MAX);
  EXPECT_EQ(text::to_int32("-2147483649"), INT32_MIN);
  EXPECT_EQ(text::to_int32("99999999999999999999"), INT32_MAX);
  EXPECT_EQ(text::to_int32(" \t-12x"), -12);
  EXPECT_EQ(text::to_int32("abc"), 0);
}

TEST(Text, UnsignedNumbersSaturateAndAMinusNegatesModuloTwoToTheThirtyTwo) {
  EXPECT_EQ(text::to_uint32("4294967295"), UINT32_MAX);
  EXPECT_EQ(text::to_uint32("4294967296"), UINT32_MAX);
  EXPECT_EQ(text::to_uint32("-1"), UINT32_MAX);
  EXPECT_EQ(text::to_uint32("-4294967296"), UINT32_MAX);
  EXPECT_EQ(text::to_uint32("+7 "), 7U);
  EXPECT_EQ(text::to_uint32(" \t7"), 7U);
  EXPECT_EQ(text::to_uint32("- 7"), 0U);
}

TEST(Text, ProductsAndDifferencesWrap) {
  EXPECT_EQ(text::wrapping_product(1073741824, 60), 0);
  EXPECT_EQ(text::wrapping_difference(INT32_MIN, 1), INT32_MAX);
}

TEST(Text, StripColonsWritesNoTerminator) {
  char plain[8] = {'z', 'z', 'z', 'z', 'z', 'z', 'z', '\0'};
  nuvek_strip_colons(plain, "a:b::c");
  EXPECT_STREQ(plain, "abczzzz");
}

TEST(Text, ATextOfAMessageIsNotCutInsideAnEscape) {
  const struct {
    const char* text;
    size_t size;
    const char* kept;
  } cases[] = {
      {R"(abc)", 8, "abc"},
      {R"(abcdefgh)", 4, "abc"},
      {R"(ab\ncd)", 4, "ab"},  // the cut would fall behind the backslash
      {R"(ab\ncd)", 5, R"(ab\n)"},
      {R"(ab\\cd)", 4, "ab"},  // an escaped backslash
      {R"(a\\\"b)", 5, R"(a\\)"},
      {R"(a\u00e9b)", 7, "a"},
      {R"(a\u00e9b)", 8, R"(a\u00e9)"},
      {R"(a\u12)", 8, R"(a\u12)"},  // no whole escape, but nothing is cut
      {R"(\n)", 2, ""},
      {"", 1, ""},
  };
  for (const auto& one : cases) {
    char out[16] = "before";
    text::copy_escaped(out, one.size, one.text);
    EXPECT_STREQ(out, one.kept) << one.text << " into " << one.size;
  }
}

TEST(Text, ANumberIsPrintedInDecimal) {
  for (const int32_t value : {0, 7, -7, 10, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(text::Number(value).c_str(), std::to_string(value));
  }
}
