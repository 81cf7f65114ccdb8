// The platform's Get and the five packages.
#include "agent/base/counters.h"
#include "agent/json/json_build.h"
#include "agent/rpc/get_steps.h"
#include "tests/support/world.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

class GetTest : public AgentTest {
 protected:
  GetTest() { strcpy(g_devinfo.UUID, "the-uuid"); }

  // Asks for a package and returns the body that left.
  std::string ask(const char* path, int32_t id = 7, int expected_result = 0) {
    RecvData record{};
    strncpy(record.ObjectPath, path, sizeof record.ObjectPath - 1);
    record.ID = id;
    EXPECT_EQ(nuvek_RPCGet_process(&g_server_Arg, &g_devinfo, &record), expected_result);
    return body_of(platform_.received());
  }
  static std::string response(const std::string& path, const std::string& result, int code = 0) {
    return R"(["the-uuid",{"RPCMethod":"GetResponse","ID":7,"ObjectPath":")" + path + R"(","Code":)" +
           std::to_string(code) + R"(,"Result":)" + result + "}]";
  }
  // The number that a text becomes as an MTU.
  std::string mtu(const char* text) {
    world().put("nuvekInterfaceInfo_Common", "Count", "1");
    world().put("nuvekInterfaceInfo_Entry0", "MTU", text);
    const std::string body = ask("NUVEK.Interface");
    const size_t begin = body.find("\"MTU\":") + 6;
    return body.substr(begin, body.find('}', begin) - begin);
  }
  ConnectedPlatform platform_;
};

constexpr char kNoCounts[] =
    R"({"NUVEK":{"Counter":{"FailInform":0,"FailResult":0,"FailTask":0,"SuccessInform":0,"SuccessResult":0,"SuccessTask":0}}})";

}  // namespace

TEST_F(GetTest, CountersOfANewGatewayAreZero) { EXPECT_EQ(ask("NUVEK.Counter"), response("NUVEK.Counter", kNoCounts)); }

TEST_F(GetTest, CountersStandInAlphabeticalOrderAndTheUpperHalfIsNegative) {
  g_CntNum.SuccessTask = 1;
  g_CntNum.FailTask = 2;
  g_CntNum.FailInform = 3;
  g_CntNum.SuccessInform = 4;
  g_CntNum.FailResult = 2147483648U;
  g_CntNum.SuccessResult = 4294967295U;
  EXPECT_EQ(ask("NUVEK.Counter"),
            response("NUVEK.Counter", R"({"NUVEK":{"Counter":{"FailInform":3,"FailResult":-2147483648,"FailTask":2,)"
                                      R"("SuccessInform":4,"SuccessResult":-1,"SuccessTask":1}}})"));
}

TEST_F(GetTest, AnyOtherPathGivesMinusOneAndAnEmptyResult) {
  for (const char* path : {"nuvek.counter", "NUVEK.SiteSpeed", "NUVEK.TraceRoute", "NUVEK.Counter ", "NUVEK", ""}) {
    EXPECT_EQ(ask(path), response(path, "{}", -1));
  }
}

TEST_F(GetTest, AnEmptyLocationHasDefaultsForNumbersAndEmptyTexts) {
  EXPECT_EQ(ask("NUVEK.GISInfoA"),
            response("NUVEK.GISInfoA",
                     R"({"NUVEK":{"GISInfoA":{"Status":"set","Long": 0.00000 ,"Lat": 0.00000 ,"Altitudes": 0.0 ,)"
                     R"("HorizontalError": 0.0 ,"VerticalError": 0.0 ,"AreaCode":"","GISDigest":"","GISInterface":"A",)"
                     R"("GISLockTime":""}}})"));
}

TEST_F(GetTest, ALocationIsReportedFromTheRecordWithTheLetterOfThePackage) {
  GisInfo& block = g_devinfo.reportInfo.GISInfoB;
  strcpy(block.Long, "-12.345678901234567");  // cut to 15 characters
  strcpy(block.Lat, "1.5");
  strcpy(block.GISInterface, "X");
  strcpy(block.AreaCode, "110101");
  strcpy(block.GISDigest, "digest");
  strcpy(block.GISLockTime, "now");
  EXPECT_EQ(ask("NUVEK.GISInfoB"),
            response("NUVEK.GISInfoB",
                     R"({"NUVEK":{"GISInfoB":{"Status":"set","Long": -12.34567890123 ,"Lat": 1.5 ,"Altitudes": 0.0 ,)"
                     R"("HorizontalError": 0.0 ,"VerticalError": 0.0 ,"AreaCode":"110101","GISDigest":"digest",)"
                     R"("GISInterface":"B","GISLockTime":"now"}}})"));
}

TEST_F(GetTest, WithoutInterfacesAndRoutesTheTablesAreEmptyAndTheNameServersStillThere) {
  world().put("nuvekInterfaceInfo_Common", "Count", "0");
  world().put("nuvekRouteInfo_Common", "Count", "0");
  world().put("nuvek_DnsInfo", "FirDns", "192.0.2.53");
  EXPECT_EQ(ask("NUVEK.Interface"),
            response("NUVEK.Interface", R"({"NUVEK":{"Interface":{"InterfaceTable":[],"RouteTable":[],)"
                                        R"("DNS1":"192.0.2.53","DNS2":""}}})"));
  EXPECT_THAT(world().calls(), ElementsAre("get nuvekInterfaceInfo_Common Count", "get nuvekRouteInfo_Common Count",
                                           "get nuvek_DnsInfo FirDns", "get nuvek_DnsInfo SecDns"));
}

TEST_F(GetTest, TablesAreReadRowByRowAndLongTextsCut) {
  world().put("nuvekInterfaceInfo_Common", "Count", "1x");
  world().put("nuvekInterfaceInfo_Entry0", "IFName", std::string(40, 'n'));
  world().put("nuvekInterfaceInfo_Entry0", "PhyAddr", std::string(20, 'p'));
  world().put("nuvekRouteInfo_Common", "Count", "1");
  world().put("nuvekRouteInfo_Entry0", "Flags", std::string(20, 'f'));
  world().put("nuvekRouteInfo_Entry0", "Metric", "-5.7");
  EXPECT_EQ(
      ask("NUVEK.Interface"),
      response("NUVEK.Interface", R"({"NUVEK":{"Interface":{"InterfaceTable":[{"Name":")" + std::string(31, 'n') +
                                      R"(","PhyAddr":")" + std::string(15, 'p') +
                                      R"(","Mask":"","LocalIP":"","RemoteIP":"","MTU":0}],"RouteTable":[{"Dest":"",)"
                                      R"("Flags":")" +
                                      std::string(15, 'f') +
                                      R"(","Gateway":"","Iface":"","Mask":"","Metric":-5}],"DNS1":"","DNS2":""}}})"));
  const auto calls = world().calls();
  EXPECT_THAT(std::vector<std::string>(calls.begin() + 1, calls.begin() + 7),
              ElementsAre("get nuvekInterfaceInfo_Entry0 IFName", "get nuvekInterfaceInfo_Entry0 PhyAddr",
                          "get nuvekInterfaceInfo_Entry0 Mask", "get nuvekInterfaceInfo_Entry0 LocalIP",
                          "get nuvekInterfaceInfo_Entry0 RemoteIP", "get nuvekInterfaceInfo_Entry0 MTU"));
}

TEST_F(GetTest, EachColumnKeepsItsNumberOfCharacters) {
  const struct {
    const char* table;
    const char* attr;
    const char* member;
    size_t kept;
  } columns[] = {
      {"Interface", "IFName", "Name", 31},       {"Interface", "PhyAddr", "PhyAddr", 15},
      {"Interface", "Mask", "Mask", 31},         {"Interface", "LocalIP", "LocalIP", 31},
      {"Interface", "RemoteIP", "RemoteIP", 31}, {"Route", "Dest", "Dest", 31},
      {"Route", "Flags", "Flags", 15},           {"Route", "Gateway", "Gateway", 31},
      {"Route", "Iface", "Iface", 31},           {"Route", "Mask", "Mask", 31},
  };
  for (const auto& column : columns) {
    const std::string table = std::string("nuvek") + column.table + "Info_";
    world().put(table + "Common", "Count", "1");
    world().put(table + "Entry0", column.attr, std::string(40, 'x'));
    EXPECT_THAT(ask("NUVEK.Interface"),
                HasSubstr(std::string("\"") + column.member + "\":\"" + std::string(column.kept, 'x') + "\""));
    world().put(table + "Entry0", column.attr, "");
  }
  EXPECT_EQ(mtu((std::string(13, '0') + "123").c_str()), "12") << "fifteen characters of a number";
  world().put("nuvekRouteInfo_Entry0", "Metric", std::string(13, '0') + "123");
  EXPECT_THAT(ask("NUVEK.Interface"), HasSubstr("\"Metric\":12}"));
}

TEST_F(GetTest, NumbersAreTruncatedTowardZeroThroughSinglePrecisionAndClamped) {
  EXPECT_EQ(mtu("1500.9"), "1500");
  EXPECT_EQ(mtu(""), "0");
  EXPECT_EQ(mtu("abc"), "0");
  EXPECT_EQ(mtu("1e3"), "1000");
  EXPECT_EQ(mtu("-0.9"), "0");
  EXPECT_EQ(mtu("16777217"), "16777216") << "single precision has 24 bits";
  EXPECT_EQ(mtu("99999999999"), "2147483647");
  EXPECT_EQ(mtu("-99999999999"), "-2147483648");
  EXPECT_EQ(mtu("nan"), "0");
  EXPECT_EQ(mtu("inf"), "2147483647");
}

TEST_F(GetTest, AWildCountIsBoundedAndTheResponseCutAtTheBuffer) {
  world().put("nuvekInterfaceInfo_Common", "Count", "9999999");
  RecvData record{};
  strcpy(record.ObjectPath, "NUVEK.Interface");
  int result = 0;
  EXPECT_THAT(log_lines([&] { result = nuvek_RPCGet_process(&g_server_Arg, &g_devinfo, &record); }),
              Contains("ERROR nuvek_sendPostRequest send error"));
  EXPECT_EQ(result, -1);
  const std::string request = platform_.received();
  EXPECT_EQ(request.size(), 2047U);
  EXPECT_THAT(request, HasSubstr("\r\nContent-Length: 2047\r\n"));
  EXPECT_LT(world().calls().size(), 2000U);
}

TEST_F(GetTest, ACountIsReadUpToItsSeventhDigit) {
  world().put("nuvekInterfaceInfo_Common", "Count", "00000001");
  world().put("nuvekRouteInfo_Common", "Count", "00000010");
  world().forget_calls();
  ask("NUVEK.Interface");
  EXPECT_THAT(world().calls(), Contains("get nuvekRouteInfo_Entry0 Dest"));
  EXPECT_THAT(world().calls(), Not(Contains("get nuvekInterfaceInfo_Entry0 IFName")));
  EXPECT_THAT(world().calls(), Not(Contains("get nuvekRouteInfo_Entry1 Dest")));
}

TEST_F(GetTest, WithoutAConnectionTheResponseIsRefusedByTheSender) {
  const int fd = g_server_Arg.fd.exchange(-1);
  RecvData record{};
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_RPCGet_process(&g_server_Arg, &g_devinfo, &record), -1); }),
              ElementsAre("DEBUG nuvek_sendPostRequest Enter", "ERROR nuvek_sendPostRequest fd error"));
  g_server_Arg.fd = fd;
}
