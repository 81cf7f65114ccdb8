// What a ResultResponse leaves behind: object paths, back-off delay, select timeout, last code.
#include "agent/tasks/result_state.h"

#include <cstring>

#include "tests/support/world.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using ResultState = AgentTest;

std::string path_of(int32_t id) {
  char out[kObjPathSize] = "none";
  nuvek_get_ObjPath(id, out);
  return out;
}

int32_t delay_after(int32_t n) {
  nuvek_set_delaySessionTime(n);
  return nuvek_get_delaySessionTime();
}

}  // namespace

TEST_F(ResultState, TheTableListsTheSevenPathsInOrderAndEndsWithAnEmptyEntry) {
  std::vector<std::string> paths;
  const ObjPathEntry* entry = nuvek_ObjPathTable;
  for (; entry->path != nullptr; ++entry) {
    paths.push_back(entry->path);
    EXPECT_EQ(entry->id, 0);
  }
  EXPECT_THAT(paths, ElementsAre("NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface",
                                 "NUVEK.Counter", "NUVEK.SiteSpeed", "NUVEK.TraceRoute"));
}

TEST_F(ResultState, ASentIdentifierFindsItsPathAgain) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.SiteSpeed", 12345678), 0);
  EXPECT_EQ(path_of(12345678), "NUVEK.SiteSpeed");
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.SiteSpeed", 87654321), 0);
  EXPECT_EQ(path_of(12345678), "none");
  EXPECT_EQ(path_of(87654321), "NUVEK.SiteSpeed");
}

TEST_F(ResultState, AnEntryIsFoundByAPathThatBeginsWithIts) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.TraceRoute.Result", 7), 0);
  EXPECT_EQ(path_of(7), "NUVEK.TraceRoute");
}

TEST_F(ResultState, AnUnknownOrShorterPathIsNotKept) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.Site", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.GISInfo", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("nuvek.sitespeed", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("", 7), -1);
  EXPECT_EQ(path_of(7), "none");
}

TEST_F(ResultState, OfSeveralEqualIdentifiersTheLastEntryWins) {
  nuvek_set_ObjPathId("NUVEK.TraceRoute", 5);
  nuvek_set_ObjPathId("NUVEK.SiteSpeed", 5);
  EXPECT_EQ(path_of(5), "NUVEK.TraceRoute");
}

TEST_F(ResultState, IdentifierZeroFindsTheLastEntryThatWasNeverSent) {
  EXPECT_EQ(path_of(0), "NUVEK.TraceRoute");
  nuvek_set_ObjPathId("NUVEK.TraceRoute", 5);
  EXPECT_EQ(path_of(0), "NUVEK.SiteSpeed");
}

TEST_F(ResultState, AnUnknownIdentifierWritesNothing) { EXPECT_EQ(path_of(99), "none"); }

TEST_F(ResultState, TheDelayDoublesFromTenSecondsToFiveThousandOneHundredTwenty) {
  const int32_t expected[] = {10, 20, 40, 80, 160, 320, 640, 1280, 2560, 5120};
  for (int32_t n = 1; n <= 10; ++n) EXPECT_EQ(delay_after(n), expected[n - 1]) << n;
  EXPECT_EQ(delay_after(11), 5120);
  EXPECT_EQ(delay_after(INT32_MAX), 5120);
}

TEST_F(ResultState, TheDelayIsLogged) {
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(1); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :1, delay session time:10"));
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(10); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :10, delay session time:5120"));
}

TEST_F(ResultState, MoreThanTenRetriesAreTakenAndLoggedAsTen) {
  EXPECT_THAT(log_lines([] { nuvek_set_delaySessionTime(12); }),
              ElementsAre("DEBUG nuvek_set_delaySessionTime n :10, delay session time:5120"));
}

TEST_F(ResultState, NoRetryGivesFiveSecondsWithoutALogLine) {
  nuvek_set_delaySessionTime(3);
  EXPECT_THAT(log_lines([] { EXPECT_EQ(delay_after(0), 5); }), IsEmpty());
  EXPECT_EQ(nuvek_get_defaultDelay(), 5);
}

TEST_F(ResultState, TheSelectTimeoutIsOneSecondUntilItIsSet) {
  timeval timeout{9, 9};
  nuvek_get_selectTimeout(&timeout);
  EXPECT_EQ(timeout.tv_sec, 1);
  EXPECT_EQ(timeout.tv_usec, 0);
  nuvek_set_selectTimeout(30);
  nuvek_get_selectTimeout(&timeout);
  EXPECT_EQ(timeout.tv_sec, 30);
  EXPECT_EQ(timeout.tv_usec, 0);
}

TEST_F(ResultState, TheLastCodeIsKept) {
  EXPECT_EQ(nuvek_get_RPCResultRes(), 0);
  nuvek_set_RPCResultRes(-3);
  EXPECT_EQ(nuvek_get_RPCResultRes(), -3);
  EXPECT_EQ(g_RPCResultRes, -3);
}
