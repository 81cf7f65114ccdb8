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
