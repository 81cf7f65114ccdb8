#include "agent/tasks/task_state.h"

NuvekTask nuvekTask;

void nuvek_task_setState(int32_t kind) {
  if (kind == kSpeedTask) {
    nuvekTask.speedState = kTaskReported;
    nuvekTask.speedTrigger = 0;
  }
  if (kind == kTraceTask) {
    nuvekTask.traceState = kTaskReported;
    nuvekTask.traceTrigger = 0;
  }
}
