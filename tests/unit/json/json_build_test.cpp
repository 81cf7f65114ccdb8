// The member helpers, which fix the shape of every outgoing message.
#include "agent/json/json_build.h"

#include <string>

#include "tests/support/world.h"

namespace {

using JsonBuild = AgentTest;

std::string printed(const json_value* root) {
  char* text = nullptr;
  EXPECT_EQ(json_tree_to_string(root, &text), JSON_OK);
  const json::Text owner(text);
  return text == nullptr ? "" : text;
}

}  // namespace

TEST_F(JsonBuild, MembersStandInTheOrderOfTheirAdding) {
  const json::Tree root(json_new_object());
  EXPECT_EQ(json_AddStringToObject(root.get(), "Z", "last"), 0);
  EXPECT_EQ(json_AddNumberToObject(root.get(), "A", 1), 0);
  EXPECT_EQ(json_AddItemToObject(root.get(), "M", json_new_array()), 0);
  EXPECT_EQ(printed(root.get()), "{\"Z\":\"last\",\"A\":1,\"M\":[]}");
}

TEST_F(JsonBuild, NumbersArePrintedWhole) {
  const json::Tree root(json_new_object());
  json_AddNumberToObject(root.get(), "zero", 0);
  json_AddNumberToObject(root.get(), "minus", -7);
  json_AddNumberToObject(root.get(), "most", INT32_MAX);
  json_AddNumberToObject(root.get(), "least", INT32_MIN);
  EXPECT_EQ(printed(root.get()), "{\"zero\":0,\"minus\":-7,\"most\":2147483647,\"least\":-2147483648}");
}

TEST_F(JsonBuild, TwoMembersOfTheSameNameAreBothKept) {
  const json::Tree root(json_new_object());
  EXPECT_EQ(json_AddStringToObject(root.get(), "A", "first"), 0);
  EXPECT_EQ(json_AddNumberToObject(root.get(), "A", 2), 0);
  EXPECT_EQ(printed(root.get()), "{\"A\":\"first\",\"A\":2}");
}

TEST_F(JsonBuild, AnEmptyStringIsAMember) {
  const json::Tree root(json_new_object());
  json_AddStringToObject(root.get(), "A", "");
  EXPECT_EQ(printed(root.get()), "{\"A\":\"\"}");
}

TEST_F(JsonBuild, NothingIsEscaped) {
  const json::Tree root(json_new_object());
  json_AddStringToObject(root.get(), "na\"me", "va\"l\\ue\n");
  EXPECT_EQ(printed(root.get()), "{\"na\"me\":\"va\"l\\ue\n\"}");
}

TEST_F(JsonBuild, NamesAndValuesAreCopied) {
  char name[] = "A";
  char value[] = "x";
  const json::Tree root(json_new_object());
  json_AddStringToObject(root.get(), name, value);
  name[0] = 'B';
  value[0] = 'y';
  EXPECT_EQ(printed(root.get()), "{\"A\":\"x\"}");
}

TEST_F(JsonBuild, AnObjectIsNestedAndOwnedByItsParent) {
  const json::Tree root(json_new_object());
  json_value* inner = json_new_object();
  json_AddNumberToObject(inner, "ID", 7);
  EXPECT_EQ(json_AddItemToObject(root.get(), "Result", inner), 0);
  EXPECT_EQ(printed(root.get()), "{\"Result\":{\"ID\":7}}");
}

TEST_F(JsonBuild, ObjectsOfOneMemberAreAppendedToAnArray) {
  const json::Tree array(json_new_array());
  EXPECT_EQ(json_AddStringObjectToArray(array.get(), "Name", "br0"), 0);
  EXPECT_EQ(json_AddNumberObjectToArray(array.get(), "MTU", -1), 0);
  EXPECT_EQ(printed(array.get()), "[{\"Name\":\"br0\"},{\"MTU\":-1}]");
}

TEST_F(JsonBuild, AnObjectOfOneMemberIsTheValueOfALabel) {
  const json::Tree root(json_new_object());
  json_value* label = json_new_string("Wrapped");
  EXPECT_EQ(json_AddNumberObjectToArray(label, "ID", 3), 0);
  EXPECT_EQ(json_insert_child(root.get(), label), JSON_OK);
  EXPECT_EQ(printed(root.get()), "{\"Wrapped\":{\"ID\":3}}");
}

TEST_F(JsonBuild, ARefusedMemberIsMissingAndReturnsTheLibrarysCode) {
  const json::Tree array(json_new_array());
  EXPECT_EQ(json_AddStringToObject(array.get(), "A", "x"), JSON_BAD_TREE);  // an array takes no member
  EXPECT_EQ(printed(array.get()), "[]");
  const json::Tree root(json_new_object());
  EXPECT_EQ(json_AddStringObjectToArray(root.get(), "A", "x"), JSON_BAD_TREE);  // an object takes no element
  EXPECT_EQ(json_AddItemToObject(root.get(), "A", nullptr), JSON_BAD_TREE);
  EXPECT_EQ(printed(root.get()), "{}");
}

TEST_F(JsonBuild, AnElementIsAppendedToAnArrayAndReleasedWhenItIsRefused) {
  const json::Tree array(json_new_array());
  EXPECT_EQ(json::append(array.get(), json_new_number("1")), JSON_OK);
  EXPECT_EQ(printed(array.get()), "[1]");
  const json::Tree number(json_new_number("1"));
  EXPECT_NE(json::append(number.get(), json_new_object()), JSON_OK);
}

// --- messages --------------------------------------------------------------------------------------------------------

TEST_F(JsonBuild, ABodyIsTheUuidAndTheMessage) {
  const json::Message message;
  json_AddNumberToObject(message.root(), "ID", 1);
  char body[64];
  message.print_body(body, sizeof body, "uu-id");
  EXPECT_STREQ(body, "[\"uu-id\",{\"ID\":1}]");
  EXPECT_STREQ(message.text().get(), "{\"ID\":1}");
}

TEST_F(JsonBuild, ABodyIsCutToItsBuffer) {
  const json::Message message;
  json_AddNumberToObject(message.root(), "ID", 1);
  char body[10];
  message.print_body(body, sizeof body, "uuid");
  EXPECT_STREQ(body, "[\"uuid\",{");
}

TEST_F(JsonBuild, AMessageThatLostAMemberHasNoTextAndAnEmptyBody) {
  char body[64] = "before";
  {
    const json::Message message;
    json_AddItemToObject(message.root(), "A", nullptr);
    EXPECT_EQ(message.text(), nullptr);
    message.print_body(body, sizeof body, "uuid");
  }
  EXPECT_STREQ(body, "");
  const json::Message next;
  EXPECT_STREQ(next.text().get(), "{}") << "the next message is whole again";
}
