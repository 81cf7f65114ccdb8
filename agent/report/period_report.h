// Owns the periodic report: once a cycle the agent names itself to the platform, which answers with what it wants to
// ask.
#ifndef NUVEK_AGENT_REPORT_PERIOD_REPORT_H
#define NUVEK_AGENT_REPORT_PERIOD_REPORT_H

#include "agent/base/records.h"

// Sends a periodic report when location block A has been acknowledged and more than a cycle ("ReportCycle" minutes, a
// day by default) has passed since the last attempt, or the last attempt lies in the future.
void nuvek_cycle_report(DevInfo* devinfo);

// Notes now as the time of the last attempt; it reaches flash with the next save of any room.
void nuvek_set_lastInformTime();

// Connects when needed, sends ["<uuid>"] and counts the outcome. Returns 0 when it was sent, else -1.
int nuvek_period_report(DevInfo* devinfo);

#endif
