// Owns the back-off: what the platform's answer to a result leaves behind. Its code, not 0, holds the measurements; an
// overloaded platform gets the speed test's result again later, each time after twice the delay.
#ifndef NUVEK_AGENT_TASKS_BACK_OFF_H
#define NUVEK_AGENT_TASKS_BACK_OFF_H

#include <sys/time.h>

#include <atomic>
#include <cstdint>

#include "agent/tasks/task.h"

// Both threads use these.
extern std::atomic<int32_t> g_selectTimeoutSec;  // wait of one main-loop turn, seconds
extern std::atomic<int32_t> g_RPCResultRes;      // code of the last ResultResponse; not 0 holds the task steps
extern std::atomic<int32_t> g_delaySessionTime;  // back-off of the next task report, seconds
extern std::atomic<int32_t> g_resultRetryCount;  // back-offs asked for in this run, never reset
extern std::atomic<int32_t> g_resultTimerId;     // timer of the last back-off, 0 before the first

namespace back_off {

// Once a turn: whether the task steps may run. When they may, the last back-off's timer is removed.
bool tasks_may_run();

// The platform has answered a result with `code`: ends the test it belongs to (`task`, null when it is nobody's), and
// for -3 and -2 to a task that backs off arms the delayed report.
void result_came(const Task* task, int32_t code);

}  // namespace back_off

// The wait of one main-loop turn.
void nuvek_get_selectTimeout(timeval* timeout);
void nuvek_set_selectTimeout(int32_t seconds);

// Sets the back-off: 5 s for 0, else 10 * 2^(n - 1) s, with n taken as 10 when it is more.
void nuvek_set_delaySessionTime(int32_t n);
int32_t nuvek_get_delaySessionTime();
int32_t nuvek_get_defaultDelay();

void nuvek_set_RPCResultRes(int32_t code);
int32_t nuvek_get_RPCResultRes();

#endif
