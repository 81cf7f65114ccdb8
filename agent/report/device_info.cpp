#include "agent/report/device_info.h"

#include <cstring>
#include <ctime>

#include "agent/base/log.h"
#include "agent/base/text.h"

namespace {

// Writes local time as 14 digits into the field. West of UTC the zone has no '+' to cut at, and the platform gets 16
// characters and, since they fill the field, the registration identifier that follows.
void refresh_device_time(DevInfo* devinfo) {
  char formatted[64] = "";
  const time_t now = time(nullptr);
  const tm* local = localtime(&now);
  const size_t length = local == nullptr ? 0 : strftime(formatted, sizeof formatted - 1, "%Y%m%d%H%M%S%z", local);
  if (length == 0) return;
  const char* plus = strchr(formatted, '+');
  size_t copied = sizeof devinfo->DeviceTime;
  if (plus != nullptr && static_cast<size_t>(plus - formatted) < copied) copied = static_cast<size_t>(plus - formatted);
  memcpy(devinfo->DeviceTime, formatted, copied);
}

}  // namespace

Block reported_block(const ReportInfo& report) {
  const size_t length = strnlen(report.GISInterface, sizeof report.GISInterface);
  return strncmp(report.GISInterface, kBlocks[kBlockA].letter, length) == 0 ? kBlockA : kBlockB;
}

void nuvek_create_deviceInfo(DevInfo* devinfo, json::Value& params) {
  static constexpr DeviceText kMembers[] = {kOperatorID, kVendorID, kModelStr,    kSoftVer,    kSerialNum, kWANMAC,
                                            kDevMAC,     kUplink,   kProtocolVer, kDeviceTime, kRegID};
  refresh_device_time(devinfo);
  NUVEK_DEBUG("Enter");
  json::Value device = json::Value::object();
  for (const DeviceText text : kMembers) {
    json_AddStringToObject(device, kDeviceTexts[text].name, text_of(*devinfo, text));
  }
  const ReportInfo& report = devinfo->reportInfo;
  json_AddStringToObject(device, kLocationTexts[kGISInterface].name, record_text(*devinfo, report.GISInterface));

  const GisInfo& block = report.*kBlocks[reported_block(report)].info;
  for (const LocationText text : {kAreaCode, kGISLockTime, kGISDigest}) {
    json_AddStringToObject(device, kLocationTexts[text].name, text_of(block, text));
  }
  add_location_values(device, block);
  json::Value wrapper = json::Value::object();
  json_AddItemToObject(wrapper, "DeviceInfo", std::move(device));
  json_AddItemToObject(params, "NUVEK", std::move(wrapper));
  NUVEK_DEBUG("exit");
}

void add_location_values(json::Value& object, const GisInfo& block) {
  for (const LocationText text : {kLong, kLat, kAltitudes, kHorizontalError, kVerticalError}) {
    const char* zero = text == kLong || text == kLat ? "0.00000" : "0.0";
    const char* value = text_of(block, text);
    char shown[16];  // the platform takes at most 15 characters
    text::copy_escaped(shown, sizeof shown, value[0] == '\0' ? zero : value);
    json_AddStringToObject(object, kLocationTexts[text].name, shown);
  }
}
