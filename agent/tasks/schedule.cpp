#include "agent/tasks/schedule.h"

#include "agent/base/clock.h"
#include "agent/base/file.h"
#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/task.h"

namespace {

constexpr int32_t kDefaultCycle_s = 604800;
constexpr char kTestSwitch[] = "/var/nuvekTaskTest";

Mutex g_report_lock;  // a test that has ended is reported once, by whichever thread sees it first

int32_t task_cycle_s() {
  char cycle[16] = "";
  if (!store::read(node::kServer, attr::kExetaskCycle, cycle)) return kDefaultCycle_s;
  const bool in_minutes = file::exists(kTestSwitch);
  const int32_t cycle_s = text::wrapping_product(text::to_int32(cycle), in_minutes ? 60 : 3600);
  return cycle_s == 0 ? kDefaultCycle_s : cycle_s;
}

void report_ended(DevInfo* devinfo, ServerArg* server) REQUIRES(g_report_lock) {
  for (const Task& task : kTasks) {
    const bool wanted_again = task.backs_off && nuvek_get_RPCResultRes() != 0;
    if (task.is_over() || wanted_again) task.report(devinfo, server);
  }
}

}  // namespace

void nuvek_task_process(DevInfo* devinfo, ServerArg*) {
  for (const Task& task : kTasks) {
    const bool due = task.trigger == 1 || nuvek_cycle_arrive(task.kind) == 1;
    if (due && task.state != kTaskStarted) task.start(*devinfo);
  }
}

int nuvek_task_report(DevInfo* devinfo, ServerArg* server) {
  const Lock lock(g_report_lock);
  report_ended(devinfo, server);
  return 0;
}

int nuvek_timer_task_report(void*) { return nuvek_task_report(&g_devinfo, &g_server_Arg); }

int nuvek_cycle_arrive(int32_t kind) {
  const Task* task = task_of_kind(kind);
  if (task == nullptr) return 0;
  if (nuvekReport.aReported != 1 && nuvekReport.bReported != 1) return 0;
  const int32_t cycle_s = task_cycle_s();
  const int32_t last_s = task->stamp.read();
  if (last_s == 0) return 0;  // a test that has never run waits for its trigger
  const int32_t passed_s = text::wrapping_difference(wall_clock::now().sec, last_s);
  if (static_cast<uint32_t>(passed_s) < static_cast<uint32_t>(cycle_s)) return 0;
  NUVEK_DEBUG("%s", task->cycle_arrived);
  return 1;
}
