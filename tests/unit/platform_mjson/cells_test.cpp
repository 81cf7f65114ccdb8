// The cells of values: as many as there are, each for one at a time, and allocations for what finds no room.
#include "platform/mjson/cells.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

namespace {

using mjson::give_memory;
using mjson::kCellBytes;
using mjson::kCells;
using mjson::take_memory;

long blocks_held = 0;
bool memory_is_out = false;

}  // namespace

// Declared in counted_memory.h, which this file must not include: here malloc and free are the real ones.
extern "C" void* counted_realloc(void*, size_t) { abort(); }

extern "C" void* counted_malloc(size_t size) {
  if (memory_is_out) return nullptr;
  blocks_held++;
  return malloc(size);
}

extern "C" void counted_free(void* block) {
  blocks_held--;
  free(block);
}

namespace {

class Cells : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(blocks_held, 0);
    EXPECT_EQ(take_all(), taken_) << "each is free again";
  }

  // Takes every cell and gives them back. Returns where they are.
  static std::set<char*> take_all() {
    std::set<char*> taken;
    for (size_t k = 0; k < kCells; ++k) taken.insert(static_cast<char*>(take_memory(kCellBytes)));
    EXPECT_EQ(blocks_held, 0);
    for (char* cell : taken) give_memory(cell);
    return taken;
  }

  const std::set<char*> taken_ = take_all();
};

TEST_F(Cells, AreManyAndNoneOverlapsAnother) {
  EXPECT_EQ(taken_.size(), kCells);
  const char* end = nullptr;
  for (char* cell : taken_) {
    EXPECT_GE(cell, end);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(cell) % alignof(std::max_align_t), 0U);
    end = cell + kCellBytes;
  }
}

TEST_F(Cells, TheOneGivenBackIsTakenNext) {
  std::array<void*, kCells> all{};
  for (void*& one : all) one = take_memory(1);
  for (void* one : all) {
    give_memory(one);
    EXPECT_EQ(take_memory(kCellBytes), one);
  }
  for (void* one : all) give_memory(one);
}

TEST_F(Cells, WhatIsTooLongIsAnAllocationOfItsOwn) {
  void* block = take_memory(kCellBytes + 1);
  EXPECT_EQ(blocks_held, 1);
  give_memory(block);
  memory_is_out = true;
  EXPECT_EQ(take_memory(kCellBytes + 1), nullptr);
  memory_is_out = false;
}

TEST_F(Cells, WhatFindsThemTakenIsAnAllocationOfItsOwn) {
  std::array<void*, kCells> all{};
  for (void*& one : all) one = take_memory(1);
  void* block = take_memory(1);
  EXPECT_EQ(blocks_held, 1);
  give_memory(block);
  memory_is_out = true;
  EXPECT_EQ(take_memory(1), nullptr);
  memory_is_out = false;
  for (void* one : all) give_memory(one);
}

// Each thread fills what it has with its own mark, which nobody else may change.
TEST_F(Cells, ThreadsNeverShareOne) {
  constexpr int kRounds = 2000;
  const auto take_and_give = [](char mark) {
    std::array<char*, kCells / 4> mine{};
    for (int round = 0; round < kRounds; ++round) {
      for (char*& one : mine) {
        one = static_cast<char*>(take_memory(kCellBytes));
        memset(one, mark, kCellBytes);
      }
      for (char* one : mine) {
        ASSERT_EQ(std::count(one, one + kCellBytes, mark), std::ptrdiff_t{kCellBytes});
        give_memory(one);
      }
    }
  };
  std::thread other(take_and_give, 'a');
  take_and_give('b');
  other.join();
}

}  // namespace
