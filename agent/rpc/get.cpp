#include "agent/rpc/get.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/json/json_build.h"
#include "agent/link/http_request.h"
#include "agent/report/registration.h"

namespace {

// A table entry takes at least 68 characters of a body of 2047, so no entry beyond this number could ever be sent; a
// Count gone wrong costs no more than these look-ups.
constexpr int kMostTableEntries = 256;

struct Package {
  const char* object_path;
  void (*fill)(DevInfo* devinfo, json_value* result);
};

constexpr Package kPackages[] = {
    {"NUVEK.DeviceInfo", nuvek_create_deviceInfo},
    {"NUVEK.GISInfoA",
     [](DevInfo* devinfo, json_value* result) { nuvek_create_GisInfoPkg(&devinfo->reportInfo.GISInfoA, result, "A"); }},
    {"NUVEK.GISInfoB",
     [](DevInfo* devinfo, json_value* result) { nuvek_create_GisInfoPkg(&devinfo->reportInfo.GISInfoB, result, "B"); }},
    {"NUVEK.Interface", [](DevInfo*, json_value* result) { nuvek_create_InterfacePkg(result); }},
    {"NUVEK.Counter", [](DevInfo*, json_value* result) { nuvek_create_CounterPkg(&g_CntNum, result); }},
};

const Package* find_package(const char* object_path) {
  for (const Package& package : kPackages) {
    if (strcmp(object_path, package.object_path) == 0) return &package;
  }
  return nullptr;
}

// One column of a store table: its attribute, the member it becomes, and the longest text that is kept.
struct Column {
  const char* attr;
  const char* member;
  size_t size;
  bool is_number;
};

constexpr Column kInterfaceColumns[] = {
    {"IFName", "Name", 32, false},     {"PhyAddr", "PhyAddr", 16, false},   {"Mask", "Mask", 32, false},
    {"LocalIP", "LocalIP", 32, false}, {"RemoteIP", "RemoteIP", 32, false}, {"MTU", "MTU", 16, true},
};
constexpr Column kRouteColumns[] = {
    {"Dest", "Dest", 32, false},   {"Flags", "Flags", 16, false}, {"Gateway", "Gateway", 32, false},
    {"Iface", "Iface", 32, false}, {"Mask", "Mask", 32, false},   {"Metric", "Metric", 16, true},
};

// As the device converts: through single precision, toward zero; what an int32 cannot hold is clamped.
int32_t to_whole(const char* value) {
  const float number = static_cast<float>(atof(value));
  if (number != number) return 0;
  if (number >= 2147483648.0F) return INT32_MAX;
  if (number <= -2147483648.0F) return INT32_MIN;
  return static_cast<int32_t>(number);
}

json_value* read_row(const char* node, const Column (&columns)[6]) {
  json_value* row = json_new_object();
  for (const Column& column : columns) {
    char value[32] = "";
    store::read(node, column.attr, value, column.size);
    if (column.is_number) {
      json_AddNumberToObject(row, column.member, to_whole(value));
    } else {
      json_AddStringToObject(row, column.member, value);
    }
  }
  return row;
}

json_value* read_table(const char* name, const Column (&columns)[6]) {
  json_value* table = json_new_array();
  char node[64];
  char count[8] = "";
  snprintf(node, sizeof node, "%s_Common", name);
  store::read(node, "Count", count);
  const int32_t entries = text::to_int32(count);
  for (int k = 0; k < entries && k < kMostTableEntries; ++k) {
    snprintf(node, sizeof node, "%s_Entry%d", name, k);
    json::append(table, read_row(node, columns));
  }
  return table;
}

void add_dns_server(json_value* object, const char* member, const char* attr) {
  char address[32] = "";
  store::read("nuvek_DnsInfo", attr, address);
  json_AddStringToObject(object, member, address);
}

}  // namespace

int nuvek_RPCGet_process(ServerArg*, DevInfo* devinfo, const RecvData* record) {
  char body[kBodySize];
  {
    const json::Message message;
    json_value* result = json_new_object();
    const Package* package = find_package(record->ObjectPath);
    if (package != nullptr) package->fill(devinfo, result);
    json_AddStringToObject(message.root(), "RPCMethod", "GetResponse");
    json_AddNumberToObject(message.root(), "ID", record->ID);
    json_AddStringToObject(message.root(), "ObjectPath", record->ObjectPath);
    json_AddNumberToObject(message.root(), "Code", package != nullptr ? 0 : -1);
    json_AddItemToObject(message.root(), "Result", result);
    message.print_body(body, sizeof body, devinfo->UUID);
  }
  const LinkHold hold;
  return nuvek_sendPostRequest(g_server_Arg.fd, body);
}

void nuvek_create_GisInfoPkg(const GisInfo* location, json_value* result, const char* interface_text) {
  json_value* package = json_new_object();
  const bool known = interface_text[0] == 'A' || interface_text[0] == 'B';
  if (known) {
    json_value* inner = json_new_object();
    json_AddStringToObject(inner, "Status", "set");
    add_location_values(inner, *location);
    json_AddStringToObject(inner, "AreaCode", location->AreaCode);
    json_AddStringToObject(inner, "GISDigest", location->GISDigest);
    json_AddStringToObject(inner, "GISInterface", interface_text);
    json_AddStringToObject(inner, "GISLockTime", location->GISLockTime);
    json_AddItemToObject(package, interface_text[0] == 'A' ? "GISInfoA" : "GISInfoB", inner);
  }
  json_AddItemToObject(result, "NUVEK", package);
}

void nuvek_create_InterfacePkg(json_value* result) {
  json_value* interfaces = json_new_object();
  json_AddItemToObject(interfaces, "InterfaceTable", read_table("nuvekInterfaceInfo", kInterfaceColumns));
  json_AddItemToObject(interfaces, "RouteTable", read_table("nuvekRouteInfo", kRouteColumns));
  add_dns_server(interfaces, "DNS1", "FirDns");
  add_dns_server(interfaces, "DNS2", "SecDns");
  json_value* package = json_new_object();
  json_AddItemToObject(package, "Interface", interfaces);
  json_AddItemToObject(result, "NUVEK", package);
}

void nuvek_create_CounterPkg(const CntNum* counters, json_value* result) {
  json_value* inner = json_new_object();
  const struct {
    const char* name;
    const std::atomic<uint32_t>& value;
  } members[] = {
      {"FailInform", counters->FailInform},       {"FailResult", counters->FailResult},
      {"FailTask", counters->FailTask},           {"SuccessInform", counters->SuccessInform},
      {"SuccessResult", counters->SuccessResult}, {"SuccessTask", counters->SuccessTask},
  };
  for (const auto& member : members)
    json_AddNumberToObject(inner, member.name, static_cast<int32_t>(member.value.load()));
  json_value* package = json_new_object();
  json_AddItemToObject(package, "Counter", inner);
  json_AddItemToObject(result, "NUVEK", package);
}
