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

// One allocation holds a value and, right behind it, its NUL-terminated text. A label is a string with a child.
//
// The links to parent and sibling are enough to walk, print and release a tree without recursion. The height keeps a
// tree from growing beyond JSON_DEPTH_MAX however it is put together, and with it every walk towards the root is short.
struct json_value {
  json_value* parent;
  json_value* next;  // the following child of the same parent
  json_value* first_child;
  json_value* last_child;
  unsigned height;  // objects and arrays inside one another from here downwards, this value included
  mjson::Kind kind;

  char* text() { return reinterpret_cast<char*>(this + 1); }
  const char* text() const { return reinterpret_cast<const char*>(this + 1); }
};

namespace mjson {

inline bool is_container(const json_value& value) { return value.kind == Kind::kObject || value.kind == Kind::kArray; }
inline bool is_label(const json_value& value) { return value.kind == Kind::kString && value.first_child != nullptr; }

// A new value without parent or children, holding a copy of `length` bytes of `text`; NULL when memory is out.
json_value* new_value(Kind kind, const char* text, size_t length);

}  // namespace mjson

#endif
