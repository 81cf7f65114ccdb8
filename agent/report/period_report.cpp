#include "agent/report/period_report.h"

#include <cstdio>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/base/log.h"
#include "agent/base/stamp.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/link/http_request.h"
#include "agent/report/period_report_steps.h"

int32_t g_lastInformInit;

namespace {

constexpr int32_t kDefaultCycle_s = 86400;

}  // namespace

Stamp g_last_inform(attr::kLastInformTime);

void nuvek_seed_lastInformTime() {
  if (g_lastInformInit != 0 || nuvek_check_timeSync() == 0) return;
  if (g_last_inform.is_set()) return;
  nuvek_set_lastInformTime();
  g_lastInformInit = 1;
}

void nuvek_cycle_report(DevInfo* devinfo) {
  curtime = wall_clock::now();
  const int32_t last_s = g_last_inform.read();
  char minutes[16] = "";
  store::read(node::kServer, attr::kReportCycle, minutes);
  int32_t cycle_s = text::wrapping_product(text::to_int32(minutes), 60);
  if (cycle_s == 0) cycle_s = kDefaultCycle_s;

  if (nuvekReport.aReported != 1) return;
  // Unsigned: a last time ahead of the clock is a huge difference, so a clock that went back cannot silence the
  // reports.
  const int32_t passed_s = text::wrapping_difference(curtime.sec, last_s);
  if (static_cast<uint32_t>(cycle_s) >= static_cast<uint32_t>(passed_s)) return;
  nuvek_set_lastInformTime();
  nuvek_period_report(devinfo);
}

void nuvek_set_lastInformTime() {
  curtime = wall_clock::now();
  g_last_inform.write(curtime.sec);
}

int nuvek_period_report(DevInfo* devinfo) {
  NUVEK_DEBUG("Enter");
  int result = 0;
  {
    const ReportLink link(__func__);
    link.open();
    char body[sizeof devinfo->UUID + sizeof "[\"\"]"];
    snprintf(body, sizeof body, "[\"%s\"]", devinfo->UUID);
    result = link.send(body);
  }
  nuvek_save_Counter(result == 0 ? kSuccessInform : kFailInform);
  return result;
}
