// Owns how messages show the device: its identity and a location block, as JSON members.
#ifndef NUVEK_AGENT_REPORT_DEVICE_INFO_H
#define NUVEK_AGENT_REPORT_DEVICE_INFO_H

#include "agent/base/records.h"
#include "agent/json/json_build.h"

// The block that the record reports: A for an empty letter, as for "A"; B for every other text.
Block reported_block(const ReportInfo& report);

// Refreshes DeviceTime and adds {"NUVEK":{"DeviceInfo":{...}}} to `params`, 20 string members.
void nuvek_create_deviceInfo(DevInfo* devinfo, json::Value& params);

// Adds the five location values, "Long" to "VerticalError", to `object`: each cut to 15 characters, and a zero where
// the block has none.
void add_location_values(json::Value& object, const GisInfo& block);

#endif
