// What the timer thread does tick by tick: firing, re-arming, the clock's steps, and its end.
#include <atomic>

#include "agent/timer/timer_steps.h"
#include "tests/unit/timer/timer_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> g_fired;  // ordered by the gate
std::function<void()> g_action;

int note(void* number) {
  g_fired.push_back(*static_cast<int*>(number));
  return -1;  // of no meaning
}

int act(void*) {
  g_action();
  return 0;
}

class TimerThread : public AgentTest {
 protected:
  TimerThread() { g_fired.clear(); }

  // Adds a timer that notes `number` each time it fires.
  int add(int number, uint32_t interval_ms, int32_t periodic = 0) {
    return AddTimer(nullptr, interval_ms, note, &numbers_[number], periodic);
  }
  int add_acting(std::function<void()> action, uint32_t interval_ms, int32_t periodic = 0) {
    g_action = std::move(action);
    return AddTimer(nullptr, interval_ms, act, nullptr, periodic);
  }
  void tick(int count = 1) { service_.tick(count); }

  int numbers_[17] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  TimerService service_;
};

}  // namespace

// --- firing ----------------------------------------------------------------------------------------------------------

TEST_F(TimerThread, TheThreadLooksEveryHundredMilliseconds) {
  tick(2);
  EXPECT_THAT(service_.gate().sleeps(), ElementsAre(100000U, 100000U, 100000U));
}

TEST_F(TimerThread, ATimerFiresAtItsExpiryAndNoMicrosecondEarlier) {
  add(1, 1250);
  world().set_clock(kNow_s + 1, 249999);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().set_clock(kNow_s + 1, 250000);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, ATimerWithoutADelayFiresInTheNextTick) {
  AddDelayTimer(nullptr, 0, 1000, note, &numbers_[5], 0);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(5));
}

TEST_F(TimerThread, ATimerRunsAcrossTheEndOfSignedTime) {
  world().set_clock(INT32_MAX - 4);
  tick();
  add(1, 5000);
  for (const int64_t second : {2147483644LL, 2147483647LL}) {
    world().set_clock(second);
    tick();
    EXPECT_THAT(g_fired, IsEmpty()) << second;
  }
  world().set_clock(2147483648);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, ATimerThatEndsJustAheadOfTheEndOfSignedTimeFiresInTheTickBehindIt) {
  world().set_clock(INT32_MAX - 4);
  tick();
  add(1, 4900);
  world().set_clock(INT32_MAX, 850000);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().set_clock(2147483648, 50000);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, AClockThatIsSetFromBefore1970LeavesATimerItsTenSeconds) {
  world().set_clock(-100);
  tick();
  add(1, 10000);
  for (const int64_t second : {kNow_s, kNow_s + 9}) {
    world().set_clock(second);
    tick();
    EXPECT_THAT(g_fired, IsEmpty()) << second;
  }
  world().set_clock(kNow_s + 10);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, UncarriedMicrosecondsLetATimerFireHalfASecondEarly) {
  world().set_clock(kNow_s, 500000);
  add(1, 999);  // due at second 0, microsecond 1,499,000
  world().set_clock(kNow_s, 999999);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().set_clock(kNow_s + 1, 0);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, AOneShotTimerFiresOnceAndIsReleased) {
  add(1, 1000);
  const int32_t freed = g_timerFreeCount;
  world().advance(5);
  tick(3);
  EXPECT_THAT(g_fired, ElementsAre(1));
  EXPECT_EQ(g_timerList.head, nullptr);
  EXPECT_EQ(g_timerList.timer_num, 0);
  EXPECT_EQ(g_timerFreeCount, freed + 1);
}

TEST_F(TimerThread, OneTimerFiresInATickAndTheNextInTheNext) {
  add(3, 300);
  add(1, 100);
  add(2, 200);
  world().advance(10);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1, 2));
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1, 2, 3));
}

TEST_F(TimerThread, TimersWithEqualExpiryFireInTheOrderOfTheirAdding) {
  add(2, 1000);
  add(1, 1000);
  world().advance(1);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(2));
  tick();
  EXPECT_THAT(g_fired, ElementsAre(2, 1));
}

TEST_F(TimerThread, OnlyTheEarliestIsLookedAt) {
  add(1, 2000);
  add(2, 1000);
  g_timerList.head->expire_sec += 100;  // the list's order decides, even where it does not hold
  world().advance(5);
  tick(2);
  EXPECT_THAT(g_fired, IsEmpty());
}

TEST_F(TimerThread, ARemovedTimerDoesNotFire) {
  const int id = add(1, 1000);
  RemoveTimer(id);
  world().advance(5);
  tick(2);
  EXPECT_THAT(g_fired, IsEmpty());
}

// --- periodic timers -------------------------------------------------------------------------------------------------

TEST_F(TimerThread, APeriodicTimerFiresAgainAndKeepsItsIdentifier) {
  EXPECT_EQ(add(1, 1000, 1), 1);
  const int32_t freed = g_timerFreeCount;
  for (int i = 0; i < 3; ++i) {
    world().advance(1);
    tick(2);
  }
  EXPECT_THAT(g_fired, ElementsAre(1, 1, 1));
  EXPECT_EQ(g_timerList.timer_num, 1);
  EXPECT_EQ(g_timerList.head->timer_id, 1);
  EXPECT_EQ(g_timerList.id_used[0], 1);
  EXPECT_EQ(g_timerList.id_used[1], 0);
  EXPECT_EQ(g_timerFreeCount, freed);
  EXPECT_EQ(RemoveTimer(1), 1);
}

TEST_F(TimerThread, ThePeriodRunsFromTheEndOfTheFiring) {
  add_acting([] { world().advance(3, 700000); }, 2500, 1);
  world().advance(10);
  tick();
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 13 + 2);
  EXPECT_EQ(g_timerList.head->expire_usec, 700000 + 500000);
}

TEST_F(TimerThread, ARearmedTimerGoesBehindThoseOfTheSameExpiry) {
  add(1, 1000, 1);
  add(2, 2000);
  world().advance(1);
  tick();
  EXPECT_EQ(g_timerList.head->timer_id, 2);
  world().advance(1);
  tick(2);
  EXPECT_THAT(g_fired, ElementsAre(1, 2, 1));
}

TEST_F(TimerThread, ADelayedPeriodicTimerFiresAfterItsDelayAndThenEveryPeriod) {
  AddDelayTimer(nullptr, 5000, 1000, note, &numbers_[4], 1);
  world().advance(4);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().advance(1);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(4));
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 6);
}

// --- the mark of a fired one-shot timer ------------------------------------------------------------------------------

TEST_F(TimerThread, AFiredTimerKeepsItsMarkAndClearsTheNextOnesSoThatALiveIdentifierIsGivenOutAgain) {
  EXPECT_EQ(add(1, 1000), 1);
  EXPECT_EQ(add(2, 60000), 2);
  world().advance(1);
  tick();
  EXPECT_EQ(g_timerList.id_used[0], 1);
  EXPECT_EQ(g_timerList.id_used[1], 0);
  EXPECT_EQ(add(3, 50000), 2);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(2), 2); }),
              ElementsAre("DEBUG RemoveTimer Warn: Remove Timer number larger than 1, remove num is [2]", ""));
  EXPECT_EQ(g_timerList.head, nullptr);
}

TEST_F(TimerThread, OneShotTimersAfterOneAnotherWalkThroughTheIdentifiers) {
  for (int id = 1; id <= 16; ++id) {
    EXPECT_EQ(add(id, 1000), id);
    world().advance(1);
    tick();
  }
  EXPECT_EQ(add(0, 1000), 0) << "all marks are taken although no timer is left";
}

TEST_F(TimerThread, IdentifierSixteenIsOutOfRangeForItsMarkAndTheTimerEndsAllTheSame) {
  for (int id = 1; id <= 15; ++id) add(id, 60000);
  EXPECT_EQ(add(16, 1000), 16);
  world().advance(1);
  EXPECT_THAT(log_lines([this] { tick(); }),
              ElementsAre("DEBUG ThreadedTimerCheck Fatal ERROR: timer id not in range!"));
  EXPECT_THAT(g_fired, ElementsAre(16));
  EXPECT_EQ(g_timerList.timer_num, 15);
  for (const uint8_t mark : g_timerList.id_used) EXPECT_EQ(mark, 1);
}

TEST_F(TimerThread, WithFewerThanSixteenTimersButNoFreeMarkATimerGetsIdentifierZeroAndFires) {
  for (int id = 1; id <= 15; ++id) add(id, 60000);
  add(16, 1000);
  world().advance(1);
  tick();
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(add(0, 1000), 0); }),
              ElementsAre("DEBUG findTimerID findTimerID: Failed to find Time ID for New Timer"));
  EXPECT_EQ(g_timerList.timer_num, 16);
  EXPECT_EQ(RemoveTimer(0), -1);
  world().advance(1);
  EXPECT_THAT(log_lines([this] { tick(); }), IsEmpty());
  EXPECT_THAT(g_fired, ElementsAre(16, 0));
  EXPECT_EQ(g_timerList.id_used[0], 0) << "the mark one above identifier 0's is identifier 1's";
  EXPECT_EQ(add(2, 1000), 1);
}

TEST_F(TimerThread, APeriodicTimerWithIdentifierZeroNeverEnds) {
  for (uint8_t& mark : g_timerList.id_used) mark = 1;
  EXPECT_EQ(add(7, 1000, 1), 0);
  for (int i = 0; i < 2; ++i) {
    world().advance(1);
    tick();
    EXPECT_EQ(RemoveTimer(0), -1);
  }
  EXPECT_THAT(g_fired, ElementsAre(7, 7));
  EXPECT_EQ(g_timerList.timer_num, 1);
}

// --- steps of the clock ----------------------------------------------------------------------------------------------

TEST_F(TimerThread, AStepOfAnHourForwardLeavesATimerItsTenSeconds) {
  add(1, 10000);
  tick();
  world().advance(3600);
  EXPECT_THAT(log_lines([this] { tick(); }),
              ElementsAre("DEBUG checkCPETimeChange checkCPETimeChange: CPE Time Modified!",
                          "DEBUG checkCPETimeChange checkCPETimeChange: Now tv_sec is [1700003600] u_sec is [0]", "",
                          "DEBUG checkCPETimeChange checkCPETimeChange: Last tv_sec is [1700000000] u_sec is [0]", ""));
  world().advance(9, 999999);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().advance(0, 1);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, AStepOfAnHourBackLeavesATimerItsTenSeconds) {
  add(1, 10000);
  tick();
  world().advance(-3600);
  tick();
  world().advance(9);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  world().advance(1);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, AStepOfSixtySecondsIsMadeGoodAndDoesNotFireATimer) {
  add(1, 60000);
  tick();
  world().advance(60);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  ASSERT_NE(g_timerList.head, nullptr);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 120);
}

TEST_F(TimerThread, AStepOfFiftyNineSecondsIsNotMadeGood) {
  add(1, 59000);
  tick();
  world().advance(59);
  EXPECT_THAT(log_lines([this] { tick(); }), IsEmpty());
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, AStepBackOfFiftyNineSecondsIsNotMadeGood) {
  add(1, 1000);
  tick();
  world().advance(-59);
  tick();
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 1);
}

TEST_F(TimerThread, AStepIsMadeGoodOnce) {
  add(1, 10000);
  tick();
  world().advance(100);
  tick(3);
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 110);
}

TEST_F(TimerThread, AStepDuringATickWithoutTimersIsForgotten) {
  tick();
  world().advance(3600);
  EXPECT_THAT(log_lines([this] { tick(); }), IsEmpty());
  add(1, 10000);
  EXPECT_THAT(log_lines([this] { tick(); }), IsEmpty());
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 3610);
}

TEST_F(TimerThread, ATimerAddedBetweenTheStepAndTheNextTickIsMovedToo) {
  tick();
  world().advance(3600);
  add(1, 10000);
  tick();
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 3610 + 3600);
}

TEST_F(TimerThread, ACallbackOfSixtySecondsPostponesAllOthersByItsTime) {
  add_acting([] { world().advance(60); }, 1000);
  add(1, 2000);
  world().advance(1);
  tick();
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 2);
  tick();
  EXPECT_THAT(g_fired, IsEmpty());
  EXPECT_EQ(g_timerList.head->expire_sec, kNow_s + 62);
}

TEST_F(TimerThread, ACallbackOfFiftyNineSecondsPostponesNothing) {
  add_acting([] { world().advance(59); }, 1000);
  add(1, 2000);
  world().advance(1);
  tick(2);
  EXPECT_THAT(g_fired, ElementsAre(1));
}

// --- callbacks and the lock ------------------------------------------------------------------------------------------

TEST_F(TimerThread, ACallbackRunsWithTheLockHeldAndItsTimerOutOfTheList) {
  int trylock = 0;
  const TimerNode* head = nullptr;
  add_acting(
      [&] {
        trylock = pthread_mutex_trylock(timer_lock());
        head = g_timerList.head;
      },
      1000, 1);
  world().advance(1);
  tick();
  EXPECT_EQ(trylock, EBUSY);
  EXPECT_EQ(head, nullptr);
  EXPECT_NE(g_timerList.head, nullptr);
}

TEST_F(TimerThread, ACallbackAddsTimersThroughTheFormWithoutTheLock) {
  int id = 0;
  add_acting([&] { id = AddTimer_tmp("inner", 1000, note, &numbers_[9], 0); }, 1000);
  world().advance(1);
  tick();
  EXPECT_EQ(id, 2);
  world().advance(1);
  tick();
  EXPECT_THAT(g_fired, ElementsAre(9));
}

TEST_F(TimerThread, RemovingWaitsForARunningCallback) {
  std::mutex mutex;
  std::condition_variable changed;
  bool running = false;
  bool removing = false;
  bool removed = false;
  bool overtaken = false;
  const int victim = add(1, 60000);
  add_acting(
      [&] {
        std::unique_lock<std::mutex> lock(mutex);
        running = true;
        changed.notify_all();
        changed.wait_for(lock, kLongestWait, [&] { return removing; });
        overtaken = changed.wait_for(lock, std::chrono::milliseconds(200), [&] { return removed; });
      },
      1000);
  world().advance(1);
  service_.gate().begin_tick();
  {
    std::unique_lock<std::mutex> lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, kLongestWait, [&] { return running; })) << "the callback did not run";
    removing = true;
    changed.notify_all();
  }
  EXPECT_EQ(RemoveTimer(victim), victim);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    removed = true;
    changed.notify_all();
  }
  service_.gate().finish_tick();
  EXPECT_FALSE(overtaken);
}

// --- the end ---------------------------------------------------------------------------------------------------------

TEST_F(TimerThread, AfterAStopAddsAndRemovesFailAtOnce) {
  add(1, 60000);
  timer_stop();
  EXPECT_EQ(g_timerList.stop, 1);
  EXPECT_EQ(g_timerList.inited, 0);
  EXPECT_THAT(log_lines([this] { EXPECT_EQ(add(2, 1000), -1); }),
              ElementsAre("DEBUG AddTimer AddTimer: Timer don not inited"));
  EXPECT_THAT(log_lines([] { EXPECT_EQ(RemoveTimer(1), -1); }),
              ElementsAre("DEBUG RemoveTimer AddTimer: Timer don not inited"));
}

TEST_F(TimerThread, TheThreadEndsWithinOneTickAndReleasesTheLockAndAllTimers) {
  for (int number = 1; number <= 3; ++number) add(number, 60000, 1);
  const int32_t freed = g_timerFreeCount;
  EXPECT_THAT(log_lines([this] { service_.stop(); }), ElementsAre("DEBUG ThreadedTimerCheck Timer Thread Exit"));
  EXPECT_EQ(g_timerFreeCount, freed + 4);
  EXPECT_EQ(g_timerList.p_timer_mutex, nullptr);
  EXPECT_EQ(g_timerList.head, nullptr);
  EXPECT_EQ(service_.gate().sleeps().size(), 1U);
}

TEST_F(TimerThread, ATimerThatIsDueStillFiresInTheLastTick) {
  add(1, 1000);
  add(2, 1000);
  world().advance(1);
  service_.stop();
  EXPECT_THAT(g_fired, ElementsAre(1));
}

TEST_F(TimerThread, EveryAllocationIsReleasedOnce) {
  const int32_t live = g_timerMallocCount - g_timerFreeCount;  // the lock's
  EXPECT_EQ(live, 1);
  add(1, 1000);
  add(2, 1000, 1);
  add(3, 60000);
  RemoveTimer(3);
  world().advance(1);
  tick(2);
  service_.stop();
  EXPECT_EQ(g_timerMallocCount, g_timerFreeCount);
}
