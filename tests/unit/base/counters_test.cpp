// The six counters: loading, counting, the text in the store, and a save at every twentieth change.
#include "agent/base/counters.h"

#include <algorithm>
#include <thread>

#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class CountersTest : public AgentTest {
 protected:
  static std::vector<uint32_t> values() {
    return {g_CntNum.SuccessTask,   g_CntNum.FailTask,   g_CntNum.FailInform,
            g_CntNum.SuccessInform, g_CntNum.FailResult, g_CntNum.SuccessResult};
  }
  static void count(int times) {
    for (int i = 0; i < times; ++i) nuvek_save_Counter(kSuccessTask);
  }
  static long saves() {
    const std::vector<std::string> calls = world().calls();
    return std::count(calls.begin(), calls.end(), "save");
  }
};

}  // namespace

TEST_F(CountersTest, LoadingReadsTheSixAttributesInTableOrderAndWritesNothing) {
  nuvek_init_Counter();
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Counter SuccessTask", "get nuvek_Counter FailTask",
                                           "get nuvek_Counter FailInform", "get nuvek_Counter SuccessInform",
                                           "get nuvek_Counter FailResult", "get nuvek_Counter SuccessResult"));
}

TEST_F(CountersTest, LoadingSetsEachCounterFromItsOwnAttribute) {
  world().put("nuvek_Counter", "SuccessTask", "11");
  world().put("nuvek_Counter", "FailTask", "22");
  world().put("nuvek_Counter", "FailInform", "33");
  world().put("nuvek_Counter", "SuccessInform", "44");
  world().put("nuvek_Counter", "FailResult", "55");
  world().put("nuvek_Counter", "SuccessResult", "66");
  nuvek_init_Counter();
  EXPECT_THAT(values(), ElementsAre(11, 22, 33, 44, 55, 66));
}

TEST_F(CountersTest, AnAbsentOrEmptyTextLeavesTheCounterAtZero) {
  world().put("nuvek_Counter", "FailTask", "");
  nuvek_init_Counter();
  EXPECT_THAT(values(), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST_F(CountersTest, DigitsFollowedByLettersLoadAsTheLeadingDigits) {
  world().put("nuvek_Counter", "SuccessTask", "123abc");
  nuvek_init_Counter();
  EXPECT_EQ(g_CntNum.SuccessTask, 123U);
}

TEST_F(CountersTest, AWordLoadsAsZero) {
  world().put("nuvek_Counter", "SuccessTask", "many");
  nuvek_init_Counter();
  EXPECT_EQ(g_CntNum.SuccessTask, 0U);
}

TEST_F(CountersTest, TheWholeUnsignedRangeLoads) {
  world().put("nuvek_Counter", "SuccessTask", "4294967295");
  nuvek_init_Counter();
  EXPECT_EQ(g_CntNum.SuccessTask, 4294967295U);
}

TEST_F(CountersTest, ANumberBeyondTheUnsignedRangeLoadsAsTheLargest) {
  world().put("nuvek_Counter", "SuccessTask", "4294967296");
  nuvek_init_Counter();
  EXPECT_EQ(g_CntNum.SuccessTask, 4294967295U);
}

TEST_F(CountersTest, ATextThatWasWrittenAsNegativeLoadsAsTheValueThatWasCounted) {
  world().put("nuvek_Counter", "SuccessTask", "-2147483648");
  nuvek_init_Counter();
  EXPECT_EQ(g_CntNum.SuccessTask, 2147483648U);
}

TEST_F(CountersTest, LoadingLogsTheSixValuesWithTheMixedSpellingOfTheLastThree) {
  world().put("nuvek_Counter", "SuccessTask", "1");
  world().put("nuvek_Counter", "FailTask", "2");
  world().put("nuvek_Counter", "FailInform", "3");
  world().put("nuvek_Counter", "SuccessInform", "4");
  world().put("nuvek_Counter", "FailResult", "5");
  world().put("nuvek_Counter", "SuccessResult", "4294967295");
  EXPECT_THAT(
      log_lines(nuvek_init_Counter),
      ElementsAre("DEBUG nuvek_init_Counter g_CntNum.SuccessTask:1", "DEBUG nuvek_init_Counter g_CntNum.FailTask:2",
                  "DEBUG nuvek_init_Counter g_CntNum.FailInform:3", "DEBUG nuvek_init_Counter g_CntNum.successInform:4",
                  "DEBUG nuvek_init_Counter g_CntNum.failResult:5",
                  "DEBUG nuvek_init_Counter g_CntNum.successResult:-1"));
}

TEST_F(CountersTest, EachNumberCountsItsOwnCounterAndWritesItsOwnAttribute) {
  const char* const attributes[] = {"SuccessTask",   "FailTask",   "FailInform",
                                    "SuccessInform", "FailResult", "SuccessResult"};
  std::vector<uint32_t> expected(6, 0);
  for (int32_t number = 1; number <= 6; ++number) {
    const size_t row = static_cast<size_t>(number) - 1;
    g_cntSaveCount = 0;
    world().forget_calls();
    EXPECT_EQ(nuvek_save_Counter(number), 0);
    expected[row] = 1;
    EXPECT_EQ(values(), expected);
    EXPECT_THAT(world().calls(), ElementsAre(std::string("set nuvek_Counter ") + attributes[row] + "=1"));
  }
}

TEST_F(CountersTest, TheNamesOfTheNumbersAreTheTablesNumbers) {
  EXPECT_THAT((std::vector<int32_t>{kSuccessTask, kFailTask, kFailInform, kSuccessInform, kFailResult, kSuccessResult}),
              ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(CountersTest, CountingGoesOnFromTheLoadedValue) {
  world().put("nuvek_Counter", "FailResult", "41");
  nuvek_init_Counter();
  nuvek_save_Counter(kFailResult);
  EXPECT_EQ(world().get("nuvek_Counter", "FailResult"), "42");
}

TEST_F(CountersTest, OtherNumbersChangeNothingNotEvenTheSaveCount) {
  g_cntSaveCount = 7;
  for (const int32_t number : {0, 7, -1, INT32_MIN, INT32_MAX}) EXPECT_EQ(nuvek_save_Counter(number), 0);
  EXPECT_THAT(values(), ElementsAre(0, 0, 0, 0, 0, 0));
  EXPECT_EQ(g_cntSaveCount, 7);
  EXPECT_THAT(world().calls(), IsEmpty());
}

TEST_F(CountersTest, AChangeIsSetWithoutACommit) {
  count(1);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Counter SuccessTask=1"));
  EXPECT_EQ(g_cntSaveCount, 1);
}

TEST_F(CountersTest, NineteenChangesLeaveTheStoreUnsaved) {
  count(19);
  EXPECT_EQ(saves(), 0);
  EXPECT_EQ(g_cntSaveCount, 19);
}

TEST_F(CountersTest, TheTwentiethChangeSavesAfterItsOwnWriteAndTheCountRestarts) {
  count(19);
  world().forget_calls();
  count(1);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Counter SuccessTask=20", "save"));
  EXPECT_EQ(g_cntSaveCount, 0);
}

TEST_F(CountersTest, TheFortiethChangeSavesAgain) {
  count(39);
  EXPECT_EQ(saves(), 1);
  count(1);
  EXPECT_EQ(saves(), 2);
}

TEST_F(CountersTest, ChangesOfAllCountersCountTogetherTowardsTheSave) {
  for (int i = 0; i < 20; ++i) nuvek_save_Counter(i % 6 + 1);
  EXPECT_EQ(saves(), 1);
}

TEST_F(CountersTest, ACounterAboveTheSignedRangeIsWrittenAsANegativeNumber) {
  g_CntNum.SuccessTask = 2147483647;
  nuvek_save_Counter(kSuccessTask);
  EXPECT_EQ(g_CntNum.SuccessTask, 2147483648U);
  EXPECT_EQ(world().get("nuvek_Counter", "SuccessTask"), "-2147483648");
}

TEST_F(CountersTest, ACounterWrapsToZeroAtTheEndOfItsRange) {
  g_CntNum.SuccessTask = 4294967295;
  nuvek_save_Counter(kSuccessTask);
  EXPECT_EQ(g_CntNum.SuccessTask, 0U);
  EXPECT_EQ(world().get("nuvek_Counter", "SuccessTask"), "0");
}

TEST_F(CountersTest, CountingLogsNothing) {
  EXPECT_THAT(log_lines([] { nuvek_save_Counter(kSuccessTask); }), IsEmpty());
}

TEST_F(CountersTest, ARefusedWriteChangesNothingForTheCounter) {
  world().write_result = -1;
  g_cntSaveCount = 19;
  EXPECT_EQ(nuvek_save_Counter(kSuccessTask), 0);
  EXPECT_EQ(g_CntNum.SuccessTask, 1U);
  EXPECT_EQ(g_cntSaveCount, 0);
}

// The delayed task report counts on the timer's thread.
TEST_F(CountersTest, TwoThreadsLoseNoChangeAndTheStoreHoldsTheLastValue) {
  std::thread other([] { count(500); });
  count(500);
  other.join();
  EXPECT_EQ(g_CntNum.SuccessTask, 1000U);
  EXPECT_EQ(world().get("nuvek_Counter", "SuccessTask"), "1000");
  EXPECT_EQ(saves(), 50);
}
