#include "message_shapes.h"

namespace desk {

const Members kInform0 = {{"RPCMethod", Type::kString},
                          {"ID", Type::kInteger},
                          {"ObjectPath", Type::kString, "\"NUVEK.DeviceInfo\""},
                          {"Params", Type::kObject}};
const Members kResult = {{"RPCMethod", Type::kString},
                         {"ID", Type::kInteger},
                         {"TaskStatus", Type::kInteger, "0"},
                         {"ObjectPath", Type::kString},
                         {"Params", Type::kObject}};
const Members kGetResponse = {{"RPCMethod", Type::kString},
                              {"ID", Type::kInteger},
                              {"ObjectPath", Type::kString},
                              {"Code", Type::kInteger},
                              {"Result", Type::kObject}};
const Members kDeviceInfo = {{"OperatorID", Type::kString},
                             {"VendorID", Type::kString},
                             {"ModelStr", Type::kString},
                             {"SoftVer", Type::kString},
                             {"SerialNum", Type::kString},
                             {"WANMAC", Type::kString},
                             {"DevMAC", Type::kString},
                             {"Uplink", Type::kString},
                             {"ProtocolVer", Type::kString},
                             {"DeviceTime", Type::kString},
                             {"RegID", Type::kString},
                             {"GISInterface", Type::kString},
                             {"AreaCode", Type::kString},
                             {"GISLockTime", Type::kString},
                             {"GISDigest", Type::kString},
                             {"Long", Type::kPosition},
                             {"Lat", Type::kPosition},
                             {"Altitudes", Type::kPosition},
                             {"HorizontalError", Type::kPosition},
                             {"VerticalError", Type::kPosition}};
const Members kSiteSpeed = {{"DestUrl", Type::kString},
                            {"DestIP", Type::kString},
                            {"Threads", Type::kInteger, "1"},
                            {"SpeedTable", Type::kArray},
                            {"Error", Type::kStringOrObject}};
const Members kSiteSpeedError = {{"ErrorCode", Type::kInteger},
                                 {"DNSErrorCode", Type::kInteger},
                                 {"NetErrorCode", Type::kInteger},
                                 {"HTTPErrorCode", Type::kInteger}};
const Members kTraceRoute = {{"DestIP", Type::kString},
                             {"MaxTTL", Type::kInteger, "30"},
                             {"Method", Type::kString, "\"icmp\""},
                             {"PathTable", Type::kArray},
                             {"Error", Type::kString, "\"null\""}};
static const Members kInterface = {
    {"InterfaceTable", Type::kArray}, {"RouteTable", Type::kArray}, {"DNS1", Type::kString}, {"DNS2", Type::kString}};
const Members kInterfaceRow = {{"Name", Type::kString},    {"PhyAddr", Type::kString},  {"Mask", Type::kString},
                               {"LocalIP", Type::kString}, {"RemoteIP", Type::kString}, {"MTU", Type::kInteger}};
const Members kRouteRow = {{"Dest", Type::kString},  {"Flags", Type::kString}, {"Gateway", Type::kString},
                           {"Iface", Type::kString}, {"Mask", Type::kString},  {"Metric", Type::kInteger}};
static const Members kCounter = {{"FailInform", Type::kInteger},    {"FailResult", Type::kInteger},
                                 {"FailTask", Type::kInteger},      {"SuccessInform", Type::kInteger},
                                 {"SuccessResult", Type::kInteger}, {"SuccessTask", Type::kInteger}};

static Members location(const char* interface) {
  return {{"Status", Type::kString, "\"set\""},
          {"Long", Type::kPosition},
          {"Lat", Type::kPosition},
          {"Altitudes", Type::kPosition},
          {"HorizontalError", Type::kPosition},
          {"VerticalError", Type::kPosition},
          {"AreaCode", Type::kString},
          {"GISDigest", Type::kString},
          {"GISInterface", Type::kString, interface},
          {"GISLockTime", Type::kString}};
}

const std::vector<Package> kPackages = {{"NUVEK.DeviceInfo", "DeviceInfo", kDeviceInfo},
                                        {"NUVEK.GISInfoA", "GISInfoA", location("\"A\"")},
                                        {"NUVEK.GISInfoB", "GISInfoB", location("\"B\"")},
                                        {"NUVEK.Interface", "Interface", kInterface},
                                        {"NUVEK.Counter", "Counter", kCounter}};

}  // namespace desk
