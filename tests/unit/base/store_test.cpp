// The way to the configuration store: bounded reads, writes whose results nobody looks at.
#include "agent/base/store.h"

#include "platform/tcapi.h"
#include "tests/support/world.h"

using ::testing::ElementsAre;

using StoreTest = AgentTest;

TEST_F(StoreTest, AValueIsReadWithItsTerminator) {
  world().put("node", "attr", "text");
  char out[8] = {'z', 'z', 'z', 'z', 'z', 'z', 'z', 'z'};
  EXPECT_TRUE(store::read("node", "attr", out));
  EXPECT_EQ(std::string(out, 8), std::string("text\0zzz", 8));
  EXPECT_THAT(world().calls(), ElementsAre("get node attr"));
}

TEST_F(StoreTest, AnAbsentAttributeLeavesTheBufferAsItWas) {
  char out[8] = "before";
  EXPECT_FALSE(store::read("node", "attr", out));
  EXPECT_STREQ(out, "before");
}

TEST_F(StoreTest, AnEmptyValueIsAValue) {
  world().put("node", "attr", "");
  char out[8] = "before";
  EXPECT_TRUE(store::read("node", "attr", out));
  EXPECT_STREQ(out, "");
}

TEST_F(StoreTest, AValueThatFillsTheBufferIsCutToLeaveRoomForTheTerminator) {
  char out[4] = "";
  world().put("node", "attr", "abc");
  store::read("node", "attr", out);
  EXPECT_STREQ(out, "abc");
  world().put("node", "attr", "defg");
  store::read("node", "attr", out);
  EXPECT_STREQ(out, "def");
}

TEST_F(StoreTest, TheLongestValueOfTheStoreOverrunsNoField) {
  world().put("node", "attr", std::string(TCAPI_VALUE_MAX, 'v'));
  char out[16] = "";
  EXPECT_TRUE(store::read("node", "attr", out));
  EXPECT_EQ(out, std::string(15, 'v'));
}

TEST_F(StoreTest, TheLongestValueOfTheStoreIsReadWholeWhereItFits) {
  const std::string longest(TCAPI_VALUE_MAX, 'v');
  world().put("node", "attr", longest);
  char out[TCAPI_VALUE_MAX + 1] = "";
  store::read("node", "attr", out);
  EXPECT_EQ(out, longest);
}

TEST_F(StoreTest, AStoreThatAnswersWithoutATextGivesAnEmptyOneAndNotTheReadBefores) {
  char out[8] = "before";
  world().on_get = [](char* value) {
    memset(value, 'w', TCAPI_VALUE_MAX);
    return 0;
  };
  EXPECT_TRUE(store::read("node", "attr", out));
  world().on_get = [](char*) { return 0; };
  EXPECT_TRUE(store::read("node", "attr", out));
  EXPECT_STREQ(out, "");
}

TEST_F(StoreTest, WritesCommitsAndSavesReachTheStoreInOrder) {
  store::write("node", "attr", "value");
  store::write("node", "empty", "");
  store::commit("node");
  EXPECT_EQ(store::save(), 0);
  EXPECT_THAT(world().calls(), ElementsAre("set node attr=value", "set node empty=", "commit node", "save"));
}

TEST_F(StoreTest, NumbersAreWrittenAsSignedDecimals) {
  store::write_number("node", "attr", 0);
  store::write_number("node", "attr", INT32_MAX);
  store::write_number("node", "attr", INT32_MIN);
  EXPECT_THAT(world().calls(), ElementsAre("set node attr=0", "set node attr=2147483647", "set node attr=-2147483648"));
}

TEST_F(StoreTest, ASaveTellsWhatTheStoreSaid) {
  world().write_result = -5;
  EXPECT_EQ(store::save(), -5);
}
