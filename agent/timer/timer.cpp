#include "agent/timer/timer.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "agent/base/clock.h"
#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/timer/timer_steps.h"

TimerList g_timerList;
std::atomic<int32_t> g_timerMallocCount;
std::atomic<int32_t> g_timerFreeCount;

namespace {

constexpr useconds_t kTick_us = 100000;
constexpr int32_t kClockStep_s = 60;  // a smaller difference between two ticks is taken for a slow tick

bool before(int32_t sec, int32_t usec, const TimerNode& timer) {
  return wall_clock::is_before({sec, usec}, {timer.expire_sec, timer.expire_usec});
}

void set_expiry(TimerNode* timer, const ClockTime& from, uint32_t delay_ms) {
  timer->expire_sec = text::wrapping_sum(from.sec, static_cast<int32_t>(delay_ms / 1000));
  timer->expire_usec = from.usec + static_cast<int32_t>(delay_ms % 1000) * 1000;
}

// After all timers that expire no later, so that equal ones fire in the order of their adding.
void insert(TimerNode* timer) REQUIRES(g_timerList.p_timer_mutex) {
  TimerNode** place = &g_timerList.head;
  while (*place != nullptr && !before(timer->expire_sec, timer->expire_usec, **place)) place = &(*place)->next;
  timer->next = *place;
  *place = timer;
}

void release(TimerNode* timer) {
  free(timer);
  ++g_timerFreeCount;
}

struct Request {
  const char* operation;
  const char* name;
  uint32_t delay_ms;
  uint32_t interval_ms;
  TimerCallback callback;
  void* arg;
  int32_t periodic;
};

bool is_possible(const Request& request) {
  errno = EINVAL;
  if (g_timerList.inited == 0) {
    NUVEK_DEBUG_AS(request.operation, "AddTimer: Timer don not inited");
    return false;
  }
  if (g_timerList.timer_num >= kMaxTimers || request.interval_ms == 0 || request.callback == nullptr) {
    NUVEK_DEBUG_AS(request.operation, "AddTimer: failed!");
    return false;
  }
  return true;
}

// `now` receives the clock that the expiry counts from.
TimerNode* add_locked(const Request& request, ClockTime* now) REQUIRES(g_timerList.p_timer_mutex) {
  ++g_timerMallocCount;
  auto* timer = static_cast<TimerNode*>(calloc(1, sizeof(TimerNode)));
  if (timer == nullptr) {
    NUVEK_DEBUG_AS(request.operation, "AddTimer: No resource for timer add");
    errno = ENOMEM;
    return nullptr;
  }
  *now = wall_clock::now();
  set_expiry(timer, *now, request.delay_ms);
  timer->callback = request.callback;
  timer->arg = request.arg;
  timer->interval = request.interval_ms;
  timer->timer_id = findTimerID() + 1;
  timer->periodic = request.periodic == 1 ? 1 : 0;
  if (request.name != nullptr) text::copy(timer->name, request.name);
  ++g_timerList.timer_num;
  insert(timer);
  return timer;
}

int add(const Request& request) {
  if (!is_possible(request)) return -1;
  const Lock lock(*g_timerList.p_timer_mutex);
  ClockTime now{};
  const TimerNode* timer = add_locked(request, &now);
  return timer == nullptr ? -1 : timer->timer_id;
}

// Removes every timer with an identifier and returns their number.
int remove_all(int32_t timer_id) {
  int removed = 0;
  const Lock lock(*g_timerList.p_timer_mutex);
  for (TimerNode** place = &g_timerList.head; *place != nullptr;) {
    TimerNode* timer = *place;
    if (timer->timer_id != timer_id) {
      place = &timer->next;
      continue;
    }
    *place = timer->next;
    g_timerList.id_used[timer_id - 1] = 0;
    release(timer);
    --g_timerList.timer_num;
    ++removed;
  }
  return removed;
}

// Fires the earliest timer when it is due: one at most in a tick.
void fire_due(const ClockTime& now) REQUIRES(g_timerList.p_timer_mutex) {
  TimerNode* timer = g_timerList.head;
  if (before(now.sec, now.usec, *timer)) return;
  g_timerList.head = timer->next;
  timer->callback(timer->arg);

  if (timer->periodic == 1) {
    set_expiry(timer, wall_clock::now(), timer->interval);
    insert(timer);
    return;
  }
  // The mark cleared is the next identifier's, not this one's: identifiers of fired timers stay taken, and a live
  // timer's may be given out again. RemoveTimer therefore removes all timers with an identifier.
  if (timer->timer_id >= kMaxTimers) {
    NUVEK_DEBUG_AS("ThreadedTimerCheck", "Fatal ERROR: timer id not in range!");
  } else {
    g_timerList.id_used[timer->timer_id] = 0;
  }
  release(timer);
  --g_timerList.timer_num;
}

void free_mutex() {
  free(g_timerList.p_timer_mutex);
  g_timerList.p_timer_mutex = nullptr;
  ++g_timerFreeCount;
}

void release_mutex() {
  pthread_mutex_destroy(g_timerList.p_timer_mutex->native());
  free_mutex();
}

void tick(ClockTime* last) {
  const Lock lock(*g_timerList.p_timer_mutex);
  const ClockTime now = wall_clock::now();
  if (g_timerList.head != nullptr) {
    checkCPETimeChange(now.sec, now.usec, last->sec, last->usec);
    fire_due(now);
  }
  *last = now;
}

// Nobody adds or removes any more, and the lock is gone.
void release_all() NUVEK_THREAD_SAFETY(no_thread_safety_analysis) {
  while (g_timerList.head != nullptr) {
    TimerNode* timer = g_timerList.head;
    g_timerList.head = timer->next;
    release(timer);
  }
}

void* ThreadedTimerCheck(void*) {
  ClockTime last = wall_clock::now();
  do {
    usleep(kTick_us);
    tick(&last);
  } while (g_timerList.stop == 0);
  NUVEK_DEBUG("Timer Thread Exit");
  release_mutex();
  release_all();
  return nullptr;
}

// Starts the detached thread; a reason for the log when it fails.
const char* start_thread() {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return "\r\nThread attribute creation fail!";
  const char* failure = nullptr;
  if (pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) != 0) {
    failure = "\r\nSet attribute fail!";
  } else if (pthread_create(&g_timerList.thread_id, &attributes, ThreadedTimerCheck, nullptr) != 0) {
    failure = "[timer_init]-->pthread_create  ThreadedTimerCheck failed!";
  }
  pthread_attr_destroy(&attributes);
  return failure;
}

// There is no other thread yet, and no lock.
void clear_list() NUVEK_THREAD_SAFETY(no_thread_safety_analysis) {
  g_timerList.thread_id = {};
  g_timerList.p_timer_mutex = nullptr;
  g_timerList.stop = 0;
  g_timerList.inited = 0;
  g_timerList.head = nullptr;
  for (uint8_t& mark : g_timerList.id_used) mark = 0;
  g_timerList.timer_num = 0;
}

}  // namespace

int timer_init() {
  if (g_timerList.inited == 1) {
    NUVEK_DEBUG("Timer has been inited!");
    return -1;
  }
  clear_list();
  ++g_timerMallocCount;
  void* memory = malloc(sizeof(Mutex));
  if (memory == nullptr) {
    NUVEK_DEBUG("[%s]---malloc faile for  p_timer_mutex  \n", "timer_init");
    return -1;
  }
  g_timerList.p_timer_mutex = new (memory) Mutex;
  if (pthread_mutex_init(g_timerList.p_timer_mutex->native(), nullptr) != 0) {
    NUVEK_DEBUG("timer_init: mutex_init failed!");
    free_mutex();
    return -1;
  }
  if (const char* failure = start_thread()) {
    NUVEK_DEBUG("%s", failure);
    release_mutex();
    return -1;
  }
  g_timerList.inited = 1;
  return 0;
}

void timer_stop() {
  g_timerList.stop = 1;
  g_timerList.inited = 0;
}

int AddTimer(const char* name, uint32_t interval, TimerCallback callback, void* arg, int32_t periodic) {
  return add({"AddTimer", name, interval, interval, callback, arg, periodic});
}

int AddTimer_tmp(const char* name, uint32_t interval, TimerCallback callback, void* arg, int32_t periodic) {
  const Request request{"AddTimer_tmp", name, interval, interval, callback, arg, periodic};
  if (!is_possible(request)) return -1;
  ClockTime now{};
  const TimerNode* timer = add_locked(request, &now);
  return timer == nullptr ? -1 : timer->timer_id;
}

int AddDelayTimer(const char* name, uint32_t delay, uint32_t interval, TimerCallback callback, void* arg,
                  int32_t periodic) {
  const Request request{"AddDelayTimer", name, delay, interval, callback, arg, periodic};
  if (!is_possible(request)) return -1;
  const Lock lock(*g_timerList.p_timer_mutex);
  ClockTime now{};
  const TimerNode* timer = add_locked(request, &now);
  if (timer == nullptr) return -1;
  NUVEK_DEBUG("current tv_sec=%ld,tv_usec=%ld\n", static_cast<long>(now.sec), static_cast<long>(now.usec));
  NUVEK_DEBUG("timer tv_sec=%ld,tv_usec=%ld\n", static_cast<long>(timer->expire_sec),
              static_cast<long>(timer->expire_usec));
  if (periodic == 1) NUVEK_DEBUG("periodic timer");
  return timer->timer_id;
}

int RemoveTimer(int32_t timer_id) {
  if (g_timerList.inited == 0) {
    NUVEK_DEBUG("AddTimer: Timer don not inited");
    return -1;
  }
  if (timer_id <= 0) {
    NUVEK_DEBUG("RemoveTimer: timer_id:%d invalid!\n", timer_id);
    return -1;
  }
  const int removed = remove_all(timer_id);
  if (removed == 0) {
    NUVEK_DEBUG("RemoveTimer: Failed! No Timer in list. timer_id:%d invalid!\n", timer_id);
    return -1;
  }
  if (removed >= 2) NUVEK_DEBUG("Warn: Remove Timer number larger than 1, remove num is [%d]\n", removed);
  return timer_id;
}

int findTimerID() {
  for (int k = 0; k < kMaxTimers; ++k) {
    if (g_timerList.id_used[k] != 0) continue;
    g_timerList.id_used[k] = 1;
    return k;
  }
  NUVEK_DEBUG("findTimerID: Failed to find Time ID for New Timer");
  return -1;
}

void checkCPETimeChange(int32_t now_sec, int32_t now_usec, int32_t last_sec, int32_t last_usec) {
  const int32_t step = text::wrapping_difference(now_sec, last_sec);
  if (step > -kClockStep_s && step < kClockStep_s) return;
  NUVEK_DEBUG("checkCPETimeChange: CPE Time Modified!");
  NUVEK_DEBUG("checkCPETimeChange: Now tv_sec is [%d] u_sec is [%d]\n", now_sec, now_usec);
  NUVEK_DEBUG("checkCPETimeChange: Last tv_sec is [%d] u_sec is [%d]\n", last_sec, last_usec);
  for (TimerNode* timer = g_timerList.head; timer != nullptr; timer = timer->next) {
    timer->expire_sec = text::wrapping_sum(timer->expire_sec, step);
  }
}
