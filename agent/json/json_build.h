// Owns the making of outgoing JSON: the member helpers, through which every member of every message is added and which
// so fix the messages' shape, and the owner of what is being made. Nothing is escaped: senders pass plain text only.
#ifndef NUVEK_AGENT_JSON_JSON_BUILD_H
#define NUVEK_AGENT_JSON_JSON_BUILD_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/mjson.h"

namespace json {

struct FreeValue {
  void operator()(json_value* value) const { json_free_value(&value); }
};
using Tree = std::unique_ptr<json_value, FreeValue>;

struct FreeText {
  void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

// An object or an array in the making, and all below it. It knows when a member was lost, which happens when memory is
// out: half a message must not go out.
class Value {
 public:
  explicit Value(json_value* value) : tree_(value) {}  // owns it from then on
  static Value object() { return Value(json_new_object()); }
  static Value array() { return Value(json_new_array()); }
  Value(Value&&) = default;

  // Its text; null when a member was lost, or there is no memory for it.
  Text text() const;

  // The body of a request with it as the message: ["<uuid>",<message>], cut to what fits into `size` bytes; empty when
  // there is no text.
  void print_body(char* body, size_t size, const char* uuid) const;

  // Releases the tree early and returns the library's code, 0 for success.
  int free();

  const json_value* tree() const { return tree_.get(); }

 private:
  friend struct Builder;
  Tree tree_;
  bool lost_ = false;
};

}  // namespace json

// Each appends one member to `object` and returns the library's code, 0 for success. The value given to
// json_AddItemToObject passes to the object; a member that the library refuses is released and missing from the output.
int json_AddItemToObject(json::Value& object, const char* name, json::Value&& item);
int json_AddStringToObject(json::Value& object, const char* name, const char* value);
int json_AddNumberToObject(json::Value& object, const char* name, int32_t value);  // printed with "%d"

// Appends an element to an array, which owns it from then on.
int json_AddItemToArray(json::Value& array, json::Value&& item);

// Each appends a new object with the one member to an array, or makes it the value of a label.
int json_AddStringObjectToArray(json::Value& parent, const char* name, const char* value);
int json_AddNumberObjectToArray(json::Value& parent, const char* name, int32_t value);

#endif
