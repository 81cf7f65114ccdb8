// Memory that runs out: each allocation of each call fails once, the call says so, and nothing is lost or changed.
// This program holds the library's sources compiled with malloc, realloc and free led through the counters here.
#include <gtest/gtest.h>

#include "tree_tools.h"

namespace {

constexpr long kNoFailure = -1;

long blocks_held = 0;
long good_allocations_left = kNoFailure;  // then one fails

// The number of allocations that `work` makes.
template <typename Work>
long allocations_of(Work work) {
  constexpr long kPlenty = 1000000;
  good_allocations_left = kPlenty;
  work();
  const long made = kPlenty - good_allocations_left;
  good_allocations_left = kNoFailure;
  return made;
}

const std::string kDocument = R"({"a":[0,"x",true,[],{}],"b":{"c":{"d":"e"}},"ID":7})";

}  // namespace

// Declared in counted_memory.h, which this file must not include: here malloc and free are the real ones.
extern "C" void* counted_realloc(void* old, size_t size) {
  if (good_allocations_left == 0) {
    good_allocations_left = kNoFailure;  // the following ones are good again: one failure alone must be noticed
    return nullptr;
  }
  if (good_allocations_left > 0) good_allocations_left--;
  void* block = realloc(old, size);
  if (block != nullptr && old == nullptr) blocks_held++;
  return block;
}

extern "C" void* counted_malloc(size_t size) { return counted_realloc(nullptr, size); }

extern "C" void counted_free(void* block) {
  if (block != nullptr) blocks_held--;
  free(block);
}

namespace {

class Memory : public testing::Test {
 protected:
  void SetUp() override {
    blocks_held = 0;
    good_allocations_left = kNoFailure;
  }
  void TearDown() override { EXPECT_EQ(blocks_held, 0) << "blocks that nobody released"; }
};

TEST_F(Memory, NewValueIsNoneWhenMemoryIsOut) {
  const auto fails = [](auto make) {
    good_allocations_left = 0;
    return make() == nullptr;
  };
  EXPECT_TRUE(fails([] { return json_new_object(); }));
  EXPECT_TRUE(fails([] { return json_new_array(); }));
  EXPECT_TRUE(fails([] { return json_new_string("text"); }));
  EXPECT_TRUE(fails([] { return json_new_number("1"); }));
}

TEST_F(Memory, ValueAndItsTextAreOneBlock) {
  Tree string = new_string("text");
  EXPECT_EQ(blocks_held, 1);
}

TEST_F(Memory, ParseReportsEachFailedAllocation) {
  const long needed = allocations_of([] { EXPECT_EQ(parse(kDocument).error, JSON_OK); });
  EXPECT_EQ(needed, 16) << "one block for each value and label";
  for (long good = 0; good < needed; good++) {
    good_allocations_left = good;
    const Parsed parsed = parse(kDocument);
    EXPECT_EQ(parsed.error, JSON_NO_MEMORY) << "after " << good;
    EXPECT_EQ(parsed.root, nullptr) << "after " << good;
    EXPECT_EQ(blocks_held, 0) << "after " << good;
  }
}

TEST_F(Memory, EachKindOfRootReportsAFailedAllocation) {
  for (const char* text : {"{}", "[]", "\"text\"", "1", "true"}) {
    good_allocations_left = 0;
    const Parsed parsed = parse(text);
    EXPECT_EQ(parsed.error, JSON_NO_MEMORY) << text;
    EXPECT_EQ(parsed.root, nullptr) << text;
  }
}

TEST_F(Memory, RefusedTextLeavesNothingBehind) {
  for (size_t length = 0; length < kDocument.size(); length++) {
    EXPECT_EQ(parse(kDocument.substr(0, length)).error, JSON_BAD_TEXT);
    EXPECT_EQ(blocks_held, 0) << "first " << length << " bytes";
  }
  EXPECT_EQ(parse(repeat("[", 100000)).error, JSON_BAD_TEXT);
  EXPECT_EQ(parse(repeat("{\"a\":", 100000)).error, JSON_BAD_TEXT);
}

TEST_F(Memory, DeepTreeIsReleasedToItsLastValue) {
  EXPECT_EQ(parse(repeat("[{\"a\":", 50000) + "1" + repeat("}]", 50000)).error, JSON_OK);
}

TEST_F(Memory, PrintReportsTheFailureAndCanBeRepeated) {
  const Parsed parsed = parse(kDocument);
  char old_text[] = "old";
  char* text = old_text;
  good_allocations_left = 0;
  EXPECT_EQ(json_tree_to_string(parsed.root.get(), &text), JSON_NO_MEMORY);
  EXPECT_EQ(text, nullptr);

  const long needed = allocations_of([&] { EXPECT_EQ(json_tree_to_string(parsed.root.get(), &text), JSON_OK); });
  EXPECT_EQ(needed, 1) << "one block for a usual message";
  EXPECT_EQ(text, kDocument);
  counted_free(text);
}

TEST_F(Memory, PrintingALongTextReportsEachFailedAllocation) {
  for (const std::string& document : {"[" + repeat(R"("text",)", 2000) + "{}]", '"' + repeat("x", 5000) + '"',
                                      repeat("[", 2000) + repeat("]", 2000)}) {
    const Parsed parsed = parse(document);
    const long held = blocks_held;
    char* text = nullptr;
    const long needed = allocations_of([&] { EXPECT_EQ(json_tree_to_string(parsed.root.get(), &text), JSON_OK); });
    EXPECT_TRUE(text == document);
    counted_free(text);
    for (long good = 0; good < needed; good++) {
      good_allocations_left = good;
      EXPECT_EQ(json_tree_to_string(parsed.root.get(), &text), JSON_NO_MEMORY) << "after " << good;
      EXPECT_EQ(text, nullptr);
      EXPECT_EQ(blocks_held, held);
    }
  }
}

TEST_F(Memory, InsertFindAndFreeNeedNone) {
  const Tree object = new_object();
  Tree label = new_string("name");
  Tree value = new_number("1");
  const long needed = allocations_of([&] {
    EXPECT_EQ(insert(label, std::move(value)), JSON_OK);
    EXPECT_EQ(insert(object, std::move(label)), JSON_OK);
    EXPECT_NE(json_find_first_label(object.get(), "name"), nullptr);
  });
  EXPECT_EQ(needed, 0);
}

TEST_F(Memory, TreeOwnsWhatWasInserted) {
  Tree object = new_object();
  for (int i = 0; i < 100; i++) ASSERT_EQ(insert(object, new_label("name", new_array())), JSON_OK);
  EXPECT_EQ(blocks_held, 201);
  object.reset();
  EXPECT_EQ(blocks_held, 0);
}

}  // namespace
