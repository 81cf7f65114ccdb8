// The grammar: what is one JSON value, and what is not.
#include <gtest/gtest.h>

#include "tree_tools.h"

namespace {

// Texts without white space come back as they are.
const char* const kGoodTexts[] = {
    "{}",
    "[]",
    R"("")",
    R"("text")",
    "true",
    "false",
    "null",
    "0",
    "-0",
    "7",
    "-1",
    "10",
    "1234567890123456789012345678901234567890",
    "0.0",
    "-0.5",
    "1.25",
    "100.001",
    "0e0",
    "1e9",
    "1E9",
    "1e+9",
    "1e-9",
    "1e05",
    "-12.50E+007",
    "1e999999",
    "[1]",
    "[1,2]",
    "[[]]",
    "[[],[]]",
    "[{}]",
    "[{},{}]",
    "[[1],2,[3,[4]]]",
    "[true,false,null]",
    R"(["",""])",
    R"({"":""})",
    R"({"a":{}})",
    R"({"a":[]})",
    R"({"a":{"b":{"c":[{"d":1}]}},"e":2})",
    R"({"a":1,"b":"2","c":true,"d":false,"e":null,"f":[],"g":{}})",
    R"({"ID":1,"ID":2})",
    R"({"true":true,"1":1,"{":"}","[":"]",",":":"})",
    R"("\"")",
    R"("\\")",
    R"("\\\"")",
    R"("\\\\")",
    R"("\/\b\f\n\r\t")",
    R"("\u00e9\uD83D\uDE00")",
    R"("\q\u12 and \x")",
    R"({"\"":"\\"})",
    R"(["9b2d",{"RPCMethod":"Get","ID":7,"ObjectPath":"A.B.","Code":"0"}])",
    "\"two\nlines\tand\rmore\"",
    "\"\x01\x1f\x7f\"",
    "\"\xc3\xa9 \xff\xfe\xc0\x80\"",
    "\"\\\n\"",
    "{\"\xff\":\"\x01\"}",
};

const char* const kBadTexts[] = {
    "",
    " ",
    "\n",
    "\xef\xbb\xbf{}",
    "\v1",
    "\f1",
    "\xa0 1",
    // literals
    "True",
    "TRUE",
    "nul",
    "tru",
    "fals",
    "truex",
    "nulll",
    "true1",
    "NaN",
    "Infinity",
    "-Infinity",
    "undefined",
    "text",
    // numbers
    "+1",
    "-",
    "--1",
    "- 1",
    "00",
    "01",
    "-01",
    "1.",
    ".5",
    "-.5",
    "1..2",
    "1.2.3",
    "1e",
    "1E",
    "1e+",
    "1e-",
    "1e+-1",
    "1e1.5",
    "1.e1",
    "e1",
    "0x10",
    "1,5",
    "1 2",
    "1_000",
    "1a",
    // strings
    "\"",
    R"("text)",
    R"("text\")",
    R"("\)",
    R"(text")",
    R"('text')",
    R"("a""b")",
    R"("a"b)",
    // arrays
    "[",
    "]",
    "[[]",
    "[]]",
    "[1",
    "[1,",
    "[,",
    "[,]",
    "[1,]",
    "[,1]",
    "[1,,2]",
    "[1 2]",
    "[1:2]",
    R"(["a":1])",
    "[1}",
    "[}",
    "[1;2]",
    // objects
    "{",
    "}",
    "{}}",
    "{{}}",
    "{]",
    "{,}",
    R"({"a"})",
    R"({"a":})",
    R"({"a":,})",
    R"({"a" 1})",
    R"({"a"::1})",
    R"({"a",1})",
    R"({"a":1)",
    R"({"a":1,)",
    R"({"a":1,})",
    R"({,"a":1})",
    R"({"a":1,,"b":2})",
    R"({"a":1 "b":2})",
    R"({"a":1:2})",
    R"({"a":1])",
    R"({:1})",
    R"({1:1})",
    R"({a:1})",
    R"({true:1})",
    R"({null:1})",
    R"({[]:1})",
    R"({'a':1})",
    R"({"a":1}b)",
    R"({"a":1}{})",
    R"({"a":[1,{"b":2]})",
    // after the value
    "{} {}",
    "[],",
    "{},{}",
    "1,",
    "null null",
    "{}\v",
    "// note\n1",
    "1 /* note */",
};

// A document that uses each rule of the grammar, so that a cut or a damaged byte meets each of them.
const std::string kDocument =
    R"({"a":[0,-1.5e+10,"x\"y\\",true,false,null,[],{}], "b" : {"c":{"d":"e"},"d":[1 , 2]},"ID":7,"ID":8})";

TEST(Parse, GivesBackEveryGoodText) {
  for (const char* text : kGoodTexts) {
    const Parsed parsed = parse(text);
    EXPECT_EQ(parsed.error, JSON_OK) << text;
    EXPECT_EQ(print(parsed.root), text);
  }
}

TEST(Parse, RefusesEveryBadText) {
  for (const char* text : kBadTexts) {
    json_value* root = json_new_object();
    json_value* const old_root = root;
    EXPECT_EQ(json_parse_document(&root, text), JSON_BAD_TEXT) << text;
    EXPECT_EQ(root, nullptr) << text;
    Tree owner(old_root);
  }
}

TEST(Parse, RefusesNull) {
  EXPECT_EQ(json_parse_document(nullptr, "1"), JSON_BAD_TREE);
  const Tree old_root = new_object();
  json_value* root = old_root.get();
  EXPECT_EQ(json_parse_document(&root, nullptr), JSON_BAD_TREE);
  EXPECT_EQ(root, nullptr);
}

TEST(Parse, DropsWhiteSpaceAroundEachPart) {
  const std::string space = " \t\r\n \n";
  std::string spaced = space;
  for (const char* part : {"{", R"("a b")", ":", "[", "1", ",", "true", ",", "[", "]", ",", "{", "}", "]", ",",
                           R"("c")", ":", R"(" d ")", "}"}) {
    spaced += part + space;
  }
  EXPECT_EQ(print(parse(spaced).root), R"({"a b":[1,true,[],{}],"c":" d "})");
}

TEST(Parse, RefusesEveryPrefix) {
  ASSERT_EQ(parse(kDocument).error, JSON_OK);
  for (size_t length = 0; length < kDocument.size(); length++) {
    EXPECT_EQ(parse(kDocument.substr(0, length)).error, JSON_BAD_TEXT) << "first " << length << " bytes";
  }
}

// A damaged document is refused, or it is another good one: then it prints, and what it prints is as good.
TEST(Parse, SurvivesEveryDamagedByte) {
  size_t refused = 0;
  for (size_t at = 0; at < kDocument.size(); at++) {
    for (const char byte : std::string("\0\"\\{}[],: x0-\x01\xff", 15)) {
      std::string damaged = kDocument;
      damaged[at] = byte;
      const Parsed parsed = parse(damaged);
      if (parsed.error != JSON_OK) {
        EXPECT_EQ(parsed.error, JSON_BAD_TEXT) << damaged;
        EXPECT_EQ(parsed.root, nullptr) << damaged;
        refused++;
        continue;
      }
      const std::string printed = print(parsed.root);
      EXPECT_EQ(print(parse(printed).root), printed) << damaged;
    }
  }
  EXPECT_GT(refused, kDocument.size());
}

TEST(Parse, StopsAtTheEndOfTheText) {
  EXPECT_EQ(parse(std::string("[1]\0garbage", 11)).error, JSON_OK);
  EXPECT_EQ(parse(std::string("\"a\0b\"", 5)).error, JSON_BAD_TEXT);
  EXPECT_EQ(parse(std::string("\"a\\\0\"", 5)).error, JSON_BAD_TEXT);
}

TEST(Parse, ReadsAMemberOfAMessage) {
  const Parsed parsed = parse(R"({"RPCMethod":"Get","ID":7,"List":{}})");
  const auto text_of = [&](const char* name) {
    return json_value_text(json_label_value(json_find_first_label(parsed.root.get(), name)));
  };
  EXPECT_STREQ(text_of("RPCMethod"), "Get");
  EXPECT_STREQ(text_of("ID"), "7");
  EXPECT_EQ(text_of("List"), nullptr);
  EXPECT_EQ(text_of("Code"), nullptr);
}

}  // namespace
