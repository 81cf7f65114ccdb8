// Storing a posted location, and the number parser behind it.
#include <cmath>
#include <random>

#include "agent/local/location_steps.h"
#include "tests/support/world.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class LocationTest : public AgentTest {
 protected:
  // Posts a longitude and returns what is stored for it.
  static std::string stored(const std::string& longitude) {
    world().put("nuvek_Entry0", "GISInterface", "");
    GisInfo record{};
    const std::string request = "{\"Longitude\":\"" + longitude + "\"}";
    EXPECT_EQ(nuvek_save_node(request.c_str(), nullptr, &record), kLocationStored);
    return *world().get("nuvek_Entry0", "Long");
  }
};

constexpr char kPosted[] =
    R"({"Longitude":"116.397128","Latitude":39.916527,"Elevation":"44","HorizontalError":"8","AltitudeError":"3",)"
    R"("AreaCode":"110101","GISDigest":"d","TimeStamp":"t","ID":"7"})";

}  // namespace

TEST_F(LocationTest, ALocationIsStoredInItsOrderCommittedAndSaved) {
  GisInfo record{};
  EXPECT_EQ(nuvek_save_node(kPosted, nullptr, &record), 0);
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Entry0 GISInterface", "set nuvek_Entry0 Long=116.39713",
                                           "set nuvek_Entry0 Lat=39.91653", "set nuvek_Entry0 Altitudes=44",
                                           "set nuvek_Entry0 HorizontalError=8", "set nuvek_Entry0 VerticalError=3",
                                           "set nuvek_Entry0 AreaCode=110101", "set nuvek_Entry0 GISLockTime=t",
                                           "set nuvek_Entry0 GISDigest=d", "set nuvek_Entry0 GISInterface=A",
                                           "commit nuvek_Entry0", "save"));
  EXPECT_STREQ(record.GISInterface, "A");
}

TEST_F(LocationTest, ALockedLocationIsRefusedAndNothingWritten) {
  world().put("nuvek_Entry0", "GISInterface", "A");
  GisInfo record{};
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_save_node(kPosted, nullptr, &record), -3); }),
              ElementsAre("DEBUG nuvek_save_node location locked"));
  EXPECT_THAT(world().writes(), IsEmpty());
}

TEST_F(LocationTest, TheRecordIsLoggedFieldByField) {
  GisInfo record{};
  EXPECT_THAT(
      log_lines([&] { nuvek_save_node(kPosted, nullptr, &record); }),
      ElementsAre("DEBUG display_Coordinate tmp->Long:116.39713", "", "DEBUG display_Coordinate tmp->Lat:39.91653", "",
                  "DEBUG display_Coordinate tmp->HorizontalError:8", "",
                  "DEBUG display_Coordinate tmp->VerticalError:3", "", "DEBUG display_Coordinate tmp->AreaCode:110101",
                  "", "DEBUG display_Coordinate tmp->GISLockTime:t", "", "DEBUG display_Coordinate tmp->GISDigest:d",
                  "", "DEBUG display_Coordinate tmp->Altitudes:44", "", "DEBUG display_Coordinate tmp->GISInterface:A",
                  ""));
}

TEST_F(LocationTest, AMissingMemberLeavesTheWorkingRecordsField) {
  GisInfo record{};
  strcpy(record.AreaCode, "before");
  strcpy(record.Long, "7.5");
  nuvek_save_node("{\"Latitude\":\"1\"}", nullptr, &record);
  EXPECT_STREQ(record.AreaCode, "before");
  EXPECT_STREQ(record.Long, "7.50000");
}

TEST_F(LocationTest, WhatDoesNotParseStoresAnEmptyLocation) {
  GisInfo record{};
  EXPECT_EQ(nuvek_save_node("{\"Longitude\":\"1\"", nullptr, &record), 0);
  EXPECT_EQ(world().get("nuvek_Entry0", "Long"), "0.00000");
  EXPECT_EQ(world().get("nuvek_Entry0", "AreaCode"), "");
}

TEST_F(LocationTest, OverLongMembersAreCutToTheirFieldAndTheFirstOfEqualLabelsCounts) {
  GisInfo record{};
  const std::string request = "{\"AreaCode\":\"" + std::string(100, 'a') + "\",\"GISDigest\":\"" +
                              std::string(100, 'g') +
                              "\",\"TimeStamp\":\"first\",\"TimeStamp\":\"second\",\"Elevation\":{\"x\":1}}";
  nuvek_save_node(request.c_str(), nullptr, &record);
  EXPECT_EQ(record.AreaCode, std::string(15, 'a'));
  EXPECT_EQ(record.GISDigest, std::string(63, 'g'));
  EXPECT_STREQ(record.GISLockTime, "first");
  EXPECT_STREQ(record.Altitudes, "");
}

TEST_F(LocationTest, CoordinatesAreStoredWithFiveDecimalsOfSinglePrecision) {
  const struct {
    const char* posted;
    const char* kept;
  } table[] = {
      {"116.397128", "116.39713"},
      {"39.916527", "39.91653"},
      {"121.123455", "121.12345"},
      {"-0.5", "-0.50000"},
      {"00012.30", "12.30000"},
      {"1.5e1", "15.00000"},
      {"12.", "12.00000"},
      {"", "0.00000"},
      {"abc", "0.00000"},
      {"+5", "0.00000"},
      {"1.2.3", "1.20000"},
      {"12.e5", "12.00000"},
      {".5", "0.50000"},
      {"-.5", "-0.50000"},
      {"0.05", "0.05000"},
      {"1e", "1.00000"},
      {"1e+2", "100.00000"},
      {"1E-2", "0.01000"},
      {"5x", "5.00000"},
      {"0e999999999999", "0.00000"},
      {"-0", "-0.00000"},
      {"1e999", "inf"},
      {"-1e999", "-inf"},
      {"1e-999", "0.00000"},
      {"1e99999999999", "inf"},
      {" 5", "0.00000"},
      {"--5", "-0.00000"},
      {"0x10", "0.00000"},
#ifdef __UCLIBC__
      {"1e30", "1000000015047466300000000000"},  // zeros behind the 17 digits of a double
#else
      {"1e30", "1000000015047466219876688855"},  // 31 digits and decimals: cut to the field
#endif
  };
  for (const auto& row : table) {
    const std::string kept = stored(row.posted);
    if (std::string(row.posted) == "1e30") {
      EXPECT_EQ(kept.substr(0, 28), row.kept);
      EXPECT_EQ(kept.size(), 31U);
    } else {
      EXPECT_EQ(kept, row.kept) << row.posted;
    }
  }
}

// The algorithm told once more, in other words: all digits as one whole number, then one power of ten.
TEST_F(LocationTest, TheParserAgreesWithAnIndependentOneOnManyTexts) {
  std::mt19937 random(20260101);
  auto pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
  for (int round = 0; round < 200000; ++round) {
    std::string sign = pick(3) == 0 ? "-" : "";
    std::string whole;
    std::string fraction;
    for (unsigned k = pick(6); k > 0; --k) whole += static_cast<char>('0' + pick(10));
    for (unsigned k = pick(9); k > 0; --k) fraction += static_cast<char>('0' + pick(10));
    const int exponent = static_cast<int>(pick(41)) - 20;
    const bool has_exponent = pick(3) == 0;
    std::string text = sign + whole + (fraction.empty() ? "" : "." + fraction);
    if (has_exponent)
      text +=
          (pick(2) == 0 ? "e" : "E") + std::string(exponent >= 0 && pick(2) == 0 ? "+" : "") + std::to_string(exponent);
    const double digits = static_cast<double>(std::stoull("0" + whole + fraction));  // 14 digits: exact
    const double power = -static_cast<double>(fraction.size()) + (has_exponent ? exponent : 0);
    const double signed_digits = sign.empty() ? digits : -digits;
    const float expected =
        digits == 0.0 ? static_cast<float>(signed_digits) : static_cast<float>(signed_digits * std::pow(10.0, power));
    ASSERT_EQ(nuvek_strToFloat(text.c_str()), expected) << text;
  }
}

TEST_F(LocationTest, ATextIsNotCutRightBehindTheBackslashOfAnEscape) {
  GisInfo record{};
  nuvek_save_node(R"({"AreaCode":"12345678901234\"5","GISDigest":"a\\b"})", nullptr, &record);
  EXPECT_EQ(world().get("nuvek_Entry0", "AreaCode"), "12345678901234");
  EXPECT_EQ(world().get("nuvek_Entry0", "GISDigest"), R"(a\\b)");
}
