#include "agent/rpc/dispatch.h"

#include <cstdio>
#include <cstring>

#include "agent/base/config.h"
#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/rpc/get.h"
#include "agent/tasks/result_state.h"
#include "agent/tasks/schedule.h"
#include "agent/tasks/task_state.h"
#include "agent/timer/timer.h"

const RpcEntry nuvek_RPCTable[] = {
    {"Get", nuvek_RPCGet_process},
    {"Inform0Response", nuvek_RPCInform0Res_process},
    {"ResultResponse", nuvek_RPCResultRes_process},
    {nullptr, nullptr},
};

namespace {

constexpr char kKeyFile[] = "/usr/osgi/nuvekKeyInfo";
constexpr size_t kKeyTextSize = 2048;
constexpr int32_t kBackOffSelectTimeout_s = 1;

bool g_timer_missing;  // a delayed report has no timer; main thread only

void append_block(text::Builder& keys, const char* name, const GisInfo& block, const char* letter) {
  keys.append("Node:%s\n", name);
  keys.append("Long=%s\n", block.Long);
  keys.append("Lat=%s\n", block.Lat);
  keys.append("Altitudes=%s\n", block.Altitudes);
  keys.append("HorizontalError=%s\n", block.HorizontalError);
  keys.append("VerticalError=%s\n", block.VerticalError);
  keys.append("AreaCode=%s\n", block.AreaCode);
  keys.append("GISLockTime=%s\n", block.GISLockTime);
  keys.append("GISDigest=%s\n", block.GISDigest);
  keys.append("GISInterface=%s\n", letter);
}

// Whether an object path found for an answer is the test's, compared over the found path's length.
bool is_path_of(const char* test, const char* found) {
  return found[0] != '\0' && strncmp(test, found, strlen(found)) == 0;
}

void log_inform_code(int32_t code) {
  constexpr char kOperation[] = "nuvek_RPCInform0Res_process";
  if (code == 0) NUVEK_DEBUG_AS(kOperation, "report inform success");
  if (code == -1 || code == -2) NUVEK_ERROR_AS(kOperation, "String format error");
  if (code == -3 || code == -4) NUVEK_ERROR_AS(kOperation, "server return error");
}

void add_report_timer() {
  const uint32_t delay_ms = static_cast<uint32_t>(nuvek_get_delaySessionTime()) * 1000;
  g_resultTimerId = AddTimer(nullptr, delay_ms, nuvek_timer_task_report, nullptr, 0);
  g_timer_missing = g_resultTimerId == -1;
}

// The platform is overloaded: report again later, each time after twice the delay.
void arm_delayed_report() {
  nuvek_set_selectTimeout(kBackOffSelectTimeout_s);
  nuvek_set_delaySessionTime(++g_resultRetryCount);
  add_report_timer();
}

}  // namespace

void dispatch::add_missing_timer() {
  if (g_timer_missing && g_timerList.inited == 1) add_report_timer();
}

int nuvek_handle_message(DevInfo* devinfo, ServerArg* server, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  NUVEK_DEBUG("recvdata->RPCMethod:%s", record->RPCMethod);
  NUVEK_DEBUG("recvdata->ObjectPath:%s", record->ObjectPath);
  NUVEK_DEBUG("recvdata->RegID:%s", record->RegID);
  NUVEK_DEBUG("recvdata->ID:%d", record->ID);
  NUVEK_DEBUG("recvdata->Code:%d", record->Code);
  for (const RpcEntry* entry = nuvek_RPCTable; entry->method != nullptr; ++entry) {
    if (strcmp(record->RPCMethod, entry->method) == 0) entry->handler(server, devinfo, record);
  }
  return 0;
}

int nuvek_RPCInform0Res_process(ServerArg*, DevInfo* devinfo, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  if (record->RegID[0] == '\0') return 0;
  log_inform_code(record->Code);
  const char* letter = devinfo->reportInfo.GISInterface;
  if (record->Code == 0 && letter[0] != '\0') {
    nuvek_set_alreadyReport(strncmp(letter, "A", sizeof devinfo->reportInfo.GISInterface) == 0 ? kBlockA : kBlockB);
  }
  text::copy(devinfo->RegID, record->RegID);
  store::write("nuvek_Common", "RegId", record->RegID);
  store::write_number("nuvek_Common", "ReportStatus", record->Code);
  store::commit("nuvek_Common");
  store::save();
  nuvek_save_keys(devinfo, record);
  return 0;
}

int nuvek_RPCResultRes_process(ServerArg*, DevInfo*, const RecvData* record) {
  NUVEK_DEBUG("Enter");
  char path[kObjPathSize] = "";
  nuvek_get_ObjPath(record->ID, path);
  nuvek_set_RPCResultRes(record->Code);
  g_timer_missing = false;
  if (is_path_of("NUVEK.SiteSpeed", path)) {
    nuvek_task_setState(kSpeedTask);
    if (record->Code == -3 || record->Code == -2) {
      arm_delayed_report();
    } else if (record->Code == 0) {
      nuvek_set_delaySessionTime(0);
    }
  } else if (is_path_of("NUVEK.TraceRoute", path)) {
    nuvek_task_setState(kTraceTask);
  }
  nuvek_save_Counter(record->Code == 0 ? kSuccessResult : kFailResult);
  return 0;
}

void nuvek_save_keys(const DevInfo* devinfo, const RecvData* record) {
  const file::Path path(kKeyFile);
  const file::Stream file = file::open(path, "w");
  if (file == nullptr) {
    NUVEK_ERROR("can't open %s\n", path.c_str());
    return;
  }
  char letter_a[8] = "";
  char letter_b[8] = "";
  store::read("nuvek_Entry0", "GISInterface", letter_a);
  store::read("nuvek_Entry1", "GISInterface", letter_b);
  char text[kKeyTextSize];
  text::Builder keys(text);
  if (strcmp(letter_a, "A") == 0) append_block(keys, "Entry0", devinfo->reportInfo.GISInfoA, letter_a);
  if (strcmp(letter_b, "B") == 0) append_block(keys, "Entry1", devinfo->reportInfo.GISInfoB, letter_b);
  keys.append("Node:Common\n");
  keys.append("UUID=%s\n", devinfo->UUID);
  keys.append("RegId=%s\n", record->RegID);
  fputs(text, file.get());
}
