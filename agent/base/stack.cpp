#include "agent/base/stack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

// Not a part of its caller, of whose frame it would give back what lies below the frame's address.
__attribute__((noinline)) void stack::give_back() {
  constexpr uintptr_t kBytes = 16384;
  constexpr uintptr_t kInUse = 2048;  // by this function and madvise(), also where a tool wraps it
  const uintptr_t here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  const uintptr_t end = (here - kInUse) & -static_cast<uintptr_t>(getpagesize());
  madvise(reinterpret_cast<void*>(end - kBytes), kBytes, MADV_DONTNEED);
}
