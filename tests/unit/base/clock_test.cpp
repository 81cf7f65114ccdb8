// The wall clock in 32 bits and the gate that opens once the clock can be trusted.
#include "agent/base/clock.h"

#include "tests/support/world.h"

namespace {

constexpr int64_t kEarliestTrusted_s = 1483200001;  // 2016-12-31 16:00:01 UTC

class ClockTest : public AgentTest {
 protected:
  static void mark_synchronised() { world().write_file("/tmp/timeSync", ""); }
};

}  // namespace

TEST_F(ClockTest, NowIsTheTimeOfDayInSecondsAndMicroseconds) {
  world().set_clock(1700000123, 456789);
  const ClockTime now = wall_clock::now();
  EXPECT_EQ(now.sec, 1700000123);
  EXPECT_EQ(now.usec, 456789);
}

TEST_F(ClockTest, TheLastSecondOfTheDevicesClockIsStillPositive) {
  world().set_clock(2147483647, 999999);
  EXPECT_EQ(wall_clock::now().sec, INT32_MAX);
  EXPECT_EQ(wall_clock::now().usec, 999999);
}

TEST_F(ClockTest, SecondsBeyondThirtyTwoBitsWrapAsOnTheDevice) {
  world().set_clock(2147483648);
  EXPECT_EQ(wall_clock::now().sec, INT32_MIN);
}

TEST_F(ClockTest, WithoutTheMarkerACorrectClockIsNotSynchronised) {
  world().set_clock(1700000000);
  EXPECT_EQ(nuvek_check_timeSync(), 0);
}

TEST_F(ClockTest, WithTheMarkerAndACorrectClockTheClockIsSynchronised) {
  mark_synchronised();
  world().set_clock(1700000000);
  EXPECT_EQ(nuvek_check_timeSync(), 1);
}

TEST_F(ClockTest, TheMarkerOnlyHasToExist) {
  world().write_file("/tmp/timeSync", "0");
  EXPECT_EQ(nuvek_check_timeSync(), 1);
}

TEST_F(ClockTest, TheGateStaysClosedThroughTheLastUntrustedSecond) {
  mark_synchronised();
  world().set_clock(kEarliestTrusted_s - 1, 0);
  EXPECT_EQ(nuvek_check_timeSync(), 0);
  world().set_clock(kEarliestTrusted_s - 1, 999999);
  EXPECT_EQ(nuvek_check_timeSync(), 0);
}

TEST_F(ClockTest, TheGateOpensOneSecondLater) {
  mark_synchronised();
  world().set_clock(kEarliestTrusted_s, 0);
  EXPECT_EQ(nuvek_check_timeSync(), 1);
}

TEST_F(ClockTest, TheGateIsOpenFromTheSecondThatEndsSignedTimeUntil2106) {
  mark_synchronised();
  for (const int64_t second : {2147483647LL, 2147483648LL, 2147483649LL, 3000000000LL, 4294967295LL}) {
    world().set_clock(second);
    EXPECT_EQ(nuvek_check_timeSync(), 1) << second;
  }
}

TEST_F(ClockTest, AClockBefore1970TellsNoTimeWhereItCanBeToldFromOnePast2038) {
  mark_synchronised();
  for (const int64_t second : {-1, -86400, -2147483647}) {
    world().set_clock(second);
    EXPECT_EQ(nuvek_check_timeSync(), sizeof(time_t) > sizeof(int32_t) ? 0 : 1) << second;
  }
}

TEST_F(ClockTest, InstantsAreInOrderAcrossTheEndOfSignedTime) {
  EXPECT_TRUE(wall_clock::is_before({INT32_MAX, 999999}, {INT32_MIN, 0}));
  EXPECT_FALSE(wall_clock::is_before({INT32_MIN, 0}, {INT32_MAX, 999999}));
  EXPECT_TRUE(wall_clock::is_before({INT32_MIN, 0}, {INT32_MIN, 1}));
  EXPECT_FALSE(wall_clock::is_before({INT32_MIN, 1}, {INT32_MIN, 1}));
  EXPECT_TRUE(wall_clock::is_before({0, 0}, {-1, 0}));
}

TEST_F(ClockTest, TheGateClosesAgainWhenTheMarkerGoes) {
  mark_synchronised();
  ASSERT_EQ(nuvek_check_timeSync(), 1);
  world().remove_file("/tmp/timeSync");
  EXPECT_EQ(nuvek_check_timeSync(), 0);
}

TEST_F(ClockTest, TheGateClosesAgainWhenTheClockFallsBack) {
  mark_synchronised();
  ASSERT_EQ(nuvek_check_timeSync(), 1);
  world().set_clock(0);
  EXPECT_EQ(nuvek_check_timeSync(), 0);
}

TEST_F(ClockTest, AskingForTheGateTouchesNeitherTheStoreNorTheClockRecords) {
  mark_synchronised();
  nuvek_check_timeSync();
  EXPECT_TRUE(world().calls().empty());
  EXPECT_EQ(curtime.sec, 0);
  EXPECT_EQ(curtime_his.sec, 0);
}
