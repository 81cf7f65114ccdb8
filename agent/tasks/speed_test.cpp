#include "agent/tasks/speed_test.h"

#include <cstdio>
#include <cstring>

#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/tasks/result_message.h"
#include "agent/tasks/task_state.h"

namespace {

constexpr char kObjectPath[] = "NUVEK.SiteSpeed";

int32_t read_number(const char* path) {
  char digits[32];
  nuvek_read_file(path, digits, sizeof digits);
  return text::to_int32(digits);
}

void add_error(json_value* result, int32_t error_code) {
  if (error_code == 0) {
    json_AddStringToObject(result, "Error", "null");
    return;
  }
  const int32_t dns = read_number("/var/speed_DNSErrorCode");
  const int32_t net = read_number("/var/speed_NETErrorCode");
  const int32_t http = read_number("/var/speed_HTTPErrorCode");
  json_value* error = json_new_object();
  json_AddNumberToObject(error, "ErrorCode", error_code);
  json_AddNumberToObject(error, "DNSErrorCode", dns);
  json_AddNumberToObject(error, "NetErrorCode", net);
  json_AddNumberToObject(error, "HTTPErrorCode", http);
  json_AddItemToObject(result, "Error", error);
}

}  // namespace

void nuvek_speed_test_Report(DevInfo* devinfo, ServerArg*) {
  char body[kResultBodySize] = "";
  const json::Message message;
  json_value* params = json_new_object();
  NUVEK_DEBUG("Enter");
  const ReportLink link(__func__);
  link.open();
  nuvek_speed_result(params);
  const int32_t id = take_result_id(kObjectPath);
  add_result_envelope(message, id, kObjectPath, params);
  message.print_body(body, sizeof body, devinfo->UUID);
  open_speed_table(body);
  link.send(body);
  nuvek_task_setState(kSpeedTask);
}

void nuvek_speed_result(json_value* params) {
  char table[4096];
  char url[300];
  char address[32];
  nuvek_read_file("/var/httpSpeed", table, sizeof table);
  nuvek_read_file("/var/httpURL", url, sizeof url);
  nuvek_read_file("/var/httpDIP", address, sizeof address);
  const int32_t error_code = read_number("/var/speed_ErrorCode");

  json_value* result = json_new_object();
  json_AddStringToObject(result, "DestUrl", url);
  json_AddStringToObject(result, "DestIP", address);
  json_AddNumberToObject(result, "Threads", 1);  // the platform's tables know no other, whatever the command asked for
  json_AddStringToObject(result, "SpeedTable", table);
  add_error(result, error_code);
  json_value* wrapper = json_new_object();
  json_AddItemToObject(wrapper, "SiteSpeedResult", result);
  json_AddItemToObject(params, "NUVEK", wrapper);
  nuvek_save_Counter(table[0] != '\0' ? kSuccessTask : kFailTask);
}

int nuvek_read_file(const char* path, char* buf, size_t size) {
  buf[0] = '\0';
  const file::Stream stream = file::open(file::Path(path), "r");
  if (stream == nullptr) return 0;
  const size_t count = fread(buf, 1, size - 1, stream.get());
  buf[count] = '\0';
  return static_cast<int>(count);
}
