#include "tests/fuzz/gateway.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <ctime>

#include "agent/base/counters.h"
#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/link/object_path.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/task.h"
#include "platform/mjson.h"
#include "platform/tcapi.h"
#include "tests/fuzz/fuzz.h"

namespace fuzz {
namespace {

constexpr size_t kLongestName = 63;     // of a node and of an attribute
constexpr size_t kKeyFileSize = 2047;   // characters at most
constexpr time_t kNow_s = 1700000000;   // the clock stands still
constexpr int32_t kSpeedId = 41235678;  // identifiers that the two tests' results were sent under
constexpr int32_t kTraceId = 98765432;

struct Row {
  const char* node;
  const char* attr;
  const char* value;
};

constexpr Row kStore[] = {
    {"nuvek_Entry0", "GISInterface", "A"},
    {"nuvek_Entry1", "GISInterface", "B"},
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

struct Writable {
  const char* node;
  const char* attr;
};

constexpr Writable kWrittenByMessages[] = {
    {"nuvek_Common", "RegId"},         {"nuvek_Common", "ReportStatus"}, {"nuvek_Entry0", "alreadyReport"},
    {"nuvek_Entry1", "alreadyReport"}, {"nuvek_Counter", "FailResult"},  {"nuvek_Counter", "SuccessResult"},
};

Gateway* g_gateway;                 // of the input that runs
std::vector<StoreWrite> g_changes;  // what the store holds beside kStore

// Once for the process. Standard output is the agent's log.
const Scratch& root_folder() {
  static const Scratch scratch;
  static const bool ready = [] {
    for (const char* folder : {"/tmp", "/var", "/usr/osgi"}) scratch.make_folder(folder);
    setenv("NUVEK_ROOT", scratch.path().c_str(), 1);
    setenv("TZ", "UTC0", 1);
    signal(SIGPIPE, SIG_IGN);
    FUZZ_CHECK(freopen("/dev/null", "w", stdout) != nullptr);
    nuvekDebug = 1;
    nuvekDebugPrintf = 1;
    return true;
  }();
  FUZZ_CHECK(ready);
  return scratch;
}

int first_free_descriptor() {
  const int fd = dup(STDERR_FILENO);
  FUZZ_CHECK(fd >= 0);
  close(fd);
  return fd;
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

void reset_devinfo() {
  memset(static_cast<void*>(&g_devinfo), 0, sizeof g_devinfo);
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

void reset_counters() {
  for (auto* counter : {&g_CntNum.SuccessTask, &g_CntNum.FailTask, &g_CntNum.FailInform, &g_CntNum.SuccessInform,
                        &g_CntNum.FailResult, &g_CntNum.SuccessResult}) {
    *counter = 0;
  }
  g_cntSaveCount = 0;
}

void reset_results() {
  for (ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) entry->id = 0;
  nuvek_set_ObjPathId("NUVEK.SiteSpeed", kSpeedId);
  nuvek_set_ObjPathId("NUVEK.TraceRoute", kTraceId);
  g_selectTimeoutSec = 1;
  g_RPCResultRes = 0;
  g_delaySessionTime = 0;
  g_resultRetryCount = 0;
  g_resultTimerId = 0;
  nuvekTask.speedTrigger = nuvekTask.traceTrigger = 0;
  nuvekTask.speedState = nuvekTask.traceState = kTaskStarted;
}

void reset_agent(int platform_fd) {
  reset_devinfo();
  reset_counters();
  reset_results();
  nuvekReport = {};
  text::copy(g_server_Arg.hostIp, "192.0.2.1");
  text::copy(g_server_Arg.urlPath, "/reg/");
  g_server_Arg.fd = platform_fd;
}

bool is_name(const char* name) {
  const size_t length = strlen(name);
  return length >= 1 && length <= kLongestName && strpbrk(name, "=#[] \t\r\n") == nullptr;
}

bool is_written_by_messages(const StoreWrite& write) {
  for (const Writable& writable : kWrittenByMessages) {
    if (write.node == writable.node && write.attr == writable.attr) return true;
  }
  return false;
}

const char* stored_value(const char* node, const char* attr) {
  for (auto change = g_changes.rbegin(); change != g_changes.rend(); ++change) {
    if (change->node == node && change->attr == attr) return change->value.c_str();
  }
  for (const Row& row : kStore) {
    if (strcmp(row.node, node) == 0 && strcmp(row.attr, attr) == 0) return row.value;
  }
  return nullptr;
}

}  // namespace

Connection::Connection() {
  int ends[2];
  FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
  agent_end_ = ends[0];
  target_end_ = ends[1];
}

Connection::~Connection() { close(target_end_); }

void Connection::send_all(std::string_view bytes) const {
  FUZZ_CHECK(send(target_end_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  FUZZ_CHECK(shutdown(target_end_, SHUT_WR) == 0);
}

std::string Connection::take_received() {
  std::string received;
  char block[4096];
  ssize_t count = 0;
  while ((count = recv(target_end_, block, sizeof block, MSG_DONTWAIT)) > 0) {
    received.append(block, static_cast<size_t>(count));
  }
  if (count == 0 || errno == ECONNRESET) closed_ = true;  // a reset when the agent left something unread
  return received;
}

bool Connection::is_closed() {
  if (!closed_) take_received();
  return closed_;
}

Gateway::Gateway() {
  root_folder();
  first_free_descriptor_ = platform.agent_end();
  FUZZ_CHECK(g_gateway == nullptr);
  g_gateway = this;
  g_changes.clear();
  files().remove("/usr/osgi/nuvekKeyInfo");
  reset_agent(platform.agent_end());
  devinfo_before_ = g_devinfo;
}

Gateway::~Gateway() {
  const int fd = g_server_Arg.fd.exchange(-1);
  FUZZ_CHECK(fd == -1 || fd == platform.agent_end());
  if (fd != -1) close(fd);
  FUZZ_CHECK(first_free_descriptor() == first_free_descriptor_);
  g_gateway = nullptr;
}

void Gateway::erase(const char* node, const char* attr) { put(node, attr, ""); }

void Gateway::put(const char* node, const char* attr, const char* value) { g_changes.push_back({node, attr, value}); }

const Scratch& Gateway::files() const { return root_folder(); }

void Gateway::check_after_messages() const {
  DevInfo expected = devinfo_before_;
  memcpy(expected.RegID, g_devinfo.RegID, sizeof expected.RegID);
  memcpy(expected.DeviceTime, g_devinfo.DeviceTime, sizeof expected.DeviceTime);
  FUZZ_CHECK(memcmp(&expected, &g_devinfo, sizeof expected) == 0);
  FUZZ_CHECK(is_terminated(g_devinfo.RegID) && is_terminated(g_devinfo.DeviceTime));
  for (const StoreWrite& write : writes) FUZZ_CHECK(is_written_by_messages(write));

  const std::optional<std::string> keys = files().read("/usr/osgi/nuvekKeyInfo");
  if (!keys) return;
  FUZZ_CHECK(keys->size() <= kKeyFileSize);
  FUZZ_CHECK(keys->compare(0, 12, "Node:Entry0\n") == 0);
  const std::string last_line = std::string("RegId=") + stored_value("nuvek_Common", "RegId") + "\n";
  FUZZ_CHECK(keys->size() >= last_line.size() && keys->substr(keys->size() - last_line.size()) == last_line);
}

bool is_sent_as_number(const std::string& value) {
  constexpr size_t kLongest = 15;
  constexpr char kDigits[] = "0123456789";
  const size_t begin = !value.empty() && value[0] == '-' ? 1 : 0;
  const size_t whole = std::min(value.find_first_not_of(kDigits, begin), value.size());
  if (value.empty()) return true;
  if (value.size() > kLongest || whole == begin || (value[begin] == '0' && whole > begin + 1)) return false;
  if (whole == value.size()) return true;
  return value[whole] == '.' && whole + 1 < value.size() &&
         value.find_first_not_of(kDigits, whole + 1) == std::string::npos;
}

bool names_a_number(const std::string& value) {
  for (const char* name : {"Long", "Lat", "Altitudes", "HorizontalError", "VerticalError"}) {
    if (value.find(name) != std::string::npos) return true;
  }
  return false;
}

bool carries_json(const std::string& request) {
  constexpr char kLength[] = "\r\nContent-Length: ";
  const size_t head = request.find("\r\n\r\n");
  const size_t length = request.find(kLength);
  FUZZ_CHECK(head != std::string::npos && length < head);
  const std::string body = request.substr(head + 4);
  const size_t announced = strtoul(request.c_str() + length + strlen(kLength), nullptr, 10);
  FUZZ_CHECK(body.size() <= announced);
  if (body.size() < announced) return true;  // a request that is too long is cut
  json_value* root = nullptr;
  const bool is_json = json_parse_document(&root, body.c_str()) == JSON_OK;
  json_free_value(&root);
  return is_json;
}

}  // namespace fuzz

// --- the platform's store and console --------------------------------------------------------------------------------

// Without an Internet connection the agent asks for a node without a name, which no store knows.
int tcapi_get(const char* node, const char* attr, char* value) {
  if (node[0] == '\0') return -1;
  FUZZ_CHECK(fuzz::is_name(node) && fuzz::is_name(attr));
  const char* stored = fuzz::stored_value(node, attr);
  if (stored == nullptr) return -1;
  strcpy(value, stored);
  return 0;
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  FUZZ_CHECK(fuzz::is_name(node) && fuzz::is_name(attr));
  FUZZ_CHECK(strlen(value) <= TCAPI_VALUE_MAX);
  fuzz::g_gateway->writes.push_back({node, attr, value});
  fuzz::g_changes.push_back({node, attr, value});
  return 0;
}

int tcapi_commit(const char* node) {
  FUZZ_CHECK(fuzz::is_name(node));
  fuzz::g_gateway->commits.push_back(node);
  return 0;
}

int tcapi_save(void) {
  ++fuzz::g_gateway->saves;
  return 0;
}

int tcdbg_printf(const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  return length;
}

// --- libc as the agent meets it --------------------------------------------------------------------------------------

extern "C" {

time_t time(time_t* out) noexcept {
  if (out != nullptr) *out = fuzz::kNow_s;
  return fuzz::kNow_s;
}

int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** found) {
  static sockaddr_in address{};
  static addrinfo answer{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, "192.0.2.1", &address.sin_addr);
  answer.ai_family = AF_INET;
  answer.ai_addr = reinterpret_cast<sockaddr*>(&address);
  answer.ai_addrlen = sizeof address;
  *found = &answer;
  return 0;
}

void freeaddrinfo(addrinfo*) noexcept {}

}  // extern "C"
