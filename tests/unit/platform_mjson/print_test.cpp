// Printing whole trees and parts of them.
#include <gtest/gtest.h>

#include "tree_tools.h"

namespace {

TEST(Print, EscapesNothing) {
  const Tree object = new_object();
  ASSERT_EQ(insert(object, new_label("a\"b", new_string("c\"\\\n\x01\xff"))), JSON_OK);
  EXPECT_EQ(print(object), "{\"a\"b\":\"c\"\\\n\x01\xff\"}");
}

TEST(Print, EmptyStringIsAMember) {
  const Tree object = new_object();
  ASSERT_EQ(insert(object, new_label("name", new_string(""))), JSON_OK);
  EXPECT_EQ(print(object), R"({"name":""})");
}

TEST(Print, AnyValueMayBeTheRoot) {
  EXPECT_EQ(print(new_string("text")), R"("text")");
  EXPECT_EQ(print(new_number("12")), "12");
  EXPECT_EQ(print(parse("null").root), "null");
}

TEST(Print, StaysBelowTheRoot) {
  const Parsed parsed = parse(R"({"first":{"a":[1,2]},"second":3})");
  const json_value* first = json_find_first_label(parsed.root.get(), "first");
  EXPECT_EQ(print(json_label_value(first)), R"({"a":[1,2]})");

  const Tree array = new_array();
  json_value* element = json_new_number("1");
  ASSERT_EQ(json_insert_child(array.get(), element), JSON_OK);
  ASSERT_EQ(insert(array, new_number("2")), JSON_OK);
  EXPECT_EQ(print(element), "1");
}

TEST(Print, RefusesALabelAlone) {
  const Parsed parsed = parse(R"({"a":1})");
  char old_text[] = "old";
  char* text = old_text;
  EXPECT_EQ(json_tree_to_string(json_find_first_label(parsed.root.get(), "a"), &text), JSON_BAD_TREE);
  EXPECT_EQ(text, nullptr);
}

TEST(Print, RefusesNull) {
  char old_text[] = "old";
  char* text = old_text;
  EXPECT_EQ(json_tree_to_string(nullptr, &text), JSON_BAD_TREE);
  EXPECT_EQ(text, nullptr);
  const Tree object = new_object();
  EXPECT_EQ(json_tree_to_string(object.get(), nullptr), JSON_BAD_TREE);
}

TEST(Print, LeavesTheTreeAsItIs) {
  const std::string text = R"({"a":[1,{"b":[]}],"c":null})";
  const Parsed parsed = parse(text);
  EXPECT_EQ(print(parsed.root), text);
  EXPECT_EQ(print(parsed.root), text);
}

}  // namespace
