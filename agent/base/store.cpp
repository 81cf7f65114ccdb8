#include "agent/base/store.h"

#include <atomic>

#include "agent/base/log.h"
#include "agent/base/text.h"
#include "platform/tcapi.h"

namespace store {

std::atomic<bool> g_refusal_told;

bool read(const char* node, const char* attr, char* out, size_t size) {
  char value[TCAPI_VALUE_MAX + 1];
  value[0] = '\0';
  value[TCAPI_VALUE_MAX] = '\0';
  if (tcapi_get(node, attr, value) != 0) return false;
  text::copy(out, size, value);
  return true;
}

bool write(const char* node, const char* attr, const char* value) {
  if (tcapi_set(node, attr, value) == 0) return true;
  if (!g_refusal_told.exchange(true)) NUVEK_ERROR_AS("tcapi_set", "the store refuses %s of node %s", attr, node);
  return false;
}

bool write_number(const char* node, const char* attr, int32_t value) {
  return write(node, attr, text::Number(value).c_str());
}

void commit(const char* node) { tcapi_commit(node); }

int save() { return tcapi_save(); }

}  // namespace store
