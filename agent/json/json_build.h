// Owns the making of outgoing JSON: the member helpers, through which every member of every message is added and which
// so fix the messages' shape, and the owner of a message's tree. Nothing is escaped: senders pass plain text only.
#ifndef NUVEK_AGENT_JSON_JSON_BUILD_H
#define NUVEK_AGENT_JSON_JSON_BUILD_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/mjson.h"

// Each appends one member to `object` and returns the library's code, 0 for success. The value given to
// json_AddItemToObject passes to the object; a member that the library refuses is released and missing from the output.
int json_AddItemToObject(json_value* object, const char* name, json_value* value);
int json_AddStringToObject(json_value* object, const char* name, const char* value);
int json_AddNumberToObject(json_value* object, const char* name, int32_t value);  // printed with "%d"

// Each appends a new object with the one member to `parent`, an array or a label.
int json_AddStringObjectToArray(json_value* parent, const char* name, const char* value);
int json_AddNumberObjectToArray(json_value* parent, const char* name, int32_t value);

namespace json {

struct FreeValue {
  void operator()(json_value* value) const { json_free_value(&value); }
};
using Tree = std::unique_ptr<json_value, FreeValue>;

struct FreeText {
  void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

// Appends an element to an array, which owns it from then on; an element that is refused is released.
int append(json_value* array, json_value* element);

// The root object of one message and all below it. One message is made at a time on a thread.
class Message {
 public:
  Message();
  json_value* root() const { return root_.get(); }
  json_value* release() { return root_.release(); }

  // The message's text; null when memory ran out while the message was made, since half a message must not go out.
  Text text() const;

  // The body of a request: ["<uuid>",<message>], cut to what fits into `size` bytes; empty when there is no text.
  void print_body(char* body, size_t size, const char* uuid) const;

 private:
  Tree root_;
};

}  // namespace json

#endif
