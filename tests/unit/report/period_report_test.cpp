// The periodic report: when it is due, what it says and what it counts.
#include <cstring>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/report/period_report_steps.h"
#include "tests/unit/report/report_tools.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class PeriodReportTest : public AgentTest {
 protected:
  PeriodReportTest() {
    strcpy(g_devinfo.UUID, "11111111-2222-1333-8444-555555555555");
    nuvekReport.aReported = 1;
    world().set_clock(kNow_s);
  }
  static void last_was(int64_t seconds_ago) {
    world().put("nuvek_Common", "LastInformTime", std::to_string(kNow_s - seconds_ago));
  }
  // Whether the gate lets a report through. Without a connection: an attempt shows in the counter of failures.
  static bool fires() {
    world().on_connect = [](int, const sockaddr*) { return -1; };
    const uint32_t before = g_CntNum.FailInform;
    nuvek_cycle_report(&g_devinfo);
    return g_CntNum.FailInform != before;
  }
};

class SeedTest : public AgentTest {
 protected:
  SeedTest() {
    world().set_clock(kNow_s, 99);
    world().write_file("/tmp/timeSync", "");
  }
};

}  // namespace

// --- when ------------------------------------------------------------------------------------------------------------

TEST_F(PeriodReportTest, TheGateReadsTheLastTimeThenTheCycleAndWritesNothingWhenNotDue) {
  last_was(10);
  nuvek_cycle_report(&g_devinfo);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Common LastInformTime", "get nuvek_Server ReportCycle"));
  EXPECT_EQ(curtime.sec, kNow_s);
}

TEST_F(PeriodReportTest, AnHoursCycleFiresAfterMoreThan3600Seconds) {
  world().put("nuvek_Server", "ReportCycle", "60");
  last_was(3601);
  EXPECT_TRUE(fires());
}

TEST_F(PeriodReportTest, ADifferenceExactlyEqualToTheCycleDoesNotFire) {
  world().put("nuvek_Server", "ReportCycle", "60");
  last_was(3600);
  EXPECT_FALSE(fires());
}

TEST_F(PeriodReportTest, AnHoursCycleRepeatsEveryHour) {
  world().put("nuvek_Server", "ReportCycle", "60");
  last_was(3601);
  std::vector<int> fired_at;
  for (int second = 0; second < 10000; ++second) {
    if (fires()) fired_at.push_back(second);
    world().advance(1);
  }
  EXPECT_THAT(fired_at, ElementsAre(0, 3601, 7202));
}

TEST_F(PeriodReportTest, AnAbsentUnparsableOrZeroCycleIsADay) {
  for (const char* cycle : {"", "abc", "0"}) {
    world().put("nuvek_Server", "ReportCycle", cycle);
    last_was(86400);
    EXPECT_FALSE(fires()) << cycle;
    last_was(86401);
    EXPECT_TRUE(fires()) << cycle;
  }
  world().erase("nuvek_Server", "ReportCycle");
  last_was(86400);
  EXPECT_FALSE(fires());
  last_was(86401);
  EXPECT_TRUE(fires());
}

TEST_F(PeriodReportTest, AMissingLastTimeFiresAtOnce) { EXPECT_TRUE(fires()); }

TEST_F(PeriodReportTest, AnUnparsableLastTimeFiresAtOnce) {
  world().put("nuvek_Common", "LastInformTime", "never");
  EXPECT_TRUE(fires());
}

TEST_F(PeriodReportTest, ALastTimeAheadOfTheClockFiresAtOnceAndIsResetToNow) {
  last_was(-1);
  EXPECT_TRUE(fires());
  EXPECT_EQ(world().get("nuvek_Common", "LastInformTime"), "1700000000");
}

TEST_F(PeriodReportTest, ANegativeCycleIsHugeAndDoesNotFire) {
  world().put("nuvek_Server", "ReportCycle", "-1");
  last_was(1000000);
  EXPECT_FALSE(fires());
}

TEST_F(PeriodReportTest, ACycleWrapsAt32Bits) {
  world().put("nuvek_Server", "ReportCycle", "71582789");  // 60 times that is 2^32 + 44
  last_was(44);
  EXPECT_FALSE(fires());
  last_was(45);
  EXPECT_TRUE(fires());
}

TEST_F(PeriodReportTest, WithoutAnAcknowledgedBlockANothingIsEverReported) {
  nuvekReport.aReported = 0;
  last_was(-1);
  EXPECT_FALSE(fires());
  last_was(1000000);
  EXPECT_FALSE(fires());
  EXPECT_THAT(world().writes(), IsEmpty());
}

TEST_F(PeriodReportTest, BlockBDoesNotEnableTheCycle) {
  nuvekReport.aReported = 0;
  nuvekReport.bReported = 1;
  nuvekReport.lastBlock = 1;
  EXPECT_FALSE(fires());
}

TEST_F(PeriodReportTest, TheLastTimeIsWrittenBeforeTheAttemptWithoutCommitOrSave) {
  ConnectedPlatform platform;
  last_was(100000);
  nuvek_cycle_report(&g_devinfo);
  EXPECT_THAT(world().calls(),
              ElementsAre("get nuvek_Common LastInformTime", "get nuvek_Server ReportCycle",
                          "set nuvek_Common LastInformTime=1700000000", "set nuvek_Counter SuccessInform=1"));
  EXPECT_EQ(body_of(platform.received()), "[\"11111111-2222-1333-8444-555555555555\"]");
}

TEST_F(PeriodReportTest, AFailedReportWaitsAWholeCycle) {
  last_was(100000);
  EXPECT_TRUE(fires());
  EXPECT_EQ(world().get("nuvek_Common", "LastInformTime"), "1700000000");
  world().advance(86400);
  EXPECT_FALSE(fires());
  world().advance(1);
  EXPECT_TRUE(fires());
  EXPECT_EQ(g_CntNum.FailInform, 2U);
}

TEST_F(PeriodReportTest, SettingTheLastTimeRefreshesNowAndWritesItsSeconds) {
  world().set_clock(1600000000, 5);
  nuvek_set_lastInformTime();
  EXPECT_EQ(curtime.sec, 1600000000);
  EXPECT_EQ(curtime.usec, 5);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Common LastInformTime=1600000000"));
}

// --- what ------------------------------------------------------------------------------------------------------------

TEST_F(PeriodReportTest, TheReportNamesOnlyTheDevice) {
  ConnectedPlatform platform;
  EXPECT_EQ(nuvek_period_report(&g_devinfo), 0);
  EXPECT_EQ(platform.received(),
            "POST /reg/ HTTP/1.1\r\n"
            "Host: 192.0.2.7\r\n"
            "Connection: keep-alive\r\n"
            "Accept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\n"
            "Content-Length: 40\r\n"
            "\r\n"
            "[\"11111111-2222-1333-8444-555555555555\"]");
}

TEST_F(PeriodReportTest, WithoutAUuidTheReportCarriesAnEmptyOne) {
  ConnectedPlatform platform;
  g_devinfo.UUID[0] = '\0';
  nuvek_period_report(&g_devinfo);
  EXPECT_EQ(body_of(platform.received()), "[\"\"]");
  EXPECT_STREQ(g_devinfo.UUID, "");
}

TEST_F(PeriodReportTest, ThePathIsSetAgain) {
  ConnectedPlatform platform;
  strcpy(g_server_Arg.urlPath, "/other/");
  nuvek_period_report(&g_devinfo);
  EXPECT_STREQ(g_server_Arg.urlPath, "/reg/");
  EXPECT_THAT(platform.received(), ::testing::StartsWith("POST /reg/ HTTP/1.1\r\n"));
}

TEST_F(PeriodReportTest, ASentReportCountsAsSuccess) {
  ConnectedPlatform platform;
  EXPECT_EQ(nuvek_period_report(&g_devinfo), 0);
  EXPECT_EQ(g_CntNum.SuccessInform, 1U);
  EXPECT_EQ(g_CntNum.FailInform, 0U);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Counter SuccessInform=1"));
}

TEST_F(PeriodReportTest, AnOpenConnectionIsUsed) {
  ConnectedPlatform platform;
  const int fd = g_server_Arg.fd;
  nuvek_period_report(&g_devinfo);
  EXPECT_EQ(g_server_Arg.fd, fd);
  EXPECT_THAT(world().lookups, IsEmpty());
}

TEST_F(PeriodReportTest, WithoutAConnectionItConnectsFirst) {
  FakePlatform platform;
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  EXPECT_EQ(nuvek_period_report(&g_devinfo), 0);
  const int fd = platform.accept_connection();
  EXPECT_EQ(platform.read_some(fd),
            "POST /reg/ HTTP/1.1\r\n"
            "Host: 127.0.0.1\r\n"
            "Connection: keep-alive\r\n"
            "Accept: application/json\r\n"
            "Content-Type: application/json,charset=UTF-8\r\n"
            "Content-Length: 40\r\n"
            "\r\n"
            "[\"11111111-2222-1333-8444-555555555555\"]");
  close(fd);
  close(g_server_Arg.fd.exchange(-1));
}

TEST_F(PeriodReportTest, ASuccessfulReportLogsNoError) {
  ConnectedPlatform platform;
  EXPECT_THAT(lines_of("nuvek_period_report", log_lines([] { nuvek_period_report(&g_devinfo); })),
              ElementsAre("DEBUG Enter"));
}

TEST_F(PeriodReportTest, AnUnreachablePlatformIsLoggedTwiceAndCountedOnce) {
  world().on_connect = [](int, const sockaddr*) { return -1; };
  int result = 0;
  const std::vector<std::string> lines = log_lines([&] { result = nuvek_period_report(&g_devinfo); });
  EXPECT_EQ(result, -1);
  EXPECT_THAT(lines_of("nuvek_period_report", lines),
              ElementsAre("DEBUG Enter", "ERROR link sever error!", "ERROR  sendPostRequest error"));
  EXPECT_THAT(lines_of("nuvek_sendPostRequest", lines), ElementsAre("DEBUG Enter", "ERROR fd error"));
  EXPECT_EQ(g_server_Arg.fd, -1);
  EXPECT_EQ(g_CntNum.FailInform, 1U);
  EXPECT_EQ(g_CntNum.SuccessInform, 0U);
  EXPECT_THAT(world().writes(), ElementsAre("set nuvek_Counter FailInform=1"));
}

TEST_F(PeriodReportTest, AFailedSendIsLoggedAndCounted) {
  ConnectedPlatform platform;
  const int fd = g_server_Arg.fd;
  world().on_send = [](int, const void*, size_t) { return -1; };
  int result = 0;
  const std::vector<std::string> lines = log_lines([&] { result = nuvek_period_report(&g_devinfo); });
  EXPECT_EQ(result, -1);
  EXPECT_THAT(lines_of("nuvek_period_report", lines), ElementsAre("DEBUG Enter", "ERROR  sendPostRequest error"));
  EXPECT_EQ(g_CntNum.FailInform, 1U);
  EXPECT_EQ(g_server_Arg.fd, fd);
}

// --- the first "LastInformTime" --------------------------------------------------------------------------------------

TEST_F(SeedTest, WithoutALastTimeNowIsWrittenWithoutCommitOrSave) {
  nuvek_seed_lastInformTime();
  EXPECT_EQ(g_lastInformInit, 1);
  EXPECT_EQ(curtime.sec, kNow_s);
  EXPECT_EQ(curtime.usec, 99);
  EXPECT_THAT(world().calls(),
              ElementsAre("get nuvek_Common LastInformTime", "set nuvek_Common LastInformTime=1700000000"));
}

TEST_F(SeedTest, AnEmptyLastTimeIsSeededToo) {
  world().put("nuvek_Common", "LastInformTime", "");
  nuvek_seed_lastInformTime();
  EXPECT_EQ(world().get("nuvek_Common", "LastInformTime"), "1700000000");
}

TEST_F(SeedTest, OnceSeededTheStoreIsNotAskedAgainInThisRun) {
  nuvek_seed_lastInformTime();
  world().erase("nuvek_Common", "LastInformTime");
  world().forget_calls();
  nuvek_seed_lastInformTime();
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(SeedTest, AStoredLastTimeStaysAndIsLookedAtAgainOnLaterTurns) {
  world().put("nuvek_Common", "LastInformTime", "5");
  nuvek_seed_lastInformTime();
  nuvek_seed_lastInformTime();
  EXPECT_EQ(g_lastInformInit, 0);
  EXPECT_EQ(curtime.sec, 0);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Common LastInformTime", "get nuvek_Common LastInformTime"));
  world().erase("nuvek_Common", "LastInformTime");
  nuvek_seed_lastInformTime();
  EXPECT_EQ(g_lastInformInit, 1);
}

TEST_F(SeedTest, WithoutASynchronisedClockNothingIsSeeded) {
  world().remove_file("/tmp/timeSync");
  nuvek_seed_lastInformTime();
  world().write_file("/tmp/timeSync", "");
  world().set_clock(1483200000);
  nuvek_seed_lastInformTime();
  EXPECT_EQ(g_lastInformInit, 0);
  EXPECT_THAT(world().calls(), IsEmpty());
  world().set_clock(1483200001);
  nuvek_seed_lastInformTime();
  EXPECT_EQ(world().get("nuvek_Common", "LastInformTime"), "1483200001");
}

TEST_F(PeriodReportTest, AStoreThatTakesNoWritesLeavesACycleACycle) {
  world().put("nuvek_Server", "ReportCycle", "60");
  world().put("nuvek_Common", "LastInformTime", std::to_string(kNow_s - 3601));
  world().refuse_writes = true;
  EXPECT_TRUE(fires());
  for (int turn = 0; turn < 3600; ++turn) {
    world().advance(1);
    EXPECT_FALSE(fires()) << turn;
  }
  world().advance(1);
  EXPECT_TRUE(fires());
  world().refuse_writes = false;
  world().advance(3601);
  EXPECT_TRUE(fires());
  EXPECT_EQ(world().get("nuvek_Common", "LastInformTime"), std::to_string(kNow_s + 3601 + 3601));
}

TEST_F(SeedTest, ASeedThatTheStoreRefusesCountsFromHereAllTheSame) {
  world().refuse_writes = true;
  nuvekReport.aReported = 1;
  nuvek_seed_lastInformTime();
  nuvek_cycle_report(&g_devinfo);
  EXPECT_EQ(g_CntNum.SuccessInform + g_CntNum.FailInform, 0U);
  world().refuse_writes = false;
  nuvek_set_lastInformTime();
}
