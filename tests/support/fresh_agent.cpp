#include "tests/support/fresh_agent.h"

#include <cstring>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/base/log.h"
#include "agent/base/records.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/link/object_path.h"
#include "agent/report/period_report_steps.h"
#include "agent/report/registration_steps.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/schedule.h"
#include "agent/tasks/speed_test.h"
#include "agent/tasks/task.h"

void reset_agent() {
  memset(static_cast<void*>(&g_devinfo), 0, sizeof g_devinfo);
  memset(g_server_Arg.hostIp, 0, sizeof g_server_Arg.hostIp);
  memset(g_server_Arg.urlPath, 0, sizeof g_server_Arg.urlPath);
  strcpy(g_server_Arg.urlPath, "/reg/");
  g_server_Arg.fd = -1;
  nuvekReport = {};
  memset(g_platdomain, 0, sizeof g_platdomain);
  memset(g_platdomainList, 0, sizeof g_platdomainList);
  curtime = {};
  curtime_his = {};
  nuvekDebug = 0;
  nuvekDebugPrintf = 0;
  for (auto* counter : {&g_CntNum.SuccessTask, &g_CntNum.FailTask, &g_CntNum.FailInform, &g_CntNum.SuccessInform,
                        &g_CntNum.FailResult, &g_CntNum.SuccessResult}) {
    *counter = 0;
  }
  g_cntSaveCount = 0;
  g_lastInformInit = 0;
  g_last_inform = Stamp(attr::kLastInformTime);
  task_of_kind(kSpeedTask)->stamp = Stamp(attr::kLastSpeedTime);
  task_of_kind(kTraceTask)->stamp = Stamp(attr::kLastTraceTime);
  g_defaultReportDone = 0;
  nuvekTask.speedTrigger = nuvekTask.traceTrigger = 0;
  nuvekTask.speedState = nuvekTask.traceState = kTaskIdle;
  g_speedStartUptime = 0;
  g_selectTimeoutSec = 1;
  g_RPCResultRes = 0;
  g_delaySessionTime = 0;
  g_resultRetryCount = 0;
  g_resultTimerId = 0;
  back_off::result_came(nullptr, 0);  // forgets a timer that is missing
  for (ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) entry->id = 0;
  store::g_refusal_told = false;
}
