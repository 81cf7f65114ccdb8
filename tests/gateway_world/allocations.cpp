// Stands in for the memory allocator: counts the allocations of the agent, the document-tree library and the C library
// on their behalf, and lets one fail. The recorder's own are left alone.
#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "control.h"
#include "faults.h"
#include "world.h"

namespace {

struct Allocator {
  void* (*malloc)(size_t);
  void* (*calloc)(size_t, size_t);
  void* (*realloc)(void*, size_t);
  void (*free)(void*);
};

const Allocator& real() {
  static const Allocator allocator = {
      reinterpret_cast<void* (*)(size_t)>(dlsym(RTLD_NEXT, "malloc")),
      reinterpret_cast<void* (*)(size_t, size_t)>(dlsym(RTLD_NEXT, "calloc")),
      reinterpret_cast<void* (*)(void*, size_t)>(dlsym(RTLD_NEXT, "realloc")),
      reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "free")),
  };
  return allocator;
}

class SpinLock {
 public:
  SpinLock() {
    while (s_taken.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~SpinLock() { s_taken.clear(std::memory_order_release); }
  SpinLock(const SpinLock&) = delete;
  SpinLock& operator=(const SpinLock&) = delete;

 private:
  static inline std::atomic_flag s_taken = ATOMIC_FLAG_INIT;
};

std::array<void*, 4096> g_live;  // what is counted and not released
size_t g_live_count;

bool is_counted() { return world::is_played() && !faults::is_aside(); }

// Counts one allocation. Returns whether it is to fail.
bool must_fail() {
  const faults::Aside aside;
  const SpinLock lock;
  control::count(control::allocations);
  const uint32_t left = control::read(control::fail_allocation);
  if (left == 0) return false;
  control::write(control::fail_allocation, left - 1);
  if (left != 1) return false;
  control::count(control::memory_faults);
  return true;
}

void* keep(void* place) {
  if (place == nullptr) return nullptr;
  const SpinLock lock;
  if (g_live_count == g_live.size()) _exit(125);
  g_live[g_live_count++] = place;
  control::write(control::live, static_cast<uint32_t>(g_live_count));
  return place;
}

// Latest first: most are released soon.
void forget(void* place) {
  const SpinLock lock;
  for (size_t k = g_live_count; k-- != 0;) {
    if (g_live[k] != place) continue;
    g_live[k] = g_live[--g_live_count];
    control::write(control::live, static_cast<uint32_t>(g_live_count));
    return;
  }
}

template <typename Call>
void* allocate(Call call) {
  if (!is_counted()) return call();
  if (must_fail() || faults::strikes(faults::memory)) {
    errno = ENOMEM;
    return nullptr;
  }
  const faults::Aside aside;  // some C library's calloc() calls malloc(): one allocation, not two
  return keep(call());
}

}  // namespace

extern "C" {

void* malloc(size_t size) {
  return allocate([=] { return real().malloc(size); });
}

void* calloc(size_t count, size_t size) {
  return allocate([=] { return real().calloc(count, size); });
}

void* realloc(void* old, size_t size) {
  return allocate([=] {
    void* const place = real().realloc(old, size);
    if (place != nullptr && old != nullptr) forget(old);
    return place;
  });
}

void free(void* place) {
  if (place != nullptr && world::is_played()) forget(place);
  real().free(place);
}
}
