// Adding, removing and identifying timers, and how a step of the clock moves them. The timer thread sleeps meanwhile.
#include "agent/timer/timer_steps.h"
#include "tests/unit/timer/timer_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

int nothing(void*) { return 0; }

int add(uint32_t interval_ms, int32_t periodic = 0) {
  return AddTimer(nullptr, interval_ms, nothing, nullptr, periodic);
}

std::vector<int> listed_ids() {
  std::vector<int> ids;
  for (const TimerNode* timer = g_timerList.head; timer != nullptr; timer = timer->next) ids.push_back(timer->timer_id);
  return ids;
}

std::vector<int> marks() { return {std::begin(g_timerList.id_used), std::end(g_timerList.id_used)}; }

bool lock_is_held() {
  if (pthread_mutex_trylock(timer_lock()) != 0) return true;
  pthread_mutex_unlock(timer_lock());
  return false;
}

using NoTimerService = AgentTest;

class Timer : public AgentTest {
 protected:
  TimerService service_;
};

}  // namespace

// --- before the start ------------------------------------------------------------------------------------------------

TEST_F(NoTimerService, AddingFails) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer("a", 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer AddTimer: Timer don not inited"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer("a", 0, 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddDelayTimer AddTimer: Timer don not inited"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer_tmp("a", 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer_tmp AddTimer: Timer don not inited"));
}

TEST_F(NoTimerService, TheMissingStartIsNoticedAheadOfAnyOtherFault) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer(nullptr, 0, nullptr, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer AddTimer: Timer don not inited"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(0), -1); }),
              ElementsAre("DEBUG RemoveTimer AddTimer: Timer don not inited"));
}

TEST_F(NoTimerService, RemovingFailsWithTheTextOfAdding) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(1), -1); }),
              ElementsAre("DEBUG RemoveTimer AddTimer: Timer don not inited"));
}

// --- start -----------------------------------------------------------------------------------------------------------

TEST_F(NoTimerService, TheStartEmptiesTheListAndCountsTheLockAsOneAllocation) {
  for (uint8_t& mark : g_timerList.id_used) mark = 1;
  g_timerList.timer_num = 3;
  const int32_t allocated = g_timerMallocCount;
  const int32_t freed = g_timerFreeCount;
  TimerService service;
  EXPECT_EQ(g_timerList.inited, 1);
  EXPECT_EQ(g_timerList.stop, 0);
  EXPECT_EQ(g_timerList.head, nullptr);
  EXPECT_EQ(g_timerList.timer_num, 0);
  EXPECT_EQ(marks(), std::vector<int>(16, 0));
  EXPECT_EQ(g_timerMallocCount, allocated + 1);
  EXPECT_EQ(g_timerFreeCount, freed);
}

TEST_F(Timer, ASecondStartIsRefusedAndChangesNothing) {
  add(1000);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(timer_init(), -1); }), ElementsAre("DEBUG timer_init Timer has been inited!"));
  EXPECT_THAT(listed_ids(), ElementsAre(1));
  EXPECT_EQ(g_timerList.inited, 1);
}

// --- adding ----------------------------------------------------------------------------------------------------------

TEST_F(Timer, AddingKeepsWhatItIsGiven) {
  int argument = 0;
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(AddTimer("report", 5250, nothing, &argument, 1), 1); }), IsEmpty());
  const TimerNode& timer = *g_timerList.head;
  EXPECT_EQ(timer.expire_sec, kNow_s + 5);
  EXPECT_EQ(timer.expire_usec, 250000);
  EXPECT_EQ(timer.callback, nothing);
  EXPECT_EQ(timer.arg, &argument);
  EXPECT_EQ(timer.interval, 5250U);
  EXPECT_EQ(timer.timer_id, 1);
  EXPECT_EQ(timer.periodic, 1);
  EXPECT_STREQ(timer.name, "report");
  EXPECT_EQ(timer.next, nullptr);
  EXPECT_EQ(g_timerList.timer_num, 1);
}

TEST_F(Timer, MicrosecondsAreNotCarriedIntoTheSeconds) {
  world().set_clock(kNow_s, 500000);
  add(999);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s);
  EXPECT_EQ(g_timerList.head->expire_usec, 1499000);
}

TEST_F(Timer, MicrosecondsReachOneMillionNineHundredNinetyEightThousandNineHundredNinetyNine) {
  world().set_clock(kNow_s, 999999);
  add(7999);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 7);
  EXPECT_EQ(g_timerList.head->expire_usec, 1998999);
}

TEST_F(Timer, TheLongestDelayIsAnUnsignedNumberOfMilliseconds) {
  add(UINT32_MAX);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 4294967);
  EXPECT_EQ(g_timerList.head->expire_usec, 295000);
}

TEST_F(Timer, AnExpiryBeyondTheLastSignedSecondComesLast) {
  world().set_clock(INT32_MAX);
  add(1000);
  EXPECT_EQ(g_timerList.head->expire_sec, INT32_MIN);
  world().set_clock(kNow_s);
  add(1000);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 1));
}

TEST_F(Timer, AnExpiryBeyondTheLastSecondWrapsAndComesFirst) {
  add(1000);
  world().set_clock(UINT32_MAX);
  add(1000);
  EXPECT_EQ(g_timerList.head->expire_sec, 0);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 1));
}

TEST_F(Timer, ANameIsCutToFifteenCharacters) {
  AddTimer("123456789012345678", 1000, nothing, nullptr, 0);
  EXPECT_STREQ(g_timerList.head->name, "123456789012345");
}

TEST_F(Timer, WithoutANameTheLabelIsEmpty) {
  add(1000);
  EXPECT_STREQ(g_timerList.head->name, "");
}

TEST_F(Timer, OnlyExactlyOneMeansPeriodic) {
  for (const int32_t periodic : {2, -1, 0, 1}) {
    const int id = add(1000, periodic);
    EXPECT_EQ(g_timerList.head->periodic, periodic == 1 ? 1 : 0) << periodic;
    RemoveTimer(id);
  }
}

TEST_F(Timer, TheListIsOrderedByExpiry) {
  add(3000);
  add(1000);
  add(2000);
  add(4000);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 3, 1, 4));
}

TEST_F(Timer, AmongEqualExpiriesTheNewestIsLast) {
  add(2000);
  add(1000);
  add(1000);
  add(2000);
  add(1000);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 3, 5, 1, 4));
}

TEST_F(Timer, WithinASecondMicrosecondsOrder) {
  add(1002);
  add(1001);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 1));
}

TEST_F(Timer, SecondsOrderAheadOfUncarriedMicroseconds) {
  world().set_clock(kNow_s, 999000);
  add(900);  // expires at 1.899 s after kNow_s, in the form second 0, microsecond 1,899,000
  add(1000);
  world().set_clock(kNow_s + 1, 0);
  add(100);  // at 1.1 s
  EXPECT_THAT(listed_ids(), ElementsAre(1, 3, 2));
}

TEST_F(Timer, IdentifiersAreTheLowestFreeOnes) {
  EXPECT_EQ(add(1000), 1);
  EXPECT_EQ(add(1000), 2);
  EXPECT_EQ(add(1000), 3);
  EXPECT_EQ(RemoveTimer(2), 2);
  EXPECT_EQ(add(1000), 2);
  EXPECT_EQ(add(1000), 4);
}

TEST_F(Timer, TheSeventeenthTimerIsRefused) {
  for (int id = 1; id <= 16; ++id) EXPECT_EQ(add(1000), id);
  const int32_t allocated = g_timerMallocCount;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(add(1000), -1); }), ElementsAre("DEBUG AddTimer AddTimer: failed!"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer(nullptr, 0, 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddDelayTimer AddTimer: failed!"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer_tmp(nullptr, 1000, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer_tmp AddTimer: failed!"));
  EXPECT_EQ(g_timerList.timer_num, 16);
  EXPECT_EQ(listed_ids().size(), 16U);
  EXPECT_EQ(g_timerMallocCount, allocated);
}

TEST_F(Timer, ATimerWithoutAPeriodIsRefused) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(add(0), -1); }), ElementsAre("DEBUG AddTimer AddTimer: failed!"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer(nullptr, 1000, 0, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddDelayTimer AddTimer: failed!"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer_tmp(nullptr, 0, nothing, nullptr, 0), -1); }),
              ElementsAre("DEBUG AddTimer_tmp AddTimer: failed!"));
  EXPECT_THAT(listed_ids(), IsEmpty());
}

TEST_F(Timer, ATimerWithoutACallbackIsRefused) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddTimer("a", 1000, nullptr, nullptr, 1), -1); }),
              ElementsAre("DEBUG AddTimer AddTimer: failed!"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer("a", 0, 1000, nullptr, nullptr, 1), -1); }),
              ElementsAre("DEBUG AddDelayTimer AddTimer: failed!"));
  EXPECT_THAT(listed_ids(), IsEmpty());
}

TEST_F(Timer, ARefusedAddTakesNoIdentifier) {
  add(0);
  EXPECT_EQ(add(1000), 1);
}

TEST_F(Timer, EveryAddCountsOneAllocation) {
  const int32_t allocated = g_timerMallocCount;
  add(1000);
  add(1000);
  EXPECT_EQ(g_timerMallocCount, allocated + 2);
}

// --- a first delay of its own ----------------------------------------------------------------------------------------

TEST_F(Timer, ADelayMayBeZeroAndIsLogged) {
  world().set_clock(kNow_s, 500000);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer("d", 0, 1000, nothing, nullptr, 0), 1); }),
              ElementsAre("DEBUG AddDelayTimer current tv_sec=1700000000,tv_usec=500000", "",
                          "DEBUG AddDelayTimer timer tv_sec=1700000000,tv_usec=500000", ""));
}

TEST_F(Timer, ADelayedTimerExpiresAfterTheDelayAndKeepsThePeriod) {
  world().set_clock(kNow_s, 500000);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(AddDelayTimer("d", 2999, 7000, nothing, nullptr, 1), 1); }),
              ElementsAre("DEBUG AddDelayTimer current tv_sec=1700000000,tv_usec=500000", "",
                          "DEBUG AddDelayTimer timer tv_sec=1700000002,tv_usec=1499000", "",
                          "DEBUG AddDelayTimer periodic timer"));
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 2);
  EXPECT_EQ(g_timerList.head->expire_usec, 1499000);
  EXPECT_EQ(g_timerList.head->interval, 7000U);
  EXPECT_EQ(g_timerList.head->periodic, 1);
  EXPECT_STREQ(g_timerList.head->name, "d");
}

// --- the lock --------------------------------------------------------------------------------------------------------

TEST_F(Timer, AddingHoldsTheLock) {
  std::vector<bool> held;
  world().on_gettimeofday = [&held] { held.push_back(lock_is_held()); };
  add(1000);
  AddDelayTimer(nullptr, 0, 1000, nothing, nullptr, 0);
  world().on_gettimeofday = nullptr;
  EXPECT_THAT(held, ElementsAre(true, true));
  EXPECT_FALSE(lock_is_held());
}

TEST_F(Timer, AddingForACallerThatHoldsTheLockTakesItNot) {
  pthread_mutex_lock(timer_lock());
  EXPECT_EQ(AddTimer_tmp("inner", 1500, nothing, nullptr, 1), 1);
  EXPECT_TRUE(lock_is_held());
  pthread_mutex_unlock(timer_lock());
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 1);
  EXPECT_EQ(g_timerList.head->expire_usec, 500000);
  EXPECT_EQ(g_timerList.head->interval, 1500U);
  EXPECT_EQ(g_timerList.head->periodic, 1);
}

TEST_F(Timer, EveryFailureGivesTheLockBack) {
  add(0);
  RemoveTimer(3);
  add(1000);
  RemoveTimer(3);
  RemoveTimer(-1);
  EXPECT_FALSE(lock_is_held());
}

// --- removing --------------------------------------------------------------------------------------------------------

TEST_F(Timer, RemovingReturnsTheIdentifierAndReleasesTheTimer) {
  add(1000);
  add(2000);
  const int32_t freed = g_timerFreeCount;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(1), 1); }), IsEmpty());
  EXPECT_THAT(listed_ids(), ElementsAre(2));
  EXPECT_EQ(g_timerList.timer_num, 1);
  EXPECT_EQ(g_timerList.id_used[0], 0);
  EXPECT_EQ(g_timerList.id_used[1], 1);
  EXPECT_EQ(g_timerFreeCount, freed + 1);
}

TEST_F(Timer, RemovingKeepsTheOrderOfTheOthers) {
  for (uint32_t k = 1; k <= 5; ++k) add(k * 1000);
  RemoveTimer(3);
  EXPECT_THAT(listed_ids(), ElementsAre(1, 2, 4, 5));
  RemoveTimer(5);
  EXPECT_THAT(listed_ids(), ElementsAre(1, 2, 4));
  RemoveTimer(1);
  EXPECT_THAT(listed_ids(), ElementsAre(2, 4));
}

TEST_F(Timer, IdentifiersBelowOneAreInvalid) {
  add(1000);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(0), -1); }),
              ElementsAre("DEBUG RemoveTimer RemoveTimer: timer_id:0 invalid!", ""));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(-5), -1); }),
              ElementsAre("DEBUG RemoveTimer RemoveTimer: timer_id:-5 invalid!", ""));
}

TEST_F(Timer, RemovingFromAnEmptyListFails) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(1), -1); }),
              ElementsAre("DEBUG RemoveTimer RemoveTimer: Failed! No Timer in list. timer_id:1 invalid!", ""));
}

TEST_F(Timer, RemovingAnIdentifierThatIsNotInTheListFailsWithTheSameText) {
  add(1000);
  for (const int id : {2, 16, 17, INT32_MAX}) {
    EXPECT_THAT(log_lines([id] { EXPECT_EQ(RemoveTimer(id), -1); }),
                ElementsAre("DEBUG RemoveTimer RemoveTimer: Failed! No Timer in list. timer_id:" + std::to_string(id) +
                                " invalid!",
                            ""));
  }
  EXPECT_THAT(listed_ids(), ElementsAre(1));
}

TEST_F(Timer, RemovingADuplicateIdentifierRemovesAllAndWarns) {
  for (int i = 0; i < 4; ++i) add(1000);
  g_timerList.id_used[1] = 0;  // as a fired timer 1 leaves it
  EXPECT_EQ(add(500), 2);
  g_timerList.id_used[1] = 0;
  EXPECT_EQ(add(5000), 2);
  const int32_t freed = g_timerFreeCount;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(2), 2); }),
              ElementsAre("DEBUG RemoveTimer Warn: Remove Timer number larger than 1, remove num is [3]", ""));
  EXPECT_THAT(listed_ids(), ElementsAre(1, 3, 4));
  EXPECT_EQ(g_timerList.timer_num, 3);
  EXPECT_EQ(g_timerFreeCount, freed + 3);
  EXPECT_EQ(g_timerList.id_used[1], 0);
}

// --- identifiers -----------------------------------------------------------------------------------------------------

TEST_F(Timer, FindingAnIdentifierTakesTheFirstClearMark) {
  g_timerList.id_used[0] = 1;
  g_timerList.id_used[2] = 1;
  EXPECT_EQ(findTimerID(), 1);
  EXPECT_EQ(findTimerID(), 3);
  EXPECT_EQ(g_timerList.id_used[1], 1);
  EXPECT_EQ(g_timerList.id_used[3], 1);
}

TEST_F(Timer, WithAllMarksTakenThereIsNoIdentifier) {
  for (int k = 0; k < 16; ++k) EXPECT_EQ(findTimerID(), k);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(findTimerID(), -1); }),
              ElementsAre("DEBUG findTimerID findTimerID: Failed to find Time ID for New Timer"));
}

TEST_F(Timer, WithAllMarksTakenATimerIsAddedWithIdentifierZeroWhichCannotBeRemoved) {
  for (uint8_t& mark : g_timerList.id_used) mark = 1;
  EXPECT_THAT(log_lines([] { EXPECT_EQ(add(1000), 0); }),
              ElementsAre("DEBUG findTimerID findTimerID: Failed to find Time ID for New Timer"));
  EXPECT_EQ(g_timerList.timer_num, 1);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(0), -1); }),
              ElementsAre("DEBUG RemoveTimer RemoveTimer: timer_id:0 invalid!", ""));
  EXPECT_THAT(listed_ids(), ElementsAre(0));
}

// --- steps of the clock ----------------------------------------------------------------------------------------------

TEST_F(Timer, AStepOfSixtySecondsMovesEveryTimerAndIsLogged) {
  add(1250);
  add(9000);
  EXPECT_THAT(
      log_lines([] { checkCPETimeChange(1700000060, 7, 1700000000, 999999); }),
      ElementsAre("DEBUG checkCPETimeChange checkCPETimeChange: CPE Time Modified!",
                  "DEBUG checkCPETimeChange checkCPETimeChange: Now tv_sec is [1700000060] u_sec is [7]", "",
                  "DEBUG checkCPETimeChange checkCPETimeChange: Last tv_sec is [1700000000] u_sec is [999999]", ""));
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 61);
  EXPECT_EQ(g_timerList.head->expire_usec, 250000);
  EXPECT_EQ(g_timerList.head->next->expire_sec, kNow_s + 69);
}

TEST_F(Timer, AStepBackMovesEveryTimerBack) {
  add(1000);
  add(2000);
  checkCPETimeChange(1000, 0, 1060, 0);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 1 - 60);
  EXPECT_EQ(g_timerList.head->next->expire_sec, kNow_s + 2 - 60);
}

TEST_F(Timer, AStepOfFiftyNineSecondsIsNone) {
  add(1000);
  EXPECT_THAT(log_lines([] {
                checkCPETimeChange(1059, 999999, 1000, 0);
                checkCPETimeChange(1000, 0, 1059, 999999);
              }),
              IsEmpty());
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 1);
}
