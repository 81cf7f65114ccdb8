// Owns the schedule of the measurement tasks: when each is due, and having its result reported when it has ended.
#ifndef NUVEK_AGENT_TASKS_SCHEDULE_H
#define NUVEK_AGENT_TASKS_SCHEDULE_H

#include <cstdint>

#include "agent/base/records.h"

// Starts each test whose trigger is set or whose cycle has passed and which is not running.
void nuvek_task_process(DevInfo* devinfo, ServerArg* server);

// Reports each test that has ended, and the speed test again while the platform's last result code is not 0. Both
// threads call it; one waits for the other. Returns 0.
int nuvek_task_report(DevInfo* devinfo, ServerArg* server);

// Timer callback: the task report, delayed at the platform's wish.
int nuvek_timer_task_report(void* unused);

// Returns 1 when a test (kSpeedTask, kTraceTask) is due by its cycle: a location has been acknowledged, and
// "ExetaskCycle" hours (minutes while the test switch file exists; 7 days by default) have passed since its last start.
// Else 0.
int nuvek_cycle_arrive(int32_t kind);

#endif
