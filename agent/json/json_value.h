// Owns reading members out of a received JSON text.
#ifndef NUVEK_AGENT_JSON_JSON_VALUE_H
#define NUVEK_AGENT_JSON_JSON_VALUE_H

#include <cstddef>

#include "agent/json/json_build.h"

// Copies the text of the first top-level member named `key` (a string as it stands between its quotes, or a number)
// into `out`, cut to what fits into `size` bytes. Leaves `out` as it is when the text does not parse as an object, has
// no such member, or the member is an object, an array, true, false or null. Returns false when there was no memory to
// look.
bool nuvek_json_get_value(const char* json, const char* key, char* out, size_t size);
template <size_t Size>
bool nuvek_json_get_value(const char* json, const char* key, char (&out)[Size]) {
  return nuvek_json_get_value(json, key, out, Size);
}

namespace json {

// The same in two steps, for a reader of several members.
class Document {
 public:
  explicit Document(const char* text);
  bool no_memory() const { return no_memory_; }

  void copy(const char* key, char* out, size_t size) const;
  template <size_t Size>
  void copy(const char* key, char (&out)[Size]) const {
    copy(key, out, Size);
  }

 private:
  Tree tree_;  // empty when the text does not parse
  bool no_memory_;
};

}  // namespace json

#endif
