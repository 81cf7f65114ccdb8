// What the two result messages have in common.
#include "agent/tasks/result_message.h"

#include "tests/support/world.h"

namespace {

std::string opened(void (*open)(char*), std::string body) {
  open(body.data());
  return body;
}

TEST(SpeedTable, TheStringBecomesAnArray) {
  EXPECT_EQ(opened(open_speed_table, R"({"SpeedTable":"1.5,2.25","Error":"null"})"),
            R"({"SpeedTable":[1.5,2.25],"Error":"null"})");
  EXPECT_EQ(opened(open_speed_table, R"({"SpeedTable":"","Error":"null"})"), R"({"SpeedTable":[],"Error":"null"})");
}

TEST(SpeedTable, OnlyTheFirstTwoQuotesChange) {
  EXPECT_EQ(opened(open_speed_table, R"({"SpeedTable":"1,"2"","SpeedTable":"3"})"),
            R"({"SpeedTable":[1,]2"","SpeedTable":"3"})");
}

TEST(SpeedTable, ABodyCutInTheTableKeepsItsOneBracket) {
  EXPECT_EQ(opened(open_speed_table, R"({"SpeedTable":"1.5,2)"), R"({"SpeedTable":[1.5,2)");
  EXPECT_EQ(opened(open_speed_table, R"({"SpeedTable":)"), R"({"SpeedTable":)");
}

TEST(SpeedTable, ABodyWithoutTheTableStaysAsItIs) {
  EXPECT_EQ(opened(open_speed_table, R"({"a":"b"})"), R"({"a":"b"})");
  EXPECT_EQ(opened(open_speed_table, ""), "");
}

TEST(PathTable, TheStringBecomesAnArray) {
  EXPECT_EQ(opened(open_path_table, R"({"PathTable":"["10.0.0.1", 1.2]","Error":"null"})"),
            R"({"PathTable":[["10.0.0.1", 1.2]],"Error":"null"})");
  EXPECT_EQ(opened(open_path_table, R"({"PathTable":"","Error":"null"})"), R"({"PathTable":[],"Error":"null"})");
}

TEST(PathTable, WithoutAQuoteRightAfterItsNameOnlyTheEndChanges) {
  EXPECT_EQ(opened(open_path_table, R"({"PathTable": "x","Error":"null"})"), R"({"PathTable": "x],"Error":"null"})");
}

TEST(PathTable, ABodyCutInTheTableKeepsItsOneBracket) {
  EXPECT_EQ(opened(open_path_table, R"({"PathTable":"["10.0)"), R"({"PathTable":[["10.0)");
}

TEST(PathTable, ABodyWithoutTheTableStaysAsItIs) {
  EXPECT_EQ(opened(open_path_table, R"({"a":"b","Error":"null"})"), R"({"a":"b","Error":"null"})");
  EXPECT_EQ(opened(open_path_table, ""), "");
}

}  // namespace
