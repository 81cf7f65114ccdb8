#include "agent/base/store.h"

#include <cstdio>

#include "agent/base/text.h"
#include "platform/tcapi.h"

namespace store {

bool read(const char* node, const char* attr, char* out, size_t size) {
  char value[TCAPI_VALUE_MAX + 1];
  value[0] = '\0';
  value[TCAPI_VALUE_MAX] = '\0';
  if (tcapi_get(node, attr, value) != 0) return false;
  text::copy(out, size, value);
  return true;
}

void write(const char* node, const char* attr, const char* value) { tcapi_set(node, attr, value); }

void write_number(const char* node, const char* attr, int32_t value) {
  char digits[16];
  snprintf(digits, sizeof digits, "%d", static_cast<int>(value));
  write(node, attr, digits);
}

void commit(const char* node) { tcapi_commit(node); }

int save() { return tcapi_save(); }

}  // namespace store
