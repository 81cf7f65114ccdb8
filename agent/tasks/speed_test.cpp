#include "agent/tasks/speed_test.h"

#include <cstdio>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/base/log.h"
#include "agent/base/process.h"
#include "agent/base/text.h"
#include "agent/ident/md5.h"
#include "agent/tasks/result_message.h"
#include "agent/tasks/task.h"

std::atomic<int32_t> g_speedStartUptime;

namespace {

constexpr int32_t kTestTime_s = 40;
constexpr int kRun_s = 30;  // how long the helper program is asked to measure

int32_t read_number(const char* path) {
  char digits[32];
  nuvek_read_file(path, digits, sizeof digits);
  return text::to_int32(digits);
}

void add_error(json::Value& result, int32_t error_code) {
  if (error_code == 0) {
    json_AddStringToObject(result, "Error", "null");
    return;
  }
  json::Value error = json::Value::object();
  json_AddNumberToObject(error, "ErrorCode", error_code);
  json_AddNumberToObject(error, "DNSErrorCode", read_number("/var/speed_DNSErrorCode"));
  json_AddNumberToObject(error, "NetErrorCode", read_number("/var/speed_NETErrorCode"));
  json_AddNumberToObject(error, "HTTPErrorCode", read_number("/var/speed_HTTPErrorCode"));
  json_AddItemToObject(result, "Error", std::move(error));
}

}  // namespace

void speed_test::start(const DevInfo& devinfo) {
  NUVEK_DEBUG_AS("nuvek_task_process", "deviceinfo->UUID:%s\n", devinfo.UUID);
  nuvek_task_started(kSpeedTask);
  g_speedStartUptime = get_uptime();
  char code[kMd5TextSize];
  nuvek_calculate_md5(devinfo.UUID, code);
  char command[160];
  snprintf(command, sizeof command, "httpSpeed -u %s/%s -t %d -n 6 -e &", g_RemoteSerDomain.speedUrl1, code, kRun_s);
  printf("cmdLine[%s]\n", command);
  process::run(command);
}

bool speed_test::is_over() { return nuvek_speed_over() == 1; }

int nuvek_speed_over() {
  const int32_t start_s = g_speedStartUptime;
  if (start_s == 0) return 0;
  if (get_uptime() <= text::wrapping_sum(start_s, kTestTime_s)) return 0;
  NUVEK_DEBUG("nuvek_speed_over ");
  g_speedStartUptime = 0;
  return 1;
}

void nuvek_speed_test_Report(DevInfo* devinfo, ServerArg*) {
  NUVEK_DEBUG("Enter");
  const ReportLink link(__func__);
  link.open();
  json::Value params = nuvek_speed_result();
  const int32_t id = take_result_id(kSpeedPath);
  send_result(link, result_message(id, kSpeedPath, std::move(params)), devinfo->UUID, open_speed_table);
  nuvek_task_setState(kSpeedTask);
}

json::Value nuvek_speed_result() {
  char table[4096];
  char url[300];
  char address[32];
  nuvek_read_file("/var/httpSpeed", table, sizeof table);
  nuvek_read_file("/var/httpURL", url, sizeof url);
  nuvek_read_file("/var/httpDIP", address, sizeof address);
  const int32_t error_code = read_number("/var/speed_ErrorCode");

  json::Value result = json::Value::object();
  json_AddStringToObject(result, "DestUrl", url);
  json_AddStringToObject(result, "DestIP", address);
  json_AddNumberToObject(result, "Threads", 1);  // the platform's tables know no other, whatever the command asked for
  json_AddStringToObject(result, "SpeedTable", table);
  add_error(result, error_code);
  nuvek_save_Counter(table[0] != '\0' ? kSuccessTask : kFailTask);
  return result_params("SiteSpeedResult", std::move(result));
}
