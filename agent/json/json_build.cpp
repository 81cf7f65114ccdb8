#include "agent/json/json_build.h"

#include <charconv>
#include <cstdio>

namespace {

// Set when a member of the message in the making was lost.
thread_local bool t_incomplete;

// Inserts and keeps the ownership simple: a child that is refused is gone.
int insert(json_value* parent, json_value* child) {
  const int result = json_insert_child(parent, child);
  if (result != JSON_OK) {
    t_incomplete = true;
    json_free_value(&child);
  }
  return result;
}

// Label first, then the value under the label, then the label under the object.
int add_member(json_value* object, json_value* label, json_value* value) {
  insert(label, value);
  return insert(object, label);
}

void print_number(char (&digits)[64], int32_t value) { *std::to_chars(digits, digits + 63, value).ptr = '\0'; }

}  // namespace

int json_AddItemToObject(json_value* object, const char* name, json_value* value) {
  return add_member(object, json_new_string(name), value);
}

int json_AddStringToObject(json_value* object, const char* name, const char* value) {
  json_value* label = json_new_string(name);
  return add_member(object, label, json_new_string(value));
}

int json_AddNumberToObject(json_value* object, const char* name, int32_t value) {
  char digits[64];
  print_number(digits, value);
  json_value* label = json_new_string(name);
  return add_member(object, label, json_new_number(digits));
}

int json_AddStringObjectToArray(json_value* parent, const char* name, const char* value) {
  json_value* object = json_new_object();
  json_AddStringToObject(object, name, value);
  return insert(parent, object);
}

int json_AddNumberObjectToArray(json_value* parent, const char* name, int32_t value) {
  json_value* object = json_new_object();
  json_AddNumberToObject(object, name, value);
  return insert(parent, object);
}

namespace json {

int append(json_value* array, json_value* element) { return insert(array, element); }

Message::Message() : root_(json_new_object()) { t_incomplete = false; }

Text Message::text() const {
  if (t_incomplete) return nullptr;
  char* printed = nullptr;
  json_tree_to_string(root(), &printed);
  return Text(printed);
}

void Message::print_body(char* body, size_t size, const char* uuid) const {
  body[0] = '\0';
  const Text message = text();
  if (message != nullptr) snprintf(body, size, "[\"%s\",%s]", uuid, message.get());
}

}  // namespace json
