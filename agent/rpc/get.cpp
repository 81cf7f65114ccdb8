#include "agent/rpc/get.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/lock.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"
#include "agent/link/http_request.h"
#include "agent/report/device_info.h"
#include "agent/rpc/get_steps.h"

namespace {

// A table entry takes at least 68 characters of a body of 2047, so no entry beyond this number could ever be sent; a
// Count gone wrong costs no more than these look-ups.
constexpr int kMostTableEntries = 256;

template <Block block>
void add_block(DevInfo* devinfo, json::Value& result) {
  nuvek_create_GisInfoPkg(&(devinfo->reportInfo.*kBlocks[block].info), result, block);
}

struct Package {
  const char* object_path;
  void (*fill)(DevInfo* devinfo, json::Value& result);
};

constexpr Package kPackages[] = {
    {"NUVEK.DeviceInfo", nuvek_create_deviceInfo},
    {"NUVEK.GISInfoA", add_block<kBlockA>},
    {"NUVEK.GISInfoB", add_block<kBlockB>},
    {"NUVEK.Interface", [](DevInfo*, json::Value& result) { nuvek_create_InterfacePkg(result); }},
    {"NUVEK.Counter", [](DevInfo*, json::Value& result) { nuvek_create_CounterPkg(&g_CntNum, result); }},
};

const Package* find_package(const char* object_path) {
  for (const Package& package : kPackages) {
    if (strcmp(object_path, package.object_path) == 0) return &package;
  }
  return nullptr;
}

// One column of a store table: its attribute, the member it becomes, and the size of the text that is kept, its
// terminator included.
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
  const float number = static_cast<float>(strtod(value, nullptr));
  if (number != number) return 0;
  if (number >= 2147483648.0F) return INT32_MAX;
  if (number <= -2147483648.0F) return INT32_MIN;
  return static_cast<int32_t>(number);
}

json::Value read_row(const char* entry, const Column (&columns)[6]) {
  json::Value row = json::Value::object();
  for (const Column& column : columns) {
    char value[32] = "";
    store::read(entry, column.attr, value, column.size);
    if (column.is_number) {
      json_AddNumberToObject(row, column.member, to_whole(value));
    } else {
      json_AddStringToObject(row, column.member, value);
    }
  }
  return row;
}

json::Value read_table(const char* name, const Column (&columns)[6]) {
  json::Value table = json::Value::array();
  char table_node[64];
  char count[8] = "";
  text::Builder(table_node).append(node::kTableHead, name);
  store::read(table_node, attr::kCount, count);
  const int32_t entries = text::to_int32(count);
  for (int k = 0; k < entries && k < kMostTableEntries; ++k) {
    text::Builder(table_node).append(node::kTableEntry, name, k);
    json_AddItemToArray(table, read_row(table_node, columns));
  }
  return table;
}

void add_dns_server(json::Value& object, const char* member, const char* attribute) {
  char address[32] = "";
  store::read(node::kDns, attribute, address);
  json_AddStringToObject(object, member, address);
}

}  // namespace

int nuvek_RPCGet_process(ServerArg*, DevInfo* devinfo, const RecvData* record) {
  // Released when the answer is out: the platform need not wait for that.
  json::Value message = json::Value::object();
  json::Value result = json::Value::object();
  const Package* package = find_package(record->ObjectPath);
  if (package != nullptr) package->fill(devinfo, result);
  json_AddStringToObject(message, "RPCMethod", "GetResponse");
  json_AddNumberToObject(message, "ID", record->ID);
  json_AddStringToObject(message, "ObjectPath", record->ObjectPath);
  json_AddNumberToObject(message, "Code", package != nullptr ? 0 : -1);
  json_AddItemToObject(message, "Result", std::move(result));
  char body[kBodySize];
  message.print_body(body, sizeof body, devinfo->UUID);
  const Lock hold(g_link_lock);
  return nuvek_sendPostRequest(g_connection, body);
}

void nuvek_create_GisInfoPkg(const GisInfo* location, json::Value& result, Block block) {
  const LocationBlock& names = kBlocks[block];
  json::Value inner = json::Value::object();
  json_AddStringToObject(inner, "Status", "set");
  add_location_values(inner, *location);
  json_AddStringToObject(inner, kLocationTexts[kAreaCode].name, location->AreaCode);
  json_AddStringToObject(inner, kLocationTexts[kGISDigest].name, location->GISDigest);
  json_AddStringToObject(inner, kLocationTexts[kGISInterface].name, names.letter);  // not the record's
  json_AddStringToObject(inner, kLocationTexts[kGISLockTime].name, location->GISLockTime);
  json::Value package = json::Value::object();
  json_AddItemToObject(package, names.package, std::move(inner));
  json_AddItemToObject(result, "NUVEK", std::move(package));
}

void nuvek_create_InterfacePkg(json::Value& result) {
  json::Value interfaces = json::Value::object();
  json_AddItemToObject(interfaces, "InterfaceTable", read_table(node::kInterfaces, kInterfaceColumns));
  json_AddItemToObject(interfaces, "RouteTable", read_table(node::kRoutes, kRouteColumns));
  add_dns_server(interfaces, "DNS1", attr::kFirstDns);
  add_dns_server(interfaces, "DNS2", attr::kSecondDns);
  json::Value package = json::Value::object();
  json_AddItemToObject(package, "Interface", std::move(interfaces));
  json_AddItemToObject(result, "NUVEK", std::move(package));
}

void nuvek_create_CounterPkg(const CntNum* counters, json::Value& result) {
  json::Value inner = json::Value::object();
  for (const Counter number :
       {kFailInform, kFailResult, kFailTask, kSuccessInform, kSuccessResult, kSuccessTask}) {  // by name
    const CounterRow& row = counter_row(number);
    json_AddNumberToObject(inner, row.name, static_cast<int32_t>((counters->*row.value).load()));
  }
  json::Value package = json::Value::object();
  json_AddItemToObject(package, "Counter", std::move(inner));
  json_AddItemToObject(result, "NUVEK", std::move(package));
}
