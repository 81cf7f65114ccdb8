// The table that ties a sent identifier to its object path.
#include "agent/link/object_path.h"

#include "tests/support/world.h"

namespace {

using testing::ElementsAre;

using ObjectPath = AgentTest;

std::string path_of(int32_t id) {
  char out[kObjPathSize] = "none";
  nuvek_get_ObjPath(id, out);
  return out;
}

}  // namespace

TEST_F(ObjectPath, TheTableListsTheSevenPathsInOrderAndEndsWithAnEmptyEntry) {
  std::vector<std::string> paths;
  const ObjPathEntry* entry = nuvek_ObjPathTable;
  for (; entry->path != nullptr; ++entry) {
    paths.push_back(entry->path);
    EXPECT_EQ(entry->id, 0);
  }
  EXPECT_THAT(paths, ElementsAre("NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface",
                                 "NUVEK.Counter", "NUVEK.SiteSpeed", "NUVEK.TraceRoute"));
}

TEST_F(ObjectPath, ASentIdentifierFindsItsPathAgain) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.SiteSpeed", 12345678), 0);
  EXPECT_EQ(path_of(12345678), "NUVEK.SiteSpeed");
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.SiteSpeed", 87654321), 0);
  EXPECT_EQ(path_of(12345678), "none");
  EXPECT_EQ(path_of(87654321), "NUVEK.SiteSpeed");
}

TEST_F(ObjectPath, AnEntryIsFoundByAPathThatBeginsWithIts) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.TraceRoute.Result", 7), 0);
  EXPECT_EQ(path_of(7), "NUVEK.TraceRoute");
}

TEST_F(ObjectPath, AnUnknownOrShorterPathIsNotKept) {
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.Site", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("NUVEK.GISInfo", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("nuvek.sitespeed", 7), -1);
  EXPECT_EQ(nuvek_set_ObjPathId("", 7), -1);
  EXPECT_EQ(path_of(7), "none");
}

TEST_F(ObjectPath, OfSeveralEqualIdentifiersTheLastEntryWins) {
  nuvek_set_ObjPathId("NUVEK.TraceRoute", 5);
  nuvek_set_ObjPathId("NUVEK.SiteSpeed", 5);
  EXPECT_EQ(path_of(5), "NUVEK.TraceRoute");
}

TEST_F(ObjectPath, IdentifierZeroFindsTheLastEntryThatWasNeverSent) {
  EXPECT_EQ(path_of(0), "NUVEK.TraceRoute");
  nuvek_set_ObjPathId("NUVEK.TraceRoute", 5);
  EXPECT_EQ(path_of(0), "NUVEK.SiteSpeed");
}

TEST_F(ObjectPath, AnUnknownIdentifierWritesNothing) { EXPECT_EQ(path_of(99), "none"); }
