// The names that the agent's settings and state have in the store. Names that are a table's rows (texts of the records,
// counters, columns of the interface and route tables) stand in that table.
#ifndef NUVEK_AGENT_BASE_STORE_NAMES_H
#define NUVEK_AGENT_BASE_STORE_NAMES_H

namespace node {

inline constexpr char kServer[] = "nuvek_Server";    // what the operator sets
inline constexpr char kCommon[] = "nuvek_Common";    // what the agent keeps
inline constexpr char kCounter[] = "nuvek_Counter";  // attributes: base/counters
inline constexpr char kEntryA[] = "nuvek_Entry0";    // location block A, attributes: base/records
inline constexpr char kEntryB[] = "nuvek_Entry1";
inline constexpr char kDevInfo[] = "nuvek_DevInfo";  // the identity, mirrored for the gateway's other software
inline constexpr char kDns[] = "nuvek_DnsInfo";

inline constexpr char kDeviceStatic[] = "DeviceInfo_devParaStatic";
inline constexpr char kDeviceDynamic[] = "DeviceInfo_devParaDynamic";
inline constexpr char kLan[] = "Info_eth0.1";
inline constexpr char kWanServices[] = "Wan_PVC%d_Entry%d";
inline constexpr char kWan[] = "WanInfo_Entry%d";

// Tables: the number of entries stands in "<name>_Common", each entry in "<name>_Entry<k>".
inline constexpr char kInterfaces[] = "nuvekInterfaceInfo";
inline constexpr char kRoutes[] = "nuvekRouteInfo";
inline constexpr char kTableHead[] = "%s_Common";
inline constexpr char kTableEntry[] = "%s_Entry%d";

}  // namespace node

namespace attr {

inline constexpr char kPlatDomain1[] = "PlatDomain1";
inline constexpr char kPlatDomain2[] = "PlatDomain2";
inline constexpr char kReportCycle[] = "ReportCycle";    // minutes
inline constexpr char kExetaskCycle[] = "ExetaskCycle";  // hours

inline constexpr char kUuid[] = "UUID";
inline constexpr char kRegId[] = "RegId";
inline constexpr char kReportStatus[] = "ReportStatus";
inline constexpr char kDefaultFirstReportTime[] = "DefaultFirstReportTime";  // minutes
inline constexpr char kLastInformTime[] = "LastInformTime";                  // these three: seconds since the epoch
inline constexpr char kLastSpeedTime[] = "LastSpeedTime";
inline constexpr char kLastTraceTime[] = "LastTraceTime";

inline constexpr char kGisInterface[] = "GISInterface";
inline constexpr char kAlreadyReport[] = "alreadyReport";

inline constexpr char kManufacturer[] = "Manufacturer";
inline constexpr char kModelName[] = "ModelName";
inline constexpr char kSoftwareVersion[] = "CustomerSWVersion";
inline constexpr char kSerialNum[] = "SerialNum";
inline constexpr char kHwaddr[] = "hwaddr";
inline constexpr char kServiceList[] = "ServiceList";
inline constexpr char kCount[] = "Count";
inline constexpr char kFirstDns[] = "FirDns";
inline constexpr char kSecondDns[] = "SecDns";

}  // namespace attr

#endif
