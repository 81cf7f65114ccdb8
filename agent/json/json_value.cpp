#include "agent/json/json_value.h"

#include <cstdio>
#include <cstring>

#include "agent/base/text.h"

bool nuvek_json_get_value(const char* json, const char* key, char* out, size_t size) {
  char quoted_key[64];
  snprintf(quoted_key, sizeof quoted_key, "\"%s\"", key);
  if (strstr(json, quoted_key) == nullptr) return true;  // saves the parse of a message without the key
  const json::Document document(json);
  document.copy(key, out, size);
  return !document.no_memory();
}

namespace json {

Document::Document(const char* text) {
  json_value* root = nullptr;
  no_memory_ = json_parse_document(&root, text) == JSON_NO_MEMORY;
  tree_.reset(root);
}

void Document::copy(const char* key, char* out, size_t size) const {
  const char* value = json_value_text(json_label_value(json_find_first_label(tree_.get(), key)));
  if (value != nullptr) text::copy_escaped(out, size, value);
}

}  // namespace json
