// Parsing: one loop over the text. The tree under construction is its own stack, so that no text can exhaust the
// program's. Each value knows its place, so that a deep text takes as little time as a flat one of its length.
#include <cstring>
#include <memory>
#include <utility>

#include "platform/mjson/tree.h"

namespace mjson {
namespace {

struct FreeTree {
  void operator()(json_value* value) const { json_free_value(&value); }
};
using Tree = std::unique_ptr<json_value, FreeTree>;

struct Parser {
  const char* at;
  Tree root;
  json_value* open;  // the innermost object or array whose end has not come yet
  Tree label;        // read, and waiting for its value
};

bool is_space(char byte) { return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n'; }

void skip_space(Parser& parser) {
  while (is_space(*parser.at)) parser.at++;
}

bool skip_byte(Parser& parser, char byte) {
  if (*parser.at != byte) return false;
  parser.at++;
  return true;
}

bool is_digit(char byte) { return byte >= '0' && byte <= '9'; }

// The first byte behind a run of digits; NULL when there is no digit.
const char* digits_end(const char* at) {
  if (!is_digit(*at)) return nullptr;
  while (is_digit(*at)) at++;
  return at;
}

// The first byte behind a number; NULL when there is none. A zero in front ends the whole part: what follows "0" in
// "01" is then in nobody's place.
const char* number_end(const char* at) {
  if (*at == '-') at++;
  at = *at == '0' ? at + 1 : digits_end(at);
  if (at != nullptr && *at == '.') at = digits_end(at + 1);
  if (at == nullptr || (*at != 'e' && *at != 'E')) return at;
  at++;
  if (*at == '+' || *at == '-') at++;
  return digits_end(at);
}

// The closing quote of a string, from its first byte on; NULL when the text ends before it.
const char* string_end(const char* at) {
  for (; *at != '"'; at++) {
    if (*at == '\\') at++;
    if (*at == '\0') return nullptr;
  }
  return at;
}

// Makes a value of the text from the parser's place to `end`.
Tree take_text(Parser& parser, Kind kind, const char* end) {
  Tree value(new_value(kind, parser.at, static_cast<size_t>(end - parser.at)));
  parser.at = end;
  return value;
}

// Hangs a new value, below its label if one waits, into the tree.
int attach(Parser& parser, Tree value) {
  if (value == nullptr) return JSON_NO_MEMORY;
  if (parser.open == nullptr) {
    parser.root = std::move(value);
    return JSON_OK;
  }
  if (parser.label != nullptr) {
    append(parser.label.get(), value.release());
    value = std::move(parser.label);
  }
  append(parser.open, value.release());
  return JSON_OK;
}

int read_string(Parser& parser, Tree& string) {
  if (!skip_byte(parser, '"')) return JSON_BAD_TEXT;
  const char* end = string_end(parser.at);
  if (end == nullptr) return JSON_BAD_TEXT;
  string = take_text(parser, Kind::kString, end);
  parser.at++;
  return string == nullptr ? JSON_NO_MEMORY : JSON_OK;
}

int read_string_value(Parser& parser) {
  Tree string;
  const int error = read_string(parser, string);
  return error != JSON_OK ? error : attach(parser, std::move(string));
}

int read_number(Parser& parser) {
  const char* end = number_end(parser.at);
  return end == nullptr ? JSON_BAD_TEXT : attach(parser, take_text(parser, Kind::kNumber, end));
}

int read_literal(Parser& parser) {
  for (const char* literal : {"true", "false", "null"}) {
    const size_t length = strlen(literal);
    if (strncmp(parser.at, literal, length) != 0) continue;
    return attach(parser, take_text(parser, Kind::kLiteral, parser.at + length));
  }
  return JSON_BAD_TEXT;
}

int open_container(Parser& parser, Kind kind) {
  parser.at++;
  Tree container(new_value(kind, "", 0));
  json_value* opened = container.get();
  const int error = attach(parser, std::move(container));
  if (error == JSON_OK) parser.open = opened;
  return error;
}

int read_value(Parser& parser) {
  skip_space(parser);
  switch (*parser.at) {
    case '{':
      return open_container(parser, Kind::kObject);
    case '[':
      return open_container(parser, Kind::kArray);
    case '"':
      return read_string_value(parser);
    case 't':
    case 'f':
    case 'n':
      return read_literal(parser);
    default:
      return read_number(parser);
  }
}

int read_label(Parser& parser) {
  skip_space(parser);
  const int error = read_string(parser, parser.label);
  if (error != JSON_OK) return error;
  skip_space(parser);
  return skip_byte(parser, ':') ? JSON_OK : JSON_BAD_TEXT;
}

// Closes every object and array that ends here.
void close_containers(Parser& parser) {
  skip_space(parser);
  while (parser.open != nullptr && skip_byte(parser, parser.open->kind == Kind::kObject ? '}' : ']')) {
    json_value* parent = parser.open->parent;
    const bool below_label = parent != nullptr && parent->kind == Kind::kString;
    parser.open = below_label ? parent->parent : parent;
    skip_space(parser);
  }
}

int parse(Parser& parser) {
  for (;;) {
    int error = JSON_OK;
    if (parser.open != nullptr && parser.open->kind == Kind::kObject) error = read_label(parser);
    if (error == JSON_OK) error = read_value(parser);
    if (error != JSON_OK) return error;

    close_containers(parser);
    if (parser.open == nullptr) return *parser.at == '\0' ? JSON_OK : JSON_BAD_TEXT;
    // What is still empty was opened just now: its first member needs no comma.
    const bool first = parser.open->last_child == nullptr;
    if (!first && !skip_byte(parser, ',')) return JSON_BAD_TEXT;
  }
}

}  // namespace
}  // namespace mjson

int json_parse_document(json_value** root, const char* text) {
  if (root == nullptr) return JSON_BAD_TREE;
  *root = nullptr;
  if (text == nullptr) return JSON_BAD_TREE;

  mjson::Parser parser = {text, nullptr, nullptr, nullptr};
  const int error = mjson::parse(parser);
  if (error == JSON_OK) *root = parser.root.release();
  return error;
}
