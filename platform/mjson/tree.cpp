// The document tree itself: making values, putting them together, finding and releasing them.
#include "platform/mjson/tree.h"

#include <cstring>

#include "platform/mjson/cells.h"

namespace mjson {

json_value* new_value(Kind kind, const char* text, size_t length) {
  const auto kept_length = static_cast<uint32_t>(length);
  auto* value = kept_length == length ? static_cast<json_value*>(take_memory(sizeof(json_value) + length)) : nullptr;
  if (value == nullptr) return nullptr;
  *value = {nullptr, nullptr, nullptr, kept_length, kind, {}};
  memcpy(value->text(), text, length);
  value->text()[length] = '\0';
  return value;
}

void append(json_value* parent, json_value* child) {
  json_value* last = parent->last_child;
  child->parent = parent;
  child->next = last == nullptr ? child : last->next;
  if (last != nullptr) last->next = child;
  parent->last_child = child;
}

namespace {

json_value* new_text_value(Kind kind, const char* text) {
  return text == nullptr ? nullptr : new_value(kind, text, strlen(text));
}

// Whether `child` is of a sort that `parent` has room for. An object refuses a name that has no value yet: it could not
// be printed. A string that stands somewhere already is a value there and can no longer become a label.
bool takes(const json_value& parent, const json_value& child) {
  switch (parent.kind) {
    case Kind::kObject:
      return is_label(child);
    case Kind::kArray:
      return !is_label(child);
    case Kind::kString:
      return parent.parent == nullptr && parent.last_child == nullptr && !is_label(child);
    case Kind::kNumber:
    case Kind::kLiteral:
      return false;
  }
  return false;
}

// Releases leaf after leaf: each child is unhooked before the walk steps down to it, and the way back is its parent.
void free_tree(json_value* root) {
  json_value* node = root;
  while (node != nullptr) {
    json_value* last = node->last_child;
    if (last != nullptr) {
      json_value* first = last->next;
      last->next = first->next;
      if (first == last) node->last_child = nullptr;
      node = first;
    } else {
      json_value* parent = node->parent;
      give_memory(node);
      node = parent;
    }
  }
}

}  // namespace
}  // namespace mjson

using mjson::Kind;

json_value* json_new_object(void) { return mjson::new_value(Kind::kObject, "", 0); }
json_value* json_new_array(void) { return mjson::new_value(Kind::kArray, "", 0); }
json_value* json_new_string(const char* text) { return mjson::new_text_value(Kind::kString, text); }
json_value* json_new_number(const char* text) { return mjson::new_text_value(Kind::kNumber, text); }

int json_insert_child(json_value* parent, json_value* child) {
  if (parent == nullptr || child == nullptr || child->parent != nullptr) return JSON_BAD_TREE;
  if (!mjson::takes(*parent, *child)) return JSON_BAD_TREE;
  for (const json_value* above = parent; above != nullptr; above = above->parent) {
    if (above == child) return JSON_BAD_TREE;  // the tree would hang from itself
  }
  mjson::append(parent, child);
  return JSON_OK;
}

json_value* json_find_first_label(const json_value* object, const char* name) {
  if (object == nullptr || name == nullptr || object->kind != Kind::kObject) return nullptr;
  json_value* const last = object->last_child;
  if (last == nullptr) return nullptr;
  const size_t length = strlen(name);
  json_value* label = last;
  do {
    label = label->next;
    if (label->length == length && memcmp(label->text(), name, length) == 0) return label;
  } while (label != last);
  return nullptr;
}

json_value* json_label_value(const json_value* label) {
  return label != nullptr && mjson::is_label(*label) ? label->last_child : nullptr;
}

const char* json_value_text(const json_value* value) {
  if (value == nullptr) return nullptr;
  return value->kind == Kind::kString || value->kind == Kind::kNumber ? value->text() : nullptr;
}

int json_free_value(json_value** value) {
  if (value == nullptr) return JSON_BAD_TREE;
  if (*value == nullptr) return JSON_OK;
  if ((*value)->parent != nullptr) return JSON_BAD_TREE;
  mjson::free_tree(*value);
  *value = nullptr;
  return JSON_OK;
}
