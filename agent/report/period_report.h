// Owns the periodic report: once a cycle the agent names itself to the platform, which answers with what it wants to
// ask.
#ifndef NUVEK_AGENT_REPORT_PERIOD_REPORT_H
#define NUVEK_AGENT_REPORT_PERIOD_REPORT_H

#include <cstdint>

#include "agent/base/records.h"

// Sends a periodic report when location block A has been acknowledged and more than a cycle ("ReportCycle" minutes, a
// day by default) has passed since the last attempt, or the last attempt lies in the future.
void nuvek_cycle_report(DevInfo* devinfo);

// When the clock is synchronised and the store has no time of a last attempt, makes it now, without saving: the cycle
// then counts from here.
void nuvek_seed_lastInformTime();

extern int32_t g_lastInformInit;  // 1 once this run has done so

#endif
