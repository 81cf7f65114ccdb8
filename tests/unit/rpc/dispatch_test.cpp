// The table of the platform's messages, what its answers change, and the key file.
#include <sys/stat.h>

#include <cstring>

#include "agent/base/counters.h"
#include "agent/link/object_path.h"
#include "agent/rpc/dispatch_steps.h"
#include "agent/rpc/get_steps.h"
#include "agent/rpc/key_file.h"
#include "agent/tasks/back_off.h"
#include "agent/tasks/schedule.h"
#include "agent/tasks/task.h"
#include "tests/unit/timer/timer_service.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kKeyFile[] = "/usr/osgi/nuvekKeyInfo";
constexpr int32_t kSpeedId = 12345678;
constexpr int32_t kTraceId = 87654321;

RecvData record_of(const char* method, int32_t id, int32_t code, const char* reg_id = "") {
  RecvData record{};
  strcpy(record.RPCMethod, method);
  strcpy(record.RegID, reg_id);
  record.ID = id;
  record.Code = code;
  return record;
}

GisInfo block_of(const std::string& letter) {
  GisInfo block{};
  strcpy(block.Long, (letter + "-long").c_str());
  strcpy(block.Lat, (letter + "-lat").c_str());
  strcpy(block.Altitudes, (letter + "-alt").c_str());
  strcpy(block.HorizontalError, (letter + "-herr").c_str());
  strcpy(block.VerticalError, (letter + "-verr").c_str());
  strcpy(block.GISInterface, "record");
  strcpy(block.AreaCode, (letter + "-area").c_str());
  strcpy(block.GISLockTime, (letter + "-time").c_str());
  strcpy(block.GISDigest, (letter + "-digest").c_str());
  return block;
}

class Dispatch : public AgentTest {
 protected:
  Dispatch() {
    strcpy(g_devinfo.UUID, "the-uuid");
    g_devinfo.reportInfo.GISInfoA = block_of("a");
    g_devinfo.reportInfo.GISInfoB = block_of("b");
  }
  static int handle(const RecvData& record) { return nuvek_handle_message(&g_devinfo, &g_server_Arg, &record); }
  static int inform_response(int32_t code, const char* reg_id = "reg-1") {
    const RecvData record = record_of("Inform0Response", 1, code, reg_id);
    return nuvek_RPCInform0Res_process(&g_server_Arg, &g_devinfo, &record);
  }
  static std::string key_file() { return world().read_file(kKeyFile).value_or("no file"); }
};

// With both tests started, triggered and reported.
class ResultResponse : public AgentTest {
 protected:
  ResultResponse() {
    nuvekTask.speedTrigger = 1;
    nuvekTask.traceTrigger = 1;
    nuvekTask.speedState = kTaskStarted;
    nuvekTask.traceState = kTaskStarted;
    nuvek_set_ObjPathId("NUVEK.SiteSpeed", kSpeedId);
    nuvek_set_ObjPathId("NUVEK.TraceRoute", kTraceId);
    for (ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) {
      if (entry->id == 0) entry->id = 1;  // so that identifier 0 stands for nothing
    }
    nuvek_set_delaySessionTime(0);
  }
  static void respond(int32_t id, int32_t code) {
    const RecvData record = record_of("ResultResponse", id, code);
    EXPECT_EQ(nuvek_RPCResultRes_process(&g_server_Arg, &g_devinfo, &record), 0);
  }
  static void expect_speed_running() {
    EXPECT_EQ(nuvekTask.speedTrigger, 1);
    EXPECT_EQ(nuvekTask.speedState, kTaskStarted);
  }
  static void expect_speed_ended() {
    EXPECT_EQ(nuvekTask.speedTrigger, 0);
    EXPECT_EQ(nuvekTask.speedState, 3);
  }
  static void expect_trace_running() {
    EXPECT_EQ(nuvekTask.traceTrigger, 1);
    EXPECT_EQ(nuvekTask.traceState, kTaskStarted);
  }
  static void expect_trace_ended() {
    EXPECT_EQ(nuvekTask.traceTrigger, 0);
    EXPECT_EQ(nuvekTask.traceState, 3);
  }
};

class BackOff : public ResultResponse {
 protected:
  TimerService service_;
};

}  // namespace

// --- the table -------------------------------------------------------------------------------------------------------

TEST_F(Dispatch, TheTableListsThreeMethodsInOrder) {
  EXPECT_STREQ(nuvek_RPCTable[0].method, "Get");
  EXPECT_EQ(nuvek_RPCTable[0].handler, nuvek_RPCGet_process);
  EXPECT_STREQ(nuvek_RPCTable[1].method, "Inform0Response");
  EXPECT_EQ(nuvek_RPCTable[1].handler, nuvek_RPCInform0Res_process);
  EXPECT_STREQ(nuvek_RPCTable[2].method, "ResultResponse");
  EXPECT_EQ(nuvek_RPCTable[2].handler, nuvek_RPCResultRes_process);
  EXPECT_EQ(nuvek_RPCTable[3].method, nullptr);
}

TEST_F(Dispatch, AMessageIsLoggedAndAnUnknownMethodIgnoredWithoutALine) {
  RecvData record = record_of("Reboot", 7, -3, "r1");
  strcpy(record.ObjectPath, "NUVEK.Counter");
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(handle(record), 0); }),
              ElementsAre("DEBUG nuvek_handle_message Enter", "DEBUG nuvek_handle_message recvdata->RPCMethod:Reboot",
                          "DEBUG nuvek_handle_message recvdata->ObjectPath:NUVEK.Counter",
                          "DEBUG nuvek_handle_message recvdata->RegID:r1", "DEBUG nuvek_handle_message recvdata->ID:7",
                          "DEBUG nuvek_handle_message recvdata->Code:-3"));
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(Dispatch, AMethodIsComparedExactly) {
  for (const char* method : {"", "get", "Get ", "GetResponse", "inform0response", "ResultResponse2"}) {
    EXPECT_EQ(handle(record_of(method, 1, -3, "r1")), 0);
  }
  EXPECT_THAT(world().calls(), IsEmpty());
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
}

TEST_F(Dispatch, EachMethodLeadsToItsHandler) {
  EXPECT_THAT(log_lines([] { handle(record_of("Inform0Response", 1, 0)); }),
              Contains("DEBUG nuvek_RPCInform0Res_process Enter"));
  EXPECT_THAT(log_lines([] { handle(record_of("ResultResponse", 1, 0)); }),
              Contains("DEBUG nuvek_RPCResultRes_process Enter"));
  EXPECT_THAT(log_lines([] { handle(record_of("Get", 1, 0)); }), Contains("ERROR nuvek_sendPostRequest fd error"))
      << "a Get is answered, here without a connection";
}

TEST_F(Dispatch, TheResultOfAHandlerIsNotPassedOn) { EXPECT_EQ(handle(record_of("Get", 1, 0)), 0); }

// --- the answer to a registration ------------------------------------------------------------------------------------

TEST_F(Dispatch, AnAnswerWithoutARegistrationIdentifierIsIgnored) {
  strcpy(g_devinfo.RegID, "old");
  strcpy(g_devinfo.reportInfo.GISInterface, "A");
  EXPECT_THAT(log_lines([] { EXPECT_EQ(inform_response(0, ""), 0); }),
              ElementsAre("DEBUG nuvek_RPCInform0Res_process Enter"));
  EXPECT_THAT(world().calls(), IsEmpty());
  EXPECT_EQ(key_file(), "no file");
  EXPECT_STREQ(g_devinfo.RegID, "old");
  EXPECT_EQ(nuvekTask.speedTrigger, 0);
}

TEST_F(Dispatch, ASuccessForBlockAIsKeptInTheStoreInOrder) {
  strcpy(g_devinfo.reportInfo.GISInterface, "A");
  EXPECT_THAT(log_lines([] { EXPECT_EQ(inform_response(0), 0); }),
              ElementsAre("DEBUG nuvek_RPCInform0Res_process Enter",
                          "DEBUG nuvek_RPCInform0Res_process report inform success"));
  EXPECT_THAT(world().calls(),
              ElementsAre("set nuvek_Entry0 alreadyReport=1", "commit nuvek_Entry0", "save",
                          "set nuvek_Common RegId=reg-1", "set nuvek_Common ReportStatus=0", "commit nuvek_Common",
                          "save", "get nuvek_Entry0 GISInterface", "get nuvek_Entry1 GISInterface"));
  EXPECT_STREQ(g_devinfo.RegID, "reg-1");
  EXPECT_EQ(nuvekReport.aReported, 1);
  EXPECT_EQ(nuvekReport.bReported, 0);
  EXPECT_EQ(nuvekReport.lastBlock, 0);
  EXPECT_EQ(nuvekTask.speedTrigger, 1);
  EXPECT_EQ(nuvekTask.traceTrigger, 1);
}

TEST_F(Dispatch, AnyLetterButAMarksBlockB) {
  for (const char* letter : {"B", "a", "AB", "1"}) {
    nuvekReport = {};
    world().forget_calls();
    memset(g_devinfo.reportInfo.GISInterface, 0, sizeof g_devinfo.reportInfo.GISInterface);
    strcpy(g_devinfo.reportInfo.GISInterface, letter);
    EXPECT_EQ(inform_response(0), 0);
    EXPECT_EQ(nuvekReport.aReported, 0) << letter;
    EXPECT_EQ(nuvekReport.bReported, 1) << letter;
    EXPECT_EQ(nuvekReport.lastBlock, 1) << letter;
    EXPECT_THAT(world().writes(), Contains("set nuvek_Entry1 alreadyReport=1"));
  }
}

TEST_F(Dispatch, WithoutALetterNoBlockIsMarked) {
  EXPECT_EQ(inform_response(0), 0);
  EXPECT_THAT(world().writes(), ElementsAre("set nuvek_Common RegId=reg-1", "set nuvek_Common ReportStatus=0",
                                            "commit nuvek_Common", "save"));
  EXPECT_EQ(nuvekReport.aReported, 0);
  EXPECT_EQ(nuvekReport.bReported, 0);
  EXPECT_EQ(nuvekTask.speedTrigger, 0);
}

TEST_F(Dispatch, AFailureMarksNoBlockButKeepsTheRegistrationIdentifier) {
  const struct {
    int32_t code;
    const char* line;
  } rows[] = {
      {-1, "ERROR nuvek_RPCInform0Res_process String format error"},
      {-2, "ERROR nuvek_RPCInform0Res_process String format error"},
      {-3, "ERROR nuvek_RPCInform0Res_process server return error"},
      {-4, "ERROR nuvek_RPCInform0Res_process server return error"},
  };
  strcpy(g_devinfo.reportInfo.GISInterface, "A");
  for (const auto& row : rows) {
    world().forget_calls();
    EXPECT_THAT(log_lines([&] { EXPECT_EQ(inform_response(row.code), 0); }),
                ElementsAre("DEBUG nuvek_RPCInform0Res_process Enter", row.line));
    EXPECT_THAT(world().writes(),
                ElementsAre("set nuvek_Common RegId=reg-1", "set nuvek_Common ReportStatus=" + std::to_string(row.code),
                            "commit nuvek_Common", "save"));
    EXPECT_STREQ(g_devinfo.RegID, "reg-1");
  }
  EXPECT_EQ(nuvekReport.aReported, 0);
}

TEST_F(Dispatch, AnyOtherCodeIsKeptWithoutALine) {
  for (const int32_t code : {1, -5, 200, INT32_MIN}) {
    EXPECT_THAT(log_lines([&] { EXPECT_EQ(inform_response(code), 0); }),
                ElementsAre("DEBUG nuvek_RPCInform0Res_process Enter"));
    EXPECT_EQ(world().get("nuvek_Common", "ReportStatus"), std::to_string(code));
  }
}

TEST_F(Dispatch, ALongRegistrationIdentifierIsCutInTheRecordOnly) {
  const std::string reg_id(127, 'r');
  EXPECT_EQ(inform_response(1, reg_id.c_str()), 0);
  EXPECT_EQ(g_devinfo.RegID, std::string(95, 'r'));
  EXPECT_STREQ(g_devinfo.UUID, "the-uuid");
  EXPECT_EQ(world().get("nuvek_Common", "RegId"), reg_id);
  EXPECT_EQ(key_file(), "Node:Common\nUUID=the-uuid\nRegId=" + reg_id + "\n");
}

// --- the key file ----------------------------------------------------------------------------------------------------

TEST_F(Dispatch, TheKeyFileHasTheCommonPartAlone) {
  inform_response(0);
  EXPECT_EQ(key_file(), "Node:Common\nUUID=the-uuid\nRegId=reg-1\n");
}

TEST_F(Dispatch, TheKeyFileHasBlockA) {
  world().put("nuvek_Entry0", "GISInterface", "A");
  inform_response(-3);
  EXPECT_EQ(key_file(),
            "Node:Entry0\nLong=a-long\nLat=a-lat\nAltitudes=a-alt\nHorizontalError=a-herr\nVerticalError=a-verr\n"
            "AreaCode=a-area\nGISLockTime=a-time\nGISDigest=a-digest\nGISInterface=A\n"
            "Node:Common\nUUID=the-uuid\nRegId=reg-1\n");
}

TEST_F(Dispatch, TheKeyFileHasBlockB) {
  world().put("nuvek_Entry1", "GISInterface", "B");
  inform_response(0);
  EXPECT_EQ(key_file(),
            "Node:Entry1\nLong=b-long\nLat=b-lat\nAltitudes=b-alt\nHorizontalError=b-herr\nVerticalError=b-verr\n"
            "AreaCode=b-area\nGISLockTime=b-time\nGISDigest=b-digest\nGISInterface=B\n"
            "Node:Common\nUUID=the-uuid\nRegId=reg-1\n");
}

TEST_F(Dispatch, TheKeyFileHasBothBlocks) {
  world().put("nuvek_Entry0", "GISInterface", "A");
  world().put("nuvek_Entry1", "GISInterface", "B");
  inform_response(0);
  EXPECT_EQ(key_file(),
            "Node:Entry0\nLong=a-long\nLat=a-lat\nAltitudes=a-alt\nHorizontalError=a-herr\nVerticalError=a-verr\n"
            "AreaCode=a-area\nGISLockTime=a-time\nGISDigest=a-digest\nGISInterface=A\n"
            "Node:Entry1\nLong=b-long\nLat=b-lat\nAltitudes=b-alt\nHorizontalError=b-herr\nVerticalError=b-verr\n"
            "AreaCode=b-area\nGISLockTime=b-time\nGISDigest=b-digest\nGISInterface=B\n"
            "Node:Common\nUUID=the-uuid\nRegId=reg-1\n");
}

TEST_F(Dispatch, ABlockWhoseLetterIsNotExactlyItsOwnIsLeftOut) {
  for (const char* letter : {"AB", "a", " A", "B", ""}) {
    world().put("nuvek_Entry0", "GISInterface", letter);
    world().put("nuvek_Entry1", "GISInterface", std::string(letter) == "B" ? "A" : letter);
    inform_response(0);
    EXPECT_EQ(key_file(), "Node:Common\nUUID=the-uuid\nRegId=reg-1\n") << letter;
  }
}

TEST_F(Dispatch, TheKeyFileIsWrittenAnewEachTime) {
  world().write_file(kKeyFile, std::string(5000, 'x'));
  inform_response(0, "reg-2");
  EXPECT_EQ(key_file(), "Node:Common\nUUID=the-uuid\nRegId=reg-2\n");
}

TEST_F(Dispatch, EmptyLocationValuesStayEmptyInTheKeyFile) {
  g_devinfo.reportInfo.GISInfoA = {};
  world().put("nuvek_Entry0", "GISInterface", "A");
  inform_response(0);
  EXPECT_EQ(key_file(),
            "Node:Entry0\nLong=\nLat=\nAltitudes=\nHorizontalError=\nVerticalError=\nAreaCode=\nGISLockTime=\n"
            "GISDigest=\nGISInterface=A\nNode:Common\nUUID=the-uuid\nRegId=reg-1\n");
}

TEST_F(Dispatch, TheLongestTextsFitTheKeyFile) {
  for (GisInfo* block : {&g_devinfo.reportInfo.GISInfoA, &g_devinfo.reportInfo.GISInfoB}) {
    for (char* field : {block->Long, block->Lat, block->Altitudes, block->HorizontalError, block->VerticalError}) {
      memset(field, '1', 31);
      field[31] = '\0';
    }
    memset(block->AreaCode, '2', 15);
    memset(block->GISLockTime, '3', 15);
    memset(block->GISDigest, '4', 63);
  }
  memset(g_devinfo.UUID, '5', 63);
  world().put("nuvek_Entry0", "GISInterface", "A");
  world().put("nuvek_Entry1", "GISInterface", "B");
  const std::string reg_id(127, 'r');
  inform_response(0, reg_id.c_str());
  const std::string text = key_file();
  EXPECT_EQ(text.size(), 2 * (std::string("Node:Entry0\nLong=\nLat=\nAltitudes=\nHorizontalError=\nVerticalError=\n"
                                          "AreaCode=\nGISLockTime=\nGISDigest=\nGISInterface=A\n")
                                  .size() +
                              5 * 31 + 2 * 15 + 63) +
                             std::string("Node:Common\nUUID=\nRegId=\n").size() + 63 + 127);
  EXPECT_EQ(text.substr(text.size() - 128), reg_id + "\n");
}

TEST_F(Dispatch, AKeyFileThatCannotBeOpenedIsAnErrorAndTheStoreHasTheRegistrationAllTheSame) {
  ASSERT_EQ(mkdir((world().root + kKeyFile).c_str(), 0755), 0);  // a folder cannot be opened for writing, even by root
  EXPECT_THAT(
      log_lines([] { EXPECT_EQ(inform_response(-3), 0); }),
      ElementsAre("DEBUG nuvek_RPCInform0Res_process Enter", "ERROR nuvek_RPCInform0Res_process server return error",
                  "ERROR nuvek_save_keys can't open " + world().root + kKeyFile, ""));
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Common RegId=reg-1", "set nuvek_Common ReportStatus=-3",
                                           "commit nuvek_Common", "save"))
      << "the letters are read only for a file that is open";
  EXPECT_STREQ(g_devinfo.RegID, "reg-1");
}

// --- the answer to a measurement result ------------------------------------------------------------------------------

TEST_F(ResultResponse, AnUnknownIdentifierChangesOnlyTheLastCodeAndTheCounters) {
  EXPECT_THAT(log_lines([] { respond(99, -3); }), ElementsAre("DEBUG nuvek_RPCResultRes_process Enter"));
  EXPECT_EQ(nuvek_get_RPCResultRes(), -3);
  EXPECT_EQ(g_CntNum.FailResult, 1U);
  EXPECT_EQ(g_CntNum.SuccessResult, 0U);
  expect_speed_running();
  expect_trace_running();
  EXPECT_EQ(g_resultRetryCount, 0);
  EXPECT_EQ(g_resultTimerId, 0);
  EXPECT_EQ(nuvek_get_delaySessionTime(), 5);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Counter FailResult=1"));
}

TEST_F(ResultResponse, ASuccessOfTheSpeedTestEndsItAndResetsTheDelay) {
  nuvek_set_delaySessionTime(4);
  g_resultRetryCount = 4;
  nuvek_set_RPCResultRes(-3);
  respond(kSpeedId, 0);
  expect_speed_ended();
  expect_trace_running();
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  EXPECT_EQ(nuvek_get_delaySessionTime(), 5);
  EXPECT_EQ(g_resultRetryCount, 4);
  EXPECT_EQ(g_CntNum.SuccessResult, 1U);
  EXPECT_EQ(g_CntNum.FailResult, 0U);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Counter SuccessResult=1"));
}

TEST_F(ResultResponse, AnAnswerToTheTraceRouteEndsItWithoutABackOff) {
  for (const int32_t code : {0, -3, -2}) {
    nuvekTask.traceTrigger = 1;
    nuvekTask.traceState = kTaskStarted;
    nuvek_set_delaySessionTime(3);
    respond(kTraceId, code);
    expect_trace_ended();
    expect_speed_running();
    EXPECT_EQ(nuvek_get_RPCResultRes(), code);
    EXPECT_EQ(nuvek_get_delaySessionTime(), 40);
  }
  EXPECT_EQ(g_resultRetryCount, 0);
  EXPECT_EQ(g_resultTimerId, 0);
  EXPECT_EQ(g_CntNum.FailResult, 2U);
  EXPECT_EQ(g_CntNum.SuccessResult, 1U);
}

TEST_F(ResultResponse, AnotherFailureOfTheSpeedTestEndsItWithoutABackOff) {
  nuvek_set_delaySessionTime(2);
  for (const int32_t code : {-1, -4, 1}) respond(kSpeedId, code);
  expect_speed_ended();
  EXPECT_EQ(nuvek_get_delaySessionTime(), 20);
  EXPECT_EQ(g_resultRetryCount, 0);
  EXPECT_EQ(g_resultTimerId, 0);
  EXPECT_EQ(nuvek_get_RPCResultRes(), 1);
  EXPECT_EQ(g_CntNum.FailResult, 3U);
}

TEST_F(ResultResponse, AnAnswerForAnotherPathEndsNoTest) {
  nuvek_set_ObjPathId("NUVEK.Counter", 55);
  respond(55, -3);
  expect_speed_running();
  expect_trace_running();
  EXPECT_EQ(g_resultRetryCount, 0);
}

TEST_F(ResultResponse, OfTwoReportsWithTheSameIdentifierTheTraceRouteIsEnded) {
  nuvek_set_ObjPathId("NUVEK.TraceRoute", kSpeedId);
  respond(kSpeedId, 0);
  expect_trace_ended();
  expect_speed_running();
}

TEST_F(ResultResponse, IdentifierZeroEndsTheLastTestThatWasNeverReported) {
  nuvek_set_ObjPathId("NUVEK.TraceRoute", 0);
  respond(0, -3);
  expect_trace_ended();
  expect_speed_running();
  nuvek_set_ObjPathId("NUVEK.TraceRoute", kTraceId);
  nuvek_set_ObjPathId("NUVEK.SiteSpeed", 0);
  respond(0, 0);
  expect_speed_ended();
}

TEST_F(ResultResponse, WithoutATimerServiceTheBackOffHasNoTimer) {
  EXPECT_THAT(log_lines([] { respond(kSpeedId, -3); }),
              ElementsAre("DEBUG nuvek_RPCResultRes_process Enter",
                          "DEBUG nuvek_set_delaySessionTime n :1, delay session time:10",
                          "DEBUG AddTimer AddTimer: Timer don not inited"));
  EXPECT_EQ(g_resultTimerId, -1);
  expect_speed_ended();
}

// --- the back-off ----------------------------------------------------------------------------------------------------

TEST_F(BackOff, AnOverloadedPlatformGetsTheSpeedReportAgainAfterTenSeconds) {
  for (const int32_t code : {-3, -2}) {
    g_resultRetryCount = 0;
    nuvek_set_selectTimeout(30);
    EXPECT_THAT(log_lines([code] { respond(kSpeedId, code); }),
                ElementsAre("DEBUG nuvek_RPCResultRes_process Enter",
                            "DEBUG nuvek_set_delaySessionTime n :1, delay session time:10"));
    expect_speed_ended();
    EXPECT_EQ(g_selectTimeoutSec, 1);
    EXPECT_EQ(g_resultRetryCount, 1);
    EXPECT_EQ(nuvek_get_delaySessionTime(), 10);
    EXPECT_EQ(g_resultTimerId, 1);
    const TimerNode* timer = g_timerList.head;
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(timer->expire_sec, 1700000010);
    EXPECT_EQ(timer->expire_usec, 0);
    EXPECT_EQ(timer->interval, 10000U);
    EXPECT_EQ(timer->callback, nuvek_timer_task_report);
    EXPECT_EQ(timer->arg, nullptr);
    EXPECT_EQ(timer->periodic, 0);
    EXPECT_STREQ(timer->name, "");
    EXPECT_EQ(timer->timer_id, 1);
    EXPECT_EQ(RemoveTimer(g_resultTimerId), 1);
  }
  EXPECT_EQ(g_CntNum.FailResult, 2U);
}

TEST_F(BackOff, TheDelayDoublesWithEachAnswerUpToFiveThousandOneHundredTwentySeconds) {
  const int32_t delays[] = {10, 20, 40, 80, 160, 320, 640, 1280, 2560, 5120, 5120, 5120};
  int32_t answers = 0;
  for (const int32_t delay : delays) {
    respond(kSpeedId, answers % 2 == 0 ? -3 : -2);
    EXPECT_EQ(nuvek_get_delaySessionTime(), delay);
    EXPECT_EQ(g_resultRetryCount, ++answers);
    EXPECT_EQ(g_resultTimerId, answers);
  }
  EXPECT_EQ(g_timerList.timer_num, 12);
}

TEST_F(BackOff, ASuccessResetsTheDelayButNotTheRetryCount) {
  respond(kSpeedId, -3);
  respond(kSpeedId, -3);
  respond(kSpeedId, 0);
  EXPECT_EQ(nuvek_get_delaySessionTime(), 5);
  EXPECT_EQ(g_resultRetryCount, 2);
  respond(kSpeedId, -3);
  EXPECT_EQ(nuvek_get_delaySessionTime(), 40);
}

TEST_F(BackOff, ASuccessLeavesTheTimerToTheMainLoop) {
  respond(kSpeedId, -3);
  respond(kSpeedId, 0);
  EXPECT_EQ(g_resultTimerId, 1);
  EXPECT_EQ(g_timerList.timer_num, 1);
}

TEST_F(BackOff, TheTimerRunsTheTaskReportOnce) {
  world().on_connect = [](int, const sockaddr*) {
    errno = ECONNREFUSED;
    return -1;
  };
  respond(kSpeedId, -3);
  nuvekTask.traceState = kTaskIdle;
  world().forget_calls();
  world().advance(10);
  stderr_of([this] { service_.tick(3); });
  EXPECT_EQ(g_timerList.timer_num, 0);
  EXPECT_THAT(world().calls(), Contains("get nuvek_Server PlatDomain1").Times(1))
      << "the report, and with it one try to connect";
}
