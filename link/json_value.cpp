#include "link/json_value.h"

#include <cstdio>
#include <cstring>

#include "core/text.h"
#include "link/json_build.h"

void nuvek_json_get_value(const char* json, const char* key, char* out, size_t size) {
  char quoted_key[64];
  snprintf(quoted_key, sizeof quoted_key, "\"%s\"", key);
  if (strstr(json, quoted_key) == nullptr) return;  // saves the parse of a message without the key

  json_value* parsed = nullptr;
  json_parse_document(&parsed, json);
  const json::Tree tree(parsed);
  const char* value = json_value_text(json_label_value(json_find_first_label(tree.get(), key)));
  if (value != nullptr) text::copy(out, size, value);
}
