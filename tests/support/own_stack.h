// A thread whose stack can be read when it has ended: what its calls left there.
#ifndef NUVEK_TESTS_SUPPORT_OWN_STACK_H
#define NUVEK_TESTS_SUPPORT_OWN_STACK_H

#include <cstddef>
#include <functional>

constexpr size_t kMarks = 12 * 1024;  // bytes: about what a name look-up of the C library takes

// Goes as deep as a name look-up, and fills that part of the stack with marks.
void mark_stack();

// Runs an action on a stack of its own and returns how many marks are left on it.
size_t marks_left_by(const std::function<void()>& action);

#endif
