// Printing: one walk measures the text, the next one writes it into memory of exactly that size.
#include <cstdlib>
#include <cstring>

#include "platform/mjson/tree.h"

namespace mjson {
namespace {

// Counts what is put into it, and keeps it when there is memory.
struct Output {
  char* memory;
  size_t length;

  void put(const char* text, size_t text_length) {
    if (memory != nullptr) memcpy(memory + length, text, text_length);
    length += text_length;
  }
  void put(char byte) { put(&byte, 1); }
  void put(const char* text) { put(text, strlen(text)); }
};

void put_head(const json_value& value, Output& output) {
  switch (value.kind) {
    case Kind::kObject:
      return output.put('{');
    case Kind::kArray:
      return output.put('[');
    case Kind::kString:
      output.put('"');
      output.put(value.text());
      output.put('"');
      if (is_label(value)) output.put(':');
      return;
    case Kind::kNumber:
    case Kind::kLiteral:
      return output.put(value.text());
  }
}

void put_tail(const json_value& value, Output& output) {
  if (value.kind == Kind::kObject) output.put('}');
  if (value.kind == Kind::kArray) output.put(']');
}

void put_tree(const json_value* root, Output& output) {
  const json_value* node = root;
  for (;;) {
    put_head(*node, output);
    if (node->first_child != nullptr) {
      node = node->first_child;
      continue;
    }
    put_tail(*node, output);
    while (node != root && node->next == nullptr) {
      node = node->parent;
      put_tail(*node, output);
    }
    if (node == root) return;
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

  mjson::Output size = {nullptr, 0};
  mjson::put_tree(root, size);
  mjson::Output output = {static_cast<char*>(malloc(size.length + 1)), 0};
  if (output.memory == nullptr) return JSON_NO_MEMORY;
  mjson::put_tree(root, output);
  output.memory[output.length] = '\0';
  *text = output.memory;
  return JSON_OK;
}
