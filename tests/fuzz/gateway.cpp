#include "tests/fuzz/gateway.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>

#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/link/object_path.h"
#include "agent/tasks/task.h"
#include "tests/fuzz/fuzz.h"
#include "tests/gateway_world/control.h"
#include "tests/gateway_world/inside.h"
#include "tests/support/fresh_agent.h"

namespace fuzz {
namespace {

constexpr size_t kLongestName = 63;      // of a node and of an attribute
constexpr size_t kKeyFileSize = 2047;    // characters at most
constexpr uint32_t kNow_s = 1700000000;  // the clock stands still until a target moves it
constexpr uint32_t kUptime_s = 1000;
constexpr int32_t kSpeedId = 41235678;  // identifiers that the two tests' results were sent under
constexpr int32_t kTraceId = 98765432;

struct Row {
  const char* node;
  const char* attr;
  const char* value;
};

constexpr Row kTables[] = {
    {"nuvekInterfaceInfo_Common", "Count", "2"},
    {"nuvekInterfaceInfo_Entry0", "IFName", "eth0.1"},
    {"nuvekInterfaceInfo_Entry0", "LocalIP", "192.168.1.1"},
    {"nuvekInterfaceInfo_Entry0", "MTU", "1500"},
    {"nuvekInterfaceInfo_Entry1", "IFName", "ppp0"},
    {"nuvekInterfaceInfo_Entry1", "MTU", "1492.9"},
    {"nuvekRouteInfo_Common", "Count", "1"},
    {"nuvekRouteInfo_Entry0", "Dest", "0.0.0.0"},
    {"nuvekRouteInfo_Entry0", "Metric", "1e99"},
    {"nuvek_DnsInfo", "FirDns", "192.0.2.53"},
};

constexpr struct {
  const char* node;
  const char* attr;
} kWrittenByMessages[] = {
    {"nuvek_Common", "RegId"},         {"nuvek_Common", "ReportStatus"}, {"nuvek_Entry0", "alreadyReport"},
    {"nuvek_Entry1", "alreadyReport"}, {"nuvek_Counter", "FailResult"},  {"nuvek_Counter", "SuccessResult"},
};

// Once for the process. Standard output is the agent's log.
const Scratch& root_folder() {
  static const Scratch scratch;
  static const bool ready = [] {
    for (const char* folder : {"/tmp", "/var", "/usr/osgi"}) scratch.make_folder(folder);
    setenv("NUVEK_ROOT", scratch.path().c_str(), 1);
    setenv("TZ", "UTC0", 1);
    signal(SIGPIPE, SIG_IGN);
    FUZZ_CHECK(freopen("/dev/null", "w", stdout) != nullptr);
    return true;
  }();
  FUZZ_CHECK(ready);
  return scratch;
}

int open_descriptors() {
  constexpr int kMost = 32;
  int count = 0;
  for (int fd = 0; fd < kMost; ++fd) count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
  return count;
}

bool is_name(const std::string& name) {
  return !name.empty() && name.size() <= kLongestName && name.find_first_of("=#[] \t\r\n") == std::string::npos;
}

bool begins(const std::string& text, const char* beginning) {
  return text.compare(0, strlen(beginning), beginning) == 0;
}

void fill(GisInfo& block, const char* letter) {
  text::copy(block.Long, "116.39713");
  text::copy(block.Lat, "39.91653");
  text::copy(block.Altitudes, "44.5");
  text::copy(block.HorizontalError, "12");
  text::copy(block.VerticalError, "3.25");
  text::copy(block.GISInterface, letter);
  text::copy(block.AreaCode, "110101");
  text::copy(block.GISLockTime, "20240131235959");
  text::copy(block.GISDigest, "d41d8cd98f00b204e9800998ecf8427e");
}

void fill_devinfo() {
  text::copy(g_devinfo.OperatorID, "ZELM");
  text::copy(g_devinfo.ModelStr, "HG-100");
  text::copy(g_devinfo.SerialNum, "SN0123456789");
  text::copy(g_devinfo.WANMAC, "0A1B2C3D4E5F");
  text::copy(g_devinfo.RegID, "an-earlier-registration");
  text::copy(g_devinfo.UUID, "00000000-0000-1000-8000-0A1B2C3D4E5F");
  text::copy(g_devinfo.reportInfo.GISInterface, "A");
  fill(g_devinfo.reportInfo.GISInfoA, "A");
  fill(g_devinfo.reportInfo.GISInfoB, "B");
}

}  // namespace

// --- what surrounds an agent -----------------------------------------------------------------------------------------

Surroundings::Surroundings() {
  root_folder();
  open_descriptors_ = open_descriptors();
  inside::begin([this](const std::string& where) { return answer(where); });
  control::write(control::clock_s, kNow_s);
  control::write(control::uptime_s, kUptime_s);
  for (const Row& row : kTables) put(row.node, row.attr, row.value);
  reset_agent();
  nuvekDebug = 1;
  nuvekDebugPrintf = 1;
}

Surroundings::~Surroundings() {
  const int fd = g_server_Arg.fd.exchange(-1);
  if (fd != -1) close(fd);
  inside::end();
  FUZZ_CHECK(open_descriptors() == open_descriptors_);
}

void Surroundings::put(const char* node, const char* attr, const char* value) { inside::put(node, attr, value); }

const Scratch& Surroundings::files() { return root_folder(); }

step::Answer Surroundings::value(int number) {
  step::Answer answer{"value", ""};
  snprintf(answer.value, sizeof answer.value, "%d", number);
  return answer;
}

step::Answer Surroundings::answer(const std::string& where) {
  FUZZ_CHECK(!begins(where, "recv "));  // who sends has sent: nobody would end this wait
  note(where);
  if (begins(where, "lookup ")) return {"address", "192.0.2.1"};
  if (begins(where, "connect ")) return {"errno", "ECONNREFUSED"};
  if (begins(where, "accept ")) return value(std::exchange(client, -1));
  if (begins(where, "system ")) return value(0);
  return {"go", ""};
}

// Without an Internet connection the agent reads a node without a name, which no store knows.
void Surroundings::note(const std::string& where) {
  const size_t blank = std::min(where.find(' '), where.size());
  const std::string call = where.substr(0, blank);
  const std::string rest = where.substr(std::min(blank + 1, where.size()));
  if (call == "commit") commits.push_back(rest);
  if (call == "save") ++saves;
  if (call == "system") commands.push_back(rest);
  if (call != "get" && call != "set") return;
  const size_t gap = std::min(rest.find(' '), rest.size());
  const std::string node = rest.substr(0, gap);
  const size_t equals = call == "set" ? rest.find('=', gap) : rest.size();
  const std::string attr = rest.substr(gap + 1, equals - gap - 1);
  FUZZ_CHECK((is_name(node) || (call == "get" && node.empty())) && is_name(attr));
  if (call == "set") writes.push_back({node, attr, rest.substr(equals + 1)});
}

// --- a gateway that is registered ------------------------------------------------------------------------------------

Gateway::Gateway() {
  put("nuvek_Entry0", "GISInterface", "A");
  put("nuvek_Entry1", "GISInterface", "B");
  files().remove("/usr/osgi/nuvekKeyInfo");
  fill_devinfo();
  nuvek_set_ObjPathId("NUVEK.SiteSpeed", kSpeedId);
  nuvek_set_ObjPathId("NUVEK.TraceRoute", kTraceId);
  nuvekTask.speedState = nuvekTask.traceState = kTaskStarted;
  text::copy(g_server_Arg.hostIp, "192.0.2.1");
  g_server_Arg.fd = platform.agent_end();
  devinfo_before_ = g_devinfo;
}

Gateway::~Gateway() { FUZZ_CHECK(g_server_Arg.fd == -1 || g_server_Arg.fd == platform.agent_end()); }

void Gateway::check_after_messages() const {
  DevInfo expected = devinfo_before_;
  memcpy(expected.RegID, g_devinfo.RegID, sizeof expected.RegID);
  memcpy(expected.DeviceTime, g_devinfo.DeviceTime, sizeof expected.DeviceTime);
  FUZZ_CHECK(memcmp(&expected, &g_devinfo, sizeof expected) == 0);
  FUZZ_CHECK(is_terminated(g_devinfo.RegID) && is_terminated(g_devinfo.DeviceTime));
  for (const StoreWrite& write : writes) {
    FUZZ_CHECK(std::any_of(std::begin(kWrittenByMessages), std::end(kWrittenByMessages),
                           [&](const auto& row) { return write.node == row.node && write.attr == row.attr; }));
  }
  const std::optional<std::string> keys = files().read("/usr/osgi/nuvekKeyInfo");
  if (!keys) return;
  FUZZ_CHECK(keys->size() <= kKeyFileSize);
  FUZZ_CHECK(keys->compare(0, 12, "Node:Entry0\n") == 0);
  const std::string last_line = "RegId=" + *inside::value_of("nuvek_Common", "RegId") + "\n";
  FUZZ_CHECK(keys->size() >= last_line.size() && keys->substr(keys->size() - last_line.size()) == last_line);
}

}  // namespace fuzz
