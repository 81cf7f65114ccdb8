// What a ResultResponse leaves behind: back-off delay, select timeout, last code.
#include "agent/tasks/back_off.h"

#include "tests/unit/timer/timer_service.h"

namespace {

bool g_no_memory;  // calloc() has none to give

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using BackOffState = AgentTest;

int32_t delay_after(int32_t n) {
  nuvek_set_delaySessionTime(n);
  return nuvek_get_delaySessionTime();
}

}  // namespace

// The timer service's one allocation, in the test's hands.
extern "C" void* calloc_or_none(size_t count, size_t size);
void* calloc_or_none(size_t count, size_t size) { return g_no_memory ? nullptr : calloc(count, size); }

TEST_F(BackOffState, TheDelayDoublesFromTenSecondsToFiveThousandOneHundredTwenty) {
  const int32_t expected[] = {10, 20, 40, 80, 160, 320, 640, 1280, 2560, 5120};
  for (int32_t n = 1; n <= 10; ++n) EXPECT_EQ(delay_after(n), expected[n - 1]) << n;
  EXPECT_EQ(delay_after(11), 5120);
  EXPECT_EQ(delay_after(INT32_MAX), 5120);
}

TEST_F(BackOffState, TheDelayIsLogged) {
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(1); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :1, delay session time:10"));
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(10); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :10, delay session time:5120"));
}

TEST_F(BackOffState, MoreThanTenRetriesAreTakenAndLoggedAsTen) {
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(12); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :10, delay session time:5120"));
}

TEST_F(BackOffState, NoRetryGivesFiveSecondsWithoutALogLine) {
  nuvek_set_delaySessionTime(3);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(delay_after(0), 5); }), IsEmpty());
  EXPECT_EQ(nuvek_get_defaultDelay(), 5);
}

TEST_F(BackOffState, TheSelectTimeoutIsOneSecondUntilItIsSet) {
  timeval timeout{9, 9};
  nuvek_get_selectTimeout(&timeout);
  EXPECT_EQ(timeout.tv_sec, 1);
  EXPECT_EQ(timeout.tv_usec, 0);
  nuvek_set_selectTimeout(30);
  nuvek_get_selectTimeout(&timeout);
  EXPECT_EQ(timeout.tv_sec, 30);
  EXPECT_EQ(timeout.tv_usec, 0);
}

TEST_F(BackOffState, TheLastCodeIsKept) {
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  nuvek_set_RPCResultRes(-3);
  EXPECT_EQ(nuvek_get_RPCResultRes(), -3);
  EXPECT_EQ(g_RPCResultRes, -3);
}

// --- the delayed report's timer --------------------------------------------------------------------------------------

class BackOffTimer : public AgentTest {
 protected:
  static void answer(int32_t code) { back_off::result_came(task_of_kind(kSpeedTask), code); }
  static std::vector<std::string> turn() {
    return log_lines([] { back_off::tasks_may_run(); });
  }
  TimerService service_;
};

TEST_F(BackOffTimer, TheSeventeenthIsRefusedOnceAndNotAskedForAgain) {
  for (int k = 0; k < kMaxTimers; ++k) answer(-3);
  EXPECT_EQ(g_timerList.timer_num, kMaxTimers);
  EXPECT_THAT(log_lines([] { answer(-3); }), Contains("DEBUG AddTimer AddTimer: failed!").Times(1));
  EXPECT_EQ(g_resultTimerId, -1);
  EXPECT_EQ(RemoveTimer(1), 1);  // there would be room now
  for (int k = 0; k < 3; ++k) EXPECT_THAT(turn(), IsEmpty());
  EXPECT_EQ(g_timerList.timer_num, kMaxTimers - 1);
}

TEST_F(BackOffTimer, WithoutATimerServiceNoneIsAskedForAgain) {
  g_timerList.inited = 0;
  answer(-3);
  g_timerList.inited = 1;
  EXPECT_THAT(turn(), IsEmpty());
  EXPECT_EQ(g_timerList.timer_num, 0);
}

TEST_F(BackOffTimer, OneThatThereWasNoMemoryForIsAddedByALaterTurn) {
  g_no_memory = true;
  EXPECT_THAT(log_lines([] { answer(-3); }), Contains("DEBUG AddTimer AddTimer: No resource for timer add"));
  EXPECT_THAT(turn(), Contains("DEBUG AddTimer AddTimer: No resource for timer add")) << "still none";
  g_no_memory = false;
  EXPECT_THAT(turn(), IsEmpty());
  EXPECT_EQ(g_timerList.timer_num, 1);
  EXPECT_EQ(g_resultTimerId, 1);
  EXPECT_THAT(turn(), IsEmpty());
  EXPECT_EQ(g_timerList.timer_num, 1) << "added once";
}

TEST_F(BackOffTimer, AnAnswerAfterwardsMakesTheMissingOneForgotten) {
  g_no_memory = true;
  answer(-3);
  g_no_memory = false;
  answer(-1);
  EXPECT_THAT(turn(), IsEmpty());
  EXPECT_EQ(g_timerList.timer_num, 0);
}

TEST_F(BackOffTimer, ATaskThatDoesNotBackOffAndNobodysAnswerArmNothing) {
  back_off::result_came(task_of_kind(kTraceTask), -3);
  back_off::result_came(nullptr, -3);
  EXPECT_EQ(g_timerList.timer_num, 0);
  EXPECT_EQ(g_resultRetryCount, 0);
  EXPECT_FALSE(back_off::tasks_may_run());
}
