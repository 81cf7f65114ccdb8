// What the tests of the document tree share: an owner for a tree, and parsing and printing as plain calls.
#ifndef NUVEK_TESTS_UNIT_PLATFORM_MJSON_TREE_TOOLS_H
#define NUVEK_TESTS_UNIT_PLATFORM_MJSON_TREE_TOOLS_H

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/mjson.h"

struct FreeTree {
  void operator()(json_value* value) const { json_free_value(&value); }
};
using Tree = std::unique_ptr<json_value, FreeTree>;

struct Parsed {
  int error;
  Tree root;
};

inline Parsed parse(const std::string& text) {
  json_value* root = nullptr;
  const int error = json_parse_document(&root, text.c_str());
  return {error, Tree(root)};
}

inline std::string print(const json_value* root) {
  char* text = nullptr;
  const int error = json_tree_to_string(root, &text);
  if (error != JSON_OK) return "error " + std::to_string(error);
  const std::string printed = text;
  free(text);
  return printed;
}
inline std::string print(const Tree& root) { return print(root.get()); }

inline std::string repeat(const std::string& piece, size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (size_t i = 0; i < count; i++) text += piece;
  return text;
}

// Hangs `child` into `parent`, which owns it from then on; a refused child is released.
inline int insert(const Tree& parent, Tree child) {
  const int error = json_insert_child(parent.get(), child.get());
  if (error == JSON_OK) child.release();
  return error;
}

inline Tree new_object() { return Tree(json_new_object()); }
inline Tree new_array() { return Tree(json_new_array()); }
inline Tree new_string(const std::string& text) { return Tree(json_new_string(text.c_str())); }
inline Tree new_number(const std::string& text) { return Tree(json_new_number(text.c_str())); }
inline Tree new_label(const std::string& name, Tree value) {
  Tree label = new_string(name);
  return insert(label, std::move(value)) == JSON_OK ? std::move(label) : Tree();
}

#endif
