// A text through the JSON tree: parse, look up, print, parse again, release. Numbers and strings are kept as they are,
// so what is printed must be the input without its white space.
#include <vector>

#include "platform/mjson.h"
#include "tests/fuzz/fuzz.h"

namespace {

struct FreeTree {
  void operator()(json_value* value) const { json_free_value(&value); }
};
using Tree = std::unique_ptr<json_value, FreeTree>;

Tree parse(const char* text, int* error) {
  json_value* root = nullptr;
  *error = json_parse_document(&root, text);
  return Tree(root);
}

std::string print(const json_value* root) {
  char* text = nullptr;
  FUZZ_CHECK(json_tree_to_string(root, &text) == JSON_OK);
  std::string printed = text;
  free(text);
  return printed;
}

// Drops white space outside strings, and collects the contents of all strings.
std::string squeeze(std::string_view text, std::vector<std::string>* strings) {
  std::string squeezed;
  std::string* string = nullptr;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool space = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (string != nullptr || !space) squeezed += c;
    if (c == '"') {
      string = string == nullptr ? &strings->emplace_back() : nullptr;
    } else if (string != nullptr) {
      *string += c;
      if (c == '\\' && i + 1 < text.size()) {
        squeezed += text[++i];
        *string += text[i];
      }
    }
  }
  return squeezed;
}

// Every string of the text is looked up as a member's name: whether or not it is one, nothing may go wrong.
void look_up(const json_value* root, const std::vector<std::string>& names, std::string_view printed) {
  for (const std::string& name : names) {
    const json_value* label = json_find_first_label(root, name.c_str());
    if (label == nullptr) continue;
    FUZZ_CHECK(printed.front() == '{');
    const json_value* value = json_label_value(label);
    FUZZ_CHECK(value != nullptr);
    const char* text = json_value_text(value);
    if (text != nullptr) FUZZ_CHECK(printed.find(text) != printed.npos);
  }
  FUZZ_CHECK(json_find_first_label(root, "\"") == nullptr);  // a quote alone would have ended the name
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fuzz::Text text(fuzz::bytes_of(data, size));
  int error = JSON_OK;
  const Tree tree = parse(text.c_str(), &error);
  FUZZ_CHECK((tree != nullptr) == (error == JSON_OK));
  if (tree == nullptr) {
    FUZZ_CHECK(error == JSON_BAD_TEXT);
    return 0;
  }
  std::vector<std::string> strings;
  const std::string squeezed = squeeze(text.c_str(), &strings);
  const std::string printed = print(tree.get());
  FUZZ_CHECK(printed == squeezed);
  look_up(tree.get(), strings, printed);

  const Tree again = parse(printed.c_str(), &error);
  FUZZ_CHECK(error == JSON_OK);
  FUZZ_CHECK(print(again.get()) == printed);
  return 0;
}
