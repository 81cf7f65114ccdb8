// Owns the registration report, "Inform0": the message that tells the platform the device and its location, the two
// rules that send it, and the platform's acknowledgement.
#ifndef NUVEK_AGENT_REPORT_REGISTRATION_H
#define NUVEK_AGENT_REPORT_REGISTRATION_H

#include <cstdint>

#include "agent/base/records.h"

extern int32_t g_defaultReportDone;  // 1 once the default report has been sent in this run

// Sends an Inform0 in every turn while the store has a location block A that the platform has not acknowledged.
void nuvek_first_report(DevInfo* devinfo);

// Sends one Inform0 in this run when no block has been acknowledged for "DefaultFirstReportTime" minutes (30 by
// default) after the first synchronised turn.
void nuvek_default_report(DevInfo* devinfo);

// Notes that the platform has acknowledged a location block, in memory and in the store, and triggers the measurement
// tasks.
void nuvek_set_alreadyReport(Block block);

#endif
