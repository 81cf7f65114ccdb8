#include "tests/fuzz/message_rules.h"

#include <algorithm>
#include <cctype>

#include "platform/mjson.h"
#include "tests/fuzz/fuzz.h"

namespace fuzz {
namespace {

// The body, or nothing when the request is too long and was cut.
std::string whole_body(const std::string& request) {
  constexpr char kLength[] = "\r\nContent-Length: ";
  const size_t head = request.find("\r\n\r\n");
  const size_t length = request.find(kLength);
  FUZZ_CHECK(head != std::string::npos && length < head);
  const size_t announced = strtoul(request.c_str() + length + strlen(kLength), nullptr, 10);
  const std::string body = request.substr(head + 4);
  FUZZ_CHECK(body.size() <= announced);
  return body.size() < announced ? "" : body;
}

// The length of the escape that the text begins with; 0 for one that JSON does not know.
size_t escape_length(std::string_view text) {
  constexpr std::string_view kKnown = "\"\\/bfnrt";
  constexpr size_t kHex = 6;
  if (text.size() < 2) return 0;
  if (kKnown.find(text[1]) != kKnown.npos) return 2;
  if (text[1] != 'u' || text.size() < kHex) return 0;
  return std::all_of(text.begin() + 2, text.begin() + kHex, [](unsigned char c) { return isxdigit(c) != 0; }) ? kHex
                                                                                                              : 0;
}

// The length of the character beyond ASCII that the text begins with; 0 for one that is none.
size_t character_length(std::string_view text) {
  const auto byte = [&](size_t k) { return k < text.size() ? static_cast<unsigned char>(text[k]) : 0U; };
  const unsigned first = byte(0);
  const unsigned second = byte(1);
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return 0;
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)) return 0;  // too long a form; a surrogate
  if ((first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) return 0;  // the same; beyond the last one
  for (size_t k = 1; k < length; ++k) {
    if ((byte(k) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool is_sent_as_number(const std::string& value) {
  constexpr size_t kLongest = 15;
  constexpr char kDigits[] = "0123456789";
  const size_t begin = !value.empty() && value[0] == '-' ? 1 : 0;
  const size_t whole = std::min(value.find_first_not_of(kDigits, begin), value.size());
  if (value.empty()) return true;
  if (value.size() > kLongest || whole == begin || (value[begin] == '0' && whole > begin + 1)) return false;
  if (whole == value.size()) return true;
  return value[whole] == '.' && whole + 1 < value.size() &&
         value.find_first_not_of(kDigits, whole + 1) == std::string::npos;
}

bool names_a_number(std::string_view value) {
  for (const char* name : {"Long", "Lat", "Altitudes", "HorizontalError", "VerticalError"}) {
    if (value.find(name) != value.npos) return true;
  }
  return false;
}

bool is_string_of_json(std::string_view text) {
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < ' ') return false;
    const size_t length = first == '\\' ? escape_length(text) : first < 0x80 ? 1 : character_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

bool is_harmless(std::string_view text) {
  const size_t backslashes = text.size() - (text.find_last_not_of('\\') + 1);
  const bool is_half = backslashes % 2 != 0;
  return is_string_of_json(text.substr(0, text.size() - (is_half ? 1 : 0))) && !names_a_number(text);
}

bool keeps_structure(const GisInfo& location) {
  for (const char* text : {location.AreaCode, location.GISLockTime, location.GISDigest}) {
    if (names_a_number(text)) return false;
  }
  for (const char* number :
       {location.Long, location.Lat, location.Altitudes, location.HorizontalError, location.VerticalError}) {
    if (!is_sent_as_number(number)) return false;
  }
  return true;
}

bool is_harmless(const GisInfo& location) {
  return keeps_structure(location) && is_harmless(location.AreaCode) && is_harmless(location.GISLockTime) &&
         is_harmless(location.GISDigest);
}

bool carries_json(const std::string& request) {
  const std::string body = whole_body(request);
  json_value* root = nullptr;
  const bool is_json = body.empty() || json_parse_document(&root, body.c_str()) == JSON_OK;
  json_free_value(&root);
  return is_json;
}

bool carries_strict_json(const std::string& request) {
  return carries_json(request) && is_string_of_json(whole_body(request));
}

}  // namespace fuzz
