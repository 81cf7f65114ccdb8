// Stands in for the memory allocator: counts the allocations of the agent, the document-tree library and the C library
// on their behalf, and lets one fail. The recorder's own are left alone.
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "faults.h"

namespace {

struct Allocator {
  void* (*malloc)(size_t);
  void* (*calloc)(size_t, size_t);
  void* (*realloc)(void*, size_t);
  void (*free)(void*);
};

const Allocator& real() {
  static const Allocator allocator = {behind<void*(size_t)>("malloc"), behind<void*(size_t, size_t)>("calloc"),
                                      behind<void*(void*, size_t)>("realloc"), behind<void(void*)>("free")};
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

// False until the control words are there: the loader and the libraries allocate before anything of the agent runs.
std::atomic<bool> g_counting{false};

std::array<void*, 4096> g_live;  // what is counted and not released
size_t g_live_count;

bool is_counted() { return g_counting.load(std::memory_order_acquire) && !faults::is_aside(); }

// Counts one allocation. Returns whether it is to fail.
bool must_fail() {
  const faults::Aside aside;
  const SpinLock lock;
  control::count(control::kAllocations);
  const uint32_t left = control::read(control::kFailAllocation);
  if (left == 0) return false;
  control::write(control::kFailAllocation, left - 1);
  if (left != 1) return false;
  control::count(control::kMemoryFaults);
  return true;
}

void* keep(void* place) {
  if (place == nullptr) return nullptr;
  const SpinLock lock;
  if (g_live_count == g_live.size()) _exit(125);
  g_live[g_live_count++] = place;
  control::write(control::kLive, static_cast<uint32_t>(g_live_count));
  return place;
}

// Latest first: most are released soon.
void forget(void* place) {
  const SpinLock lock;
  for (size_t k = g_live_count; k-- != 0;) {
    if (g_live[k] != place) continue;
    g_live[k] = g_live[--g_live_count];
    control::write(control::kLive, static_cast<uint32_t>(g_live_count));
    return;
  }
}

template <typename Call>
void* allocate(Call call) {
  if (!is_counted()) return call();
  if (must_fail() || faults::strikes(faults::kMemory)) {
    errno = ENOMEM;
    return nullptr;
  }
  return keep(call());
}

__attribute__((constructor)) void begin() {
  unsetenv("LD_PRELOAD");  // where this library was preloaded, the agent's helper programs are not its business
  const faults::Aside aside;
  control::read(control::kClock_s);
  g_counting.store(true, std::memory_order_release);
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
  if (place != nullptr && g_counting.load(std::memory_order_acquire)) forget(place);
  real().free(place);
}
}
