// Printing: one walk measures the text, the next one writes it into memory of exactly that size.
#include <cstdlib>
#include <cstring>

#include "platform/mjson/tree.h"

namespace mjson {
namespace {

// What the text is put into: one only counts, the other keeps it where there is room for it.
struct Counter {
  size_t length = 0;

  void put(char) { length++; }
  void put(const char*, size_t text_length) { length += text_length; }
};

struct Writer {
  char* end;

  void put(char byte) { *end++ = byte; }
  void put(const char* text, size_t text_length) {
    memcpy(end, text, text_length);
    end += text_length;
  }
};

template <typename Output>
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

template <typename Output>
void put_tail(const json_value& value, Output& output) {
  if (value.kind == Kind::kObject) output.put('}');
  if (value.kind == Kind::kArray) output.put(']');
}

template <typename Output>
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

  mjson::Counter counter;
  mjson::put_tree(root, counter);
  auto* const memory = static_cast<char*>(malloc(counter.length + 1));
  if (memory == nullptr) return JSON_NO_MEMORY;
  mjson::Writer writer = {memory};
  mjson::put_tree(root, writer);
  *writer.end = '\0';
  *text = memory;
  return JSON_OK;
}
