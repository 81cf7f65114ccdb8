// The steps of the periodic report, for tests.
#ifndef NUVEK_AGENT_REPORT_PERIOD_REPORT_STEPS_H
#define NUVEK_AGENT_REPORT_PERIOD_REPORT_STEPS_H

#include "agent/base/stamp.h"
#include "agent/report/period_report.h"

extern Stamp g_last_inform;  // the last attempt

// Notes now as the time of the last attempt; it reaches flash with the next save of any room.
void nuvek_set_lastInformTime();

// Connects when needed, sends ["<uuid>"] and counts the outcome. Returns 0 when it was sent, else -1.
int nuvek_period_report(DevInfo* devinfo);

#endif
