// Printing: one walk writes the text into memory that has room for a usual message, and grows when that is not enough.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/mjson/tree.h"

namespace mjson {
namespace {

constexpr size_t kUsualBytes = 1032;
constexpr size_t kMostMarks = 4;  // around the text of one value: quotes, colon, comma, brackets

struct Output {
  char* memory;
  size_t length;
  size_t size;

  // Makes room for so many bytes and a terminator. Returns false when memory is out.
  bool reserve(size_t bytes) {
    if (bytes < size - length) return true;
    const size_t larger = std::max(2 * size, length + bytes + 1);
    auto* const moved = static_cast<char*>(realloc(memory, larger));
    if (moved == nullptr) return false;
    memory = moved;
    size = larger;
    return true;
  }
  void put(const char* text, size_t text_length) {
    memcpy(memory + length, text, text_length);
    length += text_length;
  }
  void put(char byte) { memory[length++] = byte; }
};

void put_head(const json_value& value, Output& output) {
  switch (value.kind) {
    case Kind::kObject:
      return output.put('{');
    case Kind::kArray:
      return output.put('[');
    case Kind::kString:
      output.put('"');
      output.put(value.text(), value.length);
      output.put('"');
      if (is_label(value)) output.put(':');
      return;
    case Kind::kNumber:
    case Kind::kLiteral:
      return output.put(value.text(), value.length);
  }
}

void put_tail(const json_value& value, Output& output) {
  if (value.kind == Kind::kObject) output.put('}');
  if (value.kind == Kind::kArray) output.put(']');
}

// Returns false when memory is out.
bool put_tree(const json_value* root, Output& output) {
  const json_value* node = root;
  for (;;) {
    if (!output.reserve(node->length + kMostMarks)) return false;
    put_head(*node, output);
    if (node->last_child != nullptr) {
      node = node->first_child();
      continue;
    }
    put_tail(*node, output);
    while (node != root && node->is_last()) {
      node = node->parent;
      if (!output.reserve(kMostMarks)) return false;
      put_tail(*node, output);
    }
    if (node == root) return true;
    output.put(',');
    node = node->next;
  }
}

}  // namespace
}  // namespace mjson

int json_tree_to_string(const json_value* root, char** text) {
  if (text == nullptr) return JSON_BAD_TREE;
  *text = nullptr;
  // A label alone is half of a member and no JSON text.
  if (root == nullptr || mjson::is_label(*root)) return JSON_BAD_TREE;

  mjson::Output output = {static_cast<char*>(malloc(mjson::kUsualBytes)), 0, mjson::kUsualBytes};
  if (output.memory == nullptr) return JSON_NO_MEMORY;
  if (!mjson::put_tree(root, output)) {
    free(output.memory);
    return JSON_NO_MEMORY;
  }
  output.memory[output.length] = '\0';
  *text = output.memory;
  return JSON_OK;
}
