// What a thread's stack keeps of the machine's memory.
#include "agent/base/stack.h"

#include "tests/support/own_stack.h"
#include "tests/support/world.h"

namespace {

constexpr size_t kNear = 2048 + 4096;  // below the caller, what stays with it

TEST(StackTest, WhatLiesDeepIsGivenBack) {
  EXPECT_GT(marks_left_by(mark_stack), kMarks - 1024);  // but for what the end of the thread writes there
  EXPECT_LE(marks_left_by([] {
              mark_stack();
              stack::give_back();
            }),
            kNear);
}

TEST(StackTest, TheCallersOwnStaysAsItIs) {
  marks_left_by([] {
    volatile unsigned char mine[3 * 4096];
    for (size_t k = 0; k < sizeof mine; ++k) mine[k] = static_cast<unsigned char>(k % 251);
    stack::give_back();
    size_t equal = 0;
    for (size_t k = 0; k < sizeof mine; ++k) equal += static_cast<size_t>(mine[k] == k % 251);
    EXPECT_EQ(equal, sizeof mine);
  });
}

}  // namespace
