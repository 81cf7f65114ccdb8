// Message identifiers: eight different digits, none in front that is zero, the same within one second.
#include "agent/ident/message_id.h"

#include <cstdlib>
#include <set>

#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class MessageIdTest : public AgentTest {
 protected:
  static int32_t id_from(std::deque<int> draws) {
    world().rands = std::move(draws);
    return nuvek_generateId();
  }
  static bool is_good(int32_t id) {
    const std::string digits = std::to_string(id);
    return digits.size() == 8 && std::set<char>(digits.begin(), digits.end()).size() == 8;
  }
};

}  // namespace

TEST_F(MessageIdTest, DrawsBecomeDigitsFromTheLeft) {
  EXPECT_EQ(id_from({1, 2, 3, 4, 5, 6, 7, 8}), 12345678);
  EXPECT_THAT(world().rands, IsEmpty());
}

TEST_F(MessageIdTest, OnlyTheLastDigitOfADrawCounts) {
  EXPECT_EQ(id_from({11, 22, 33, 44, 55, 66, 2147483647, 1000000008}), 12345678);
}

TEST_F(MessageIdTest, AUsedDigitIsDrawnAgain) {
  EXPECT_EQ(id_from({9, 9, 8, 9, 8, 7, 6, 5, 4, 3, 9, 2}), 98765432);
  EXPECT_THAT(world().rands, IsEmpty());
}

TEST_F(MessageIdTest, ALeadingZeroIsDrawnAgainAndStaysUnused) {
  EXPECT_EQ(id_from({0, 0, 1, 0, 0, 2, 3, 4, 5, 6, 7}), 10234567);
  EXPECT_THAT(world().rands, IsEmpty());
}

TEST_F(MessageIdTest, AZeroInsideTakesItsPosition) {
  EXPECT_EQ(id_from({9, 8, 0, 7, 6, 5, 4, 3}), 98076543);
  EXPECT_EQ(id_from({9, 8, 7, 6, 5, 4, 3, 0}), 98765430);
}

TEST_F(MessageIdTest, NothingIsDrawnBeyondTheLastPosition) {
  EXPECT_EQ(id_from({1, 2, 3, 4, 5, 6, 7, 8, 99}), 12345678);
  EXPECT_THAT(world().rands, ElementsAre(99));
  world().rands.clear();
}

TEST_F(MessageIdTest, TheGeneratorIsSeededOnceWithTheCurrentSecond) {
  world().set_clock(1700000123, 999999);
  nuvek_generateId();
  EXPECT_THAT(world().seeds, ElementsAre(1700000123U));
}

TEST_F(MessageIdTest, TwoCallsInOneSecondReturnTheSameNumber) {
  world().set_clock(1700000000, 0);
  const int32_t first = nuvek_generateId();
  world().set_clock(1700000000, 999999);
  EXPECT_EQ(nuvek_generateId(), first);
}

TEST_F(MessageIdTest, ACallResetsTheSequenceOfTheSharedGenerator) {
  nuvek_generateId();
  const int next = rand();
  rand();
  nuvek_generateId();
  EXPECT_EQ(rand(), next);
}

TEST_F(MessageIdTest, EverySecondsNumberHasEightDifferentDigits) {
  std::set<int32_t> ids;
  for (int second = 0; second < 2000; ++second) {
    const int32_t id = nuvek_generateId();
    EXPECT_TRUE(is_good(id)) << id;
    EXPECT_GE(id, 10234567);
    EXPECT_LE(id, 98765432);
    ids.insert(id);
    world().advance(1);
  }
  EXPECT_GT(ids.size(), 1900U);
}
