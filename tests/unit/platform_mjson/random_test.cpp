// Random documents: built through the calls, printed, parsed with white space strewn in, printed again. The expected
// text is put together beside the tree, not by the library.
#include <gtest/gtest.h>

#include <array>
#include <random>

#include "tree_tools.h"

namespace {

constexpr unsigned kFirstSeed = 20240501;
constexpr unsigned kDocuments = 1000;
constexpr size_t kMaxDepth = 6;
constexpr size_t kMaxChildren = 5;

struct Document {
  Tree tree;
  std::string text;    // as it is to be printed
  std::string spaced;  // the same with white space between its parts
};

class Generator {
 public:
  explicit Generator(unsigned seed) : random_(seed) {}

  Document value(size_t depth) {
    const size_t kind = below(depth < kMaxDepth ? 5 : 3);
    if (kind == 0) return string_value(string());
    if (kind == 1) return number_value(number());
    if (kind == 2) return literal_value();
    return kind == 3 ? array(depth) : object(depth);
  }

 private:
  size_t below(size_t bound) { return random_() % bound; }

  std::string space() {
    std::string text;
    for (size_t i = below(3); i > 0; i--) text += " \t\r\n"[below(4)];
    return text;
  }

  // Any bytes but NUL; quotes and backslashes stand behind a backslash.
  std::string string() {
    std::string text;
    for (size_t i = below(12); i > 0; i--) {
      const char byte = static_cast<char>(1 + below(255));
      if (byte == '"' || byte == '\\') text += '\\';
      text += byte;
    }
    return text;
  }

  std::string digits() { return std::to_string(random_()); }

  std::string number() {
    std::string text = below(2) == 0 ? "-" : "";
    text += below(4) == 0 ? "0" : digits();
    if (below(2) == 0) text += "." + repeat("0", below(3)) + digits();
    if (below(3) == 0) text += std::string(1, "eE"[below(2)]) + std::string("+-").substr(below(3), 1) + digits();
    return text;
  }

  Document scalar(Tree tree, const std::string& text) { return {std::move(tree), text, space() + text + space()}; }

  Document string_value(const std::string& text) { return scalar(new_string(text), "\"" + text + "\""); }
  Document number_value(const std::string& text) { return scalar(new_number(text), text); }
  Document literal_value() {
    const char* const text = std::array<const char*, 3>{"true", "false", "null"}[below(3)];
    return scalar(std::move(parse(text).root), text);
  }

  Document array(size_t depth) {
    Document document{new_array(), "[", space() + "["};
    const size_t count = below(kMaxChildren);
    for (size_t i = 0; i < count; i++) add(document, i == 0 ? "" : ",", value(depth + 1));
    return close(std::move(document), "]");
  }

  Document object(size_t depth) {
    Document document{new_object(), "{", space() + "{"};
    const size_t count = below(kMaxChildren);
    for (size_t i = 0; i < count; i++) {
      const std::string name = string();
      const std::string before = i == 0 ? "" : ",";
      Document member = value(depth + 1);
      member.tree = new_label(name, std::move(member.tree));
      member.text = "\"" + name + "\":" + member.text;
      member.spaced = space() + "\"" + name + "\"" + space() + ":" + member.spaced;
      add(document, before, std::move(member));
    }
    return close(std::move(document), "}");
  }

  void add(Document& document, const std::string& before, Document child) {
    EXPECT_EQ(insert(document.tree, std::move(child.tree)), JSON_OK);
    document.text += before + child.text;
    document.spaced += before + child.spaced;
  }

  Document close(Document document, const std::string& end) {
    document.text += end;
    document.spaced += (document.spaced.size() == 1 ? space() : "") + end + space();
    return document;
  }

  std::mt19937 random_;
};

TEST(RandomDocument, IsPrintedAndParsedWithoutAChange) {
  size_t bytes = 0;
  for (unsigned seed = kFirstSeed; seed < kFirstSeed + kDocuments; seed++) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Document document = Generator(seed).value(0);
    ASSERT_EQ(print(document.tree), document.text);
    ASSERT_EQ(print(parse(document.text).root), document.text);
    ASSERT_EQ(print(parse(document.spaced).root), document.text) << document.spaced;
    bytes += document.text.size();
  }
  EXPECT_GT(bytes, 10 * kDocuments) << "the documents have become too small to show anything";
}

}  // namespace
