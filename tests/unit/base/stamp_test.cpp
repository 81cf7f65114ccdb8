// The times that make the cycles, also while the store takes no writes.
#include "agent/base/stamp.h"

#include "agent/base/store.h"
#include "tests/support/world.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using StampTest = AgentTest;

}  // namespace

TEST_F(StampTest, ATimeIsKeptInTheStoreWithoutASave) {
  Stamp stamp("LastTime");
  stamp.write(1700000000);
  EXPECT_THAT(world().calls(), ElementsAre("set nuvek_Common LastTime=1700000000"));
  EXPECT_EQ(stamp.read(), 1700000000);
  EXPECT_EQ(Stamp("LastTime").read(), 1700000000) << "another run of the agent";
}

TEST_F(StampTest, WithoutATimeItIsZeroAndNotSet) {
  Stamp stamp("LastTime");
  EXPECT_EQ(stamp.read(), 0);
  EXPECT_FALSE(stamp.is_set());
  world().put("nuvek_Common", "LastTime", "soon");
  EXPECT_EQ(stamp.read(), 0);
  EXPECT_TRUE(stamp.is_set());
}

TEST_F(StampTest, ATimeThatTheStoreRefusesIsRememberedUntilItTakesOne) {
  world().put("nuvek_Common", "LastTime", "5");
  world().refuse_writes = true;
  Stamp stamp("LastTime");
  stamp.write(1700000000);
  EXPECT_EQ(world().get("nuvek_Common", "LastTime"), "5");
  EXPECT_EQ(stamp.read(), 1700000000);
  stamp.write(1700000060);
  EXPECT_EQ(stamp.read(), 1700000060);
  world().refuse_writes = false;
  stamp.write(1700000120);
  EXPECT_EQ(world().get("nuvek_Common", "LastTime"), "1700000120");
  world().put("nuvek_Common", "LastTime", "7");
  EXPECT_EQ(stamp.read(), 7) << "the store is believed again";
}

TEST_F(StampTest, ATimeThatTheStoreTookButNeverTellsIsRemembered) {
  Stamp stamp("LastTime");
  stamp.write(1700000000);
  world().erase("nuvek_Common", "LastTime");
  EXPECT_EQ(stamp.read(), 1700000000);
  EXPECT_TRUE(stamp.is_set());
}

TEST_F(StampTest, ATimeThatTheStoreHasToldAndTellsNoMoreIsZero) {
  Stamp stamp("LastTime");
  stamp.write(1700000000);
  EXPECT_EQ(stamp.read(), 1700000000);
  world().erase("nuvek_Common", "LastTime");
  EXPECT_EQ(stamp.read(), 0) << "who takes it away asks for a report";
  EXPECT_FALSE(stamp.is_set());
}

TEST_F(StampTest, AFirstTimeThatIsRefusedCountsAsSet) {
  world().refuse_writes = true;
  Stamp stamp("LastTime");
  stamp.write(3);
  EXPECT_TRUE(stamp.is_set());
}

TEST_F(StampTest, TheStoreIsAskedAllTheSameWhileATimeIsRemembered) {
  world().refuse_writes = true;
  Stamp stamp("LastTime");
  stamp.write(3);
  world().forget_calls();
  EXPECT_EQ(stamp.read(), 3);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Common LastTime"));
}

TEST_F(StampTest, TheLogSaysOnceThatTheStoreRefuses) {
  EXPECT_THAT(log_lines([] { store::write("nuvek_Common", "A", "1"); }), IsEmpty());
  world().refuse_writes = true;
  EXPECT_THAT(log_lines([] { store::write("nuvek_Common", "A", "2"); }),
              ElementsAre("ERROR tcapi_set the store refuses A of node nuvek_Common"));
  EXPECT_THAT(log_lines([] { store::write_number("nuvek_Common", "B", 3); }), IsEmpty());
}
