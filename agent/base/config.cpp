#include "agent/base/config.h"

#include <cstdio>
#include <cstring>

#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"
#include "agent/tasks/task_state.h"

namespace {

constexpr char kEntryNodes[2][16] = {"nuvek_Entry0", "nuvek_Entry1"};  // location blocks A and B
constexpr int kPvcCount = 8;
constexpr int kEntriesPerPvc = 8;

struct NamedText {
  const char* name;
  size_t offset;  // of the text's field in DevInfo
};

const char* text_at(const DevInfo& devinfo, size_t offset) {
  return record_text(devinfo, reinterpret_cast<const char*>(&devinfo) + offset);
}

// Copies a text into a field of the record, terminator included. A text longer than its field runs on into the next
// one, whose own copy follows and overwrites what ran over: the platform knows over-long vendor names in this form.
void copy_running_on(DevInfo& devinfo, size_t offset, const char* source) {
  char* bytes = reinterpret_cast<char*>(&devinfo);
  const size_t end = sizeof devinfo - sizeof devinfo.reportInfo.end_guard;
  text::copy(bytes + offset, end - offset, source);
}

// Names the WAN information node of the first connection that carries the Internet service; false when there is none.
bool find_internet_wan(char* node, size_t size) {
  char services[32] = "";
  for (int pvc = 0; pvc < kPvcCount; ++pvc) {
    for (int entry = 0; entry < kEntriesPerPvc; ++entry) {
      char connection[40];
      snprintf(connection, sizeof connection, "Wan_PVC%d_Entry%d", pvc, entry);
      store::read(connection, "ServiceList", services);
      if (strstr(services, "INTERNET") == nullptr) continue;
      snprintf(node, size, "WanInfo_Entry%d", pvc * kEntriesPerPvc + entry);
      return true;
    }
  }
  return false;
}

// An interface's MAC address as the store has it, and without its colons.
struct MacAddress {
  char raw[32] = "";
  char plain[32] = "";

  void load(const char* node) {
    if (store::read(node, "hwaddr", raw)) nuvek_strip_colons(plain, raw);
  }
};

void load_block(GisInfo& block, const char* node) {
  const struct {
    const char* attr;
    char* out;
    size_t size;
  } fields[] = {
      {"Long", block.Long, sizeof block.Long},
      {"Lat", block.Lat, sizeof block.Lat},
      {"Altitudes", block.Altitudes, sizeof block.Altitudes},
      {"HorizontalError", block.HorizontalError, sizeof block.HorizontalError},
      {"VerticalError", block.VerticalError, sizeof block.VerticalError},
      {"AreaCode", block.AreaCode, sizeof block.AreaCode},
      {"GISLockTime", block.GISLockTime, sizeof block.GISLockTime},
      {"GISDigest", block.GISDigest, sizeof block.GISDigest},
  };
  for (const auto& field : fields) {
    memset(field.out, 0, field.size);
    store::read(node, field.attr, field.out, field.size);
  }
}

void load_domain(const char* attr, const char* built_in, char (&domain)[kDomainSize]) {
  char value[kDomainSize] = "";
  store::read("nuvek_Server", attr, value);
  text::copy(domain, value[0] == '\0' ? built_in : value);
}

bool is_reported(const char* node) {
  char value[8] = "";
  store::read(node, "alreadyReport", value);
  return text::to_int32(value) == 1;
}

}  // namespace

void nuvek_load_server() {
  load_domain("PlatDomain1", g_RemoteSerDomain.platDomain1, g_platdomainList[0]);
  load_domain("PlatDomain2", g_RemoteSerDomain.platDomain2, g_platdomainList[1]);
  text::copy(g_platdomain, g_platdomainList[0]);
}

void nuvek_load_devinfo(DevInfo* devinfo) {
  char vendor[32] = "";
  char model[32] = "";
  char version[32] = "";
  char serial[32] = "";
  store::read("DeviceInfo_devParaStatic", "Manufacturer", vendor);
  store::read("DeviceInfo_devParaStatic", "ModelName", model);
  store::read("DeviceInfo_devParaStatic", "CustomerSWVersion", version);
  store::read("DeviceInfo_devParaDynamic", "SerialNum", serial);

  MacAddress lan;
  lan.load("Info_eth0.1");
  MacAddress wan;
  char wan_node[32] = "";
  find_internet_wan(wan_node, sizeof wan_node);
  wan.load(wan_node);  // without an Internet connection the node has no name, and the store knows no such node

  const struct {
    size_t offset;
    const char* value;
  } copies[] = {
      {offsetof(DevInfo, OperatorID), "ZELM"}, {offsetof(DevInfo, VendorID), vendor},
      {offsetof(DevInfo, ModelStr), model},    {offsetof(DevInfo, SoftVer), version},
      {offsetof(DevInfo, SerialNum), serial},  {offsetof(DevInfo, WANMAC), wan.plain},
      {offsetof(DevInfo, WanMacRaw), wan.raw}, {offsetof(DevInfo, DevMAC), lan.plain},
      {offsetof(DevInfo, DevMacRaw), lan.raw}, {offsetof(DevInfo, Uplink), "GPON"},
      {offsetof(DevInfo, ProtocolVer), "1.0"},
  };
  for (const auto& copy : copies) copy_running_on(*devinfo, copy.offset, copy.value);

  char letter[8] = "";
  store::read("nuvek_Entry0", "GISInterface", letter);
  if (letter[0] != '\0') text::copy(devinfo->reportInfo.GISInterface, letter);
  char uuid[64] = "";
  store::read("nuvek_Common", "UUID", uuid);
  if (uuid[0] != '\0') text::copy(devinfo->UUID, uuid);

  nuvek_display_devinfo(devinfo);
  nuvek_save_devinfo(devinfo);
  nuvek_load_gisA(devinfo);
}

void nuvek_load_reportFlags() {
  if (is_reported(kEntryNodes[kBlockA])) nuvekReport.aReported = 1;
  if (is_reported(kEntryNodes[kBlockB])) nuvekReport.bReported = 1;
}

void nuvek_save_devinfo(const DevInfo* devinfo) {
  static constexpr char kNode[] = "nuvek_DevInfo";
  static constexpr NamedText kAttributes[] = {
      {"Manufacturer", offsetof(DevInfo, VendorID)}, {"Isp", offsetof(DevInfo, OperatorID)},
      {"ProductClass", offsetof(DevInfo, ModelStr)}, {"SerialNumber", offsetof(DevInfo, SerialNum)},
      {"SWVersion", offsetof(DevInfo, SoftVer)},     {"WanMac", offsetof(DevInfo, WANMAC)},
      {"DevMac", offsetof(DevInfo, DevMAC)},         {"ProtocolVer", offsetof(DevInfo, ProtocolVer)},
      {"AccessType", offsetof(DevInfo, Uplink)},
  };
  for (const NamedText& attribute : kAttributes) {
    store::write(kNode, attribute.name, text_at(*devinfo, attribute.offset));
  }
  store::commit(kNode);
  store::save();
}

void nuvek_load_gisA(DevInfo* devinfo) { load_block(devinfo->reportInfo.GISInfoA, kEntryNodes[kBlockA]); }

void nuvek_load_gisInfo(DevInfo* devinfo, int32_t mode) {
  ReportInfo& report = devinfo->reportInfo;
  const bool a = mode == 1 || mode == 3;
  const bool b = mode == 2 || mode == 3;
  if (a) load_block(report.GISInfoA, kEntryNodes[kBlockA]);
  if (b) load_block(report.GISInfoB, kEntryNodes[kBlockB]);
  memset(report.GISInterface, 0, sizeof report.GISInterface);
  if (a || b) report.GISInterface[0] = a ? 'A' : 'B';
}

void nuvek_set_alreadyReport(int32_t block) {
  nuvekTask.speedTrigger = 1;
  nuvekTask.traceTrigger = 1;
  uint8_t& flag = block == kBlockA ? nuvekReport.aReported : nuvekReport.bReported;
  const char* node = kEntryNodes[block == kBlockA ? kBlockA : kBlockB];
  flag = 1;
  store::write(node, "alreadyReport", "1");
  store::commit(node);
  store::save();
  nuvekReport.lastBlock = block;
}

void nuvek_display_devinfo(const DevInfo* devinfo) {
  static constexpr NamedText kLines[] = {
      {"OperatorID", offsetof(DevInfo, OperatorID)},
      {"VerdorID", offsetof(DevInfo, VendorID)},  // field tools search the log for this spelling
      {"ModelStr", offsetof(DevInfo, ModelStr)},
      {"SoftVer", offsetof(DevInfo, SoftVer)},
      {"SerialNum", offsetof(DevInfo, SerialNum)},
      {"WANMAC", offsetof(DevInfo, WANMAC)},
      {"DevMAC", offsetof(DevInfo, DevMAC)},
      {"Uplink", offsetof(DevInfo, Uplink)},
      {"ProtocolVer", offsetof(DevInfo, ProtocolVer)},
      {"UUID", offsetof(DevInfo, UUID)},
  };
  for (const NamedText& line : kLines) {
    NUVEK_DEBUG("deviceinfo->%s:%s", line.name, text_at(*devinfo, line.offset));
  }
}
