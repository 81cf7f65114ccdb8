// Owns the measurement tasks as a table: a row for each, by which they are triggered, started, found to have ended,
// reported and answered; and the record of their triggers and states.
#ifndef NUVEK_AGENT_TASKS_TASK_H
#define NUVEK_AGENT_TASKS_TASK_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "agent/base/records.h"
#include "agent/base/stamp.h"

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

// One measurement. Its file has the three functions; nothing else of the agent knows it but for its object path
// (link/object_path).
struct Task {
  int32_t kind;
  const char* object_path;
  Stamp& stamp;               // its last start
  const char* cycle_arrived;  // what the log says when its cycle makes it due
  bool backs_off;             // the platform may ask for its result again, later (tasks/back_off)
  std::atomic<uint8_t>& trigger;
  std::atomic<int32_t>& state;
  void (*start)(const DevInfo& devinfo);  // calls nuvek_task_started()
  bool (*is_over)();                      // asked in each turn
  void (*report)(DevInfo* devinfo, ServerArg* server);
};

constexpr size_t kTaskCount = 2;
extern const Task kTasks[kTaskCount];

// Kinds of measurement task.
constexpr int32_t kSpeedTask = 1;
constexpr int32_t kTraceTask = 2;

// The row of a kind; null for another number.
const Task* task_of_kind(int32_t kind);

// The row of an object path; null when it is no task's.
const Task* task_of_path(const char* object_path);

// Marks a task (kSpeedTask or kTraceTask) as started now. Any other kind does nothing.
void nuvek_task_started(int32_t kind);

// Notes now as the last start of a task, without saving.
void nuvek_set_taskTime(int32_t kind);

// Marks a task as reported and clears its trigger.
void nuvek_task_setState(int32_t kind);

#endif
