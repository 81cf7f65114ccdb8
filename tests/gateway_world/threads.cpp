// Stands in for the calls by which the agent's threads begin and wait for each other.
#include "threads.h"

#include <pthread.h>

#include <array>
#include <cerrno>

#include "faults.h"
#include "step.h"
#include "world.h"

namespace {

struct Start {
  void* (*routine)(void*);
  void* argument;
};

std::array<Start, 4> g_starts;

void* run(void* number) {
  const auto index = reinterpret_cast<size_t>(number);
  step::announce_thread(static_cast<int>(index));
  return g_starts[index].routine(g_starts[index].argument);
}

}  // namespace

void threads::run_kept() { g_starts[1].routine(g_starts[1].argument); }

extern "C" {

int pthread_create(pthread_t* __restrict thread, const pthread_attr_t* __restrict attributes, void* (*routine)(void*),
                   void* __restrict argument) noexcept {
  static const auto real = world::behind(&pthread_create, "pthread_create");
  const int number = world::is(world::Kind::step) ? step::new_thread() : 0;
  if (number == 0) return real(thread, attributes, routine, argument);
  const auto index = static_cast<size_t>(number);
  g_starts[index] = {routine, argument};
  if (step::is_here()) return 0;
  const int result = real(thread, attributes, run, reinterpret_cast<void*>(index));
  if (result == 0) step::await_thread(number);
  return result;
}

// A thread that the lock is denied stands still until the test thinks that it is free.
int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = world::behind(&pthread_mutex_lock, "pthread_mutex_lock");
  static const auto real_try = world::behind(&pthread_mutex_trylock, "pthread_mutex_trylock");
  if (!world::is(world::Kind::step) || faults::is_aside()) return real(mutex);
  for (;;) {
    const int result = real_try(mutex);
    if (result != EBUSY) return result;
    step::stop("lock");
  }
}
}
