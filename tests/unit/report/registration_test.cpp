// The registration report: the message, byte for byte, and the two rules that send it.
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "agent/base/clock.h"
#include "agent/base/config.h"
#include "agent/base/counters.h"
#include "agent/report/device_info.h"
#include "agent/report/registration_steps.h"
#include "agent/tasks/task.h"
#include "tests/unit/report/report_tools.h"

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

namespace {

// Reports that no connection takes: an attempt to connect shows in the log only.
int refuse(int, const sockaddr*) { return -1; }

void fill_block(GisInfo& block, const std::string& mark) {
  strcpy(block.Long, ("116.3" + mark).c_str());
  strcpy(block.Lat, ("39.9" + mark).c_str());
  strcpy(block.Altitudes, ("43.5" + mark).c_str());
  strcpy(block.HorizontalError, ("10.0" + mark).c_str());
  strcpy(block.VerticalError, ("5.0" + mark).c_str());
  strcpy(block.AreaCode, ("area" + mark).c_str());
  strcpy(block.GISLockTime, ("2023110112" + mark).c_str());
  strcpy(block.GISDigest, ("digest" + mark).c_str());
}

class RegistrationTest : public AgentTest {
 protected:
  RegistrationTest() {
    set_zone("CST-8");
    world().set_clock(kNow_s);
    strcpy(g_devinfo.OperatorID, "ZELM");
    strcpy(g_devinfo.VendorID, "ACME");
    strcpy(g_devinfo.ModelStr, "GW-100");
    strcpy(g_devinfo.SoftVer, "V1.2.3");
    strcpy(g_devinfo.SerialNum, "SN0001");
    strcpy(g_devinfo.WANMAC, "AABBCCDDEEFF");
    strcpy(g_devinfo.DevMAC, "001122334455");
    strcpy(g_devinfo.DevMacRaw, "00:11:22:33:44:55");
    strcpy(g_devinfo.Uplink, "GPON");
    strcpy(g_devinfo.ProtocolVer, "1.0");
    strcpy(g_devinfo.RegID, "REG-7");
    strcpy(g_devinfo.UUID, "11111111-2222-1333-8444-555555555555");
    strcpy(report().GISInterface, "A");
    fill_block(report().GISInfoA, "01");
    fill_block(report().GISInfoB, "02");
  }
  ~RegistrationTest() override {
    unsetenv("TZ");
    tzset();
  }

  static void set_zone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  static ReportInfo& report() { return g_devinfo.reportInfo; }
  static void draw_id_12345678() {
    for (int digit = 1; digit <= 8; ++digit) world().rands.push_back(digit);
  }

  // The parameter tree as text.
  static std::string device_info() {
    json::Value params = json::Value::object();
    nuvek_create_deviceInfo(&g_devinfo, params);
    return params.text().get();
  }
  // A string member of the device's part of the message.
  static std::string member(const std::string& name) {
    const std::string text = device_info();
    const std::string key = "\"" + name + "\":\"";
    const size_t start = text.find(key);
    if (start == std::string::npos) return "no member " + name;
    return text.substr(start + key.size(), text.find('"', start + key.size()) - start - key.size());
  }
  static size_t requests(const std::string& received) {
    size_t count = 0;
    for (size_t at = received.find("POST "); at != std::string::npos; at = received.find("POST ", at + 1)) ++count;
    return count;
  }
};

class FirstReportTest : public RegistrationTest {
 protected:
  FirstReportTest() {
    world().put("nuvek_Entry0", "GISInterface", "A");
    world().put("nuvek_Entry0", "Long", "120.12345");
    report() = {};
  }
  // The store calls of one first report on an open connection.
  static std::vector<std::string> store_calls_of_a_report() {
    return {"get nuvek_Entry0 GISInterface",
            "get nuvek_Entry0 Long",
            "get nuvek_Entry0 Lat",
            "get nuvek_Entry0 Altitudes",
            "get nuvek_Entry0 HorizontalError",
            "get nuvek_Entry0 VerticalError",
            "get nuvek_Entry0 AreaCode",
            "get nuvek_Entry0 GISLockTime",
            "get nuvek_Entry0 GISDigest"};
  }
};

class DefaultReportTest : public RegistrationTest {
 protected:
  ConnectedPlatform platform;

  // The seconds after the first turn at which the rule reported, with a turn in every second.
  std::vector<int> reports_within(int seconds) {
    std::vector<int> sent_at;
    for (int second = 0; second < seconds; ++second) {
      nuvek_default_report(&g_devinfo);
      if (requests(platform.received()) != 0) sent_at.push_back(second);
      world().advance(1);
    }
    return sent_at;
  }
  static void delay(const char* minutes) { world().put("nuvek_Common", "DefaultFirstReportTime", minutes); }
};

using Acknowledgement = AgentTest;

}  // namespace

// --- the message -----------------------------------------------------------------------------------------------------

TEST_F(RegistrationTest, TheWholeInform0OnTheWire) {
  ConnectedPlatform platform;
  draw_id_12345678();
  nuvek_report(&g_devinfo);
  const std::string body =
      "[\"11111111-2222-1333-8444-555555555555\","
      "{\"RPCMethod\":\"Inform0\",\"ID\":12345678,\"ObjectPath\":\"NUVEK.DeviceInfo\","
      "\"Params\":{\"NUVEK\":{\"DeviceInfo\":{"
      "\"OperatorID\":\"ZELM\",\"VendorID\":\"ACME\",\"ModelStr\":\"GW-100\",\"SoftVer\":\"V1.2.3\","
      "\"SerialNum\":\"SN0001\",\"WANMAC\":\"AABBCCDDEEFF\",\"DevMAC\":\"001122334455\",\"Uplink\":\"GPON\","
      "\"ProtocolVer\":\"1.0\",\"DeviceTime\":\"20231115061320\",\"RegID\":\"REG-7\",\"GISInterface\":\"A\","
      "\"AreaCode\":\"area01\",\"GISLockTime\":\"202311011201\",\"GISDigest\":\"digest01\","
      "\"Long\": 116.301 ,\"Lat\": 39.901 ,\"Altitudes\": 43.501 ,\"HorizontalError\": 10.001 ,"
      "\"VerticalError\": 5.001 }}}}]";
  ASSERT_EQ(body.size(), 569U);
  EXPECT_EQ(platform.received(),
            "POST /reg/ HTTP/1.1\r\n"
            "Host: 192.0.2.7\r\n"
            "Connection: keep-alive\r\n"
            "Accept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\n"
            "Content-Length: 569\r\n"
            "\r\n" +
                body);
  EXPECT_EQ(report().ReportID, 12345678);
  EXPECT_EQ(report().GISInfc, 'A');
}

TEST_F(RegistrationTest, TheParametersAreTwentyStringsInOrder) {
  EXPECT_EQ(device_info(),
            "{\"NUVEK\":{\"DeviceInfo\":{"
            "\"OperatorID\":\"ZELM\",\"VendorID\":\"ACME\",\"ModelStr\":\"GW-100\",\"SoftVer\":\"V1.2.3\","
            "\"SerialNum\":\"SN0001\",\"WANMAC\":\"AABBCCDDEEFF\",\"DevMAC\":\"001122334455\",\"Uplink\":\"GPON\","
            "\"ProtocolVer\":\"1.0\",\"DeviceTime\":\"20231115061320\",\"RegID\":\"REG-7\",\"GISInterface\":\"A\","
            "\"AreaCode\":\"area01\",\"GISLockTime\":\"202311011201\",\"GISDigest\":\"digest01\","
            "\"Long\":\"116.301\",\"Lat\":\"39.901\",\"Altitudes\":\"43.501\",\"HorizontalError\":\"10.001\","
            "\"VerticalError\":\"5.001\"}}}");
}

TEST_F(RegistrationTest, AnEmptyRecordCarriesEmptyTextsAndTheFallbacks) {
  g_devinfo = {};
  EXPECT_EQ(device_info(),
            "{\"NUVEK\":{\"DeviceInfo\":{"
            "\"OperatorID\":\"\",\"VendorID\":\"\",\"ModelStr\":\"\",\"SoftVer\":\"\",\"SerialNum\":\"\","
            "\"WANMAC\":\"\",\"DevMAC\":\"\",\"Uplink\":\"\",\"ProtocolVer\":\"\",\"DeviceTime\":\"20231115061320\","
            "\"RegID\":\"\",\"GISInterface\":\"\",\"AreaCode\":\"\",\"GISLockTime\":\"\",\"GISDigest\":\"\","
            "\"Long\":\"0.00000\",\"Lat\":\"0.00000\",\"Altitudes\":\"0.0\",\"HorizontalError\":\"0.0\","
            "\"VerticalError\":\"0.0\"}}}");
}

TEST_F(RegistrationTest, AnEmptyLongitudeIsReportedAsZeroWithFiveDecimals) {
  report().GISInfoA.Long[0] = '\0';
  EXPECT_EQ(member("Long"), "0.00000");
  EXPECT_EQ(member("Lat"), "39.901");
}

TEST_F(RegistrationTest, AnEmptyAltitudeIsReportedAsZeroWithOneDecimal) {
  report().GISInfoA.Altitudes[0] = '\0';
  EXPECT_EQ(member("Altitudes"), "0.0");
}

TEST_F(RegistrationTest, AnEmptyAreaCodeStaysEmpty) {
  report().GISInfoA.AreaCode[0] = '\0';
  EXPECT_EQ(member("AreaCode"), "");
}

TEST_F(RegistrationTest, AnEmptyWanAddressIsReportedEmpty) {
  g_devinfo.WANMAC[0] = '\0';
  EXPECT_EQ(member("WANMAC"), "");
}

TEST_F(RegistrationTest, LocationValuesPassAFifteenCharacterBuffer) {
  strcpy(report().GISInfoA.Long, "123456789.12345");  // 15 characters
  strcpy(report().GISInfoA.Lat, "123456789.123456");  // 16
  strcpy(report().GISInfoA.VerticalError, std::string(31, '7').c_str());
  EXPECT_EQ(member("Long"), "123456789.12345");
  EXPECT_EQ(member("Lat"), "123456789.12345");
  EXPECT_EQ(member("VerticalError"), std::string(15, '7'));
}

TEST_F(RegistrationTest, LongTextsOfTheBlockAreReportedWhole) {
  strcpy(report().GISInfoA.AreaCode, std::string(15, 'a').c_str());
  strcpy(report().GISInfoA.GISDigest, std::string(63, 'd').c_str());
  EXPECT_EQ(member("AreaCode"), std::string(15, 'a'));
  EXPECT_EQ(member("GISDigest"), std::string(63, 'd'));
}

TEST_F(RegistrationTest, AVendorThatFillsItsFieldReadsOnIntoTheModel) {
  memcpy(g_devinfo.VendorID, "ABCDEFGH", 8);
  EXPECT_EQ(member("VendorID"), "ABCDEFGHGW-100");
}

TEST_F(RegistrationTest, BuildingTheParametersLogsEnterAndExit) {
  EXPECT_THAT(log_lines([] { device_info(); }),
              ElementsAre("DEBUG nuvek_create_deviceInfo Enter", "DEBUG nuvek_create_deviceInfo exit"));
}

TEST_F(RegistrationTest, BuildingTheParametersTouchesNoStore) {
  device_info();
  EXPECT_THAT(world().calls(), IsEmpty());
}

// --- the block -------------------------------------------------------------------------------------------------------

TEST_F(RegistrationTest, AnEmptyLetterReportsBlockA) {
  report().GISInterface[0] = '\0';
  nuvek_set_reportInfo(&g_devinfo, 5);
  EXPECT_EQ(report().GISInfc, 'A');
  EXPECT_EQ(member("GISInterface"), "");
  EXPECT_EQ(member("AreaCode"), "area01");
}

TEST_F(RegistrationTest, TheLetterAReportsBlockA) {
  nuvek_set_reportInfo(&g_devinfo, 5);
  EXPECT_EQ(report().GISInfc, 'A');
  EXPECT_EQ(member("AreaCode"), "area01");
}

TEST_F(RegistrationTest, TheLetterBReportsAllOfBlockB) {
  strcpy(report().GISInterface, "B");
  nuvek_set_reportInfo(&g_devinfo, 5);
  EXPECT_EQ(report().GISInfc, 'B');
  EXPECT_THAT(device_info(),
              HasSubstr("\"GISInterface\":\"B\",\"AreaCode\":\"area02\",\"GISLockTime\":\"202311011202\","
                        "\"GISDigest\":\"digest02\",\"Long\":\"116.302\",\"Lat\":\"39.902\",\"Altitudes\":\"43.502\","
                        "\"HorizontalError\":\"10.002\",\"VerticalError\":\"5.002\"}"));
}

TEST_F(RegistrationTest, AnyOtherTextReportsBlockB) {
  for (const char* letter : {"AB", "a", "C", "BA", "AAAAAAA", " A"}) {
    strcpy(report().GISInterface, letter);
    nuvek_set_reportInfo(&g_devinfo, 5);
    EXPECT_EQ(report().GISInfc, 'B') << letter;
    EXPECT_EQ(member("GISInterface"), letter);
    EXPECT_EQ(member("AreaCode"), "area02") << letter;
  }
}

TEST_F(RegistrationTest, TheReportKeepsItsIdentifierAndLogsItsBlock) {
  EXPECT_THAT(log_lines([] { nuvek_set_reportInfo(&g_devinfo, 98765432); }),
              ElementsAre("DEBUG nuvek_set_reportInfo deviceinfo->reportInfo.GISInfc:A"));
  EXPECT_EQ(report().ReportID, 98765432);
  strcpy(report().GISInterface, "B");
  EXPECT_THAT(log_lines([] { nuvek_set_reportInfo(&g_devinfo, 7); }),
              ElementsAre("DEBUG nuvek_set_reportInfo deviceinfo->reportInfo.GISInfc:B"));
  EXPECT_EQ(report().ReportID, 7);
}

// --- device time -----------------------------------------------------------------------------------------------------

TEST_F(RegistrationTest, EastOfUtcTheDeviceTimeIsFourteenDigitsOfLocalTime) {
  EXPECT_EQ(member("DeviceTime"), "20231115061320");
  EXPECT_STREQ(g_devinfo.DeviceTime, "20231115061320");
}

TEST_F(RegistrationTest, OnUtcTheDeviceTimeIsFourteenDigits) {
  set_zone("UTC0");
  EXPECT_EQ(member("DeviceTime"), "20231114221320");
}

TEST_F(RegistrationTest, AHalfHourZoneEastOfUtcGivesFourteenDigits) {
  set_zone("IST-5:30");
  EXPECT_EQ(member("DeviceTime"), "20231115034320");
}

TEST_F(RegistrationTest, WestOfUtcTheDeviceTimeFillsItsFieldAndReadsOnIntoTheRegistrationIdentifier) {
  set_zone("EST5");
  EXPECT_EQ(member("DeviceTime"), "20231114171320-0REG-7");
  EXPECT_EQ(std::string(g_devinfo.DeviceTime, 16), "20231114171320-0");
  EXPECT_STREQ(g_devinfo.RegID, "REG-7");
}

TEST_F(RegistrationTest, FarWestOfUtcTheDeviceTimeEndsInTheOffsetsFirstDigit) {
  set_zone("HST10");
  g_devinfo.RegID[0] = '\0';
  EXPECT_EQ(member("DeviceTime"), "20231114121320-1");
}

// The digits bring no terminator of their own: what followed them before stays.
TEST_F(RegistrationTest, AfterAMoveFromWestToEastTheOffsetOfTheWestStays) {
  set_zone("EST5");
  device_info();
  set_zone("CST-8");
  EXPECT_EQ(member("DeviceTime"), "20231115061320-0REG-7");
}

TEST_F(RegistrationTest, TheDeviceTimeIsRefreshedForEveryMessage) {
  device_info();
  world().advance(61);
  EXPECT_EQ(member("DeviceTime"), "20231115061421");
}

// --- sending ---------------------------------------------------------------------------------------------------------

TEST_F(RegistrationTest, AReportLogsItsStepsInOrder) {
  ConnectedPlatform platform;
  draw_id_12345678();
  const std::vector<std::string> lines = log_lines([] { nuvek_report(&g_devinfo); });
  ASSERT_EQ(lines.size(), 17U);  // the request takes eight
  EXPECT_EQ(lines[0], "DEBUG nuvek_report Enter");
  EXPECT_EQ(lines[1], "DEBUG nuvek_set_reportInfo deviceinfo->reportInfo.GISInfc:A");
  EXPECT_EQ(lines[2], "DEBUG nuvek_create_deviceInfo Enter");
  EXPECT_EQ(lines[3], "DEBUG nuvek_create_deviceInfo exit");
  EXPECT_THAT(lines[4], AllOf(StartsWith("DEBUG nuvek_report send_buf:[\"11111111-2222-1333-8444-555555555555\","
                                         "{\"RPCMethod\":\"Inform0\",\"ID\":12345678,"),
                              HasSubstr("\"Long\":\"116.301\"")));
  EXPECT_EQ(lines[5], "DEBUG nuvek_report g_server_Arg.fd:" + std::to_string(g_server_Arg.fd));
  EXPECT_EQ(lines[6], "DEBUG nuvek_sendPostRequest Enter");
  EXPECT_EQ(lines[7], "DEBUG nuvek_sendPostRequest send_msg:POST /reg/ HTTP/1.1\r");
  EXPECT_THAT(lines[15], StartsWith("DEBUG nuvek_sendPostRequest send "));
  EXPECT_EQ(lines[16], "DEBUG nuvek_sendPostRequest Exit");
}

TEST_F(RegistrationTest, AReportTouchesNoCounterNoFlagAndNoStore) {
  ConnectedPlatform platform;
  nuvek_report(&g_devinfo);
  EXPECT_EQ(g_CntNum.SuccessInform, 0U);
  EXPECT_EQ(g_CntNum.FailInform, 0U);
  EXPECT_EQ(nuvekReport.aReported, 0);
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(RegistrationTest, WithoutAConnectionItConnectsFirst) {
  FakePlatform platform;
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  draw_id_12345678();
  nuvek_report(&g_devinfo);
  const int fd = platform.accept_connection();
  EXPECT_THAT(platform.read_some(fd),
              AllOf(StartsWith("POST /reg/ HTTP/1.1\r\nHost: 127.0.0.1\r\n"), HasSubstr("\"ID\":12345678,")));
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Server PlatDomain1", "get nuvek_Server PlatDomain2"));
  close(fd);
  close(g_server_Arg.fd.exchange(-1));
}

TEST_F(RegistrationTest, WithoutAPlatformTheReportIsSkippedSilently) {
  world().on_connect = refuse;
  const DevInfo before = g_devinfo;
  const std::vector<std::string> lines = log_lines([] { nuvek_report(&g_devinfo); });
  EXPECT_THAT(lines_of("nuvek_report", lines), ElementsAre("DEBUG Enter"));
  EXPECT_THAT(lines_of("nuvek_sendPostRequest", lines), IsEmpty());
  EXPECT_EQ(memcmp(&before, &g_devinfo, sizeof before), 0);
  EXPECT_THAT(world().seeds, IsEmpty());  // no message identifier was drawn
  EXPECT_EQ(g_CntNum.FailInform, 0U);
  EXPECT_EQ(g_server_Arg.fd, -1);
  EXPECT_THAT(world().writes(), IsEmpty());
}

TEST_F(RegistrationTest, AFailedSendIsOnlyLogged) {
  ConnectedPlatform platform;
  const int fd = g_server_Arg.fd;
  world().on_send = [](int, const void*, size_t) { return -1; };
  const std::vector<std::string> lines = log_lines([] { nuvek_report(&g_devinfo); });
  EXPECT_EQ(lines.back(), "ERROR nuvek_report  sendPostRequest error");
  EXPECT_EQ(g_server_Arg.fd, fd);
  EXPECT_EQ(g_CntNum.FailInform, 0U);
  EXPECT_EQ(g_CntNum.SuccessInform, 0U);
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(RegistrationTest, AMissingUuidIsMadeAndStoredBeforeConnecting) {
  FakePlatform platform;
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  g_devinfo.UUID[0] = '\0';
  nuvek_report(&g_devinfo);
  const std::string uuid = g_devinfo.UUID;
  EXPECT_THAT(uuid, MatchesRegex("[0-9a-f-]+-001122334455"));
  EXPECT_EQ(uuid.size(), 36U);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Common UUID=" + uuid, "commit nuvek_Common", "save",
                                           "get nuvek_Server PlatDomain1", "get nuvek_Server PlatDomain2"));
  const int fd = platform.accept_connection();
  EXPECT_THAT(body_of(platform.read_some(fd)), StartsWith("[\"" + uuid + "\",{"));
  close(fd);
  close(g_server_Arg.fd.exchange(-1));
}

TEST_F(RegistrationTest, AUuidMadeForAPlatformThatCannotBeReachedIsKept) {
  world().on_connect = refuse;
  g_devinfo.UUID[0] = '\0';
  nuvek_report(&g_devinfo);
  const std::string uuid = g_devinfo.UUID;
  EXPECT_EQ(uuid.size(), 36U);
  world().forget_calls();
  nuvek_report(&g_devinfo);
  EXPECT_EQ(g_devinfo.UUID, uuid);
  EXPECT_THAT(world().writes(), IsEmpty());
}

// Fields that all read on into each other make a message that is far too long.
TEST_F(RegistrationTest, ATooLongMessageIsCutTo2047CharactersAndNotRejected) {
  ConnectedPlatform platform;
  draw_id_12345678();
  memset(g_devinfo.OperatorID, 'x', offsetof(DevInfo, RegID));
  strcpy(g_devinfo.RegID, std::string(95, 'r').c_str());
  const std::vector<std::string> lines = log_lines([] { nuvek_report(&g_devinfo); });

  const std::string params = device_info();
  const std::string whole =
      "[\"11111111-2222-1333-8444-555555555555\",{\"RPCMethod\":\"Inform0\",\"ID\":12345678,"
      "\"ObjectPath\":\"NUVEK.DeviceInfo\",\"Params\":" +
      params + "}]";
  ASSERT_GT(whole.size(), 2100U);
  EXPECT_EQ(lines_of("nuvek_report", lines).at(1), "DEBUG send_buf:" + whole.substr(0, 2047));
  // The request has no room for all of that either.
  const std::string received = platform.received();
  EXPECT_EQ(received.size(), 2047U);
  EXPECT_THAT(received, HasSubstr("Content-Length: 2047\r\n\r\n" + whole.substr(0, 1000)));
  EXPECT_EQ(lines.back(), "ERROR nuvek_report  sendPostRequest error");
}

// --- the first report ------------------------------------------------------------------------------------------------

TEST_F(FirstReportTest, ALetterAWithoutAnAcknowledgementIsDueInMode1) {
  int32_t mode = 0;
  EXPECT_EQ(nuvek_check_firstReport(&mode), 1);
  EXPECT_EQ(mode, 1);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Entry0 GISInterface"));
}

TEST_F(FirstReportTest, AnyTextThatStartsWithAIsDueAndNoOtherIs) {
  int32_t mode = 0;
  world().put("nuvek_Entry0", "GISInterface", "AB");
  EXPECT_EQ(nuvek_check_firstReport(&mode), 1);
  for (const char* letter : {"", "B", "a", " A", "BA"}) {
    world().put("nuvek_Entry0", "GISInterface", letter);
    EXPECT_EQ(nuvek_check_firstReport(&mode), 0) << letter;
  }
  world().erase("nuvek_Entry0", "GISInterface");
  EXPECT_EQ(nuvek_check_firstReport(&mode), 0);
}

TEST_F(FirstReportTest, AReportThatIsNotDueLeavesTheModeAsItWas) {
  world().put("nuvek_Entry0", "GISInterface", "B");
  int32_t mode = 77;
  nuvek_check_firstReport(&mode);
  EXPECT_EQ(mode, 77);
}

TEST_F(FirstReportTest, AnAcknowledgedBlockAIsNotDue) {
  nuvekReport.aReported = 1;
  int32_t mode = 77;
  EXPECT_EQ(nuvek_check_firstReport(&mode), 0);
  EXPECT_EQ(mode, 77);
}

TEST_F(FirstReportTest, AnAcknowledgedBlockBDoesNotMatter) {
  nuvekReport.bReported = 1;
  int32_t mode = 0;
  EXPECT_EQ(nuvek_check_firstReport(&mode), 1);
}

TEST_F(FirstReportTest, ItReadsBlockAAgainAndReportsIt) {
  ConnectedPlatform platform;
  draw_id_12345678();
  nuvek_first_report(&g_devinfo);
  EXPECT_THAT(world().calls(), ElementsAreArray(store_calls_of_a_report()));
  EXPECT_STREQ(report().GISInterface, "A");
  EXPECT_THAT(body_of(platform.received()),
              AllOf(HasSubstr("\"GISInterface\":\"A\",\"AreaCode\":\"\","), HasSubstr("\"Long\": 120.12345 ,")));
}

TEST_F(FirstReportTest, ATextThatOnlyStartsWithAIsForcedToAAndBlockAIsSent) {
  ConnectedPlatform platform;
  world().put("nuvek_Entry0", "GISInterface", "AB");
  strcpy(report().GISInterface, "AB");
  nuvek_first_report(&g_devinfo);
  EXPECT_STREQ(report().GISInterface, "A");
  EXPECT_EQ(report().GISInfc, 'A');
  EXPECT_THAT(body_of(platform.received()),
              AllOf(HasSubstr("\"GISInterface\":\"A\","), HasSubstr("\"Long\": 120.12345 ,")));
}

TEST_F(FirstReportTest, ItLogsItsModeFirst) {
  ConnectedPlatform platform;
  const std::vector<std::string> lines = log_lines([] { nuvek_first_report(&g_devinfo); });
  EXPECT_EQ(lines.at(0), "DEBUG nuvek_first_report report_mode:A");
  EXPECT_EQ(lines.at(1), "DEBUG nuvek_report Enter");
}

TEST_F(FirstReportTest, ItIsRepeatedOnEveryTurnUntilTheAcknowledgement) {
  ConnectedPlatform platform;
  for (int turn = 0; turn < 3; ++turn) nuvek_first_report(&g_devinfo);
  EXPECT_EQ(requests(platform.received()), 3U);
  nuvekReport.aReported = 1;
  nuvek_first_report(&g_devinfo);
  EXPECT_EQ(platform.received(), "");
}

TEST_F(FirstReportTest, ItIsTriedAgainOnTheTurnAfterAFailedConnection) {
  world().on_connect = refuse;
  nuvek_first_report(&g_devinfo);
  world().on_connect = nullptr;
  ConnectedPlatform platform;
  nuvek_first_report(&g_devinfo);
  EXPECT_EQ(requests(platform.received()), 1U);
}

TEST_F(FirstReportTest, WhenItIsNotDueItOnlyLooks) {
  ConnectedPlatform platform;
  world().put("nuvek_Entry0", "GISInterface", "B");
  strcpy(report().GISInterface, "B");
  EXPECT_THAT(log_lines([] { nuvek_first_report(&g_devinfo); }), IsEmpty());
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Entry0 GISInterface"));
  EXPECT_STREQ(report().GISInterface, "B");
  EXPECT_EQ(platform.received(), "");
}

// --- the default report ----------------------------------------------------------------------------------------------

TEST_F(DefaultReportTest, TheFirstTurnSetsTheReferenceAndReadsTheDelay) {
  world().set_clock(kNow_s, 250);
  nuvek_default_report(&g_devinfo);
  EXPECT_EQ(curtime.sec, kNow_s);
  EXPECT_EQ(curtime.usec, 250);
  EXPECT_EQ(curtime_his.sec, kNow_s);
  EXPECT_EQ(g_defaultReportDone, 0);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Common DefaultFirstReportTime"));
  EXPECT_EQ(platform.received(), "");
}

TEST_F(DefaultReportTest, TwoMinutesGoByBeforeTheOneReport) {
  delay("2");
  EXPECT_THAT(reports_within(400), ElementsAre(121));
  EXPECT_EQ(g_defaultReportDone, 1);
  EXPECT_EQ(curtime_his.sec, kNow_s + 121);
}

TEST_F(DefaultReportTest, AnAbsentDelayIsHalfAnHour) { EXPECT_THAT(reports_within(2000), ElementsAre(1801)); }

TEST_F(DefaultReportTest, AZeroDelayIsHalfAnHour) {
  delay("0");
  EXPECT_THAT(reports_within(2000), ElementsAre(1801));
}

TEST_F(DefaultReportTest, AnUnparsableDelayIsHalfAnHour) {
  delay("abc");
  EXPECT_THAT(reports_within(2000), ElementsAre(1801));
}

TEST_F(DefaultReportTest, ANegativeDelayReportsOnTheFirstTurn) {
  delay("-1");
  EXPECT_THAT(reports_within(3), ElementsAre(0));
}

TEST_F(DefaultReportTest, ADelayWrapsAt32Bits) {
  delay("71582789");  // 60 times that is 2^32 + 44
  EXPECT_THAT(reports_within(100), ElementsAre(45));
}

TEST_F(DefaultReportTest, AnAcknowledgedBlockMeansNoDefaultReportInThisRun) {
  delay("1");
  nuvekReport.aReported = 1;
  EXPECT_THAT(reports_within(200), IsEmpty());
  nuvekReport.aReported = 0;
  nuvekReport.bReported = 1;
  EXPECT_THAT(reports_within(200), IsEmpty());
  EXPECT_EQ(g_defaultReportDone, 0);
}

TEST_F(DefaultReportTest, AClockThatWentBackDoesNotReport) {
  delay("1");
  nuvek_default_report(&g_devinfo);
  world().set_clock(kNow_s - 100000);
  nuvek_default_report(&g_devinfo);
  EXPECT_EQ(platform.received(), "");
  EXPECT_EQ(curtime_his.sec, kNow_s);
}

TEST_F(DefaultReportTest, AReferenceOfZeroDoesNotReport) {
  delay("-1");
  world().set_clock(0);
  nuvek_default_report(&g_devinfo);
  EXPECT_EQ(platform.received(), "");
  EXPECT_EQ(g_defaultReportDone, 0);
}

TEST_F(DefaultReportTest, AFailedReportIsNotRepeated) {
  delay("1");
  close(g_server_Arg.fd.exchange(-1));
  world().on_connect = refuse;
  nuvek_default_report(&g_devinfo);
  world().advance(61);
  nuvek_default_report(&g_devinfo);
  EXPECT_EQ(g_defaultReportDone, 1);
  world().on_connect = nullptr;
  world().advance(1000);
  EXPECT_THAT(lines_of("nuvek_report", log_lines([] { nuvek_default_report(&g_devinfo); })), IsEmpty());
}

TEST_F(DefaultReportTest, OnceDoneItOnlyRefreshesNow) {
  g_defaultReportDone = 1;
  nuvek_default_report(&g_devinfo);
  EXPECT_EQ(curtime.sec, kNow_s);
  EXPECT_EQ(curtime_his.sec, 0);
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(DefaultReportTest, ItSendsWhatTheRecordHoldsWithoutReadingItAgain) {
  delay("-1");
  strcpy(report().GISInterface, "B");
  nuvek_default_report(&g_devinfo);
  EXPECT_THAT(body_of(platform.received()),
              AllOf(HasSubstr("\"GISInterface\":\"B\",\"AreaCode\":\"area02\","), HasSubstr("\"Long\": 116.302 ,")));
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Common DefaultFirstReportTime"));
}

TEST_F(DefaultReportTest, AnAcknowledgedBlockAAtStartSilencesBothRules) {
  nuvekReport.aReported = 1;
  world().put("nuvek_Entry0", "GISInterface", "A");
  delay("1");
  for (int second = 0; second < 200; ++second) {
    nuvek_first_report(&g_devinfo);
    nuvek_default_report(&g_devinfo);
    world().advance(1);
  }
  EXPECT_EQ(platform.received(), "");
}

// --- acknowledgement -------------------------------------------------------------------------------------------------

TEST_F(Acknowledgement, AcknowledgingBlockAMarksItInMemoryAndStoreAndTriggersBothTasks) {
  nuvekReport.lastBlock = 1;
  nuvek_set_alreadyReport(kBlockA);
  EXPECT_EQ(nuvekTask.speedTrigger, 1);
  EXPECT_EQ(nuvekTask.traceTrigger, 1);
  EXPECT_EQ(nuvekReport.aReported, 1);
  EXPECT_EQ(nuvekReport.bReported, 0);
  EXPECT_EQ(nuvekReport.lastBlock, 0);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Entry0 alreadyReport=1", "commit nuvek_Entry0", "save"));
}

TEST_F(Acknowledgement, AcknowledgingBlockBMarksBlockB) {
  nuvek_set_alreadyReport(kBlockB);
  EXPECT_EQ(nuvekTask.speedTrigger, 1);
  EXPECT_EQ(nuvekTask.traceTrigger, 1);
  EXPECT_EQ(nuvekReport.aReported, 0);
  EXPECT_EQ(nuvekReport.bReported, 1);
  EXPECT_EQ(nuvekReport.lastBlock, 1);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Entry1 alreadyReport=1", "commit nuvek_Entry1", "save"));
}

TEST_F(Acknowledgement, TheAcknowledgementIsWrittenWhateverTheStoreAnswers) {
  world().write_result = -1;
  nuvek_set_alreadyReport(kBlockA);
  EXPECT_EQ(nuvekReport.aReported, 1);
  EXPECT_EQ(world().writes().size(), 3U);
}

TEST_F(Acknowledgement, AnAcknowledgementSurvivesARestart) {
  nuvek_set_alreadyReport(kBlockB);
  nuvekReport = {};
  nuvek_load_reportFlags();
  EXPECT_EQ(nuvekReport.bReported, 1);
}
