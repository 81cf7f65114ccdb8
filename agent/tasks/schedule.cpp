#include "agent/tasks/schedule.h"

#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/ident/md5.h"
#include "agent/tasks/result_state.h"
#include "agent/tasks/speed_test.h"
#include "agent/tasks/task_state.h"
#include "agent/tasks/trace_route.h"

std::atomic<int32_t> g_speedStartUptime;

namespace {

constexpr int32_t kDefaultCycle_s = 604800;
constexpr int32_t kSpeedTestTime_s = 40;
constexpr int kSpeedTestRun_s = 30;  // how long the helper program is asked to measure
constexpr char kTestSwitch[] = "/var/nuvekTaskTest";
constexpr char kPidFile[] = "/tmp/app_check.pid";

Mutex g_report_lock;

// The store attribute that holds the last start of a test; null for another kind.
const char* time_attribute(int32_t kind) {
  if (kind == kSpeedTask) return "LastSpeedTime";
  if (kind == kTraceTask) return "LastTraceTime";
  return nullptr;
}

// A helper that cannot be started counts as started: its result is then empty, and the platform sees that.
void run(const char* command) {
  const int result = system(command);
  static_cast<void>(result);
}

int32_t task_cycle_s() {
  char cycle[16] = "";
  if (!store::read("nuvek_Server", "ExetaskCycle", cycle)) return kDefaultCycle_s;
  const bool in_minutes = access(file::Path(kTestSwitch).c_str(), F_OK) == 0;
  const int32_t cycle_s = text::wrapping_product(text::to_int32(cycle), in_minutes ? 60 : 3600);
  return cycle_s == 0 ? kDefaultCycle_s : cycle_s;
}

void start_speed_test(const DevInfo& devinfo) {
  g_speedStartUptime = get_uptime();
  char code[kMd5TextSize];
  nuvek_calculate_md5(devinfo.UUID, code);
  char command[160];
  snprintf(command, sizeof command, "httpSpeed -u %s/%s -t %d -n 6 -e &", g_RemoteSerDomain.speedUrl1, code,
           kSpeedTestRun_s);
  printf("cmdLine[%s]\n", command);
  run(command);
}

void start_trace_route() {
  char command[320];
  snprintf(command, sizeof command, "traceroute  -i %s > %s &", g_RemoteSerDomain.traceHost,
           file::Path(kTraceOutput).c_str());
  NUVEK_DEBUG_AS("nuvek_task_process", "cmd:%s", command);
  run(command);
}

}  // namespace

void nuvek_task_process(DevInfo* devinfo, ServerArg*) {
  if ((nuvekTask.speedTrigger == 1 || nuvek_cycle_arrive(kSpeedTask) == 1) && nuvekTask.speedState != kTaskStarted) {
    NUVEK_DEBUG("deviceinfo->UUID:%s\n", devinfo->UUID);
    nuvekTask.speedState = kTaskStarted;
    nuvek_set_taskTime(kSpeedTask);
    start_speed_test(*devinfo);
  }
  if ((nuvekTask.traceTrigger == 1 || nuvek_cycle_arrive(kTraceTask) == 1) && nuvekTask.traceState != kTaskStarted) {
    nuvek_set_taskTime(kTraceTask);
    nuvekTask.traceState = kTaskStarted;
    start_trace_route();
  }
}

int nuvek_task_report(DevInfo* devinfo, ServerArg* server) {
  const Lock lock(g_report_lock);
  if (nuvek_speed_over() == 1 || nuvek_get_RPCResultRes() != 0) nuvek_speed_test_Report(devinfo, server);
  if (nuvekTask.traceState != kTaskStarted || nuvek_app_running("traceroute") > 0) return 0;
  nuvek_save_Counter(kSuccessTask);
  if (nuvek_get_RPCResultRes() == 0) nuvek_trace_test_Report(devinfo, server);
  return 0;
}

int nuvek_timer_task_report(void*) { return nuvek_task_report(&g_devinfo, &g_server_Arg); }

int nuvek_cycle_arrive(int32_t kind) {
  const char* attribute = time_attribute(kind);
  if (attribute == nullptr) return 0;
  if (nuvekReport.aReported != 1 && nuvekReport.bReported != 1) return 0;
  const int32_t cycle_s = task_cycle_s();
  char last[16] = "";
  store::read("nuvek_Common", attribute, last);
  const int32_t last_s = text::to_int32(last);
  if (last_s == 0) return 0;  // a test that has never run waits for its trigger
  const int32_t passed_s = text::wrapping_difference(wall_clock::now().sec, last_s);
  if (static_cast<uint32_t>(passed_s) < static_cast<uint32_t>(cycle_s)) return 0;
  NUVEK_DEBUG(kind == kSpeedTask ? "speed cycle arrived" : "tracert cycle arrived");
  return 1;
}

int nuvek_speed_over() {
  const int32_t start_s = g_speedStartUptime;
  if (start_s == 0) return 0;
  if (get_uptime() <= text::wrapping_sum(start_s, kSpeedTestTime_s)) return 0;
  NUVEK_DEBUG("nuvek_speed_over ");
  g_speedStartUptime = 0;
  return 1;
}

void nuvek_calculate_md5(const char* text, char* out) {
  memset(out, 0, kMd5TextSize);
  NUVEK_DEBUG("before MD5 string: %s", text);
  MD5Context context;
  uint8_t digest[kMd5DigestSize];
  MD5Init(&context);
  MD5Update(&context, text, strlen(text));
  MD5Final(digest, &context);
  MD5toString(digest, out);
}

int32_t get_uptime() {
  struct sysinfo info {};
  const int result = sysinfo(&info);
  if (result != 0) {
    printf("get_uptime code error = %d\n", result);
    return 0;
  }
  return static_cast<int32_t>(info.uptime);
}

int nuvek_app_running(const char* program) {
  const file::Path path(kPidFile);
  char command[320];
  snprintf(command, sizeof command, "pidof %s > %s", program, path.c_str());
  run(command);
  char pid[6] = "";
  {
    const file::Stream pids = file::open(path, "r");
    if (pids == nullptr) return -1;
    if (fgets(pid, sizeof pid, pids.get()) == nullptr) pid[0] = '\0';
  }
  unlink(path.c_str());
  if (char* blank = strchr(pid, ' ')) *blank = '\0';
  return text::to_int32(pid);
}

void nuvek_set_taskTime(int32_t kind) {
  const char* attribute = time_attribute(kind);
  if (attribute != nullptr) store::write_number("nuvek_Common", attribute, wall_clock::now().sec);
}
