#include "tests/support/own_stack.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <stdexcept>

namespace {

constexpr size_t kStackSize = size_t{1} << 20;
constexpr unsigned char kMark = 0xA5;

void* run(void* action) {
  (*static_cast<const std::function<void()>*>(action))();
  return nullptr;
}

}  // namespace

__attribute__((noinline)) void mark_stack() {
  volatile unsigned char marks[kMarks];
  for (volatile unsigned char& mark : marks) mark = kMark;
}

size_t marks_left_by(const std::function<void()>& action) {
  void* stack = mmap(nullptr, kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (stack == MAP_FAILED) throw std::runtime_error("no memory for a stack");
  pthread_attr_t attributes;
  pthread_t thread;
  pthread_attr_init(&attributes);
  if (pthread_attr_setstack(&attributes, stack, kStackSize) != 0 ||
      pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&action)) != 0) {
    throw std::runtime_error("no thread");
  }
  pthread_attr_destroy(&attributes);
  pthread_join(thread, nullptr);
  const auto* bytes = static_cast<const unsigned char*>(stack);
  const auto marks = static_cast<size_t>(std::count(bytes, bytes + kStackSize, kMark));
  munmap(stack, kStackSize);
  return marks;
}
