// What the agent loads from the store at start-up, and what it mirrors back.
#include <cstring>

#include "agent/base/config_steps.h"
#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

class ConfigTest : public AgentTest {
 protected:
  static void put_identity() {
    world().put("DeviceInfo_devParaStatic", "Manufacturer", "ACME");
    world().put("DeviceInfo_devParaStatic", "ModelName", "GW-100");
    world().put("DeviceInfo_devParaStatic", "CustomerSWVersion", "V1.2.3");
    world().put("DeviceInfo_devParaDynamic", "SerialNum", "SN0001");
    world().put("Info_eth0.1", "hwaddr", "00:11:22:33:44:55");
    world().put("Wan_PVC0_Entry0", "ServiceList", "INTERNET");
    world().put("WanInfo_Entry0", "hwaddr", "AA:BB:CC:DD:EE:FF");
  }
  static void put_block(const std::string& node, const std::string& mark) {
    for (const char* attr :
         {"Long", "Lat", "Altitudes", "HorizontalError", "VerticalError", "AreaCode", "GISLockTime", "GISDigest"}) {
      world().put(node, attr, mark + attr);
    }
  }
  static std::vector<std::string> texts(const GisInfo& block) {
    return {block.Long,          block.Lat,      block.Altitudes,   block.HorizontalError,
            block.VerticalError, block.AreaCode, block.GISLockTime, block.GISDigest};
  }
  static std::vector<std::string> marked(const std::string& mark) {
    return {mark + "Long",          mark + "Lat",      mark + "Altitudes",   mark + "HorizontalError",
            mark + "VerticalError", mark + "AreaCode", mark + "GISLockTime", mark + "GISDigest"};
  }
  static std::vector<std::string> block_gets(const std::string& node) {
    std::vector<std::string> gets;
    for (const std::string& attr : marked("")) gets.push_back("get " + node + " " + attr);
    return gets;
  }
  static void append(std::vector<std::string>& calls, const std::vector<std::string>& more) {
    calls.insert(calls.end(), more.begin(), more.end());
  }
  static std::string bytes(const char* field, size_t size) { return std::string(field, size); }
  static ReportInfo& report() { return g_devinfo.reportInfo; }
};

// The calls of one whole load, with the Internet connection at `wan_index` of the 64 (64: none).
std::vector<std::string> calls_of_a_load(int wan_index, const std::vector<std::string>& identity_writes,
                                         const std::vector<std::string>& block_a_gets) {
  std::vector<std::string> calls = {"get DeviceInfo_devParaStatic Manufacturer",
                                    "get DeviceInfo_devParaStatic ModelName",
                                    "get DeviceInfo_devParaStatic CustomerSWVersion",
                                    "get DeviceInfo_devParaDynamic SerialNum", "get Info_eth0.1 hwaddr"};
  for (int i = 0; i < 64 && i <= wan_index; ++i) {
    calls.push_back("get Wan_PVC" + std::to_string(i / 8) + "_Entry" + std::to_string(i % 8) + " ServiceList");
  }
  calls.push_back("get " + (wan_index < 64 ? "WanInfo_Entry" + std::to_string(wan_index) : "") + " hwaddr");
  calls.push_back("get nuvek_Entry0 GISInterface");
  calls.push_back("get nuvek_Common UUID");
  calls.insert(calls.end(), identity_writes.begin(), identity_writes.end());
  calls.insert(calls.end(), block_a_gets.begin(), block_a_gets.end());
  return calls;
}

}  // namespace

// --- platform domains ------------------------------------------------------------------------------------------------

TEST_F(ConfigTest, BothDomainsComeFromTheStoreAndThePrimaryIsSelected) {
  world().put("nuvek_Server", "PlatDomain1", "one.example");
  world().put("nuvek_Server", "PlatDomain2", "two.example");
  nuvek_load_server();
  EXPECT_STREQ(g_platdomainList[0], "one.example");
  EXPECT_STREQ(g_platdomainList[1], "two.example");
  EXPECT_STREQ(g_platdomain, "one.example");
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Server PlatDomain1", "get nuvek_Server PlatDomain2"));
}

TEST_F(ConfigTest, AnAbsentSecondDomainIsTheBuiltInOne) {
  world().put("nuvek_Server", "PlatDomain1", "one.example");
  nuvek_load_server();
  EXPECT_STREQ(g_platdomainList[0], "one.example");
  EXPECT_STREQ(g_platdomainList[1], g_RemoteSerDomain.platDomain2);
}

TEST_F(ConfigTest, AnEmptyFirstDomainIsTheBuiltInOne) {
  world().put("nuvek_Server", "PlatDomain1", "");
  world().put("nuvek_Server", "PlatDomain2", "two.example");
  nuvek_load_server();
  EXPECT_STREQ(g_platdomainList[0], g_RemoteSerDomain.platDomain1);
  EXPECT_STREQ(g_platdomainList[1], "two.example");
  EXPECT_STREQ(g_platdomain, g_RemoteSerDomain.platDomain1);
}

TEST_F(ConfigTest, LoadingTheDomainsAgainTakesTheEditedStoreAndThePrimary) {
  nuvek_load_server();
  strcpy(g_platdomain, "elsewhere.example");
  world().put("nuvek_Server", "PlatDomain1", "new.example");
  nuvek_load_server();
  EXPECT_STREQ(g_platdomainList[0], "new.example");
  EXPECT_STREQ(g_platdomain, "new.example");
}

TEST_F(ConfigTest, ADomainThatIsTooLongIsCut) {
  world().put("nuvek_Server", "PlatDomain1", std::string(40, 'd'));
  nuvek_load_server();
  EXPECT_EQ(g_platdomainList[0], std::string(31, 'd'));
  EXPECT_STREQ(g_platdomainList[1], g_RemoteSerDomain.platDomain2);
}

// --- the device record -----------------------------------------------------------------------------------------------

TEST_F(ConfigTest, LoadingFillsTheRecordFromTheStore) {
  put_identity();
  world().put("nuvek_Entry0", "GISInterface", "A");
  world().put("nuvek_Common", "UUID", "11111111-2222-1333-8444-555555555555");
  put_block("nuvek_Entry0", "a");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.OperatorID, "ZELM");
  EXPECT_STREQ(g_devinfo.VendorID, "ACME");
  EXPECT_STREQ(g_devinfo.ModelStr, "GW-100");
  EXPECT_STREQ(g_devinfo.SoftVer, "V1.2.3");
  EXPECT_STREQ(g_devinfo.SerialNum, "SN0001");
  EXPECT_STREQ(g_devinfo.WANMAC, "AABBCCDDEEFF");
  EXPECT_STREQ(g_devinfo.WanMacRaw, "AA:BB:CC:DD:EE:FF");
  EXPECT_STREQ(g_devinfo.DevMAC, "001122334455");
  EXPECT_STREQ(g_devinfo.DevMacRaw, "00:11:22:33:44:55");
  EXPECT_STREQ(g_devinfo.Uplink, "GPON");
  EXPECT_STREQ(g_devinfo.ProtocolVer, "1.0");
  EXPECT_STREQ(g_devinfo.DeviceTime, "");
  EXPECT_STREQ(g_devinfo.RegID, "");
  EXPECT_STREQ(g_devinfo.UUID, "11111111-2222-1333-8444-555555555555");
  EXPECT_STREQ(report().GISInterface, "A");
  EXPECT_EQ(texts(report().GISInfoA), marked("a"));
  EXPECT_STREQ(report().GISInfoA.GISInterface, "");
  EXPECT_EQ(texts(report().GISInfoB), std::vector<std::string>(8));
  EXPECT_EQ(report().ReportID, 0);
  EXPECT_EQ(report().GISInfc, '\0');
}

TEST_F(ConfigTest, LoadingFromAnEmptyStoreLeavesOnlyTheFixedTexts) {
  nuvek_load_devinfo(&g_devinfo);
  DevInfo expected{};
  strcpy(expected.OperatorID, "ZELM");
  strcpy(expected.Uplink, "GPON");
  strcpy(expected.ProtocolVer, "1.0");
  EXPECT_EQ(memcmp(&g_devinfo, &expected, sizeof expected), 0);
}

TEST_F(ConfigTest, LoadingReadsMirrorsAndReadsBlockAInThisOrder) {
  put_identity();
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_THAT(world().calls(), ElementsAreArray(calls_of_a_load(
                                   0,
                                   {"set nuvek_DevInfo Manufacturer=ACME", "set nuvek_DevInfo Isp=ZELM",
                                    "set nuvek_DevInfo ProductClass=GW-100", "set nuvek_DevInfo SerialNumber=SN0001",
                                    "set nuvek_DevInfo SWVersion=V1.2.3", "set nuvek_DevInfo WanMac=AABBCCDDEEFF",
                                    "set nuvek_DevInfo DevMac=001122334455", "set nuvek_DevInfo ProtocolVer=1.0",
                                    "set nuvek_DevInfo AccessType=GPON", "commit nuvek_DevInfo", "save"},
                                   block_gets("nuvek_Entry0"))));
}

TEST_F(ConfigTest, WithoutAnInternetConnectionAll64AreAskedAndTheWanAddressesStayEmpty) {
  put_identity();
  world().put("Wan_PVC0_Entry0", "ServiceList", "TR069");
  world().put("Wan_PVC7_Entry7", "ServiceList", "VOICE,internet");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "");
  EXPECT_STREQ(g_devinfo.WanMacRaw, "");
  EXPECT_THAT(
      world().calls(),
      ElementsAreArray(calls_of_a_load(
          64,
          {"set nuvek_DevInfo Manufacturer=ACME", "set nuvek_DevInfo Isp=ZELM", "set nuvek_DevInfo ProductClass=GW-100",
           "set nuvek_DevInfo SerialNumber=SN0001", "set nuvek_DevInfo SWVersion=V1.2.3",
           "set nuvek_DevInfo WanMac=", "set nuvek_DevInfo DevMac=001122334455", "set nuvek_DevInfo ProtocolVer=1.0",
           "set nuvek_DevInfo AccessType=GPON", "commit nuvek_DevInfo", "save"},
          block_gets("nuvek_Entry0"))));
}

TEST_F(ConfigTest, InternetAsPartOfALongerWordStillMatches) {
  put_identity();
  world().put("Wan_PVC0_Entry0", "ServiceList", "TR069_XINTERNETX");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "AABBCCDDEEFF");
}

TEST_F(ConfigTest, AMatchAtPvc2Entry5ReadsWanInformationNode21) {
  world().put("Wan_PVC0_Entry0", "ServiceList", "TR069");
  world().put("Wan_PVC2_Entry5", "ServiceList", "TR069,INTERNET");
  world().put("WanInfo_Entry21", "hwaddr", "21:21:21:21:21:21");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "212121212121");
  const std::vector<std::string> calls = world().calls();
  EXPECT_EQ(calls.at(26), "get Wan_PVC2_Entry5 ServiceList");
  EXPECT_EQ(calls.at(27), "get WanInfo_Entry21 hwaddr");
}

TEST_F(ConfigTest, TheLastConnectionIsAskedToo) {
  world().put("Wan_PVC7_Entry7", "ServiceList", "INTERNET");
  world().put("WanInfo_Entry63", "hwaddr", "63:63:63:63:63:63");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "636363636363");
}

TEST_F(ConfigTest, TheFirstOfTwoInternetConnectionsIsTaken) {
  world().put("Wan_PVC0_Entry7", "ServiceList", "INTERNET");
  world().put("Wan_PVC1_Entry0", "ServiceList", "INTERNET");
  world().put("WanInfo_Entry7", "hwaddr", "07:07:07:07:07:07");
  world().put("WanInfo_Entry8", "hwaddr", "08:08:08:08:08:08");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "070707070707");
}

TEST_F(ConfigTest, AnInternetConnectionWithoutAnAddressLeavesBothFormsEmpty) {
  put_identity();
  world().erase("WanInfo_Entry0", "hwaddr");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.WANMAC, "");
  EXPECT_STREQ(g_devinfo.WanMacRaw, "");
  EXPECT_STREQ(g_devinfo.DevMAC, "001122334455");
}

TEST_F(ConfigTest, AnEmptyLetterAtStartLeavesTheLetterEmpty) {
  world().put("nuvek_Entry0", "GISInterface", "");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(report().GISInterface, "");
}

TEST_F(ConfigTest, AnyLetterInTheStoreBecomesTheRecordsLetter) {
  for (const char* letter : {"AB", "B", "x"}) {
    world().put("nuvek_Entry0", "GISInterface", letter);
    nuvek_load_devinfo(&g_devinfo);
    EXPECT_STREQ(report().GISInterface, letter);
  }
}

TEST_F(ConfigTest, AnEmptyUuidInTheStoreLeavesTheUuidEmpty) {
  world().put("nuvek_Common", "UUID", "");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.UUID, "");
}

TEST_F(ConfigTest, AUuidThatIsTooLongIsCutToItsField) {
  world().put("nuvek_Common", "UUID", std::string(80, 'u'));
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_EQ(g_devinfo.UUID, std::string(63, 'u'));
  EXPECT_STREQ(report().GISInterface, "");
}

TEST_F(ConfigTest, TheStoresAnswersToWritesAreIgnored) {
  put_identity();
  world().write_result = -1;
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(g_devinfo.VendorID, "ACME");
  EXPECT_EQ(world().writes().size(), 11U);
}

// --- texts that do not fit their field -------------------------------------------------------------------------------

TEST_F(ConfigTest, AVendorOfEightCharactersReadsOnIntoTheModel) {
  put_identity();
  world().put("DeviceInfo_devParaStatic", "Manufacturer", "ABCDEFGH");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_EQ(bytes(g_devinfo.VendorID, 8), "ABCDEFGH");
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.VendorID), "ABCDEFGHGW-100");
  EXPECT_STREQ(g_devinfo.ModelStr, "GW-100");
  EXPECT_EQ(world().get("nuvek_DevInfo", "Manufacturer"), "ABCDEFGHGW-100");
  EXPECT_EQ(world().get("nuvek_DevInfo", "ProductClass"), "GW-100");
}

TEST_F(ConfigTest, AnOverlongVendorIsOverwrittenByTheFieldsThatFollowAsFarAsTheirTextsReach) {
  world().put("DeviceInfo_devParaStatic", "Manufacturer", "abcdefghijklmnopqrstuvwxyz12345");  // 31 characters
  world().put("DeviceInfo_devParaStatic", "ModelName", "M");
  world().put("DeviceInfo_devParaStatic", "CustomerSWVersion", "S");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_EQ(bytes(g_devinfo.VendorID, 8), "abcdefgh");
  EXPECT_EQ(bytes(g_devinfo.ModelStr, 16), std::string("M\0klmnopqrstuvwx", 16));
  EXPECT_EQ(bytes(g_devinfo.SoftVer, 9), std::string("S\0"
                                                     "12345\0\0",
                                                     9));
  EXPECT_EQ(world().get("nuvek_DevInfo", "Manufacturer"), "abcdefghM");
}

TEST_F(ConfigTest, AnOverlongVendorWithoutAModelEndsAtItsField) {
  world().put("DeviceInfo_devParaStatic", "Manufacturer", "ABCDEFGHIJ");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.VendorID), "ABCDEFGH");
  EXPECT_STREQ(g_devinfo.ModelStr, "");
}

TEST_F(ConfigTest, AModelOfSixteenCharactersReadsOnIntoTheVersion) {
  put_identity();
  world().put("DeviceInfo_devParaStatic", "ModelName", "MODEL-0123456789");
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.ModelStr), "MODEL-0123456789V1.2.3");
  EXPECT_EQ(world().get("nuvek_DevInfo", "ProductClass"), "MODEL-0123456789V1.2.3");
}

TEST_F(ConfigTest, AWanAddressThatOverrunsItsFieldReadsOnIntoTheRawForm) {
  put_identity();
  world().put("WanInfo_Entry0", "hwaddr", "AA:BB:CC:DD:EE:FF:00:11:22");  // 18 digits
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_EQ(bytes(g_devinfo.WANMAC, 16), "AABBCCDDEEFF0011");
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.WANMAC), "AABBCCDDEEFF0011AA:BB:CC:DD:EE:FF:00:11:22");
  EXPECT_STREQ(g_devinfo.WanMacRaw, "AA:BB:CC:DD:EE:FF:00:11:22");
}

TEST_F(ConfigTest, AValueLongerThanItsReadBufferIsCutTo31Characters) {
  world().put("DeviceInfo_devParaDynamic", "SerialNum", std::string(40, 's'));
  world().put("Info_eth0.1", "hwaddr", std::string(40, '9'));
  nuvek_load_devinfo(&g_devinfo);
  EXPECT_EQ(g_devinfo.SerialNum, std::string(31, 's'));
  EXPECT_STREQ(g_devinfo.WANMAC, "");
  EXPECT_EQ(g_devinfo.DevMacRaw, std::string(31, '9'));
  EXPECT_STREQ(g_devinfo.Uplink, "GPON");
}

// --- log and mirror --------------------------------------------------------------------------------------------------

TEST_F(ConfigTest, DisplayingLogsTheIdentityOneLineForEachField) {
  put_identity();
  world().put("nuvek_Common", "UUID", "the-uuid");
  const std::vector<std::string> lines = log_lines([] { nuvek_load_devinfo(&g_devinfo); });
  EXPECT_THAT(lines, ElementsAre("DEBUG nuvek_display_devinfo deviceinfo->OperatorID:ZELM",
                                 "DEBUG nuvek_display_devinfo deviceinfo->VerdorID:ACME",
                                 "DEBUG nuvek_display_devinfo deviceinfo->ModelStr:GW-100",
                                 "DEBUG nuvek_display_devinfo deviceinfo->SoftVer:V1.2.3",
                                 "DEBUG nuvek_display_devinfo deviceinfo->SerialNum:SN0001",
                                 "DEBUG nuvek_display_devinfo deviceinfo->WANMAC:AABBCCDDEEFF",
                                 "DEBUG nuvek_display_devinfo deviceinfo->DevMAC:001122334455",
                                 "DEBUG nuvek_display_devinfo deviceinfo->Uplink:GPON",
                                 "DEBUG nuvek_display_devinfo deviceinfo->ProtocolVer:1.0",
                                 "DEBUG nuvek_display_devinfo deviceinfo->UUID:the-uuid"));
}

TEST_F(ConfigTest, DisplayingEmptyTextsLogsEmptyValuesAndTouchesNoStore) {
  const std::vector<std::string> lines = log_lines([] { nuvek_display_devinfo(&g_devinfo); });
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines[1], "DEBUG nuvek_display_devinfo deviceinfo->VerdorID:");
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(ConfigTest, DisplayingReadsOnWhereATextFillsItsField) {
  memcpy(g_devinfo.VendorID, "ABCDEFGH", 8);
  strcpy(g_devinfo.ModelStr, "GW");
  EXPECT_EQ(log_lines([] { nuvek_display_devinfo(&g_devinfo); }).at(1),
            "DEBUG nuvek_display_devinfo deviceinfo->VerdorID:ABCDEFGHGW");
}

TEST_F(ConfigTest, SavingMirrorsTheIdentityInThisOrderThenCommitsAndSaves) {
  DevInfo devinfo{};
  strcpy(devinfo.VendorID, "v");
  strcpy(devinfo.OperatorID, "o");
  strcpy(devinfo.ModelStr, "m");
  strcpy(devinfo.SerialNum, "n");
  strcpy(devinfo.SoftVer, "s");
  strcpy(devinfo.WANMAC, "w");
  strcpy(devinfo.DevMAC, "d");
  strcpy(devinfo.ProtocolVer, "p");
  strcpy(devinfo.Uplink, "u");
  nuvek_save_devinfo(&devinfo);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_DevInfo Manufacturer=v", "set nuvek_DevInfo Isp=o",
                                           "set nuvek_DevInfo ProductClass=m", "set nuvek_DevInfo SerialNumber=n",
                                           "set nuvek_DevInfo SWVersion=s", "set nuvek_DevInfo WanMac=w",
                                           "set nuvek_DevInfo DevMac=d", "set nuvek_DevInfo ProtocolVer=p",
                                           "set nuvek_DevInfo AccessType=u", "commit nuvek_DevInfo", "save"));
}

// --- reported flags --------------------------------------------------------------------------------------------------

TEST_F(ConfigTest, BothReportedFlagsComeFromTheirOwnNodes) {
  world().put("nuvek_Entry0", "alreadyReport", "1");
  nuvek_load_reportFlags();
  EXPECT_EQ(nuvekReport.aReported, 1);
  EXPECT_EQ(nuvekReport.bReported, 0);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Entry0 alreadyReport", "get nuvek_Entry1 alreadyReport"));

  nuvekReport = {};
  world().erase("nuvek_Entry0", "alreadyReport");
  world().put("nuvek_Entry1", "alreadyReport", "1");
  nuvek_load_reportFlags();
  EXPECT_EQ(nuvekReport.aReported, 0);
  EXPECT_EQ(nuvekReport.bReported, 1);
  EXPECT_EQ(nuvekReport.lastBlock, 0);
}

TEST_F(ConfigTest, AReportedFlagCountsByItsIntegerReading) {
  const std::pair<const char*, int> cases[] = {{"1", 1}, {"01", 1}, {" 1", 1}, {"+1", 1},  {"1x", 1}, {"2", 0},
                                               {"0", 0}, {"", 0},   {"-1", 0}, {"yes", 0}, {"11", 0}, {"true1", 0}};
  for (const auto& [text, flag] : cases) {
    nuvekReport = {};
    world().put("nuvek_Entry0", "alreadyReport", text);
    world().put("nuvek_Entry1", "alreadyReport", text);
    nuvek_load_reportFlags();
    EXPECT_EQ(nuvekReport.aReported, flag) << '"' << text << '"';
    EXPECT_EQ(nuvekReport.bReported, flag) << '"' << text << '"';
  }
}

// --- location blocks -------------------------------------------------------------------------------------------------

TEST_F(ConfigTest, LoadingBlockAReadsEightAttributesOfEntry0) {
  put_block("nuvek_Entry0", "a");
  nuvek_load_gisA(&g_devinfo);
  EXPECT_EQ(texts(report().GISInfoA), marked("a"));
  EXPECT_EQ(world().calls(), block_gets("nuvek_Entry0"));
}

TEST_F(ConfigTest, LoadingBlockAEmptiesWhatTheStoreDoesNotHaveAndLeavesTheBlocksLetter) {
  memset(&report().GISInfoA, 'x', sizeof(GisInfo));
  strcpy(report().GISInfoA.GISInterface, "A");
  world().put("nuvek_Entry0", "Lat", "39.9");
  nuvek_load_gisA(&g_devinfo);
  EXPECT_THAT(texts(report().GISInfoA), ElementsAre("", "39.9", "", "", "", "", "", ""));
  EXPECT_STREQ(report().GISInfoA.GISInterface, "A");
  EXPECT_EQ(bytes(report().GISInfoA.GISDigest, 64), std::string(64, '\0'));
}

TEST_F(ConfigTest, LocationTextsThatAreTooLongAreCutToTheirFields) {
  for (const std::string& attr : marked("")) world().put("nuvek_Entry0", attr, std::string(100, 'l'));
  nuvek_load_gisA(&g_devinfo);
  std::vector<size_t> lengths;
  for (const std::string& text : texts(report().GISInfoA)) lengths.push_back(text.size());
  EXPECT_THAT(lengths, ElementsAre(31, 31, 31, 31, 31, 15, 15, 63));
  EXPECT_STREQ(report().GISInfoA.GISInterface, "");
}

TEST_F(ConfigTest, Mode1FillsBlockAAndReportsA) {
  put_block("nuvek_Entry0", "a");
  put_block("nuvek_Entry1", "b");
  strcpy(report().GISInterface, "ABCDEFG");
  nuvek_load_gisInfo(&g_devinfo, 1);
  EXPECT_EQ(bytes(report().GISInterface, 8), std::string("A\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(texts(report().GISInfoA), marked("a"));
  EXPECT_EQ(texts(report().GISInfoB), std::vector<std::string>(8));
  EXPECT_EQ(world().calls(), block_gets("nuvek_Entry0"));
}

TEST_F(ConfigTest, Mode2FillsBlockBAndReportsB) {
  put_block("nuvek_Entry0", "a");
  put_block("nuvek_Entry1", "b");
  nuvek_load_gisInfo(&g_devinfo, 2);
  EXPECT_STREQ(report().GISInterface, "B");
  EXPECT_EQ(texts(report().GISInfoA), std::vector<std::string>(8));
  EXPECT_EQ(texts(report().GISInfoB), marked("b"));
  EXPECT_EQ(world().calls(), block_gets("nuvek_Entry1"));
}

TEST_F(ConfigTest, Mode3FillsBothBlocksAndReportsA) {
  put_block("nuvek_Entry0", "a");
  put_block("nuvek_Entry1", "b");
  nuvek_load_gisInfo(&g_devinfo, 3);
  EXPECT_STREQ(report().GISInterface, "A");
  EXPECT_EQ(texts(report().GISInfoA), marked("a"));
  EXPECT_EQ(texts(report().GISInfoB), marked("b"));
  std::vector<std::string> expected = block_gets("nuvek_Entry0");
  append(expected, block_gets("nuvek_Entry1"));
  EXPECT_EQ(world().calls(), expected);
}

TEST_F(ConfigTest, AnyOtherModeOnlyEmptiesTheLetter) {
  put_block("nuvek_Entry0", "a");
  put_block("nuvek_Entry1", "b");
  for (const int32_t mode : {0, 4, -1}) {
    strcpy(report().GISInterface, "A");
    strcpy(report().GISInfoA.Long, "kept");
    nuvek_load_gisInfo(&g_devinfo, mode);
    EXPECT_STREQ(report().GISInterface, "");
    EXPECT_STREQ(report().GISInfoA.Long, "kept");
    EXPECT_EQ(texts(report().GISInfoB), std::vector<std::string>(8));
  }
  EXPECT_THAT(world().calls(), IsEmpty());
}
