#include "agent/report/registration.h"

#include "agent/base/clock.h"
#include "agent/base/config.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/ident/message_id.h"
#include "agent/ident/uuid.h"
#include "agent/link/http_request.h"
#include "agent/report/device_info.h"
#include "agent/report/registration_steps.h"
#include "agent/tasks/task.h"

int32_t g_defaultReportDone;

namespace {

constexpr int32_t kDefaultReportDelay_s = 1800;

}  // namespace

void nuvek_report(DevInfo* devinfo) {
  NUVEK_DEBUG("Enter");
  const ReportLink link(__func__);
  if (devinfo->UUID[0] == '\0') nuvek_create_uuid(devinfo);
  if (!link.connect()) return;

  const int32_t id = nuvek_generateId();
  nuvek_set_reportInfo(devinfo, id);
  char body[kBodySize];
  {
    json::Value message = json::Value::object();
    json_AddStringToObject(message, "RPCMethod", "Inform0");
    json_AddNumberToObject(message, "ID", id);
    json_AddStringToObject(message, "ObjectPath", "NUVEK.DeviceInfo");
    json::Value params = json::Value::object();
    nuvek_create_deviceInfo(devinfo, params);
    json_AddItemToObject(message, "Params", std::move(params));
    message.print_body(body, sizeof body, devinfo->UUID);
  }
  NUVEK_DEBUG("send_buf:%s", body);
  NUVEK_DEBUG("g_server_Arg.fd:%d", g_connection.descriptor());
  link.send(body);
}

void nuvek_set_reportInfo(DevInfo* devinfo, int32_t message_id) {
  ReportInfo& report = devinfo->reportInfo;
  report.ReportID = message_id;
  report.GISInfc = kBlocks[reported_block(report)].letter[0];
  NUVEK_DEBUG("deviceinfo->reportInfo.GISInfc:%c", report.GISInfc);
}

void nuvek_set_alreadyReport(Block block) {
  for (const Task& task : kTasks) task.trigger = 1;
  const LocationBlock& reported = kBlocks[block];
  nuvekReport.*reported.reported = 1;
  store::write(reported.node, attr::kAlreadyReport, "1");
  store::commit(reported.node);
  store::save();
  nuvekReport.lastBlock = block;
}

void nuvek_first_report(DevInfo* devinfo) {
  int32_t mode = 0;
  if (nuvek_check_firstReport(&mode) != 1) return;
  NUVEK_DEBUG("report_mode:%s", kBlocks[mode == block_bit(kBlockA) ? kBlockA : kBlockB].letter);
  nuvek_load_gisInfo(devinfo, mode);
  nuvek_report(devinfo);
}

int nuvek_check_firstReport(int32_t* mode) {
  char letter[16] = "";
  store::read(node::kEntryA, attr::kGisInterface, letter);
  if (letter[0] != kBlocks[kBlockA].letter[0]) return 0;
  if (nuvekReport.aReported == 1) return 0;
  *mode = block_bit(kBlockA);
  return 1;
}

void nuvek_default_report(DevInfo* devinfo) {
  curtime = wall_clock::now();
  if (g_defaultReportDone == 1) return;

  char minutes[16] = "";
  store::read(node::kCommon, attr::kDefaultFirstReportTime, minutes);
  int32_t limit_s = text::wrapping_product(text::to_int32(minutes), 60);
  if (limit_s == 0) limit_s = kDefaultReportDelay_s;
  if (curtime_his.sec == 0) curtime_his.sec = curtime.sec;

  if (nuvekReport.aReported == 1 || nuvekReport.bReported == 1) return;
  if (curtime_his.sec == 0 || text::wrapping_difference(curtime.sec, curtime_his.sec) <= limit_s) return;
  curtime_his.sec = curtime.sec;
  g_defaultReportDone = 1;  // set before sending: this report is not repeated when it fails
  nuvek_report(devinfo);
}
