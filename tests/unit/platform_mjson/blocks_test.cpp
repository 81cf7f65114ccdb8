// Blocks of memory that many values share: they come and go with their values, whoever releases those. The library's
// own first block is not counted.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "tree_tools.h"

namespace {

std::atomic<int> blocks_held;
std::atomic<int> good_allocations_left{-1};  // then one fails

}  // namespace

// Declared in counted_memory.h, which this file must not include: here malloc and free are the real ones.
extern "C" void* counted_malloc(size_t size) {
  if (good_allocations_left-- == 0) return nullptr;
  blocks_held++;
  return malloc(size);
}

extern "C" void counted_free(void* block) {
  if (block != nullptr) blocks_held--;
  free(block);
}

namespace {

std::string printed(const Tree& tree) {
  char* memory = nullptr;
  EXPECT_EQ(json_tree_to_string(tree.get(), &memory), JSON_OK);
  const std::string text = memory;
  counted_free(memory);
  return text;
}

class Blocks : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(blocks_held, 0); }
  void TearDown() override { EXPECT_EQ(blocks_held, 0) << "blocks that nobody released"; }
};

TEST_F(Blocks, ATreeOfManyValuesTakesFewAndGivesThemAllBack) {
  Tree object = new_object();
  for (int i = 0; i < 100; i++) ASSERT_EQ(insert(object, new_label("name", new_array())), JSON_OK);
  EXPECT_GT(blocks_held, 2);
  EXPECT_LT(blocks_held, 10);
  object.reset();
  EXPECT_EQ(blocks_held, 0);
}

TEST_F(Blocks, MessageOfSomeDozensOfValuesTakesNone) {
  const Tree array = new_array();
  for (int i = 0; i < 50; i++) ASSERT_EQ(insert(array, new_number("1")), JSON_OK);
  EXPECT_EQ(blocks_held, 0);
}

TEST_F(Blocks, OneStaysAsLongAsAValueInItLives) {
  std::array<Tree, 200> values;
  for (size_t i = 0; i < values.size(); i++) values[i] = new_string("value " + std::to_string(i));
  const Tree first = std::move(values[3]);
  const Tree later = std::move(values[100]);
  EXPECT_GT(blocks_held, 2);
  for (Tree& value : values) value.reset();
  EXPECT_EQ(blocks_held, 1);
  EXPECT_STREQ(json_value_text(first.get()), "value 3");
  EXPECT_STREQ(json_value_text(later.get()), "value 100");
}

TEST_F(Blocks, TheFirstOneServesTheNextTree) {
  for (int i = 0; i < 100; i++) {
    const Tree tree = parse(R"({"a":[1,2,3]})").root;
    EXPECT_EQ(blocks_held, 0);
  }
}

TEST_F(Blocks, AValueLargerThanABlockHasItsOwn) {
  const Tree small = new_string("small");
  const std::string text(100000, 'x');
  Tree large = new_string(text);
  const Tree next = new_string("next");
  EXPECT_EQ(json_value_text(large.get()), text);
  const int held = blocks_held;
  large.reset();
  EXPECT_EQ(blocks_held, held - 1);
  EXPECT_STREQ(json_value_text(small.get()), "small");
  EXPECT_STREQ(json_value_text(next.get()), "next");
}

TEST_F(Blocks, AnotherThreadMayReleaseTheValues) {
  Tree tree = parse("[1,2,3]").root;
  std::thread([&tree] { tree.reset(); }).join();
  new_object();

  std::array<Tree, 200> values;
  for (Tree& value : values) value = new_string("text");
  std::thread releasing([&values] {
    for (size_t i = 0; i < values.size(); i += 2) values[i].reset();
  });
  for (size_t i = 1; i < values.size(); i += 2) values[i].reset();
  releasing.join();
  new_object();
}

TEST_F(Blocks, EachThreadFillsItsOwn) {
  const auto work = [] {
    for (int i = 0; i < 1000; i++) {
      EXPECT_EQ(printed(parse(R"({"a":[1,2,{"b":"c"}],"d":true})").root), R"({"a":[1,2,{"b":"c"}],"d":true})");
    }
  };
  std::thread other(work);
  work();
  other.join();
}

TEST_F(Blocks, WithoutMemoryForTheNextOneTheValuesSoFarLive) {
  Tree array = new_array();
  good_allocations_left = 0;
  int made = 0;
  while (json_value* value = json_new_number("1")) {
    ASSERT_EQ(json_insert_child(array.get(), value), JSON_OK);
    made++;
  }
  good_allocations_left = -1;
  EXPECT_GT(made, 5);
  ASSERT_EQ(insert(array, new_number("2")), JSON_OK);
  EXPECT_EQ(printed(array), "[" + repeat("1,", static_cast<size_t>(made)) + "2]");
}

}  // namespace
