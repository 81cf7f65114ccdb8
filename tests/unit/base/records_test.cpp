// The records' layout, which the device's other tools know, and the built-in endpoints.
#include "agent/base/records.h"

#include <cstring>
#include <type_traits>

#include "agent/base/clock.h"
#include "agent/main/main_loop.h"
#include "agent/report/registration_steps.h"
#include "tests/support/world.h"

namespace {

using RecordsTest = AgentTest;

struct Field {
  const char* name;
  size_t offset;
  size_t size;
};

#define FIELD(type, field) \
  Field { #field, offsetof(type, field), sizeof(type::field) }

// Every field starts where the one before it ends.
template <size_t Count>
void expect_without_gaps(const Field (&fields)[Count]) {
  size_t end = 0;
  for (const Field& field : fields) {
    EXPECT_EQ(field.offset, end) << field.name;
    end = field.offset + field.size;
  }
}

template <size_t Count>
void expect_sizes(const Field (&fields)[Count], const std::vector<size_t>& sizes) {
  ASSERT_EQ(sizes.size(), Count);
  for (size_t i = 0; i < Count; ++i) EXPECT_EQ(fields[i].size, sizes[i]) << fields[i].name;
  expect_without_gaps(fields);
}

template <size_t Size>
bool has_terminator(const char (&text)[Size]) {
  return memchr(text, '\0', Size) != nullptr;
}

}  // namespace

TEST_F(RecordsTest, TheDevicesTextsHaveTheirSizesInOrder) {
  const Field fields[] = {FIELD(DevInfo, OperatorID), FIELD(DevInfo, VendorID),    FIELD(DevInfo, ModelStr),
                          FIELD(DevInfo, SoftVer),    FIELD(DevInfo, SerialNum),   FIELD(DevInfo, WANMAC),
                          FIELD(DevInfo, WanMacRaw),  FIELD(DevInfo, DevMAC),      FIELD(DevInfo, DevMacRaw),
                          FIELD(DevInfo, Uplink),     FIELD(DevInfo, ProtocolVer), FIELD(DevInfo, DeviceTime),
                          FIELD(DevInfo, RegID),      FIELD(DevInfo, UUID)};
  expect_sizes(fields, {8, 8, 16, 32, 32, 16, 32, 16, 32, 8, 8, 16, 96, 64});
  EXPECT_EQ(offsetof(DevInfo, reportInfo), offsetof(DevInfo, UUID) + sizeof(DevInfo::UUID));
}

TEST_F(RecordsTest, TheReportsFieldsHaveTheirSizesInOrder) {
  const Field fields[] = {FIELD(ReportInfo, GISInterface), FIELD(ReportInfo, GISInfoA), FIELD(ReportInfo, GISInfoB),
                          FIELD(ReportInfo, ReportID), FIELD(ReportInfo, GISInfc)};
  expect_sizes(fields, {8, sizeof(GisInfo), sizeof(GisInfo), 4, 1});
}

TEST_F(RecordsTest, ALocationBlocksTextsHaveTheirSizesInOrder) {
  const Field fields[] = {FIELD(GisInfo, Long),          FIELD(GisInfo, Lat),
                          FIELD(GisInfo, Altitudes),     FIELD(GisInfo, HorizontalError),
                          FIELD(GisInfo, VerticalError), FIELD(GisInfo, GISInterface),
                          FIELD(GisInfo, AreaCode),      FIELD(GisInfo, GISLockTime),
                          FIELD(GisInfo, GISDigest)};
  expect_sizes(fields, {32, 32, 32, 32, 32, 8, 16, 16, 64});
}

TEST_F(RecordsTest, TheConnectionKeepsItsAddressPathAndSocket) {
  EXPECT_EQ(sizeof(ServerArg::hostIp), 32U);
  EXPECT_EQ(sizeof(ServerArg::urlPath), 32U);
  EXPECT_EQ(sizeof(ServerArg::fd), 4U);
}

TEST_F(RecordsTest, TheEndpointTablesFieldsHaveTheirSizesInOrder) {
  const Field fields[] = {FIELD(RemoteSerDomain, platDomain1), FIELD(RemoteSerDomain, platDomain2),
                          FIELD(RemoteSerDomain, regUrl1),     FIELD(RemoteSerDomain, regUrl2),
                          FIELD(RemoteSerDomain, speedUrl1),   FIELD(RemoteSerDomain, speedUrl2),
                          FIELD(RemoteSerDomain, traceHost),   FIELD(RemoteSerDomain, timeHost),
                          FIELD(RemoteSerDomain, dayMinutes),  FIELD(RemoteSerDomain, weekHours)};
  expect_sizes(fields, {16, 16, 32, 32, 48, 48, 16, 16, 4, 4});
}

TEST_F(RecordsTest, TheEndpointTableCarriesADayInMinutesAndAWeekInHours) {
  EXPECT_EQ(g_RemoteSerDomain.dayMinutes, 1440);
  EXPECT_EQ(g_RemoteSerDomain.weekHours, 168);
}

// Whatever endpoints a build was configured with.
TEST_F(RecordsTest, EveryEndpointIsATextThatFitsItsField) {
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.platDomain1));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.platDomain2));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.regUrl1));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.regUrl2));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.speedUrl1));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.speedUrl2));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.traceHost));
  EXPECT_TRUE(has_terminator(g_RemoteSerDomain.timeHost));
  for (const char* text : {g_RemoteSerDomain.platDomain1, g_RemoteSerDomain.platDomain2, g_RemoteSerDomain.traceHost,
                           g_RemoteSerDomain.timeHost}) {
    EXPECT_STRNE(text, "");
  }
  EXPECT_STRNE(g_RemoteSerDomain.platDomain1, g_RemoteSerDomain.platDomain2);
  EXPECT_THAT(g_RemoteSerDomain.regUrl1, ::testing::MatchesRegex("http://.+/reg/"));
  EXPECT_THAT(g_RemoteSerDomain.regUrl2, ::testing::MatchesRegex("http://.+/reg/"));
  EXPECT_THAT(g_RemoteSerDomain.speedUrl1, ::testing::MatchesRegex("http://.+/speedtest"));
  EXPECT_THAT(g_RemoteSerDomain.speedUrl2, ::testing::MatchesRegex("http://.+/speedtest"));
}

TEST_F(RecordsTest, DomainsInForceHaveThirtyTwoBytes) {
  EXPECT_EQ(sizeof g_platdomain, 32U);
  EXPECT_EQ(sizeof g_platdomainList, 64U);
}

TEST_F(RecordsTest, ClockRecordsAndReportFlagsHaveTheDevicesWidth) {
  EXPECT_EQ(sizeof curtime, 8U);
  EXPECT_EQ(sizeof curtime_his, 8U);
  EXPECT_EQ(sizeof nuvekReport.lastBlock, 4U);
  EXPECT_EQ(sizeof nuvekReport.aReported, 1U);
  EXPECT_EQ(sizeof nuvekReport.bReported, 1U);
  EXPECT_EQ(offsetof(NuvekReport, lastBlock), 0U);
}

TEST_F(RecordsTest, ATextWithATerminatorEndsInItsField) {
  strcpy(g_devinfo.VendorID, "ACME");
  strcpy(g_devinfo.ModelStr, "GW");
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.VendorID), "ACME");
}

TEST_F(RecordsTest, ATextThatFillsItsFieldReadsOnIntoTheNext) {
  memcpy(g_devinfo.VendorID, "ABCDEFGH", 8);
  strcpy(g_devinfo.ModelStr, "GW");
  EXPECT_STREQ(record_text(g_devinfo, g_devinfo.VendorID), "ABCDEFGHGW");
}

TEST_F(RecordsTest, ARecordWithoutAnyTerminatorIsReadNoFurtherThanItsEnd) {
  memset(static_cast<void*>(&g_devinfo), 'x', offsetof(DevInfo, reportInfo.end_guard));
  EXPECT_EQ(strlen(record_text(g_devinfo, g_devinfo.OperatorID)), offsetof(DevInfo, reportInfo.end_guard));
}
