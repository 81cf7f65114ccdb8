#include "agent/json/json_build.h"

#include "agent/base/text.h"

namespace json {

// What the helpers below may do to a value.
struct Builder {
  // Inserts and keeps the ownership simple: a child that is refused is gone, and `value` has lost a member.
  static int insert(Value& value, json_value* parent, json_value* child) {
    const int result = json_insert_child(parent, child);
    if (result != JSON_OK) {
      value.lost_ = true;
      json_free_value(&child);
    }
    return result;
  }

  // Label first, then the value under the label, then the label under the object.
  static int add_member(Value& object, json_value* label, json_value* member) {
    insert(object, label, member);
    return insert(object, object.tree_.get(), label);
  }

  static int append(Value& array, json_value* element) { return insert(array, array.tree_.get(), element); }

  // What `parent` is to take over: the tree, and the knowledge of what is missing from it.
  static json_value* hand_over(Value& parent, Value&& item) {
    parent.lost_ |= item.lost_;
    return item.tree_.release();
  }
};

Text Value::text() const {
  if (lost_) return nullptr;
  char* printed = nullptr;
  json_tree_to_string(tree_.get(), &printed);
  return Text(printed);
}

void Value::print_body(char* body, size_t size, const char* uuid) const {
  text::Builder built(body, size);
  const Text message = text();
  if (message != nullptr) built.append("[\"%s\",%s]", uuid, message.get());
}

int Value::free() {
  json_value* root = tree_.release();
  return json_free_value(&root);
}

}  // namespace json

using json::Builder;

int json_AddItemToObject(json::Value& object, const char* name, json::Value&& item) {
  json_value* label = json_new_string(name);
  return Builder::add_member(object, label, Builder::hand_over(object, std::move(item)));
}

int json_AddStringToObject(json::Value& object, const char* name, const char* value) {
  json_value* label = json_new_string(name);
  return Builder::add_member(object, label, json_new_string(value));
}

int json_AddNumberToObject(json::Value& object, const char* name, int32_t value) {
  json_value* label = json_new_string(name);
  return Builder::add_member(object, label, json_new_number(text::Number(value).c_str()));
}

int json_AddItemToArray(json::Value& array, json::Value&& item) {
  return Builder::append(array, Builder::hand_over(array, std::move(item)));
}

int json_AddStringObjectToArray(json::Value& parent, const char* name, const char* value) {
  json::Value object = json::Value::object();
  json_AddStringToObject(object, name, value);
  return json_AddItemToArray(parent, std::move(object));
}

int json_AddNumberObjectToArray(json::Value& parent, const char* name, int32_t value) {
  json::Value object = json::Value::object();
  json_AddNumberToObject(object, name, value);
  return json_AddItemToArray(parent, std::move(object));
}
