#include "text.h"

#include <cstdio>
#include <ctime>

namespace desk {

std::string text_of_bytes(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x80) {
      text += byte;
    } else {
      text += static_cast<char>(0xC0 | value >> 6);
      text += static_cast<char>(0x80 | (value & 0x3F));
    }
  }
  return text;
}

std::optional<std::string> bytes_of_text(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto first = static_cast<unsigned char>(text[i]);
    if (first < 0x80) {
      bytes += text[i];
      continue;
    }
    const unsigned char second = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if ((first != 0xC2 && first != 0xC3) || (second & 0xC0) != 0x80) return std::nullopt;
    bytes += static_cast<char>((first & 0x03) << 6 | (second & 0x3F));
    ++i;
  }
  return bytes;
}

std::string utc_text(std::chrono::system_clock::time_point time) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const std::time_t seconds = ms / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(ms % 1000));
  return text;
}

}  // namespace desk
