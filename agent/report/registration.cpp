#include "agent/report/registration.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "agent/base/clock.h"
#include "agent/base/config.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/ident/message_id.h"
#include "agent/ident/uuid.h"
#include "agent/json/json_build.h"
#include "agent/link/http_request.h"

int32_t g_defaultReportDone;

namespace {

constexpr int32_t kDefaultReportDelay_s = 1800;
constexpr int32_t kModeBlockA = 1;
constexpr size_t kLocationTextSize = 16;

// An empty letter chooses block A, as "A" does; every other text chooses block B.
bool reports_block_a(const ReportInfo& report) {
  return strncmp(report.GISInterface, "A", strnlen(report.GISInterface, sizeof report.GISInterface)) == 0;
}

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

LocationText::LocationText(const char* value, const char* fallback) {
  static_assert(sizeof text_ == kLocationTextSize, "the platform takes at most 15 characters");
  text::copy(text_, value[0] == '\0' ? fallback : value);
}

void add_location_values(json_value* object, const GisInfo& block) {
  const struct {
    const char* name;
    const char* value;
    const char* fallback;
  } members[] = {
      {"Long", block.Long, "0.00000"},
      {"Lat", block.Lat, "0.00000"},
      {"Altitudes", block.Altitudes, "0.0"},
      {"HorizontalError", block.HorizontalError, "0.0"},
      {"VerticalError", block.VerticalError, "0.0"},
  };
  for (const auto& member : members) {
    json_AddStringToObject(object, member.name, LocationText(member.value, member.fallback).c_str());
  }
}

void nuvek_report(DevInfo* devinfo) {
  NUVEK_DEBUG("Enter");
  const ReportLink link(__func__);
  if (devinfo->UUID[0] == '\0') nuvek_create_uuid(devinfo);
  if (!link.connect()) return;

  const int32_t id = nuvek_generateId();
  nuvek_set_reportInfo(devinfo, id);
  char body[kBodySize];
  {
    const json::Message message;
    json_AddStringToObject(message.root(), "RPCMethod", "Inform0");
    json_AddNumberToObject(message.root(), "ID", id);
    json_AddStringToObject(message.root(), "ObjectPath", "NUVEK.DeviceInfo");
    json_value* params = json_new_object();
    nuvek_create_deviceInfo(devinfo, params);
    json_AddItemToObject(message.root(), "Params", params);
    message.print_body(body, sizeof body, devinfo->UUID);
  }
  NUVEK_DEBUG("send_buf:%s", body);
  NUVEK_DEBUG("g_server_Arg.fd:%d", g_server_Arg.fd.load());
  link.send(body);
}

void nuvek_set_reportInfo(DevInfo* devinfo, int32_t message_id) {
  ReportInfo& report = devinfo->reportInfo;
  report.ReportID = message_id;
  report.GISInfc = reports_block_a(report) ? 'A' : 'B';
  NUVEK_DEBUG("deviceinfo->reportInfo.GISInfc:%c", report.GISInfc);
}

void nuvek_create_deviceInfo(DevInfo* devinfo, json_value* params) {
  refresh_device_time(devinfo);
  NUVEK_DEBUG("Enter");
  json_value* wrapper = json_new_object();
  json_value* device = json_new_object();
  const struct {
    const char* name;
    const char* field;
  } members[] = {
      {"OperatorID", devinfo->OperatorID},
      {"VendorID", devinfo->VendorID},
      {"ModelStr", devinfo->ModelStr},
      {"SoftVer", devinfo->SoftVer},
      {"SerialNum", devinfo->SerialNum},
      {"WANMAC", devinfo->WANMAC},
      {"DevMAC", devinfo->DevMAC},
      {"Uplink", devinfo->Uplink},
      {"ProtocolVer", devinfo->ProtocolVer},
      {"DeviceTime", devinfo->DeviceTime},
      {"RegID", devinfo->RegID},
      {"GISInterface", devinfo->reportInfo.GISInterface},
  };
  for (const auto& member : members) json_AddStringToObject(device, member.name, record_text(*devinfo, member.field));

  const ReportInfo& report = devinfo->reportInfo;
  const GisInfo& block = reports_block_a(report) ? report.GISInfoA : report.GISInfoB;
  json_AddStringToObject(device, "AreaCode", block.AreaCode);
  json_AddStringToObject(device, "GISLockTime", block.GISLockTime);
  json_AddStringToObject(device, "GISDigest", block.GISDigest);
  add_location_values(device, block);
  json_AddItemToObject(wrapper, "DeviceInfo", device);
  json_AddItemToObject(params, "NUVEK", wrapper);
  NUVEK_DEBUG("exit");
}

void nuvek_first_report(DevInfo* devinfo) {
  int32_t mode = 0;
  if (nuvek_check_firstReport(&mode) != 1) return;
  NUVEK_DEBUG("report_mode:%s", mode == kModeBlockA ? "A" : "B");
  nuvek_load_gisInfo(devinfo, mode);
  nuvek_report(devinfo);
}

int nuvek_check_firstReport(int32_t* mode) {
  char letter[16] = "";
  store::read("nuvek_Entry0", "GISInterface", letter);
  if (letter[0] != 'A') return 0;
  if (nuvekReport.aReported == 1) return 0;
  *mode = kModeBlockA;
  return 1;
}

void nuvek_default_report(DevInfo* devinfo) {
  curtime = wall_clock::now();
  if (g_defaultReportDone == 1) return;

  char minutes[16] = "";
  store::read("nuvek_Common", "DefaultFirstReportTime", minutes);
  int32_t limit_s = text::wrapping_product(text::to_int32(minutes), 60);
  if (limit_s == 0) limit_s = kDefaultReportDelay_s;
  if (curtime_his.sec == 0) curtime_his.sec = curtime.sec;

  if (nuvekReport.aReported == 1 || nuvekReport.bReported == 1) return;
  if (curtime_his.sec == 0 || text::wrapping_difference(curtime.sec, curtime_his.sec) <= limit_s) return;
  curtime_his.sec = curtime.sec;
  g_defaultReportDone = 1;  // set before sending: this report is not repeated when it fails
  nuvek_report(devinfo);
}
