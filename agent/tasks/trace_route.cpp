#include "agent/tasks/trace_route.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "agent/base/counters.h"
#include "agent/base/file.h"
#include "agent/base/log.h"
#include "agent/base/process.h"
#include "agent/base/text.h"
#include "agent/link/server.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/result_message.h"
#include "agent/tasks/task.h"

namespace {

constexpr int32_t kMaxTtl = 30;
constexpr size_t kLineSize = 256;  // a longer line counts as several
constexpr size_t kWordSize = 32;
constexpr char kSilentHop[] = "[\"*\", \"null\", \"*\", \"null\", \"*\", \"null\"],";

// Words of a line: hop number, host, address, first time, and further times and units. The ninth is never filled.
enum Word { kHop, kHost, kAddress, kFirstTime, kFurther, kWordsRead = 8, kWords = 9 };

struct Hop {
  char words[kWords][kWordSize] = {};

  explicit Hop(const char* line) {
    for (int k = 0; k < kWordsRead; ++k) {
      while (isspace(static_cast<unsigned char>(*line)) != 0) ++line;
      size_t length = 0;
      for (; *line != '\0' && isspace(static_cast<unsigned char>(*line)) == 0; ++line) {
        if (length < kWordSize - 1) words[k][length++] = *line;
      }
    }
  }
  const char* host() const { return words[kHost]; }
};

// Appends a host and a time; the opening decides between the first pair of a row and a further one.
void append_pair(text::Builder& rows, const char* opening, const char* host, const char* time) {
  rows.append("%s\"%s\", %s", opening, host, time[0] == '*' ? "\"null\"" : time);
}

void append_row(text::Builder& rows, const Hop& hop) {
  append_pair(rows, "[", hop.host(), hop.words[kFirstTime]);
  for (int k = kFurther; hop.words[k][0] != '\0'; ++k) {  // the ninth, always empty, ends it
    if (strstr(hop.words[k], "ms") == nullptr) append_pair(rows, ", ", hop.host(), hop.words[k]);
  }
  rows.append("],");
}

// Not a part of its caller, whose name look-up must not stand on a stack with these rows.
__attribute__((noinline)) void add_rows(json::Value& result) {
  char rows[kTraceRowsSize] = "";
  nuvek_trace_parse(rows);
  json_AddStringToObject(result, "PathTable", rows);
}

}  // namespace

void trace_route::start(const DevInfo&) {
  nuvek_task_started(kTraceTask);
  char command[320];
  snprintf(command, sizeof command, "traceroute  -i %s > %s &", g_RemoteSerDomain.traceHost,
           file::Path(kTraceOutput).c_str());
  NUVEK_DEBUG_AS("nuvek_task_process", "cmd:%s", command);
  process::run(command);
}

bool trace_route::is_over() { return nuvekTask.traceState == kTaskStarted && nuvek_app_running("traceroute") <= 0; }

void trace_route::report(DevInfo* devinfo, ServerArg* server) {
  nuvek_save_Counter(kSuccessTask);
  if (nuvek_get_RPCResultRes() == 0) nuvek_trace_test_Report(devinfo, server);
}

void nuvek_trace_parse(char* out) {
  const file::Path path(kTraceOutput);
  const file::Reader output(path);
  if (!output.is_open()) {
    printf("can't open %s\n", path.c_str());
    return;
  }
  text::Builder rows(out, kTraceRowsSize);
  char previous[kWordSize] = "";
  char line[kLineSize];
  while (fgets(line, sizeof line, output.stream()) != nullptr) {
    if (strstr(line, "traceroute") != nullptr) continue;
    const Hop hop(line);
    if (hop.host()[0] == '*') {
      rows.append(kSilentHop);
      continue;
    }
    // A line that names the host of the line before, or begins it, is the same hop told again.
    const bool repeated = previous[0] != '\0' && strncmp(previous, hop.host(), strlen(hop.host())) == 0;
    if (!repeated) append_row(rows, hop);
    text::copy(previous, hop.host());
  }
  if (rows.ends_with(',')) rows.drop_last();
}

json::Value nuvek_trace_result() {
  char address[kAddressSize] = "";
  nuvek_getaddrinfo(g_RemoteSerDomain.traceHost, address);

  json::Value result = json::Value::object();
  json_AddStringToObject(result, "DestIP", address);
  json_AddNumberToObject(result, "MaxTTL", kMaxTtl);
  json_AddStringToObject(result, "Method", "icmp");
  add_rows(result);
  json_AddStringToObject(result, "Error", "null");
  return result_params("TraceRouteResult", std::move(result));
}

void nuvek_trace_test_Report(DevInfo* devinfo, ServerArg*) {
  NUVEK_DEBUG("Enter");
  const ReportLink link(__func__);
  link.open();
  const int32_t id = take_result_id(kTracePath);
  json::Value params = nuvek_trace_result();
  send_result(link, result_message(id, kTracePath, std::move(params)), devinfo->UUID, open_path_table);
  nuvek_task_setState(kTraceTask);
}
