#include "agent/report/period_report.h"

#include <cstdio>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/link/http_request.h"

namespace {

constexpr int32_t kDefaultCycle_s = 86400;

}  // namespace

void nuvek_cycle_report(DevInfo* devinfo) {
  curtime = wall_clock::now();
  char last_s[16] = "";
  store::read("nuvek_Common", "LastInformTime", last_s);
  char minutes[16] = "";
  store::read("nuvek_Server", "ReportCycle", minutes);
  int32_t cycle_s = text::wrapping_product(text::to_int32(minutes), 60);
  if (cycle_s == 0) cycle_s = kDefaultCycle_s;

  if (nuvekReport.aReported != 1) return;
  // Unsigned: a last time ahead of the clock is a huge difference, so a clock that went back cannot silence the
  // reports.
  const int32_t passed_s = text::wrapping_difference(curtime.sec, text::to_int32(last_s));
  if (static_cast<uint32_t>(cycle_s) >= static_cast<uint32_t>(passed_s)) return;
  nuvek_set_lastInformTime();
  nuvek_period_report(devinfo);
}

void nuvek_set_lastInformTime() {
  curtime = wall_clock::now();
  store::write_number("nuvek_Common", "LastInformTime", curtime.sec);
}

int nuvek_period_report(DevInfo* devinfo) {
  NUVEK_DEBUG("Enter");
  int result = 0;
  {
    const ReportLink link(__func__);
    link.open();
    char body[kBodySize];
    snprintf(body, sizeof body, "[\"%s\"]", devinfo->UUID);
    result = link.send(body);
  }
  nuvek_save_Counter(result == 0 ? kSuccessInform : kFailInform);
  return result;
}
