// Owns the process-wide records: the device, the platform connection, the built-in endpoints and the report flags.
// They are static, of fixed size and zero at start; nothing in them is heap-owned.
#ifndef NUVEK_AGENT_BASE_RECORDS_H
#define NUVEK_AGENT_BASE_RECORDS_H

#include <atomic>
#include <cstddef>
#include <cstdint>

// One location block. Field names are the store's attribute names and the JSON keys; all texts are NUL-terminated.
struct GisInfo {
  char Long[32];
  char Lat[32];
  char Altitudes[32];
  char HorizontalError[32];
  char VerticalError[32];
  char GISInterface[8];
  char AreaCode[16];
  char GISLockTime[16];
  char GISDigest[64];
};
static_assert(sizeof(GisInfo) == 264, "the device's layout");

// What the registration reports about the location.
struct ReportInfo {
  char GISInterface[8];  // which block is reported: "A" or "B"
  GisInfo GISInfoA;
  GisInfo GISInfoB;
  int32_t ReportID;   // message identifier of the last Inform0 built
  char GISInfc;       // 'A' or 'B', derived from GISInterface before each Inform0
  char end_guard[3];  // never written: the record's last text ends here at the latest
};
static_assert(sizeof(ReportInfo) == 544 && offsetof(ReportInfo, ReportID) == 536, "the device's layout");

// The device's identity and location. A text that fills its field has no terminator of its own and reads on into the
// next field: read these texts through record_text().
struct DevInfo {
  char OperatorID[8];
  char VendorID[8];
  char ModelStr[16];
  char SoftVer[32];
  char SerialNum[32];
  char WANMAC[16];
  char WanMacRaw[32];
  char DevMAC[16];
  char DevMacRaw[32];
  char Uplink[8];
  char ProtocolVer[8];
  char DeviceTime[16];
  char RegID[96];
  char UUID[64];
  ReportInfo reportInfo;
};
static_assert(sizeof(DevInfo) == 928 && offsetof(DevInfo, DeviceTime) == 208 && offsetof(DevInfo, RegID) == 224 &&
                  offsetof(DevInfo, UUID) == 320 && offsetof(DevInfo, reportInfo) == 384,
              "the device's layout");

// The platform connection. Text fields change only while the platform link is held (link/server.h).
struct ServerArg {
  char hostIp[32];          // dotted IPv4 address last connected to, also the "Host" header
  char urlPath[32];         // request target of every POST
  std::atomic<int32_t> fd;  // connected socket, -1 without a connection
};
static_assert(sizeof(ServerArg) == 68 && std::atomic<int32_t>::is_always_lock_free, "the device's layout");

// The operator's endpoints, built in.
struct RemoteSerDomain {
  char platDomain1[16];
  char platDomain2[16];
  char regUrl1[32];
  char regUrl2[32];
  char speedUrl1[48];
  char speedUrl2[48];
  char traceHost[16];
  char timeHost[16];
  int32_t dayMinutes;
  int32_t weekHours;
};
static_assert(sizeof(RemoteSerDomain) == 232, "the device's layout");

// Which location blocks the platform has acknowledged. Main thread only.
struct NuvekReport {
  int32_t lastBlock;  // 0 = A, 1 = B
  uint8_t aReported;  // 1 once block A has been acknowledged, in this run or an earlier one
  uint8_t bReported;
  uint8_t unused[2];
};
static_assert(sizeof(NuvekReport) == 8, "the device's layout");

constexpr size_t kDomainSize = 32;

extern DevInfo g_devinfo;
extern ServerArg g_server_Arg;
extern const RemoteSerDomain g_RemoteSerDomain;
extern NuvekReport nuvekReport;

// The platform domain in use, and the two to choose from: entry 0 primary, entry 1 secondary. They change only while
// the platform link is held.
extern char g_platdomain[kDomainSize];
extern char g_platdomainList[2][kDomainSize];

// The text that starts at `field` of `record`, read on to the next NUL; the record's end guard bounds it.
inline const char* record_text(const DevInfo& record, const char* field) {
  const char* bytes = reinterpret_cast<const char*>(&record);
  return bytes + (field - bytes);
}

#endif
