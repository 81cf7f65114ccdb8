// Depth and length: the limit holds however a tree comes about, and long documents take no more than their share of
// time.
#include <gtest/gtest.h>

#include <chrono>

#include "tree_tools.h"

namespace {

using std::chrono::steady_clock;

constexpr size_t kMegabyte = 1024 * 1024;

// Far more than a walk over a megabyte takes under an emulator and a sanitizer, far less than anything quadratic.
constexpr std::chrono::seconds kLinearTime{20};

std::string nested_arrays(size_t depth) { return repeat("[", depth) + repeat("]", depth); }

// `depth` arrays inside one another, from the innermost outwards; the innermost is at *innermost.
Tree build_arrays(size_t depth, json_value** innermost = nullptr) {
  Tree tree = new_array();
  if (innermost != nullptr) *innermost = tree.get();
  for (size_t i = 1; i < depth; i++) {
    Tree outer = new_array();
    if (insert(outer, std::move(tree)) != JSON_OK) return nullptr;
    tree = std::move(outer);
  }
  return tree;
}

TEST(Depth, ParseTakesTheLimitAndNotOneMore) {
  const std::string deepest = nested_arrays(JSON_DEPTH_MAX);
  EXPECT_EQ(print(parse(deepest).root), deepest);
  const Parsed parsed = parse(nested_arrays(JSON_DEPTH_MAX + 1));
  EXPECT_EQ(parsed.error, JSON_TOO_DEEP);
  EXPECT_EQ(parsed.root, nullptr);
}

TEST(Depth, ParseCountsObjectsLikeArrays) {
  const auto nested = [](size_t pairs) { return repeat(R"({"a":[)", pairs) + repeat("]}", pairs); };
  const std::string deepest = nested(JSON_DEPTH_MAX / 2);
  EXPECT_EQ(print(parse(deepest).root), deepest);
  EXPECT_EQ(parse(nested(JSON_DEPTH_MAX / 2 + 1)).error, JSON_TOO_DEEP);
  EXPECT_EQ(parse(repeat(R"({"a":)", JSON_DEPTH_MAX) + "1" + repeat("}", JSON_DEPTH_MAX)).error, JSON_OK);
  EXPECT_EQ(parse(repeat(R"({"a":)", JSON_DEPTH_MAX) + "[]" + repeat("}", JSON_DEPTH_MAX)).error, JSON_TOO_DEEP);
}

TEST(Depth, SiblingsDoNotAddUp) {
  const std::string text = "[" + repeat("[[]],", 1000) + "[]]";
  EXPECT_EQ(print(parse(text).root), text);
}

TEST(Depth, HundredThousandBracketsAreRefusedAtOnce) {
  EXPECT_EQ(parse(repeat("[", 100000)).error, JSON_TOO_DEEP);
  EXPECT_EQ(parse(nested_arrays(100000)).error, JSON_TOO_DEEP);
  EXPECT_EQ(parse(repeat(R"({"a":)", 100000)).error, JSON_TOO_DEEP);
  EXPECT_EQ(parse(repeat("]", 100000)).error, JSON_BAD_TEXT);
}

TEST(Depth, BuildingOutwardsStopsAtTheLimit) {
  Tree tree = build_arrays(JSON_DEPTH_MAX);
  ASSERT_NE(tree, nullptr);
  const Tree outer = new_array();
  EXPECT_EQ(json_insert_child(outer.get(), tree.get()), JSON_TOO_DEEP);
  EXPECT_EQ(print(outer), "[]");
  EXPECT_EQ(print(tree), nested_arrays(JSON_DEPTH_MAX));
}

TEST(Depth, BuildingInwardsStopsAtTheLimit) {
  const Tree root = new_array();
  json_value* innermost = root.get();
  for (int i = 1; i < JSON_DEPTH_MAX; i++) {
    json_value* inner = json_new_array();
    ASSERT_EQ(json_insert_child(innermost, inner), JSON_OK);
    innermost = inner;
  }
  const Tree one_more = new_object();
  EXPECT_EQ(json_insert_child(innermost, one_more.get()), JSON_TOO_DEEP);
  ASSERT_EQ(json_insert_child(innermost, json_new_number("1")), JSON_OK) << "what is no container is not counted";
  EXPECT_EQ(print(root), repeat("[", JSON_DEPTH_MAX) + "1" + repeat("]", JSON_DEPTH_MAX));
}

TEST(Depth, DeepTreeInADeepPlaceIsRefused) {
  json_value* innermost = nullptr;
  const Tree upper = build_arrays(40, &innermost);
  Tree too_deep = build_arrays(25);
  EXPECT_EQ(json_insert_child(innermost, too_deep.get()), JSON_TOO_DEEP);
  EXPECT_EQ(print(upper), nested_arrays(40));
  ASSERT_EQ(json_insert_child(innermost, build_arrays(24).release()), JSON_OK);
  EXPECT_EQ(print(upper), nested_arrays(64));
  const Tree outer = new_array();
  EXPECT_EQ(json_insert_child(outer.get(), upper.get()), JSON_TOO_DEEP) << "the added height counts from the root on";
}

TEST(Depth, HeightPassesThroughLabels) {
  Tree label = new_label("name", build_arrays(JSON_DEPTH_MAX));
  const Tree object = new_object();
  EXPECT_EQ(json_insert_child(object.get(), label.get()), JSON_TOO_DEEP);
  EXPECT_EQ(insert(object, new_label("name", build_arrays(JSON_DEPTH_MAX - 1))), JSON_OK);
}

TEST(Depth, ParsedTreeKeepsTheLimitWhenItGrows) {
  Parsed parsed = parse(R"({"a":)" + nested_arrays(JSON_DEPTH_MAX - 1) + "}");
  ASSERT_EQ(parsed.error, JSON_OK);
  const Tree outer = new_array();
  EXPECT_EQ(json_insert_child(outer.get(), parsed.root.get()), JSON_TOO_DEEP);
}

TEST(Length, MegabyteArrayTakesLinearTime) {
  const std::string text = "[" + repeat("1,", kMegabyte / 2) + "1]";
  const auto start = steady_clock::now();
  EXPECT_TRUE(print(parse(text).root) == text);
  EXPECT_LT(steady_clock::now() - start, kLinearTime);
}

TEST(Length, MegabyteInTheDeepestObjectTakesLinearTime) {
  constexpr size_t kOuter = JSON_DEPTH_MAX - 1;
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
