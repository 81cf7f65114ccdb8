// Putting trees together, reading them, releasing them.
#include <gtest/gtest.h>

#include <thread>

#include "tree_tools.h"

namespace {

TEST(NewValue, ObjectAndArrayStartEmpty) {
  EXPECT_EQ(print(new_object()), "{}");
  EXPECT_EQ(print(new_array()), "[]");
}

TEST(NewValue, CopiesTheText) {
  char text[] = "before";
  const Tree string(json_new_string(text));
  const Tree number(json_new_number(text));
  text[0] = 'X';
  EXPECT_STREQ(json_value_text(string.get()), "before");
  EXPECT_STREQ(json_value_text(number.get()), "before");
}

TEST(NewValue, WithoutTextIsNone) {
  EXPECT_EQ(json_new_string(nullptr), nullptr);
  EXPECT_EQ(json_new_number(nullptr), nullptr);
}

TEST(NewValue, NumberKeepsAnyText) {
  EXPECT_EQ(print(new_number("-2147483648")), "-2147483648");
  EXPECT_EQ(print(new_number("007 or more")), "007 or more");
}

TEST(InsertChild, KeepsMembersInTheOrderOfInsertion) {
  const Tree object = new_object();
  EXPECT_EQ(insert(object, new_label("z", new_number("1"))), JSON_OK);
  EXPECT_EQ(insert(object, new_label("a", new_string("two"))), JSON_OK);
  EXPECT_EQ(insert(object, new_label("m", new_object())), JSON_OK);
  EXPECT_EQ(insert(object, new_label("", new_array())), JSON_OK);
  EXPECT_EQ(print(object), R"({"z":1,"a":"two","m":{},"":[]})");
}

TEST(InsertChild, KeepsEqualNamesSideBySide) {
  const Tree object = new_object();
  EXPECT_EQ(insert(object, new_label("ID", new_number("1"))), JSON_OK);
  EXPECT_EQ(insert(object, new_label("ID", new_number("2"))), JSON_OK);
  EXPECT_EQ(print(object), R"({"ID":1,"ID":2})");
}

TEST(InsertChild, ArrayTakesAnyValue) {
  const Tree array = new_array();
  EXPECT_EQ(insert(array, new_string("text")), JSON_OK);
  EXPECT_EQ(insert(array, new_number("-1")), JSON_OK);
  EXPECT_EQ(insert(array, new_object()), JSON_OK);
  EXPECT_EQ(insert(array, new_array()), JSON_OK);
  EXPECT_EQ(insert(array, parse("true").root), JSON_OK);
  EXPECT_EQ(print(array), R"(["text",-1,{},[],true])");
}

TEST(InsertChild, InnerTreeMayGrowAfterItsInsertion) {
  const Tree object = new_object();
  json_value* inner = json_new_array();
  EXPECT_EQ(insert(object, new_label("list", Tree(inner))), JSON_OK);
  EXPECT_EQ(json_insert_child(inner, json_new_number("1")), JSON_OK);
  EXPECT_EQ(print(object), R"({"list":[1]})");
}

TEST(InsertChild, ParsedTreeMayGrow) {
  const Parsed parsed = parse(R"({"a":1})");
  EXPECT_EQ(insert(parsed.root, new_label("b", new_number("2"))), JSON_OK);
  EXPECT_EQ(print(parsed.root), R"({"a":1,"b":2})");
}

TEST(InsertChild, RefusesNull) {
  const Tree object = new_object();
  EXPECT_EQ(json_insert_child(nullptr, object.get()), JSON_BAD_TREE);
  EXPECT_EQ(json_insert_child(object.get(), nullptr), JSON_BAD_TREE);
  EXPECT_EQ(json_insert_child(nullptr, nullptr), JSON_BAD_TREE);
  EXPECT_EQ(print(object), "{}");
}

TEST(InsertChild, ObjectRefusesWhatIsNoLabelWithAValue) {
  const Tree object = new_object();
  EXPECT_EQ(insert(object, new_string("name without a value")), JSON_BAD_TREE);
  EXPECT_EQ(insert(object, new_number("1")), JSON_BAD_TREE);
  EXPECT_EQ(insert(object, new_object()), JSON_BAD_TREE);
  EXPECT_EQ(insert(object, new_array()), JSON_BAD_TREE);
  EXPECT_EQ(insert(object, parse("null").root), JSON_BAD_TREE);
  EXPECT_EQ(print(object), "{}");
}

TEST(InsertChild, LabelTakesOneValueOnly) {
  const Tree object = new_object();
  Tree label = new_label("name", new_number("1"));
  EXPECT_EQ(insert(label, new_number("2")), JSON_BAD_TREE);
  json_value* inserted = label.get();
  ASSERT_EQ(insert(object, std::move(label)), JSON_OK);
  const Tree late = new_number("3");
  EXPECT_EQ(json_insert_child(inserted, late.get()), JSON_BAD_TREE);
  EXPECT_EQ(print(object), R"({"name":1})");
}

TEST(InsertChild, LabelIsAValueOfNothing) {
  const Tree array = new_array();
  EXPECT_EQ(insert(array, new_label("name", new_number("1"))), JSON_BAD_TREE);
  EXPECT_EQ(print(array), "[]");
  const Tree string = new_string("outer");
  EXPECT_EQ(insert(string, new_label("name", new_number("1"))), JSON_BAD_TREE);
  EXPECT_EQ(print(string), R"("outer")");
}

TEST(InsertChild, StringWithAParentCanNoLongerBecomeALabel) {
  const Tree array = new_array();
  json_value* element = json_new_string("element");
  ASSERT_EQ(json_insert_child(array.get(), element), JSON_OK);
  const Tree child = new_number("1");
  EXPECT_EQ(json_insert_child(element, child.get()), JSON_BAD_TREE);
  EXPECT_EQ(print(array), R"(["element"])");

  const Tree label = new_label("name", new_string("value"));
  EXPECT_EQ(json_insert_child(json_label_value(label.get()), child.get()), JSON_BAD_TREE);
}

TEST(InsertChild, NumberAndLiteralTakeNothing) {
  for (const char* text : {"1", "true", "false", "null"}) {
    const Parsed parsed = parse(text);
    EXPECT_EQ(insert(parsed.root, new_string("child")), JSON_BAD_TREE);
    EXPECT_EQ(insert(parsed.root, new_label("name", new_number("1"))), JSON_BAD_TREE);
    EXPECT_EQ(print(parsed.root), text);
  }
}

TEST(InsertChild, RefusesAChildThatHasAParent) {
  const Tree first = new_array();
  const Tree second = new_array();
  json_value* child = json_new_number("1");
  ASSERT_EQ(json_insert_child(first.get(), child), JSON_OK);
  EXPECT_EQ(json_insert_child(second.get(), child), JSON_BAD_TREE);
  EXPECT_EQ(json_insert_child(first.get(), child), JSON_BAD_TREE);
  EXPECT_EQ(print(first), "[1]");
  EXPECT_EQ(print(second), "[]");
}

TEST(InsertChild, RefusesATreeInsideItself) {
  const Tree outer = new_array();
  EXPECT_EQ(json_insert_child(outer.get(), outer.get()), JSON_BAD_TREE);
  json_value* inner = json_new_array();
  ASSERT_EQ(json_insert_child(outer.get(), inner), JSON_OK);
  EXPECT_EQ(json_insert_child(inner, outer.get()), JSON_BAD_TREE);
  EXPECT_EQ(print(outer), "[[]]");
  const Tree string = new_string("name");
  EXPECT_EQ(json_insert_child(string.get(), string.get()), JSON_BAD_TREE);
  EXPECT_EQ(print(string), R"("name")");
}

TEST(FindFirstLabel, FindsTheFirstOfEqualNames) {
  const Parsed parsed = parse(R"({"a":0,"ID":1,"ID":2})");
  const json_value* label = json_find_first_label(parsed.root.get(), "ID");
  ASSERT_NE(label, nullptr);
  EXPECT_STREQ(json_value_text(json_label_value(label)), "1");
}

TEST(FindFirstLabel, ComparesTheWholeRawName) {
  const Parsed parsed = parse(R"({"":"empty","ab":"short","a\"b":"quote","\u0061":"escape"})");
  const auto value_of = [&](const char* name) {
    const char* text = json_value_text(json_label_value(json_find_first_label(parsed.root.get(), name)));
    return std::string(text == nullptr ? "(none)" : text);
  };
  EXPECT_EQ(value_of(""), "empty");
  EXPECT_EQ(value_of("ab"), "short");
  EXPECT_EQ(value_of("a"), "(none)");
  EXPECT_EQ(value_of("abc"), "(none)");
  EXPECT_EQ(value_of("AB"), "(none)");
  EXPECT_EQ(value_of("a\\\"b"), "quote");
  EXPECT_EQ(value_of("a\"b"), "(none)");
  EXPECT_EQ(value_of("\\u0061"), "escape");
}

TEST(FindFirstLabel, LooksOnlyAtTheObjectsOwnMembers) {
  const Parsed parsed = parse(R"({"outer":{"inner":1},"value":"inner"})");
  EXPECT_EQ(json_find_first_label(parsed.root.get(), "inner"), nullptr);
  const json_value* outer = json_label_value(json_find_first_label(parsed.root.get(), "outer"));
  EXPECT_STREQ(json_value_text(json_label_value(json_find_first_label(outer, "inner"))), "1");
}

TEST(FindFirstLabel, FindsNothingOutsideAnObject) {
  for (const char* text : {R"(["name"])", R"("name")", "1", "true", "null", "{}"}) {
    EXPECT_EQ(json_find_first_label(parse(text).root.get(), "name"), nullptr) << text;
  }
  const Parsed parsed = parse(R"({"name":1})");
  EXPECT_EQ(json_find_first_label(parsed.root.get(), nullptr), nullptr);
  EXPECT_EQ(json_find_first_label(nullptr, "name"), nullptr);
  const json_value* label = json_find_first_label(parsed.root.get(), "name");
  EXPECT_EQ(json_find_first_label(label, "name"), nullptr);
}

TEST(LabelValue, IsThereForALabelOnly) {
  const Tree label = new_label("name", new_number("1"));
  EXPECT_EQ(print(json_label_value(label.get())), "1");
  EXPECT_EQ(json_label_value(nullptr), nullptr);
  for (const char* text : {R"("name")", "[1]", R"({"a":1})", "1", "true"}) {
    EXPECT_EQ(json_label_value(parse(text).root.get()), nullptr) << text;
  }
}

TEST(ValueText, BelongsToStringsNumbersAndLabels) {
  EXPECT_STREQ(json_value_text(parse(R"("a\n\u00e9")").root.get()), R"(a\n\u00e9)");
  EXPECT_STREQ(json_value_text(parse(R"("")").root.get()), "");
  EXPECT_STREQ(json_value_text(parse("-1.50e+07").root.get()), "-1.50e+07");
  EXPECT_STREQ(json_value_text(new_label("name", new_number("1")).get()), "name");
}

TEST(ValueText, IsNoneForTheRest) {
  for (const char* text : {"{}", R"({"a":"b"})", "[]", R"(["a"])", "true", "false", "null"}) {
    EXPECT_EQ(json_value_text(parse(text).root.get()), nullptr) << text;
  }
  EXPECT_EQ(json_value_text(nullptr), nullptr);
}

TEST(FreeValue, EmptiesTheCallersPointer) {
  json_value* root = parse(R"({"a":[1,{"b":[]}],"c":null})").root.release();
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(json_free_value(&root), JSON_OK);
  EXPECT_EQ(root, nullptr);
  EXPECT_EQ(json_free_value(&root), JSON_OK) << "nothing left to release is no error";
  EXPECT_EQ(json_free_value(nullptr), JSON_BAD_TREE);
}

TEST(FreeValue, RefusesAValueThatHasAParent) {
  const Tree array = new_array();
  json_value* element = json_new_number("1");
  ASSERT_EQ(json_insert_child(array.get(), element), JSON_OK);
  json_value* pointer = element;
  EXPECT_EQ(json_free_value(&pointer), JSON_BAD_TREE);
  EXPECT_EQ(pointer, element);
  EXPECT_EQ(print(array), "[1]");
}

// The agent's timer thread builds a report while its main thread reads a message.
TEST(Threads, WorkOnTreesOfTheirOwnAtTheSameTime) {
  const std::string text = R"({"a":[1,2,{"b":"c"}],"d":true})";
  const auto work = [&] {
    for (int i = 0; i < 1000; i++) {
      const Parsed parsed = parse(text);
      EXPECT_EQ(insert(parsed.root, new_label("e", new_array())), JSON_OK);
      EXPECT_EQ(print(parsed.root), R"({"a":[1,2,{"b":"c"}],"d":true,"e":[]})");
    }
  };
  std::thread other(work);
  work();
  other.join();
}

}  // namespace
