// The steps of the registration, for tests.
#ifndef NUVEK_AGENT_REPORT_REGISTRATION_STEPS_H
#define NUVEK_AGENT_REPORT_REGISTRATION_STEPS_H

#include "agent/report/registration.h"

// Builds and sends one Inform0; makes the device's UUID first when there is none. Does nothing when the platform cannot
// be reached; a failed send is only logged. The platform's answer, not the sending, counts as acknowledgement.
void nuvek_report(DevInfo* devinfo);

// Notes the message identifier and the letter of the reported block in the record.
void nuvek_set_reportInfo(DevInfo* devinfo, int32_t message_id);

// Returns 1, and in *mode the set of blocks to report (block_bit), when the first report is due; else 0.
int nuvek_check_firstReport(int32_t* mode);

#endif
