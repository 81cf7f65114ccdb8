// Owns the schedule of the two measurement tasks: when each is due, its start, and noticing its end.
#ifndef NUVEK_AGENT_TASKS_SCHEDULE_H
#define NUVEK_AGENT_TASKS_SCHEDULE_H

#include <atomic>
#include <cstdint>

#include "agent/base/records.h"

extern std::atomic<int32_t>
    g_speedStartUptime;  // uptime in s at which the running speed test started, 0 when none runs

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

// Returns 1, once, when the running speed test has had its time; else 0.
int nuvek_speed_over();

// Digests a text with MD5 into 32 lower-case hexadecimal digits and a terminator.
void nuvek_calculate_md5(const char* text, char* out);

// Returns the system's uptime in seconds, 0 when it cannot be read.
int32_t get_uptime();

// Returns the process id of a running program, 0 when it does not run, -1 when that cannot be found out.
int nuvek_app_running(const char* program);

// Notes now as the last start of a test, without saving.
void nuvek_set_taskTime(int32_t kind);

#endif
