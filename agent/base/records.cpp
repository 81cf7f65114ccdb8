#include "agent/base/records.h"

#include "agent/base/store_names.h"

DevInfo g_devinfo;
ServerArg g_server_Arg;
NuvekReport nuvekReport;
Mutex g_link_lock;
char g_platdomain[kDomainSize];
char g_platdomainList[2][kDomainSize];

// The two registration URLs, the time server and the two periods are read by nothing: they are part of the table that
// the operator's tools look for in the image.
const RemoteSerDomain g_RemoteSerDomain = {
    NUVEK_PLATFORM_DOMAIN_1,
    NUVEK_PLATFORM_DOMAIN_2,
    NUVEK_REGISTRATION_URL_1,
    NUVEK_REGISTRATION_URL_2,
    NUVEK_SPEED_URL_1,
    NUVEK_SPEED_URL_2,
    NUVEK_TRACE_HOST,
    NUVEK_TIME_HOST,
    1440,
    168,
};

#define TEXT_FIELD(record, field) \
  { #field, offsetof(record, field), sizeof(record::field) }

const TextField kLocationTexts[9] = {
    TEXT_FIELD(GisInfo, Long),          TEXT_FIELD(GisInfo, Lat),
    TEXT_FIELD(GisInfo, Altitudes),     TEXT_FIELD(GisInfo, HorizontalError),
    TEXT_FIELD(GisInfo, VerticalError), TEXT_FIELD(GisInfo, GISInterface),
    TEXT_FIELD(GisInfo, AreaCode),      TEXT_FIELD(GisInfo, GISLockTime),
    TEXT_FIELD(GisInfo, GISDigest),
};

const TextField kDeviceTexts[13] = {
    TEXT_FIELD(DevInfo, OperatorID), TEXT_FIELD(DevInfo, VendorID),    TEXT_FIELD(DevInfo, ModelStr),
    TEXT_FIELD(DevInfo, SoftVer),    TEXT_FIELD(DevInfo, SerialNum),   TEXT_FIELD(DevInfo, WANMAC),
    TEXT_FIELD(DevInfo, WanMacRaw),  TEXT_FIELD(DevInfo, DevMAC),      TEXT_FIELD(DevInfo, DevMacRaw),
    TEXT_FIELD(DevInfo, Uplink),     TEXT_FIELD(DevInfo, ProtocolVer), TEXT_FIELD(DevInfo, DeviceTime),
    TEXT_FIELD(DevInfo, RegID),
};

const LocationBlock kBlocks[2] = {
    {"A", node::kEntryA, "Entry0", "GISInfoA", &ReportInfo::GISInfoA, &NuvekReport::aReported},
    {"B", node::kEntryB, "Entry1", "GISInfoB", &ReportInfo::GISInfoB, &NuvekReport::bReported},
};
