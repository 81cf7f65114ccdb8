// What the gateway's store says, as the agent reads it: lines "NODE ATTR=VALUE", put into the store ahead of the start.
// The record is filled, the periods are compared, all that can be asked for is asked for, the gateway registers, and
// goes to the domains. Records stay within their ends, what plain values make is JSON, and nobody else is looked up.
#include <arpa/inet.h>

#include <algorithm>
#include <string>
#include <vector>

#include "agent/base/config.h"
#include "agent/link/server.h"
#include "agent/report/period_report.h"
#include "agent/report/registration_steps.h"
#include "agent/rpc/get.h"
#include "agent/tasks/schedule.h"
#include "platform/tcapi.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"
#include "tests/fuzz/message_rules.h"
#include "tests/gateway_world/inside.h"

namespace {

constexpr size_t kLongestName = 63;
constexpr const char* kNumbers[] = {"Long", "Lat", "Altitudes", "HorizontalError", "VerticalError"};
constexpr const char* kPackages[] = {"NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface",
                                     "NUVEK.Counter"};

// Takes down where the gateway goes: "lookup NAME", "connect FD ADDRESS:PORT".
class GoingGateway : public fuzz::Gateway {
 public:
  std::vector<std::string> ways;

 private:
  step::Answer answer(const std::string& where) override {
    if (where.compare(0, 7, "lookup ") == 0 || where.compare(0, 8, "connect ") == 0) ways.push_back(where);
    return Gateway::answer(where);
  }
};

bool is_name(const std::string& name) {
  return !name.empty() && name.size() <= kLongestName && name.find_first_of("=#[] \t\r\n") == std::string::npos;
}

// A text that JSON takes as it stands.
bool is_plain(const std::string& value) {
  return std::all_of(value.begin(), value.end(), [](unsigned char c) { return c >= ' ' && c != '"' && c != '\\'; });
}

// Puts one line into the store. Returns whether its value can do a message no harm.
bool take_line(fuzz::Gateway& gateway, const std::string& line) {
  const size_t blank = line.find(' ');
  const size_t equals = line.find('=');
  if (blank == std::string::npos || equals == std::string::npos || equals < blank) return true;
  const std::string node = line.substr(0, blank);
  const std::string attr = line.substr(blank + 1, equals - blank - 1);
  const std::string value = line.substr(equals + 1).substr(0, TCAPI_VALUE_MAX).c_str();
  if (!is_name(node) || !is_name(attr)) return true;
  gateway.put(node.c_str(), attr.c_str(), value.c_str());
  const bool as_number = std::find(std::begin(kNumbers), std::end(kNumbers), attr) != std::end(kNumbers);
  return is_plain(value) && !fuzz::names_a_number(value) && (!as_number || fuzz::is_sent_as_number(value));
}

bool take_lines(fuzz::Gateway& gateway, std::string_view bytes) {
  bool is_harmless = true;
  while (!bytes.empty()) {
    const size_t end = std::min(bytes.find('\n'), bytes.size());
    is_harmless &= take_line(gateway, std::string(bytes.substr(0, end)));
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
  return is_harmless;
}

// The one request that was sent, or none: JSON when it has to be.
void check_request(fuzz::Gateway& gateway, bool is_json) {
  const std::string request = gateway.platform.take_received();
  FUZZ_CHECK(request.size() <= fuzz::kRequestCharacters);
  if (request.empty()) return;
  FUZZ_CHECK(request.compare(0, 5, "POST ") == 0);
  FUZZ_CHECK(!is_json || fuzz::carries_json(request));
}

void check_record() {
  const auto* bytes = reinterpret_cast<const char*>(&g_devinfo);
  FUZZ_CHECK(bytes[sizeof g_devinfo - 1] == '\0');
  for (const TextField& field : kDeviceTexts)
    FUZZ_CHECK(strlen(bytes + field.offset) < sizeof g_devinfo - field.offset);
}

std::string domain(const char* attr, const char* built_in) {
  const std::string* stored = inside::value_of("nuvek_Server", attr);
  return stored == nullptr || stored->empty() ? built_in : stored->substr(0, kDomainSize - 1);
}

bool is_address(const std::string& text) {
  in_addr address{};
  char same[INET_ADDRSTRLEN];
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return false;
  return text == inet_ntop(AF_INET, &address, same, sizeof same);
}

// Both domains are tried in their order: an address as it stands, anything else is looked up as it stands.
void check_link(GoingGateway& gateway) {
  gateway.ways.clear();
  {
    const Lock hold(g_link_lock);
    FUZZ_CHECK(nuvek_Link_Remoteserver() == -1);
  }
  auto way = gateway.ways.begin();
  for (const std::string& wanted :
       {domain("PlatDomain1", g_RemoteSerDomain.platDomain1), domain("PlatDomain2", g_RemoteSerDomain.platDomain2)}) {
    FUZZ_CHECK(way != gateway.ways.end());
    const bool is_looked_up = *way == "lookup " + wanted;
    FUZZ_CHECK(!is_looked_up || !is_address(wanted));
    if (is_looked_up) ++way;
    FUZZ_CHECK(way != gateway.ways.end() && way->compare(0, 8, "connect ") == 0);
    const std::string address = is_looked_up ? "192.0.2.1" : wanted;
    if (is_looked_up || is_address(wanted)) FUZZ_CHECK(way->find(" " + address + ":") != std::string::npos);
    ++way;
  }
  FUZZ_CHECK(way == gateway.ways.end());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  GoingGateway gateway;
  const bool is_harmless = take_lines(gateway, fuzz::bytes_of(data, size));
  nuvek_load_server();
  nuvek_load_devinfo(&g_devinfo);
  nuvek_load_reportFlags();
  check_record();
  FUZZ_CHECK(gateway.saves == 1);
  for (const int32_t kind : {1, 2}) FUZZ_CHECK((nuvek_cycle_arrive(kind) & ~1) == 0);
  for (const char* path : kPackages) {
    RecvData record{};
    strcpy(record.ObjectPath, path);
    nuvek_RPCGet_process(&g_server_Arg, &g_devinfo, &record);
    check_request(gateway, is_harmless);
  }
  nuvek_cycle_report(&g_devinfo);
  check_request(gateway, is_harmless);
  nuvek_first_report(&g_devinfo);
  check_request(gateway, is_harmless);
  check_record();
  check_link(gateway);
  return 0;
}
