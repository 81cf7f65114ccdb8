// Reading one member out of a received JSON text.
#include "agent/json/json_value.h"

#include <string>

#include "tests/support/world.h"

namespace {

using JsonValue = AgentTest;

std::string value_of(const std::string& json, const char* key) {
  char out[64] = "before";
  nuvek_json_get_value(json.c_str(), key, out);
  return out;
}

}  // namespace

TEST_F(JsonValue, AStringIsCopiedWithoutItsQuotes) {
  EXPECT_EQ(value_of("{\"RPCMethod\":\"Get\",\"ID\":7}", "RPCMethod"), "Get");
}

TEST_F(JsonValue, ANumberIsCopiedAsItsText) {
  EXPECT_EQ(value_of("{\"ID\":7}", "ID"), "7");
  EXPECT_EQ(value_of("{\"ID\":-1.50e3}", "ID"), "-1.50e3");
}

TEST_F(JsonValue, AnEmptyStringEmptiesTheOutput) { EXPECT_EQ(value_of("{\"RegID\":\"\"}", "RegID"), ""); }

TEST_F(JsonValue, AMissingMemberLeavesTheOutput) { EXPECT_EQ(value_of("{\"ID\":7}", "Code"), "before"); }

TEST_F(JsonValue, AKeyThatIsOnlyAValueLeavesTheOutput) { EXPECT_EQ(value_of("{\"A\":\"Code\"}", "Code"), "before"); }

TEST_F(JsonValue, AKeyThatIsOnlyInsideAnotherObjectLeavesTheOutput) {
  EXPECT_EQ(value_of("{\"A\":{\"Code\":3}}", "Code"), "before");
}

TEST_F(JsonValue, AKeyIsTheWholeName) {
  EXPECT_EQ(value_of("{\"IDs\":1,\"xID\":2}", "ID"), "before");
  EXPECT_EQ(value_of("{\"id\":1}", "ID"), "before");
}

TEST_F(JsonValue, AValueWithoutTextLeavesTheOutput) {
  for (const char* json :
       {"{\"Code\":{}}", "{\"Code\":[1]}", "{\"Code\":true}", "{\"Code\":false}", "{\"Code\":null}"}) {
    EXPECT_EQ(value_of(json, "Code"), "before") << json;
  }
}

TEST_F(JsonValue, TheFirstOfTwoEqualMembersIsRead) { EXPECT_EQ(value_of("{\"ID\":1,\"ID\":2}", "ID"), "1"); }

TEST_F(JsonValue, ATextThatDoesNotParseHasNoMembers) {
  for (const char* json :
       {"", "{\"ID\":1", "\"ID\":1}", "{\"ID\":1}}", "{'ID':1,\"ID\":2}", "[{\"ID\":1}]", "\"ID\""}) {
    EXPECT_EQ(value_of(json, "ID"), "before") << json;
  }
}

TEST_F(JsonValue, WhiteSpaceBetweenTheTokensDoesNotMatter) { EXPECT_EQ(value_of(" {\r\n\t\"ID\" : 7 } ", "ID"), "7"); }

TEST_F(JsonValue, AStringIsCopiedAsItStandsInTheMessage) {
  EXPECT_EQ(value_of("{\"A\":\"x\\\"y\\\\ \\u00e4 \xff\"}", "A"), "x\\\"y\\\\ \\u00e4 \xff");
}

TEST_F(JsonValue, AValueIsCutToItsField) {
  char out[8] = {'z', 'z', 'z', 'z', 'z', 'z', 'z', 'z'};
  nuvek_json_get_value("{\"A\":\"123456789\"}", "A", out, 5);
  EXPECT_EQ(std::string(out, 8), std::string("1234\0zzz", 8));
}
