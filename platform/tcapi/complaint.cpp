#include "platform/tcapi/complaint.h"

#include <cstdarg>
#include <cstdio>

namespace tcapi_store {
namespace {

constexpr size_t kLineMaxBytes = 1536;  // a path of 1,023 characters and a reason

// FNV-1a, never 0.
uint32_t hash(const char* text) {
  uint32_t value = 2166136261U;
  for (; *text != '\0'; ++text) value = (value ^ static_cast<unsigned char>(*text)) * 16777619U;
  return value | 1U;
}

}  // namespace

void Complaint::say(const char* format, ...) {
  char line[kLineMaxBytes];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  const uint32_t news = hash(line);
  if (news == said_) return;
  said_ = news;
  fprintf(stderr, "tcapi: %s\n", line);
}

}  // namespace tcapi_store
