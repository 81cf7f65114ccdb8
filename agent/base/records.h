// Owns the process-wide records: the device, the platform connection, the built-in endpoints and the report flags; and
// the lists of their texts, which loading, storing and the messages go by. The records are static, of fixed size and
// zero at start; nothing in them is heap-owned.
#ifndef NUVEK_AGENT_BASE_RECORDS_H
#define NUVEK_AGENT_BASE_RECORDS_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "agent/base/lock.h"

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

constexpr char kRequestPath[] = "/reg/";

// Held to connect, send, close and choose the server, by whichever thread does (link/server).
extern Mutex g_link_lock;

// The platform connection.
struct ServerArg {
  char hostIp[32] GUARDED_BY(g_link_lock);   // dotted IPv4 address last connected to, also the "Host" header
  char urlPath[32] GUARDED_BY(g_link_lock);  // request target of every POST: kRequestPath
  std::atomic<int32_t> fd;                   // connected socket, -1 without a connection; used by link/connection only
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

// The platform domain in use, and the two to choose from: entry 0 primary, entry 1 secondary.
extern char g_platdomain[kDomainSize] GUARDED_BY(g_link_lock);
extern char g_platdomainList[2][kDomainSize] GUARDED_BY(g_link_lock);

// --- the texts of the records, each named once -----------------------------------------------------------------------

// Where a text stands in its record. `name` is its attribute in the store and its key in a message.
struct TextField {
  const char* name;
  uint16_t offset;
  uint16_t size;
};

enum LocationText : uint8_t {
  kLong,
  kLat,
  kAltitudes,
  kHorizontalError,
  kVerticalError,
  kGISInterface,
  kAreaCode,
  kGISLockTime,
  kGISDigest,
};
extern const TextField kLocationTexts[9];  // by LocationText

// What a location block consists of in the store and in the key file, in this order; its letter stands behind.
constexpr LocationText kStoredLocation[] = {kLong,          kLat,      kAltitudes,   kHorizontalError,
                                            kVerticalError, kAreaCode, kGISLockTime, kGISDigest};

inline const char* text_of(const GisInfo& block, LocationText text) {
  return reinterpret_cast<const char*>(&block) + kLocationTexts[text].offset;
}
inline char* text_of(GisInfo& block, LocationText text) {
  return reinterpret_cast<char*>(&block) + kLocationTexts[text].offset;
}

enum DeviceText : uint8_t {
  kOperatorID,
  kVendorID,
  kModelStr,
  kSoftVer,
  kSerialNum,
  kWANMAC,
  kWanMacRaw,
  kDevMAC,
  kDevMacRaw,
  kUplink,
  kProtocolVer,
  kDeviceTime,
  kRegID,
};
extern const TextField kDeviceTexts[13];  // by DeviceText

// The text that starts at `field` of `record`, read on to the next NUL; the record's end guard bounds it. Taken from
// the record's own bytes: a pointer made from the field alone would end with the field, and the compiler may build on
// that.
inline const char* record_text(const DevInfo& record, const char* field) {
  const char* bytes = reinterpret_cast<const char*>(&record);
  return bytes + (field - bytes);
}
inline const char* text_of(const DevInfo& record, DeviceText text) {
  return reinterpret_cast<const char*>(&record) + kDeviceTexts[text].offset;
}

// --- the location blocks ---------------------------------------------------------------------------------------------

// A block by number, as nuvekReport keeps it.
enum Block : int32_t { kBlockA = 0, kBlockB = 1 };

struct LocationBlock {
  const char* letter;   // how the store, the messages and the key file tell it
  const char* node;     // its node in the store
  const char* key;      // its heading in the key file
  const char* package;  // its member in a GetResponse
  GisInfo ReportInfo::*info;
  uint8_t NuvekReport::*reported;
};
extern const LocationBlock kBlocks[2];  // by Block

// Blocks are asked for as a set, one bit each.
constexpr int32_t block_bit(Block block) { return 1 << block; }

#endif
