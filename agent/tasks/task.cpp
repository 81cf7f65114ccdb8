#include "agent/tasks/task.h"

#include <cstring>

#include "agent/base/clock.h"
#include "agent/base/store_names.h"
#include "agent/tasks/speed_test.h"
#include "agent/tasks/trace_route.h"

NuvekTask nuvekTask;

namespace {

Stamp g_last_speed(attr::kLastSpeedTime);
Stamp g_last_trace(attr::kLastTraceTime);

}  // namespace

const Task kTasks[kTaskCount] = {
    {kSpeedTask, kSpeedPath, g_last_speed, "speed cycle arrived", true, nuvekTask.speedTrigger, nuvekTask.speedState,
     speed_test::start, speed_test::is_over, nuvek_speed_test_Report},
    {kTraceTask, kTracePath, g_last_trace, "tracert cycle arrived", false, nuvekTask.traceTrigger, nuvekTask.traceState,
     trace_route::start, trace_route::is_over, trace_route::report},
};

const Task* task_of_kind(int32_t kind) {
  for (const Task& task : kTasks) {
    if (task.kind == kind) return &task;
  }
  return nullptr;
}

const Task* task_of_path(const char* object_path) {
  for (const Task& task : kTasks) {
    if (strcmp(object_path, task.object_path) == 0) return &task;
  }
  return nullptr;
}

void nuvek_task_started(int32_t kind) {
  const Task* task = task_of_kind(kind);
  if (task == nullptr) return;
  task->state = kTaskStarted;
  nuvek_set_taskTime(kind);
}

void nuvek_set_taskTime(int32_t kind) {
  const Task* task = task_of_kind(kind);
  if (task != nullptr) task->stamp.write(wall_clock::now().sec);
}

void nuvek_task_setState(int32_t kind) {
  const Task* task = task_of_kind(kind);
  if (task == nullptr) return;
  task->state = kTaskReported;
  task->trigger = 0;
}
