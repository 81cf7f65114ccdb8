// The timer service when memory and threads run out: its source once more, with the calls that can fail led through the
// test's own.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "agent/base/clock.h"
#include "agent/base/log.h"
#include "agent/base/text.h"
#include "tests/support/world.h"

namespace {

struct Faults {
  bool malloc = false;
  bool calloc = false;
  bool mutex_init = false;
  bool attr_init = false;
  bool set_detached = false;
  bool create = false;
  int destroyed_mutexes = 0;
  int destroyed_attributes = 0;
};
Faults g_faults;

}  // namespace

namespace failing {

void* malloc_or_fail(size_t size) { return g_faults.malloc ? nullptr : malloc(size); }
void* calloc_or_fail(size_t count, size_t size) { return g_faults.calloc ? nullptr : calloc(count, size); }
int mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  return g_faults.mutex_init ? ENOMEM : pthread_mutex_init(mutex, attributes);
}
int mutex_destroy(pthread_mutex_t* mutex) {
  ++g_faults.destroyed_mutexes;
  return pthread_mutex_destroy(mutex);
}
int attr_init(pthread_attr_t* attributes) { return g_faults.attr_init ? ENOMEM : pthread_attr_init(attributes); }
int attr_destroy(pthread_attr_t* attributes) {
  ++g_faults.destroyed_attributes;
  return pthread_attr_destroy(attributes);
}
int set_detached(pthread_attr_t* attributes, int state) {
  return g_faults.set_detached ? EINVAL : pthread_attr_setdetachstate(attributes, state);
}
// Starts no thread: nothing here needs one.
int create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return g_faults.create ? EAGAIN : 0; }

#define malloc malloc_or_fail
#define calloc calloc_or_fail
#define pthread_mutex_init mutex_init
#define pthread_mutex_destroy mutex_destroy
#define pthread_attr_init attr_init
#define pthread_attr_destroy attr_destroy
#define pthread_attr_setdetachstate set_detached
#define pthread_create create
#include "agent/timer/timer.cpp"
#undef malloc
#undef calloc
#undef pthread_mutex_init
#undef pthread_mutex_destroy
#undef pthread_attr_init
#undef pthread_attr_destroy
#undef pthread_attr_setdetachstate
#undef pthread_create

}  // namespace failing

namespace {

using testing::ElementsAre;

int nothing(void*) { return 0; }

class TimerFailure : public AgentTest {
 protected:
  TimerFailure() {
    g_faults = {};
    failing::g_timerList.inited = 0;
    failing::g_timerMallocCount = 0;
    failing::g_timerFreeCount = 0;
  }

  // A start that fails: -1, no lock, no service. Returns what it logged.
  static std::vector<std::string> failed_start() {
    std::vector<std::string> lines = log_lines([] { EXPECT_EQ(failing::timer_init(), -1); });
    EXPECT_EQ(failing::g_timerList.inited, 0);
    EXPECT_EQ(failing::g_timerList.p_timer_mutex, nullptr);
    EXPECT_EQ(failing::AddTimer(nullptr, 1000, nothing, nullptr, 0), -1);
    return lines;
  }
};

}  // namespace

TEST_F(TimerFailure, NoMemoryForTheLock) {
  g_faults.malloc = true;
  EXPECT_THAT(failed_start(), ElementsAre("DEBUG timer_init [timer_init]---malloc faile for  p_timer_mutex  ", ""));
  EXPECT_EQ(g_faults.destroyed_mutexes, 0);
  EXPECT_EQ(failing::g_timerFreeCount, 0);
}

TEST_F(TimerFailure, TheLockCannotBeMade) {
  g_faults.mutex_init = true;
  EXPECT_THAT(failed_start(), ElementsAre("DEBUG timer_init timer_init: mutex_init failed!"));
  EXPECT_EQ(g_faults.destroyed_mutexes, 0);
  EXPECT_EQ(failing::g_timerMallocCount, 1);
  EXPECT_EQ(failing::g_timerFreeCount, 1);
}

TEST_F(TimerFailure, TheThreadAttributesCannotBeMade) {
  g_faults.attr_init = true;
  EXPECT_THAT(failed_start(), ElementsAre("DEBUG timer_init \r", "Thread attribute creation fail!"));
  EXPECT_EQ(g_faults.destroyed_mutexes, 1);
  EXPECT_EQ(g_faults.destroyed_attributes, 0);
  EXPECT_EQ(failing::g_timerFreeCount, 1);
}

TEST_F(TimerFailure, TheThreadCannotBeDetached) {
  g_faults.set_detached = true;
  EXPECT_THAT(failed_start(), ElementsAre("DEBUG timer_init \r", "Set attribute fail!"));
  EXPECT_EQ(g_faults.destroyed_mutexes, 1);
  EXPECT_EQ(g_faults.destroyed_attributes, 1);
  EXPECT_EQ(failing::g_timerFreeCount, 1);
}

TEST_F(TimerFailure, TheThreadCannotBeStarted) {
  g_faults.create = true;
  EXPECT_THAT(failed_start(),
              ElementsAre("DEBUG timer_init [timer_init]-->pthread_create  ThreadedTimerCheck failed!"));
  EXPECT_EQ(g_faults.destroyed_mutexes, 1);
  EXPECT_EQ(g_faults.destroyed_attributes, 1);
  EXPECT_EQ(failing::g_timerFreeCount, 1);
}

TEST_F(TimerFailure, NoMemoryForATimerLeavesTheListUntouchedButCountsTheAttempt) {
  ASSERT_EQ(failing::timer_init(), 0);
  ASSERT_EQ(failing::AddTimer("first", 1000, nothing, nullptr, 0), 1);
  EXPECT_EQ(failing::g_timerMallocCount, 2);

  g_faults.calloc = true;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(failing::AddTimer(nullptr, 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer AddTimer: No resource for timer add"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(failing::AddDelayTimer(nullptr, 0, 1000, nothing, nullptr, 1), -1); }),
              ElementsAre("DEBUG AddDelayTimer AddTimer: No resource for timer add"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(failing::AddTimer_tmp(nullptr, 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer_tmp AddTimer: No resource for timer add"));
  EXPECT_EQ(failing::g_timerMallocCount, 5);
  EXPECT_EQ(failing::g_timerList.timer_num, 1);
  EXPECT_EQ(failing::g_timerList.id_used[1], 0);

  g_faults.calloc = false;
  EXPECT_EQ(failing::AddTimer("second", 1000, nothing, nullptr, 0), 2) << "the lock was given back";
  EXPECT_EQ(failing::RemoveTimer(1), 1);
  EXPECT_EQ(failing::RemoveTimer(2), 2);
  failing::release_mutex();
}
