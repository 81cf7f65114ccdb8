// Depth and length: deep documents are documents like any other, and long ones take no more than their share of time.
#include <gtest/gtest.h>

#include <chrono>

#include "tree_tools.h"

namespace {

using std::chrono::steady_clock;

constexpr size_t kMegabyte = 1024 * 1024;

// Far more than a walk over a megabyte takes under an emulator and a sanitizer, far less than anything quadratic.
constexpr std::chrono::seconds kLinearTime{20};

std::string nested_arrays(size_t depth) { return repeat("[", depth) + repeat("]", depth); }

// The longest message of a gateway holds no more of them.
constexpr size_t kLongestMessageBytes = 1024;
static_assert(JSON_DEPTH_MAX == kLongestMessageBytes / 2, "each level has a bracket at either end");

TEST(Depth, DeepestMessageIsReadAsAnyOther) {
  const std::string deepest = nested_arrays(JSON_DEPTH_MAX);
  EXPECT_EQ(deepest.size(), kLongestMessageBytes);
  EXPECT_EQ(print(parse(deepest).root), deepest);
  const Parsed parsed = parse(R"({"deep":)" + nested_arrays(JSON_DEPTH_MAX - 1) + R"(,"behind":"it"})");
  const json_value* behind = json_label_value(json_find_first_label(parsed.root.get(), "behind"));
  EXPECT_STREQ(json_value_text(behind), "it");
}

// The program's stack would end at some ten thousand levels, if any call took a piece of it for each.
TEST(Depth, NoDepthExhaustsTheStackAndTimeIsLinear) {
  const auto start = steady_clock::now();
  for (const std::string& text : {nested_arrays(kMegabyte / 2), repeat(R"({"a":)", kMegabyte / 6) + R"({"b":[]})" +
                                                                    repeat(R"(,"c":2})", kMegabyte / 6)}) {
    EXPECT_TRUE(print(parse(text).root) == text);
  }
  EXPECT_LT(steady_clock::now() - start, kLinearTime);
}

TEST(Depth, BracketsThatDoNotMatchAreRefusedAtAnyDepth) {
  for (const std::string& text :
       {repeat("[", 100000), repeat("]", 100000), repeat(R"({"a":)", 100000), repeat("[", 100000) + repeat("]", 99999),
        repeat("[", 99999) + repeat("]", 100000), repeat("[", 100000) + "}" + repeat("]", 99999)}) {
    EXPECT_EQ(parse(text).error, JSON_BAD_TEXT);
  }
}

TEST(Depth, TreesGrowOutwardsAndInwards) {
  Tree tree = new_array();
  json_value* innermost = tree.get();
  for (int i = 1; i < JSON_DEPTH_MAX; i++) {
    Tree outer = new_array();
    ASSERT_EQ(insert(outer, std::move(tree)), JSON_OK);
    tree = std::move(outer);
  }
  EXPECT_EQ(print(tree), nested_arrays(JSON_DEPTH_MAX));
  for (int i = 0; i < JSON_DEPTH_MAX; i++) {
    json_value* inner = json_new_array();
    ASSERT_EQ(json_insert_child(innermost, inner), JSON_OK);
    innermost = inner;
  }
  EXPECT_EQ(print(tree), nested_arrays(size_t{2} * JSON_DEPTH_MAX));
  EXPECT_EQ(json_insert_child(innermost, tree.get()), JSON_BAD_TREE) << "the root cannot hang from its own innermost";
}

TEST(Length, MegabyteArrayTakesLinearTime) {
  const std::string text = "[" + repeat("1,", kMegabyte / 2) + "1]";
  const auto start = steady_clock::now();
  EXPECT_TRUE(print(parse(text).root) == text);
  EXPECT_LT(steady_clock::now() - start, kLinearTime);
}

TEST(Length, MegabyteInTheDeepestObjectTakesLinearTime) {
  constexpr size_t kOuter = 10000;
  const std::string text =
      repeat(R"({"a":)", kOuter) + "{" + repeat(R"("b":2,)", kMegabyte / 6) + R"("c":3})" + repeat("}", kOuter);
  const auto start = steady_clock::now();
  EXPECT_TRUE(print(parse(text).root) == text);
  EXPECT_LT(steady_clock::now() - start, kLinearTime);
}

TEST(Length, MegabyteStringsAndNumbersAreKept) {
  for (const std::string& text : {"\"" + repeat("x", kMegabyte) + "\"", "\"" + repeat("\\\"", kMegabyte) + "\"",
                                  repeat("9", kMegabyte), repeat(" ", kMegabyte) + "0"}) {
    const auto start = steady_clock::now();
    EXPECT_TRUE(print(parse(text).root) == text.substr(text.find_first_not_of(' '))) << text.size();
    EXPECT_LT(steady_clock::now() - start, kLinearTime);
  }
}

TEST(Length, BuildingALongArrayTakesLinearTime) {
  constexpr size_t kElements = 300000;
  const auto start = steady_clock::now();
  const Tree array = new_array();
  for (size_t i = 0; i < kElements; i++) ASSERT_EQ(json_insert_child(array.get(), json_new_number("1")), JSON_OK);
  EXPECT_EQ(print(array).size(), 2 * kElements + 1);
  EXPECT_LT(steady_clock::now() - start, kLinearTime);
}

}  // namespace
