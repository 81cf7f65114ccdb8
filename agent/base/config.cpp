#include "agent/base/config.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "agent/base/config_steps.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"

namespace {

constexpr int kPvcCount = 8;
constexpr int kEntriesPerPvc = 8;

// Copies a text into a field of the record, terminator included. A text longer than its field runs on into the next
// one, whose own copy follows and overwrites what ran over: the platform knows over-long vendor names in this form.
void copy_running_on(DevInfo& devinfo, const TextField& field, const char* source) {
  char* bytes = reinterpret_cast<char*>(&devinfo);
  const size_t end = sizeof devinfo - sizeof devinfo.reportInfo.end_guard;
  text::copy(bytes + field.offset, end - field.offset, source);
}

// Names the WAN information node of the first connection that carries the Internet service; false when there is none.
bool find_internet_wan(char* wan_node, size_t size) {
  char services[32] = "";
  for (int pvc = 0; pvc < kPvcCount; ++pvc) {
    for (int entry = 0; entry < kEntriesPerPvc; ++entry) {
      char connection[40];
      snprintf(connection, sizeof connection, node::kWanServices, pvc, entry);
      store::read(connection, attr::kServiceList, services);
      if (strstr(services, "INTERNET") == nullptr) continue;
      snprintf(wan_node, size, node::kWan, pvc * kEntriesPerPvc + entry);
      return true;
    }
  }
  return false;
}

// An interface's MAC address as the store has it, and without its colons.
struct MacAddress {
  char raw[32] = "";
  char plain[32] = "";

  void load(const char* interface_node) {
    if (store::read(interface_node, attr::kHwaddr, raw)) nuvek_strip_colons(plain, raw);
  }
};

void load_block(DevInfo* devinfo, const LocationBlock& block) {
  GisInfo& info = devinfo->reportInfo.*block.info;
  for (const LocationText text : kStoredLocation) {
    const TextField& field = kLocationTexts[text];
    memset(text_of(info, text), 0, field.size);
    store::read(block.node, field.name, text_of(info, text), field.size);
  }
}

void load_domain(const char* attribute, const char* built_in, char (&domain)[kDomainSize]) {
  char value[kDomainSize] = "";
  store::read(node::kServer, attribute, value);
  text::copy(domain, value[0] == '\0' ? built_in : value);
}

}  // namespace

void nuvek_load_server() {
  load_domain(attr::kPlatDomain1, g_RemoteSerDomain.platDomain1, g_platdomainList[0]);
  load_domain(attr::kPlatDomain2, g_RemoteSerDomain.platDomain2, g_platdomainList[1]);
  text::copy(g_platdomain, g_platdomainList[0]);
}

void nuvek_load_devinfo(DevInfo* devinfo) {
  char vendor[32] = "";
  char model[32] = "";
  char version[32] = "";
  char serial[32] = "";
  store::read(node::kDeviceStatic, attr::kManufacturer, vendor);
  store::read(node::kDeviceStatic, attr::kModelName, model);
  store::read(node::kDeviceStatic, attr::kSoftwareVersion, version);
  store::read(node::kDeviceDynamic, attr::kSerialNum, serial);

  MacAddress lan;
  lan.load(node::kLan);
  MacAddress wan;
  char wan_node[32] = "";
  find_internet_wan(wan_node, sizeof wan_node);
  wan.load(wan_node);  // without an Internet connection the node has no name, and the store knows no such node

  // In the order of the fields, from the operator's identifier to the protocol's version.
  const char* const values[] = {"ZELM",  vendor,    model,   version, serial, wan.plain,
                                wan.raw, lan.plain, lan.raw, "GPON",  "1.0"};
  const TextField* field = kDeviceTexts;
  for (const char* value : values) copy_running_on(*devinfo, *field++, value);

  char letter[8] = "";
  store::read(node::kEntryA, attr::kGisInterface, letter);
  if (letter[0] != '\0') text::copy(devinfo->reportInfo.GISInterface, letter);
  char uuid[64] = "";
  store::read(node::kCommon, attr::kUuid, uuid);
  if (uuid[0] != '\0') text::copy(devinfo->UUID, uuid);

  nuvek_display_devinfo(devinfo);
  nuvek_save_devinfo(devinfo);
  nuvek_load_gisA(devinfo);
}

void nuvek_load_reportFlags() {
  for (const LocationBlock& block : kBlocks) {
    char value[8] = "";
    store::read(block.node, attr::kAlreadyReport, value);
    if (text::to_int32(value) == 1) nuvekReport.*block.reported = 1;
  }
}

void nuvek_save_devinfo(const DevInfo* devinfo) {
  static constexpr struct {
    char attribute[13];
    DeviceText text;
  } kMirror[] = {
      {"Manufacturer", kVendorID},  {"Isp", kOperatorID},          {"ProductClass", kModelStr},
      {"SerialNumber", kSerialNum}, {"SWVersion", kSoftVer},       {"WanMac", kWANMAC},
      {"DevMac", kDevMAC},          {"ProtocolVer", kProtocolVer}, {"AccessType", kUplink},
  };
  for (const auto& row : kMirror) store::write(node::kDevInfo, row.attribute, text_of(*devinfo, row.text));
  store::commit(node::kDevInfo);
  store::save();
}

void nuvek_load_gisA(DevInfo* devinfo) { load_block(devinfo, kBlocks[kBlockA]); }

void nuvek_load_gisInfo(DevInfo* devinfo, int32_t mode) {
  const bool known = mode >= block_bit(kBlockA) && mode <= (block_bit(kBlockA) | block_bit(kBlockB));
  const char* letter = "";
  for (const Block block : {kBlockA, kBlockB}) {
    if (!known || (mode & block_bit(block)) == 0) continue;
    load_block(devinfo, kBlocks[block]);
    if (letter[0] == '\0') letter = kBlocks[block].letter;
  }
  memset(devinfo->reportInfo.GISInterface, 0, sizeof devinfo->reportInfo.GISInterface);
  text::copy(devinfo->reportInfo.GISInterface, letter);
}

void nuvek_display_devinfo(const DevInfo* devinfo) {
  static constexpr DeviceText kShown[] = {kOperatorID, kVendorID, kModelStr, kSoftVer,    kSerialNum,
                                          kWANMAC,     kDevMAC,   kUplink,   kProtocolVer};
  for (const DeviceText text : kShown) {
    // Field tools search the log for this spelling of the vendor.
    const char* name = text == kVendorID ? "VerdorID" : kDeviceTexts[text].name;
    NUVEK_DEBUG("deviceinfo->%s:%s", name, text_of(*devinfo, text));
  }
  NUVEK_DEBUG("deviceinfo->UUID:%s", devinfo->UUID);
}
