// What a value of the document tree is made of. Only the library's own files see it.
#ifndef NUVEK_PLATFORM_MJSON_TREE_H
#define NUVEK_PLATFORM_MJSON_TREE_H

#include <cstddef>
#include <cstdint>

// The contract is all that the library shows to the loader.
#pragma GCC visibility push(default)
#include "platform/mjson.h"
#pragma GCC visibility pop

namespace mjson {

enum class Kind : uint8_t { kObject, kArray, kString, kNumber, kLiteral };

}  // namespace mjson

// One allocation holds a value and its NUL-terminated text, which begins with the last bytes here. A label is a string
// with a child.
//
// The links to parent and sibling are enough to walk, print and release a tree without recursion, however deep it is.
struct json_value {
  json_value* parent;
  json_value* next;        // the following child of the same parent; behind the last one stands the first
  json_value* last_child;  // null without children
  uint32_t length;         // of the text
  mjson::Kind kind;
  char text_begin[3];

  const json_value* first_child() const { return last_child->next; }  // there are children
  bool is_last() const { return parent->last_child == this; }         // among its parent's
  char* text() { return reinterpret_cast<char*>(this) + offsetof(json_value, text_begin); }
  const char* text() const { return const_cast<json_value*>(this)->text(); }
};

namespace mjson {

inline bool is_label(const json_value& value) { return value.kind == Kind::kString && value.last_child != nullptr; }

// A new value without parent or children, holding a copy of `length` bytes of `text`; NULL when memory is out.
json_value* new_value(Kind kind, const char* text, size_t length);

// Hangs a child that has no parent behind the other children of a parent that can take it.
void append(json_value* parent, json_value* child);

}  // namespace mjson

#endif
