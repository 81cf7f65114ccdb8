// Owns the timers: at most 16, fired by a thread of their own that looks at the earliest one every 100 ms. The wall
// clock times them; when it is stepped by a minute or more, pending timers keep their remaining time.
//
// Callbacks run on the timer thread with the service's lock held: a callback must not add or remove timers (but for
// AddTimer_tmp), and RemoveTimer waits for a running one. Failures are logged at debug level and reported by -1; errno
// is ENOMEM where there was no memory for a new timer, so that a later try may succeed.
#ifndef NUVEK_AGENT_TIMER_TIMER_H
#define NUVEK_AGENT_TIMER_TIMER_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "agent/base/lock.h"

using TimerCallback = int (*)(void* arg);  // its result is ignored

constexpr int32_t kMaxTimers = 16;

struct TimerNode {
  int32_t expire_sec;
  int32_t expire_usec;  // not carried into the seconds: 0 to 1,998,999
  TimerCallback callback;
  void* arg;
  uint32_t interval;  // ms
  int32_t timer_id;   // 1 to 16; 0 when no identifier was free
  int32_t periodic;   // 1 = periodic, 0 = one-shot
  char name[16];
  TimerNode* next;
};

// The atomics are also read ahead of the lock.
struct TimerList {
  pthread_t thread_id;
  Mutex* p_timer_mutex;
  std::atomic<int32_t> stop;
  std::atomic<int32_t> inited;
  TimerNode* head GUARDED_BY(p_timer_mutex);              // by expiry, earliest first
  uint8_t id_used[kMaxTimers] GUARDED_BY(p_timer_mutex);  // mark k belongs to identifier k + 1
  std::atomic<int32_t> timer_num;
};

extern TimerList g_timerList;
extern std::atomic<int32_t> g_timerMallocCount;  // allocation attempts, for diagnosis
extern std::atomic<int32_t> g_timerFreeCount;

// Starts the service. Returns 0, or -1 and there is no service.
int timer_init();

// Adds a timer that fires `interval` ms from now and, when `periodic` is 1, again `interval` ms after the end of each
// firing. `name` may be null; 15 characters are kept. Returns the identifier.
int AddTimer(const char* name, uint32_t interval, TimerCallback callback, void* arg, int32_t periodic);

// Removes every timer with this identifier and returns it. Waits while a callback runs.
int RemoveTimer(int32_t timer_id);

#endif
