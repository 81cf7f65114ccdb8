// The member helpers, which fix the shape of every outgoing message.
#include "agent/json/json_build.h"

#include <string>

#include "tests/support/world.h"

namespace {

using JsonBuild = AgentTest;

// What stands in a value, also in one that has lost a member.
std::string printed(const json::Value& value) {
  char* text = nullptr;
  EXPECT_EQ(json_tree_to_string(value.tree(), &text), JSON_OK);
  const json::Text owner(text);
  return text == nullptr ? "" : text;
}

}  // namespace

TEST_F(JsonBuild, MembersStandInTheOrderOfTheirAdding) {
  json::Value root = json::Value::object();
  EXPECT_EQ(json_AddStringToObject(root, "Z", "last"), 0);
  EXPECT_EQ(json_AddNumberToObject(root, "A", 1), 0);
  EXPECT_EQ(json_AddItemToObject(root, "M", json::Value::array()), 0);
  EXPECT_EQ(printed(root), "{\"Z\":\"last\",\"A\":1,\"M\":[]}");
}

TEST_F(JsonBuild, NumbersArePrintedWhole) {
  json::Value root = json::Value::object();
  json_AddNumberToObject(root, "zero", 0);
  json_AddNumberToObject(root, "minus", -7);
  json_AddNumberToObject(root, "most", INT32_MAX);
  json_AddNumberToObject(root, "least", INT32_MIN);
  EXPECT_EQ(printed(root), "{\"zero\":0,\"minus\":-7,\"most\":2147483647,\"least\":-2147483648}");
}

TEST_F(JsonBuild, TwoMembersOfTheSameNameAreBothKept) {
  json::Value root = json::Value::object();
  EXPECT_EQ(json_AddStringToObject(root, "A", "first"), 0);
  EXPECT_EQ(json_AddNumberToObject(root, "A", 2), 0);
  EXPECT_EQ(printed(root), "{\"A\":\"first\",\"A\":2}");
}

TEST_F(JsonBuild, AnEmptyStringIsAMember) {
  json::Value root = json::Value::object();
  json_AddStringToObject(root, "A", "");
  EXPECT_EQ(printed(root), "{\"A\":\"\"}");
}

TEST_F(JsonBuild, NothingIsEscaped) {
  json::Value root = json::Value::object();
  json_AddStringToObject(root, "na\"me", "va\"l\\ue\n");
  EXPECT_EQ(printed(root), "{\"na\"me\":\"va\"l\\ue\n\"}");
}

TEST_F(JsonBuild, NamesAndValuesAreCopied) {
  char name[] = "A";
  char value[] = "x";
  json::Value root = json::Value::object();
  json_AddStringToObject(root, name, value);
  name[0] = 'B';
  value[0] = 'y';
  EXPECT_EQ(printed(root), "{\"A\":\"x\"}");
}

TEST_F(JsonBuild, AnObjectIsNestedAndOwnedByItsParent) {
  json::Value root = json::Value::object();
  json::Value inner = json::Value::object();
  json_AddNumberToObject(inner, "ID", 7);
  EXPECT_EQ(json_AddItemToObject(root, "Result", std::move(inner)), 0);
  EXPECT_EQ(printed(root), "{\"Result\":{\"ID\":7}}");
}

TEST_F(JsonBuild, ObjectsOfOneMemberAreAppendedToAnArray) {
  json::Value array = json::Value::array();
  EXPECT_EQ(json_AddStringObjectToArray(array, "Name", "br0"), 0);
  EXPECT_EQ(json_AddNumberObjectToArray(array, "MTU", -1), 0);
  EXPECT_EQ(printed(array), "[{\"Name\":\"br0\"},{\"MTU\":-1}]");
}

TEST_F(JsonBuild, AnObjectOfOneMemberIsTheValueOfALabel) {
  json::Value label(json_new_string("Wrapped"));
  EXPECT_EQ(json_AddNumberObjectToArray(label, "ID", 3), 0);
  char* text = nullptr;
  EXPECT_EQ(json_tree_to_string(json_label_value(label.tree()), &text), JSON_OK);
  EXPECT_STREQ(json::Text(text).get(), "{\"ID\":3}");
}

TEST_F(JsonBuild, ARefusedMemberIsMissingAndReturnsTheLibrarysCode) {
  json::Value array = json::Value::array();
  EXPECT_EQ(json_AddStringToObject(array, "A", "x"), JSON_BAD_TREE);  // an array takes no member
  EXPECT_EQ(printed(array), "[]");
  json::Value root = json::Value::object();
  EXPECT_EQ(json_AddStringObjectToArray(root, "A", "x"), JSON_BAD_TREE);  // an object takes no element
  EXPECT_EQ(json_AddItemToObject(root, "A", json::Value(nullptr)), JSON_BAD_TREE);
  EXPECT_EQ(printed(root), "{}");
}

TEST_F(JsonBuild, AnElementIsAppendedToAnArrayAndReleasedWhenItIsRefused) {
  json::Value array = json::Value::array();
  EXPECT_EQ(json_AddItemToArray(array, json::Value(json_new_number("1"))), JSON_OK);
  EXPECT_EQ(printed(array), "[1]");
  json::Value number(json_new_number("1"));
  EXPECT_NE(json_AddItemToArray(number, json::Value::object()), JSON_OK);
}

// --- messages --------------------------------------------------------------------------------------------------------

TEST_F(JsonBuild, ABodyIsTheUuidAndTheMessage) {
  json::Value message = json::Value::object();
  json_AddNumberToObject(message, "ID", 1);
  char body[64];
  message.print_body(body, sizeof body, "uu-id");
  EXPECT_STREQ(body, "[\"uu-id\",{\"ID\":1}]");
  EXPECT_STREQ(message.text().get(), "{\"ID\":1}");
}

TEST_F(JsonBuild, ABodyIsCutToItsBuffer) {
  json::Value message = json::Value::object();
  json_AddNumberToObject(message, "ID", 1);
  char body[10];
  message.print_body(body, sizeof body, "uuid");
  EXPECT_STREQ(body, "[\"uuid\",{");
}

TEST_F(JsonBuild, AMemberThatWasLostDeepInsideIsMissedByTheMessage) {
  json::Value inner = json::Value::object();
  json_AddItemToObject(inner, "A", json::Value(nullptr));
  json::Value array = json::Value::array();
  EXPECT_EQ(json_AddItemToArray(array, std::move(inner)), JSON_OK);
  json::Value message = json::Value::object();
  EXPECT_EQ(json_AddItemToObject(message, "Params", std::move(array)), JSON_OK);
  EXPECT_EQ(message.text(), nullptr);
}

TEST_F(JsonBuild, ATreeIsReleasedOnceAndTheLibrarysCodeReturned) {
  json::Value message = json::Value::object();
  EXPECT_EQ(message.free(), JSON_OK);
  EXPECT_EQ(message.tree(), nullptr);
}

TEST_F(JsonBuild, AMessageThatLostAMemberHasNoTextAndAnEmptyBody) {
  char body[64] = "before";
  {
    json::Value message = json::Value::object();
    json_AddItemToObject(message, "A", json::Value(nullptr));
    EXPECT_EQ(message.text(), nullptr);
    message.print_body(body, sizeof body, "uuid");
  }
  EXPECT_STREQ(body, "");
  const json::Value next = json::Value::object();
  EXPECT_STREQ(next.text().get(), "{}") << "the next message is whole again";
}
