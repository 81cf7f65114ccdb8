#include "agent/tasks/back_off.h"

#include <cerrno>

#include "agent/base/log.h"
#include "agent/tasks/schedule.h"
#include "agent/timer/timer.h"

std::atomic<int32_t> g_selectTimeoutSec{1};
std::atomic<int32_t> g_RPCResultRes;
std::atomic<int32_t> g_delaySessionTime;
std::atomic<int32_t> g_resultRetryCount;
std::atomic<int32_t> g_resultTimerId;

namespace {

constexpr int32_t kDefaultDelay_s = 5;
constexpr int32_t kFirstBackOff_s = 10;
constexpr int32_t kLongestBackOffStep = 10;
constexpr int32_t kSelectTimeout_s = 1;

// There was no memory for the timer of a delayed report: a later turn adds it. Without it the platform, which hears of
// no result any more, would never lift its back-off, and no measurement would run again. Main thread only.
bool g_timer_missing;

bool asks_for_later(int32_t code) { return code == -3 || code == -2; }

// A refusal because all timers are taken stays: the platform has been promised sixteen reports already.
void add_timer() {
  const uint32_t delay_ms = static_cast<uint32_t>(nuvek_get_delaySessionTime()) * 1000;
  const int32_t id = AddTimer(nullptr, delay_ms, nuvek_timer_task_report, nullptr, 0);
  g_timer_missing = id == -1 && errno == ENOMEM;
  g_resultTimerId = id;
}

}  // namespace

bool back_off::tasks_may_run() {
  if (nuvek_get_RPCResultRes() != 0) {
    if (g_timer_missing) add_timer();
    return false;
  }
  // The identifier stays: each turn asks again for a timer that is long gone, which must do no harm.
  if (g_resultTimerId != 0) RemoveTimer(g_resultTimerId);
  return true;
}

void back_off::result_came(const Task* task, int32_t code) {
  nuvek_set_RPCResultRes(code);
  g_timer_missing = false;
  if (task == nullptr) return;
  nuvek_task_setState(task->kind);
  if (!task->backs_off) return;
  if (asks_for_later(code)) {
    nuvek_set_selectTimeout(kSelectTimeout_s);
    nuvek_set_delaySessionTime(++g_resultRetryCount);
    add_timer();
  } else if (code == 0) {
    nuvek_set_delaySessionTime(0);
  }
}

void nuvek_get_selectTimeout(timeval* timeout) {
  timeout->tv_sec = g_selectTimeoutSec;
  timeout->tv_usec = 0;
}

void nuvek_set_selectTimeout(int32_t seconds) { g_selectTimeoutSec = seconds; }

void nuvek_set_delaySessionTime(int32_t n) {
  if (n <= 0) {  // nobody asks for less than 0
    g_delaySessionTime = kDefaultDelay_s;
    return;
  }
  const int32_t step = n < kLongestBackOffStep ? n : kLongestBackOffStep;
  g_delaySessionTime = kFirstBackOff_s << (step - 1);
  NUVEK_DEBUG("n :%d, delay session time:%d", step, nuvek_get_delaySessionTime());
}

int32_t nuvek_get_delaySessionTime() { return g_delaySessionTime; }

int32_t nuvek_get_defaultDelay() { return kDefaultDelay_s; }

void nuvek_set_RPCResultRes(int32_t code) { g_RPCResultRes = code; }

int32_t nuvek_get_RPCResultRes() { return g_RPCResultRes; }
