#include "agent/json/json_value.h"

#include <cstdio>
#include <cstring>

#include "agent/base/text.h"

bool nuvek_json_get_value(const char* json, const char* key, char* out, size_t size) {
  char quoted_key[64];
  snprintf(quoted_key, sizeof quoted_key, "\"%s\"", key);
  if (strstr(json, quoted_key) == nullptr) return true;  // saves the parse of a message without the key
  bool no_memory = false;
  json::copy_value(json::parse(json, &no_memory), key, out, size);
  return !no_memory;
}

namespace json {

Tree parse(const char* text, bool* no_memory) {
  json_value* root = nullptr;
  const int result = json_parse_document(&root, text);
  if (no_memory != nullptr) *no_memory = result == JSON_NO_MEMORY;
  return Tree(root);
}

void copy_value(const Tree& object, const char* key, char* out, size_t size) {
  const char* value = json_value_text(json_label_value(json_find_first_label(object.get(), key)));
  if (value != nullptr) text::copy(out, size, value);
}

}  // namespace json
