#include "agent/base/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace text {

size_t copy(char* destination, size_t size, const char* source) {
  const size_t length = strnlen(source, size - 1);
  memcpy(destination, source, length);
  destination[length] = '\0';
  return length;
}

void copy_escaped(char* destination, size_t size, const char* source) {
  size_t whole = 0;  // length of the escapes and characters that fit
  for (size_t length = 1; source[whole] != '\0'; whole += length) {
    length = source[whole] != '\\' ? 1 : strnlen(source + whole, source[whole + 1] == 'u' ? 6 : 2);
    if (whole + length > size - 1) break;
  }
  copy(destination, whole + 1, source);
}

int32_t to_int32(const char* source) {
  const long long value = strtoll(source, nullptr, 10);
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

uint32_t to_uint32(const char* source) {
  const long long value = strtoll(source, nullptr, 10);
  return value > UINT32_MAX || value < -int64_t{UINT32_MAX} ? UINT32_MAX : static_cast<uint32_t>(value);
}

Number::Number(int32_t value) {
  char* place = digits_ + sizeof digits_ - 1;
  *place = '\0';
  uint32_t rest = value < 0 ? 0U - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  do {
    *--place = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  if (value < 0) *--place = '-';
  begin_ = place;
}

void Builder::append(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  for (;;) {
    const size_t plain = strcspn(format, "%");
    put(format, plain);
    format += plain;
    if (*format == '\0') break;
    put(format[1] == 'd' ? Number(va_arg(arguments, int)).c_str() : va_arg(arguments, const char*), size_);
    format += strlen("%s");
  }
  va_end(arguments);
}

void Builder::put(const char* piece, size_t most) {
  length_ += copy(buffer_ + length_, std::min(most, size_ - length_ - 1) + 1, piece);
}

void Builder::drop_last() { buffer_[--length_] = '\0'; }

}  // namespace text

void nuvek_strip_colons(char* destination, const char* source) {
  for (; *source != '\0'; ++source) {
    if (*source != ':') *destination++ = *source;
  }
}
