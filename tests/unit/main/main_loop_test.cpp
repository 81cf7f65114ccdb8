// One turn of the main loop: what it does once the clock is synchronised, what it waits for, and whom it calls.
#include "agent/main/main_loop.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "agent/base/clock.h"
#include "agent/base/log.h"
#include "agent/base/records.h"
#include "agent/report/registration_steps.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/task.h"
#include "agent/timer/timer_steps.h"
#include "tests/support/world.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr int kListening = 200;  // a descriptor that nothing stands behind

class MainLoopTest : public AgentTest {
 protected:
  struct Wait {
    int nfds;
    std::vector<int> watched;
    int64_t sec;
    int64_t usec;
  };

  MainLoopTest() {
    world().set_clock(kNow_s);
    world().on_select = [this](int nfds, fd_set* read, timeval* timeout) { return wait(nfds, read, timeout); };
    world().on_accept = [this](int fd) {
      accepted_on.push_back(fd);
      return -1;
    };
    world().on_recv = [this](int fd, void*, size_t) {
      received_on.push_back(fd);
      return 0;
    };
  }
  static void synchronise() { world().write_file("/tmp/timeSync", ""); }

  std::vector<Wait> waits;
  std::vector<int> ready;  // descriptors that the next waits report as readable
  std::function<void()> while_waiting;
  int select_result = 0;  // when nothing is ready
  int select_error = EINTR;
  std::vector<int> accepted_on, received_on;

 private:
  int wait(int nfds, fd_set* read, timeval* timeout) {
    Wait seen{nfds, {}, timeout->tv_sec, timeout->tv_usec};
    for (int fd = 0; fd < FD_SETSIZE; ++fd) {
      if (FD_ISSET(fd, read)) seen.watched.push_back(fd);
    }
    waits.push_back(seen);
    timeout->tv_sec = 0;  // as the kernel leaves it
    if (while_waiting) while_waiting();
    if (select_result < 0) {
      errno = select_error;
      return select_result;  // the set is left as it was
    }
    FD_ZERO(read);
    for (const int fd : ready) FD_SET(fd, read);
    return static_cast<int>(ready.size());
  }
};

}  // namespace

// --- the steps of a turn ---------------------------------------------------------------------------------------------

TEST_F(MainLoopTest, WithoutTheMarkerATurnOnlyWaits) {
  world().put("nuvek_Entry0", "GISInterface", "A");
  nuvekTask.speedTrigger = 1;
  MainLoop(kListening).turn();
  EXPECT_THAT(world().calls(), IsEmpty());
  EXPECT_THAT(world().commands(), IsEmpty());
  EXPECT_EQ(curtime_his.sec, 0);
  EXPECT_EQ(waits.size(), 1U);
}

TEST_F(MainLoopTest, TheGateOpensWithTheFirstTrustedSecond) {
  synchronise();
  MainLoop loop(kListening);
  world().set_clock(1483200000, 999999);
  loop.turn();
  EXPECT_THAT(world().calls(), IsEmpty());
  world().set_clock(1483200001);
  loop.turn();
  EXPECT_THAT(world().calls(), Contains("set nuvek_Common LastInformTime=1483200001"));
  EXPECT_EQ(curtime_his.sec, 1483200001);
}

TEST_F(MainLoopTest, BeforeTheClockIsSynchronisedTheSocketsAreServed) {
  ConnectedPlatform platform;
  const int fd = g_server_Arg.fd;
  ready = {kListening, fd};
  MainLoop(kListening).turn();
  EXPECT_THAT(accepted_on, ElementsAre(kListening));
  EXPECT_THAT(received_on, ElementsAre(fd));
}

TEST_F(MainLoopTest, ASynchronisedTurnRunsItsStepsInOrder) {
  synchronise();
  nuvekReport.aReported = 1;
  MainLoop(kListening).turn();
  EXPECT_THAT(world().calls(), ElementsAre(
                                   // first "LastInformTime"
                                   "get nuvek_Common LastInformTime", "set nuvek_Common LastInformTime=1700000000",
                                   // first report, default report, cycle
                                   "get nuvek_Entry0 GISInterface", "get nuvek_Common DefaultFirstReportTime",
                                   "get nuvek_Common LastInformTime", "get nuvek_Server ReportCycle",
                                   // speed test, trace-route
                                   "get nuvek_Server ExetaskCycle", "get nuvek_Common LastSpeedTime",
                                   "get nuvek_Server ExetaskCycle", "get nuvek_Common LastTraceTime"));
}

TEST_F(MainLoopTest, FinishedTasksAreReportedBeforeDueOnesAreStarted) {
  synchronise();
  nuvekTask.traceState = kTaskStarted;
  nuvekTask.speedTrigger = 1;
  world().on_system = [](const std::string& command) {
    if (command.rfind("pidof ", 0) == 0) world().write_file("/tmp/app_check.pid", "42\n");  // still running
    return 0;
  };
  stdout_of([] { MainLoop(kListening).turn(); });
  ASSERT_EQ(world().commands().size(), 2U);
  EXPECT_EQ(world().commands()[0].rfind("pidof traceroute", 0), 0U);
  EXPECT_EQ(world().commands()[1].rfind("httpSpeed ", 0), 0U);
}

TEST_F(MainLoopTest, ANonZeroResultCodeHoldsTheTaskStepsButNotTheReports) {
  synchronise();
  g_RPCResultRes = 3;
  g_resultTimerId = 4;
  nuvekTask.speedTrigger = 1;
  nuvekTask.traceState = kTaskStarted;
  const std::vector<std::string> lines = log_lines([] { MainLoop(kListening).turn(); });
  EXPECT_THAT(world().commands(), IsEmpty());
  EXPECT_THAT(lines, IsEmpty());  // the back-off timer is left alone
  EXPECT_THAT(world().calls(), Contains("get nuvek_Server ReportCycle"));
}

TEST_F(MainLoopTest, TheBackOffTimerIsRemovedAndItsNumberStaysSoThatEveryTurnAsksAgain) {
  Mutex lock;
  g_timerList.p_timer_mutex = &lock;
  g_timerList.inited = 1;  // without its thread
  const int32_t id = AddTimer(
      "back-off", 1000000, [](void*) { return 0; }, nullptr, 0);
  g_resultTimerId = id;
  ASSERT_EQ(g_timerList.timer_num, 1);
  synchronise();
  MainLoop loop(kListening);
  loop.turn();
  EXPECT_EQ(g_timerList.timer_num, 0);
  EXPECT_EQ(g_resultTimerId, id);
  EXPECT_EQ(log_lines([&] { loop.turn(); }).size(), 2U);  // refused, with a line of its own and the empty one after it
  EXPECT_EQ(g_resultTimerId, id);
  g_timerList.inited = 0;
  g_timerList.p_timer_mutex = nullptr;
}

TEST_F(MainLoopTest, WithoutABackOffNoTimerIsRemoved) {
  synchronise();
  EXPECT_THAT(log_lines([] { MainLoop(kListening).turn(); }), IsEmpty());
  g_resultTimerId = 1;
  EXPECT_THAT(log_lines([] { MainLoop(kListening).turn(); }),
              ElementsAre("DEBUG RemoveTimer AddTimer: Timer don not inited"));
}

// --- the wait --------------------------------------------------------------------------------------------------------

TEST_F(MainLoopTest, TheWaitIsOneSecondByDefaultAndIsSetAnewEveryTurn) {
  MainLoop loop(kListening);
  loop.turn();
  loop.turn();
  ASSERT_EQ(waits.size(), 2U);
  for (const Wait& wait : waits) {
    EXPECT_EQ(wait.sec, 1);
    EXPECT_EQ(wait.usec, 0);
  }
}

TEST_F(MainLoopTest, AChangedTimeoutAppliesFromTheNextTurnOn) {
  MainLoop loop(kListening);
  while_waiting = [] { nuvek_set_selectTimeout(30); };
  loop.turn();
  loop.turn();
  ASSERT_EQ(waits.size(), 2U);
  EXPECT_EQ(waits[0].sec, 1);
  EXPECT_EQ(waits[1].sec, 30);
}

TEST_F(MainLoopTest, WithoutAPlatformConnectionOnlyTheListeningSocketIsWatched) {
  MainLoop(kListening).turn();
  EXPECT_THAT(waits.at(0).watched, ElementsAre(kListening));
  EXPECT_EQ(waits.at(0).nfds, kListening + 1);
}

TEST_F(MainLoopTest, AnOpenPlatformConnectionIsWatchedToo) {
  g_server_Arg.fd = 210;
  MainLoop(kListening).turn();
  EXPECT_THAT(waits.at(0).watched, ElementsAre(kListening, 210));
  EXPECT_EQ(waits.at(0).nfds, 211);
}

TEST_F(MainLoopTest, TheLargestDescriptorOnlyGrows) {
  MainLoop loop(kListening);
  for (const int fd : {210, -1, 205, 220}) {
    g_server_Arg.fd = fd;
    loop.turn();
  }
  std::vector<int> handed;
  for (const Wait& wait : waits) handed.push_back(wait.nfds);
  EXPECT_THAT(handed, ElementsAre(211, 211, 211, 221));
  EXPECT_THAT(waits.at(1).watched, ElementsAre(kListening));
}

TEST_F(MainLoopTest, WithoutAListeningSocketNothingIsAddedForIt) {
  MainLoop loop(-1);
  loop.turn();
  EXPECT_THAT(waits.at(0).watched, IsEmpty());
  EXPECT_EQ(waits.at(0).nfds, 0);
  g_server_Arg.fd = 210;
  ready = {210};
  loop.turn();
  EXPECT_THAT(waits.at(1).watched, ElementsAre(210));
  EXPECT_THAT(accepted_on, IsEmpty());
  EXPECT_THAT(received_on, ElementsAre(210));
}

TEST_F(MainLoopTest, AConnectionOpenedByAStepOfTheTurnIsWatchedInTheSameTurn) {
  FakePlatform platform;
  world().put("nuvek_Server", "PlatDomain1", "127.0.0.1");
  world().put("nuvek_Entry0", "GISInterface", "A");
  strcpy(g_devinfo.UUID, "u");
  synchronise();
  MainLoop(kListening).turn();
  const int fd = g_server_Arg.fd;
  ASSERT_NE(fd, -1);
  EXPECT_THAT(waits.at(0).watched, Contains(fd));
  close(platform.accept_connection());
  close(g_server_Arg.fd.exchange(-1));
}

// --- readable sockets ------------------------------------------------------------------------------------------------

TEST_F(MainLoopTest, AReadableListeningSocketGoesToTheLocalServer) {
  g_server_Arg.fd = 210;
  ready = {kListening};
  MainLoop(kListening).turn();
  EXPECT_THAT(accepted_on, ElementsAre(kListening));
  EXPECT_THAT(received_on, IsEmpty());
}

TEST_F(MainLoopTest, AReadablePlatformSocketGoesToItsHandler) {
  g_server_Arg.fd = 210;
  ready = {210};
  MainLoop(kListening).turn();
  EXPECT_THAT(accepted_on, IsEmpty());
  EXPECT_THAT(received_on, ElementsAre(210));
}

TEST_F(MainLoopTest, TheLocalServerComesBeforeThePlatform) {
  g_server_Arg.fd = 210;
  ready = {kListening, 210};
  std::vector<std::string> order;
  world().on_accept = [&](int) {
    order.push_back("local");
    return -1;
  };
  world().on_recv = [&](int, void*, size_t) {
    order.push_back("platform");
    return 0;
  };
  MainLoop(kListening).turn();
  EXPECT_THAT(order, ElementsAre("local", "platform"));
}

TEST_F(MainLoopTest, ATimeOutServesNobody) {
  g_server_Arg.fd = 210;
  MainLoop(kListening).turn();
  EXPECT_THAT(accepted_on, IsEmpty());
  EXPECT_THAT(received_on, IsEmpty());
}

TEST_F(MainLoopTest, AFailedWaitIsATimeOut) {
  g_server_Arg.fd = 210;
  select_result = -1;
  MainLoop loop(kListening);
  EXPECT_THAT(log_lines([&] { loop.turn(); }), IsEmpty());
  EXPECT_THAT(accepted_on, IsEmpty());
  EXPECT_THAT(received_on, IsEmpty());
  EXPECT_EQ(g_server_Arg.fd, 210);
}

TEST_F(MainLoopTest, AWaitThatKeepsFailingButForASignalCostsATurnHalfASecond) {
  std::vector<unsigned> slept_us;
  world().on_usleep = [&](unsigned time_us) { slept_us.push_back(time_us); };
  MainLoop loop(kListening);
  loop.turn();
  select_result = -1;
  loop.turn();
  EXPECT_THAT(slept_us, IsEmpty());
  for (int k = 0; k < 5; ++k) loop.turn();
  EXPECT_THAT(slept_us, IsEmpty()) << "signals";
  select_error = ENOMEM;
  for (int k = 0; k < 3; ++k) loop.turn();
  EXPECT_THAT(slept_us, IsEmpty());
  loop.turn();
  EXPECT_THAT(slept_us, ElementsAre(500000));
  select_result = 0;
  loop.turn();
  select_result = -1;
  loop.turn();
  EXPECT_THAT(slept_us, ElementsAre(500000)) << "a wait in between begins anew";
}

TEST_F(MainLoopTest, AConnectionThatItsHandlerClosedIsLeftOutOfTheNextWait) {
  ConnectedPlatform platform;
  const int fd = g_server_Arg.fd;
  ready = {fd};
  MainLoop loop(kListening);
  loop.turn();
  EXPECT_EQ(g_server_Arg.fd, -1);
  ready = {};
  loop.turn();
  EXPECT_THAT(waits.at(0).watched, Contains(fd));
  EXPECT_THAT(waits.at(1).watched, ElementsAre(kListening));
}

// The delayed task report may close or replace the connection from the timer's thread while the loop waits.
TEST_F(MainLoopTest, AConnectionClosedDuringTheWaitIsNotServed) {
  g_server_Arg.fd = 210;
  ready = {210};
  while_waiting = [] { g_server_Arg.fd = -1; };
  MainLoop(kListening).turn();
  EXPECT_THAT(received_on, IsEmpty());
}

TEST_F(MainLoopTest, AConnectionReplacedDuringTheWaitIsServedOnlyOnceItIsReadableItself) {
  g_server_Arg.fd = 210;
  ready = {210};
  while_waiting = [] { g_server_Arg.fd = 211; };
  MainLoop(kListening).turn();
  EXPECT_THAT(received_on, IsEmpty());
}

// --- descriptors that no read set can hold ---------------------------------------------------------------------------

TEST_F(MainLoopTest, AListeningSocketTooLargeForAReadSetIsClosedWithAnErrorLineOnce) {
  MainLoop loop(FD_SETSIZE);
  const std::vector<std::string> lines = log_lines([&] {
    loop.turn();
    loop.turn();
  });
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0], "ERROR main descriptor " + std::to_string(FD_SETSIZE) + " too large for select");
  EXPECT_THAT(world().closed, Contains(FD_SETSIZE).Times(1));
  EXPECT_THAT(waits.at(0).watched, IsEmpty());
}

TEST_F(MainLoopTest, APlatformSocketTooLargeForAReadSetIsClosedWithAnErrorLine) {
  g_server_Arg.fd = FD_SETSIZE;
  const std::vector<std::string> lines = log_lines([] { MainLoop(kListening).turn(); });
  EXPECT_EQ(lines.at(0), "ERROR main descriptor " + std::to_string(FD_SETSIZE) + " too large for select");
  EXPECT_THAT(world().closed, Contains(FD_SETSIZE).Times(1));
  EXPECT_EQ(g_server_Arg.fd, -1);
  EXPECT_THAT(waits.at(0).watched, ElementsAre(kListening));
  EXPECT_EQ(waits.at(0).nfds, kListening + 1);
}

TEST_F(MainLoopTest, TheLargestDescriptorAReadSetHoldsIsWatched) {
  g_server_Arg.fd = FD_SETSIZE - 1;
  MainLoop(kListening).turn();
  EXPECT_THAT(waits.at(0).watched, ElementsAre(kListening, FD_SETSIZE - 1));
  EXPECT_EQ(waits.at(0).nfds, FD_SETSIZE);
  EXPECT_THAT(world().closed, Not(Contains(FD_SETSIZE - 1)));
}
