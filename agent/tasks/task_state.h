// Owns the triggers and states of the two measurement tasks.
#ifndef NUVEK_AGENT_TASKS_TASK_STATE_H
#define NUVEK_AGENT_TASKS_TASK_STATE_H

#include <atomic>
#include <cstddef>
#include <cstdint>

enum TaskState : int32_t { kTaskIdle = 0, kTaskStarted = 1, kTaskReported = 3 };

// Both threads touch the fields: the delayed task report runs on the timer thread.
struct NuvekTask {
  std::atomic<uint8_t> speedTrigger;  // 1 = run the speed test now, whatever its cycle says
  std::atomic<uint8_t> traceTrigger;  // the same for the trace-route test
  std::atomic<int32_t> speedState;    // a TaskState
  std::atomic<int32_t> traceState;
  int32_t unused[2];
};
static_assert(sizeof(NuvekTask) == 20 && offsetof(NuvekTask, speedState) == 4 && offsetof(NuvekTask, traceState) == 8,
              "the device's layout");

extern NuvekTask nuvekTask;

// Kinds of measurement task.
constexpr int32_t kSpeedTask = 1;
constexpr int32_t kTraceTask = 2;

// Marks a test (kSpeedTask or kTraceTask) as reported and clears its trigger; any other kind does nothing.
void nuvek_task_setState(int32_t kind);

#endif
