// Owns the registration report, "Inform0": the message that tells the platform the device and its location, and the two
// rules that send it.
#ifndef NUVEK_AGENT_REPORT_REGISTRATION_H
#define NUVEK_AGENT_REPORT_REGISTRATION_H

#include <atomic>
#include <cstdint>

#include "agent/base/records.h"
#include "platform/mjson.h"

extern int32_t g_defaultReportDone;  // 1 once the default report has been sent in this run

// Builds and sends one Inform0; makes the device's UUID first when there is none. Does nothing when the platform cannot
// be reached; a failed send is only logged. The platform's answer, not the sending, counts as acknowledgement.
void nuvek_report(DevInfo* devinfo);

// Notes the message identifier and the letter of the reported block in the record.
void nuvek_set_reportInfo(DevInfo* devinfo, int32_t message_id);

// Refreshes DeviceTime and adds {"NUVEK":{"DeviceInfo":{...}}} to `params`, 20 string members.
void nuvek_create_deviceInfo(DevInfo* devinfo, json_value* params);

// Sends an Inform0 in every turn while the store has a location block A that the platform has not acknowledged.
void nuvek_first_report(DevInfo* devinfo);

// Returns 1, and mode 1, when the first report is due; else 0.
int nuvek_check_firstReport(int32_t* mode);

// Sends one Inform0 in this run when no block has been acknowledged for "DefaultFirstReportTime" minutes (30 by
// default) after the first synchronised turn.
void nuvek_default_report(DevInfo* devinfo);

// The text that a location value is reported with, as every message has it: `value`, or `fallback` when it is empty,
// cut to 15 characters.
class LocationText {
 public:
  LocationText(const char* value, const char* fallback);
  const char* c_str() const { return text_; }

 private:
  char text_[16];
};

// Adds the five location values, "Long" to "VerticalError", to `object`.
void add_location_values(json_value* object, const GisInfo& block);

#endif
