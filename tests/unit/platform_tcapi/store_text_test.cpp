// The store's text format, without files.
#include "platform/tcapi/store_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tcapi_store::check;
using tcapi_store::Fault;
using tcapi_store::Place;

const std::string kSound =
    "# tcapi store 1\n"
    "# a comment\n"
    "[one]\n"
    "a=1\n"
    "\n"
    "b=two = 2\n"
    "[two]\n"
    "a=\n"
    "[one]\n"
    "a=later\n"
    "c=3\n"
    "# end\n";

class Text {
 public:
  explicit Text(std::string text)
      : text_(std::move(text)), slots_(tcapi_store::room_for_index(text_), {{1, 1}, {1, 1}}) {
    tcapi_store::fill_index(text_, {slots_.data(), slots_.size()});
  }

  Place find(const std::string& node, const std::string& attr) const {
    return tcapi_store::find(text_, {const_cast<tcapi_store::Slot*>(slots_.data()), slots_.size()}, node, attr);
  }

  // The text after a change.
  std::string changed(const char* node, const char* attr, const char* value) const {
    const Place place = find(node, attr);
    std::string entry(tcapi_store::kEntryMaxBytes, '\0');
    entry.resize(tcapi_store::write_entry(place, node, attr, value, entry.data()));
    return text_.substr(0, place.begin) + entry + text_.substr(place.end);
  }

 private:
  std::string text_;
  std::vector<tcapi_store::Slot> slots_;
};

std::string store_of(const std::string& lines) { return "# tcapi store 1\n" + lines + "# end\n"; }

TEST(StoreText, SoundTextIsAccepted) { EXPECT_EQ(check(kSound).reason, nullptr); }

TEST(StoreText, EmptyStoreIsAccepted) { EXPECT_EQ(check(store_of("")).reason, nullptr); }

TEST(StoreText, ATextOfTheLargestSizeIsAcceptedAndOneByteMoreIsRefused) {
  const size_t filled = tcapi_store::kStoreMaxBytes - store_of("#\n").size();
  EXPECT_EQ(check(store_of("#" + std::string(filled, '.') + "\n")).reason, nullptr);
  EXPECT_STREQ(check(store_of("#" + std::string(filled + 1, '.') + "\n")).reason, "larger than a store may be");
}

TEST(StoreText, NamesAreVisibleAscii) {
  for (const char* name : {"a", "~", "!", "a-b.c"}) EXPECT_TRUE(tcapi_store::is_sane_name(name)) << name;
  for (const char* name : {"", " ", "a b", "\x7f", "a\x7f", "\xc3\xa4", "a=b", "#", "[", "]"}) {
    EXPECT_FALSE(tcapi_store::is_sane_name(name)) << name;
  }
}

TEST(StoreText, EveryBeginningOfATextIsRefused) {
  for (size_t size = 0; size < kSound.size(); ++size) {
    EXPECT_NE(check({kSound.data(), size}).reason, nullptr) << "cut after byte " << size;
  }
}

TEST(StoreText, FaultIsToldWithItsLine) {
  const struct {
    std::string text;
    uint32_t line;
    const char* reason;
  } cases[] = {
      {"", 1, "not a store: its first line is not \"# tcapi store 1\""},
      {"#!/bin/sh\n# end\n", 1, "not a store: its first line is not \"# tcapi store 1\""},
      {"# tcapi store 2\n# end\n", 1, "not a store: its first line is not \"# tcapi store 1\""},
      {"# tcapi store 1\r\n# end\r\n", 1, "not a store: its first line is not \"# tcapi store 1\""},
      {"# tcapi store 1\n", 2, "torn: the last line is not \"# end\" and a newline"},
      {"# tcapi store 1\n[a]\nb=1\n", 4, "torn: the last line is not \"# end\" and a newline"},
      {"# tcapi store 1\n[a]\nb=1\n# end", 4, "torn: the last line is not \"# end\" and a newline"},
      {"# tcapi store 1\n[a]\nb=# end\n", 4, "torn: the last line is not \"# end\" and a newline"},
      {store_of("[a]\nb=1\n# end\nc=2\n"), 4, "the end of the store ahead of other lines"},
      {store_of("b=1\n"), 2, "an attribute ahead of the first [node]"},
      {store_of("[]\n"), 2, "not a name for a node"},
      {store_of("[a b]\n"), 2, "not a name for a node"},
      {store_of("[a=b]\n"), 2, "not a name for a node"},
      {store_of("[" + std::string(64, 'n') + "]\n"), 2, "not a name for a node"},
      {store_of("[a\n"), 2, "neither [node] nor attribute=value"},
      {store_of("[a]\nb\n"), 3, "neither [node] nor attribute=value"},
      {store_of("[a]\n=1\n"), 3, "not a name for an attribute"},
      {store_of("[a]\nb c=1\n"), 3, "not a name for an attribute"},
      {store_of("[a]\nb=1\r\n"), 3, "a carriage return that is not written as \\r"},
      {store_of(std::string("[a]\nb=1\0\n", 9)), 3, "a NUL byte"},
      {store_of("[a]\nb=\\t\n"), 3, "a backslash that is none of \\\\, \\n and \\r"},
      {store_of("[a]\nb=1\\\n"), 3, "a backslash that is none of \\\\, \\n and \\r"},
      {store_of("[a]\nb=" + std::string(1024, 'v') + "\n"), 3, "a value of more than 1023 characters"},
  };
  for (const auto& one : cases) {
    const Fault fault = check(one.text);
    EXPECT_EQ(fault.line, one.line) << one.text;
    EXPECT_STREQ(fault.reason, one.reason) << one.text;
  }
}

TEST(StoreText, LengthOfAValueCountsItsCharactersAndNotItsEscapes) {
  std::string escaped;
  for (int i = 0; i < TCAPI_VALUE_MAX; ++i) escaped += "\\n";
  EXPECT_EQ(check(store_of("[a]\nb=" + escaped + "\n")).reason, nullptr);
  EXPECT_NE(check(store_of("[a]\nb=" + escaped + "\\n\n")).reason, nullptr);
}

TEST(StoreText, FirstOfTwoEqualAttributesCounts) { EXPECT_EQ(Text(kSound).find("one", "a").value, "1"); }

TEST(StoreText, NodeMayGoOnInALaterSection) { EXPECT_EQ(Text(kSound).find("one", "c").value, "3"); }

TEST(StoreText, ValueIsAllThatFollowsTheFirstEqualsSign) { EXPECT_EQ(Text(kSound).find("one", "b").value, "two = 2"); }

TEST(StoreText, AttributeIsSoughtInItsOwnNodeOnly) {
  EXPECT_TRUE(Text(kSound).find("two", "a").has_attr);
  EXPECT_FALSE(Text(kSound).find("two", "b").has_attr);
  EXPECT_TRUE(Text(kSound).find("two", "b").has_node);
  EXPECT_FALSE(Text(kSound).find("tw", "a").has_node);
}

// A name that an insane caller asks for must not be found where it stands by chance across the format's own bytes.
TEST(StoreText, NamesThatReachAcrossTheFormatsBytesAreNeverFound) {
  EXPECT_FALSE(Text(kSound).find("one", "b=two ").has_attr);
  EXPECT_FALSE(Text(kSound).find("one", "# a comment").has_attr);
  EXPECT_FALSE(Text(kSound).find("one", "").has_attr);
  EXPECT_FALSE(Text(kSound).find("two]\na=\n[one", "").has_node);
  for (const char c : {']', '\n', '='}) EXPECT_FALSE(Text(kSound).find(std::string("one") + c, "a").has_node);
  EXPECT_FALSE(Text(store_of("[n]\n#c=1\n")).find("n", "#c").has_attr);
}

// Whatever slots of the index the names share.
TEST(StoreText, EachOfManyNodesIsFoundWithItsOwnValues) {
  for (const int nodes : {1, 2, 3, 4, 5, 8, 9, 300}) {
    std::string lines;
    for (int i = 0; i < nodes; ++i) lines += "[node" + std::to_string(i) + "]\na=" + std::to_string(i) + "\n";
    for (int i = 0; i < nodes; ++i) lines += "[node" + std::to_string(i) + "]\na=later\nb=" + std::to_string(i) + "\n";
    const Text text(store_of(lines));
    for (int i = 0; i < nodes; ++i) {
      const std::string number = std::to_string(i);
      EXPECT_EQ(text.find("node" + number, "a").value, number);
      EXPECT_EQ(text.find("node" + number, "b").value, number);
      EXPECT_FALSE(text.find("node" + number, "c").has_attr);
      EXPECT_FALSE(text.find("node-" + number, "a").has_node);
    }
  }
}

TEST(StoreText, IndexHasMoreSlotsThanNodesAndAttributes) {
  std::string lines;
  for (size_t names = 0; names < 100; ++names) {
    const size_t room = tcapi_store::room_for_index(store_of(lines));
    EXPECT_GT(room, names);
    EXPECT_EQ(room & (room - 1), 0U) << "a power of two";
    EXPECT_LE(room, 4 * names + 4);
    lines += names % 3 == 0 ? "[n]\n" : "a=1\n";
  }
}

TEST(StoreText, ChangeLeavesEveryOtherByteAsItWas) {
  const std::string text = store_of("# mine\n[one]\na=1\n\n# about two\n[two]\na=2\n");
  EXPECT_EQ(Text(text).changed("one", "a", "new"), store_of("# mine\n[one]\na=new\n\n# about two\n[two]\na=2\n"));
  EXPECT_EQ(Text(text).changed("one", "b", "x"), store_of("# mine\n[one]\na=1\nb=x\n\n# about two\n[two]\na=2\n"));
  EXPECT_EQ(Text(text).changed("three", "b", "x"),
            store_of("# mine\n[one]\na=1\n\n# about two\n[two]\na=2\n[three]\nb=x\n"));
}

TEST(StoreText, NewAttributeOfAnEmptyNodeFollowsItsNode) {
  EXPECT_EQ(Text(store_of("[one]\n[two]\n")).changed("one", "a", "1"), store_of("[one]\na=1\n[two]\n"));
}

TEST(StoreText, LongestEntryFitsItsBound) {
  const std::string name(tcapi_store::kNameMaxChars, 'n');
  const std::string value(TCAPI_VALUE_MAX, '\n');
  const Place place = Text(store_of("")).find(name.c_str(), name.c_str());
  std::string entry(tcapi_store::kEntryMaxBytes + 1, '!');
  EXPECT_EQ(tcapi_store::write_entry(place, name, name, value, entry.data()), tcapi_store::kEntryMaxBytes);
  EXPECT_EQ(entry.back(), '!');
}

}  // namespace
