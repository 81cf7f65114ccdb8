// When the measurements start, how, and how their end is noticed.
#include "agent/tasks/schedule.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "agent/base/clock.h"
#include "agent/base/counters.h"
#include "agent/link/object_path.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/speed_test.h"
#include "agent/tasks/task.h"
#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char kUuidMd5[] = "81c0e5de403c76cf1ac2632edbef1fdf";

class ScheduleTest : public AgentTest {
 protected:
  ScheduleTest() {
    world().set_clock(kNow_s);
    strcpy(g_devinfo.UUID, "the-uuid");
    nuvekReport.aReported = 1;
  }
  // Whether the speed test, last started so many seconds ago, is due.
  static int due_after(int64_t passed_s) {
    world().put("nuvek_Common", "LastSpeedTime", std::to_string(kNow_s - passed_s));
    return nuvek_cycle_arrive(kSpeedTask);
  }
  static void set_cycle(const char* hours) { world().put("nuvek_Server", "ExetaskCycle", hours); }
  std::string pid_command() const { return "pidof traceroute > " + world().root + "/tmp/app_check.pid"; }
};

}  // namespace

TEST_F(ScheduleTest, ACycleIsHoursAndIsDueExactlyAtItsEnd) {
  set_cycle("2");
  EXPECT_EQ(due_after(7199), 0);
  EXPECT_EQ(due_after(7200), 1);
}

TEST_F(ScheduleTest, WithTheTestSwitchACycleIsMinutes) {
  world().write_file("/var/nuvekTaskTest", "");
  set_cycle("2");
  EXPECT_EQ(due_after(119), 0);
  EXPECT_EQ(due_after(120), 1);
}

TEST_F(ScheduleTest, ZeroJunkAndNoCycleAreSevenDays) {
  for (const char* cycle : {"0", "junk", "", "none"}) {
    if (std::string(cycle) == "none") {
      world().erase("nuvek_Server", "ExetaskCycle");
    } else {
      set_cycle(cycle);
    }
    EXPECT_EQ(due_after(604799), 0) << cycle;
    EXPECT_EQ(due_after(604800), 1) << cycle;
  }
}

TEST_F(ScheduleTest, CyclesWrapModuloTwoToTheThirtyTwo) {
  set_cycle("1193047");  // times 3600: 2^32 + 1904
  EXPECT_EQ(due_after(1903), 0);
  EXPECT_EQ(due_after(1904), 1);
  set_cycle("-1");  // a huge unsigned number
  EXPECT_EQ(due_after(604800), 0);
}

TEST_F(ScheduleTest, AStampAheadOfTheClockIsDueAtOnce) {
  set_cycle("2");
  EXPECT_EQ(due_after(-1), 1);
}

TEST_F(ScheduleTest, ATestThatNeverStartedIsNotDueByItsCycle) {
  EXPECT_EQ(nuvek_cycle_arrive(kSpeedTask), 0);
  world().put("nuvek_Common", "LastTraceTime", "0");
  EXPECT_EQ(nuvek_cycle_arrive(kTraceTask), 0);
}

TEST_F(ScheduleTest, WithoutAnAcknowledgedLocationNothingIsDueNorRead) {
  nuvekReport.aReported = 0;
  EXPECT_EQ(due_after(10000000), 0);
  EXPECT_THAT(world().calls(), IsEmpty());
  nuvekReport.bReported = 1;
  EXPECT_EQ(due_after(10000000), 1);
}

TEST_F(ScheduleTest, AnotherKindIsNeverDue) {
  EXPECT_EQ(nuvek_cycle_arrive(0), 0);
  EXPECT_EQ(nuvek_cycle_arrive(3), 0);
}

TEST_F(ScheduleTest, AnArrivedCycleIsLogged) {
  world().put("nuvek_Common", "LastSpeedTime", "1");
  world().put("nuvek_Common", "LastTraceTime", "1");
  EXPECT_THAT(log_lines([] { nuvek_cycle_arrive(kSpeedTask); }),
              ElementsAre("DEBUG nuvek_cycle_arrive speed cycle arrived"));
  EXPECT_THAT(log_lines([] { nuvek_cycle_arrive(kTraceTask); }),
              ElementsAre("DEBUG nuvek_cycle_arrive tracert cycle arrived"));
}

TEST_F(ScheduleTest, ATriggerStartsTheSpeedTestWithItsCommand) {
  nuvekTask.speedTrigger = 1;
  world().uptime = 500;
  const std::string command =
      std::string("httpSpeed -u http://nuvek-p1.test/speedtest/") + kUuidMd5 + " -t 30 -n 6 -e &";
  EXPECT_EQ(stdout_of([] { nuvek_task_process(&g_devinfo, &g_server_Arg); }), "cmdLine[" + command + "]\n");
  EXPECT_THAT(world().commands(), ElementsAre(command));
  EXPECT_THAT(world().writes(), ElementsAre("set nuvek_Common LastSpeedTime=1700000000"));
  EXPECT_EQ(nuvekTask.speedState, kTaskStarted);
  EXPECT_EQ(nuvekTask.speedTrigger, 1) << "only a report clears it";
  EXPECT_EQ(g_speedStartUptime, 500);
}

TEST_F(ScheduleTest, ATriggerStartsTheTraceRouteWithItsCommand) {
  nuvekTask.traceTrigger = 1;
  const std::string command = "traceroute  -i trace.test > " + world().root + "/tmp/tracenuvek &";
  EXPECT_THAT(log_lines([] { nuvek_task_process(&g_devinfo, &g_server_Arg); }),
              ElementsAre("DEBUG nuvek_task_process cmd:" + command));
  EXPECT_THAT(world().commands(), ElementsAre(command));
  EXPECT_THAT(world().writes(), ElementsAre("set nuvek_Common LastTraceTime=1700000000"));
  EXPECT_EQ(nuvekTask.traceState, kTaskStarted);
}

TEST_F(ScheduleTest, TheStartOfTheSpeedTestIsLogged) {
  nuvekTask.speedTrigger = 1;
  const auto lines = log_lines([] { nuvek_task_process(&g_devinfo, &g_server_Arg); });
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "DEBUG nuvek_task_process deviceinfo->UUID:the-uuid");
  EXPECT_EQ(lines[1], "");
  EXPECT_EQ(lines[2], "DEBUG nuvek_calculate_md5 before MD5 string: the-uuid");
}

TEST_F(ScheduleTest, AStartedTestIsNotStartedAgainAndAReportedOneIs) {
  nuvekTask.speedTrigger = 1;
  nuvekTask.traceTrigger = 1;
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(world().commands().size(), 2U);
  nuvekTask.speedState = kTaskReported;
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(world().commands().size(), 3U);
}

TEST_F(ScheduleTest, ACycleStartsBothTestsWithoutTriggers) {
  set_cycle("1");
  world().put("nuvek_Common", "LastSpeedTime", std::to_string(kNow_s - 3600));
  world().put("nuvek_Common", "LastTraceTime", std::to_string(kNow_s - 3600));
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(world().commands().size(), 2U);
}

TEST_F(ScheduleTest, AFailedCommandCountsAsStarted) {
  world().on_system = [](const std::string&) { return -1; };
  nuvekTask.speedTrigger = 1;
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(nuvekTask.speedState, kTaskStarted);
}

TEST_F(ScheduleTest, TheSpeedTestIsOver41SecondsAfterItsStartAndOnlyOnce) {
  g_speedStartUptime = 100;
  world().uptime = 140;
  EXPECT_EQ(nuvek_speed_over(), 0);
  world().uptime = 141;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(nuvek_speed_over(), 1); }),
              ElementsAre("DEBUG nuvek_speed_over nuvek_speed_over "));
  EXPECT_EQ(nuvek_speed_over(), 0);
}

TEST_F(ScheduleTest, UptimeThatCannotBeReadIsZeroAndPrinted) {
  world().uptime = -1;
  EXPECT_EQ(stdout_of([] { EXPECT_EQ(get_uptime(), 0); }), "get_uptime code error = -1\n");
}

TEST_F(ScheduleTest, MarkingAsReportedClearsTheTriggerOfTheKindOnly) {
  nuvekTask.speedTrigger = nuvekTask.traceTrigger = 1;
  nuvek_task_setState(3);
  EXPECT_EQ(nuvekTask.speedTrigger, 1);
  nuvek_task_setState(kSpeedTask);
  EXPECT_EQ(nuvekTask.speedState, kTaskReported);
  EXPECT_EQ(nuvekTask.speedTrigger, 0);
  EXPECT_EQ(nuvekTask.traceTrigger, 1);
  nuvek_task_setState(kTraceTask);
  EXPECT_EQ(nuvekTask.traceState, kTaskReported);
  EXPECT_EQ(nuvekTask.traceTrigger, 0);
}

TEST_F(ScheduleTest, ARunningTraceRouteIsLeftAlone) {
  nuvekTask.traceState = kTaskStarted;
  world().on_system = [](const std::string&) {
    world().write_file("/tmp/app_check.pid", "99\n");
    return 0;
  };
  nuvek_task_report(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(nuvekTask.traceState, kTaskStarted);
  EXPECT_EQ(g_CntNum.SuccessTask, 0U);
}

TEST_F(ScheduleTest, AReportWaitsForTheOtherThreadsReport) {
  constexpr std::chrono::milliseconds kTimeToMeet{100};
  std::atomic<int> inside{0}, most_inside{0}, begun{0};
  nuvekTask.traceState = kTaskStarted;
  world().on_system = [&](const std::string&) {
    most_inside = std::max<int>(most_inside, ++inside);
    while (begun != 2) std::this_thread::yield();
    std::this_thread::sleep_for(kTimeToMeet);
    world().write_file("/tmp/app_check.pid", "99\n");
    --inside;
    return 0;
  };
  const auto report = [&] {
    ++begun;
    nuvek_task_report(&g_devinfo, &g_server_Arg);
  };
  std::thread other(report);
  report();
  other.join();
  EXPECT_EQ(most_inside, 1);
  EXPECT_EQ(world().commands().size(), 2U);
}

TEST_F(ScheduleTest, AFinishedTraceRouteIsCountedAndReported) {
  ConnectedPlatform platform;
  nuvekTask.traceState = kTaskStarted;
  stdout_of([] { nuvek_task_report(&g_devinfo, &g_server_Arg); });
  EXPECT_EQ(g_CntNum.SuccessTask, 1U);
  EXPECT_EQ(nuvekTask.traceState, kTaskReported);
  EXPECT_NE(platform.received().find("NUVEK.TraceRoute"), std::string::npos);
}

TEST_F(ScheduleTest, WhileTheLastResultWasRefusedATraceIsCountedButNotReportedAndTheSpeedResultIsSentAgain) {
  ConnectedPlatform platform;
  g_RPCResultRes = -3;
  nuvekTask.traceState = kTaskStarted;
  stdout_of([] { EXPECT_EQ(nuvek_timer_task_report(nullptr), 0); });
  const std::string sent = platform.received();
  EXPECT_NE(sent.find("NUVEK.SiteSpeed"), std::string::npos);
  EXPECT_EQ(sent.find("NUVEK.TraceRoute"), std::string::npos);
  EXPECT_EQ(nuvekTask.traceState, kTaskStarted);
  EXPECT_EQ(g_CntNum.SuccessTask, 1U);
  EXPECT_EQ(g_CntNum.FailTask, 1U) << "the speed test left no table";
}

TEST_F(ScheduleTest, TwoResultsOfOneSecondShareTheirIdentifierAndTheLaterEntryWins) {
  ConnectedPlatform platform;
  g_speedStartUptime = 1;
  world().uptime = 100;
  nuvekTask.traceState = kTaskStarted;
  stdout_of([] { nuvek_task_report(&g_devinfo, &g_server_Arg); });
  const ObjPathEntry& speed = nuvek_ObjPathTable[5];
  const ObjPathEntry& trace = nuvek_ObjPathTable[6];
  EXPECT_NE(speed.id, 0);
  EXPECT_EQ(speed.id, trace.id);
  char path[kObjPathSize] = "";
  nuvek_get_ObjPath(speed.id, path);
  EXPECT_STREQ(path, "NUVEK.TraceRoute");
}

TEST_F(ScheduleTest, AStoreThatTakesNoWritesStartsEachTestOnceACycle) {
  set_cycle("1");
  world().put("nuvek_Common", "LastTraceTime", std::to_string(kNow_s - 7200));
  world().refuse_writes = true;
  for (int turn = 0; turn < 3600; ++turn) {
    nuvek_task_process(&g_devinfo, &g_server_Arg);
    nuvek_task_setState(kTraceTask);
    world().advance(1);
  }
  EXPECT_EQ(world().commands().size(), 1U);
  nuvek_task_process(&g_devinfo, &g_server_Arg);
  EXPECT_EQ(world().commands().size(), 2U);
  world().refuse_writes = false;
  nuvek_set_taskTime(kTraceTask);
}
