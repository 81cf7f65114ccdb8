#include "rule.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace desk {

std::optional<Kind> kind_named(const std::string& name) {
  const auto found = std::find(kKindNames.begin(), kKindNames.end(), name);
  if (found == kKindNames.end()) return std::nullopt;
  return static_cast<Kind>(found - kKindNames.begin());
}

std::optional<Fault> fault_named(const std::string& name) {
  const auto found = std::find(kFaultNames.begin() + 1, kFaultNames.end(), name);
  if (found == kFaultNames.end()) return std::nullopt;
  return static_cast<Fault>(found - kFaultNames.begin());
}

bool is_uuid(const std::string& text) {
  constexpr std::string_view kShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (text.size() != kShape.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view allowed = kShape[i] == 'x' ? "0123456789abcdef" : "-";
    if (allowed.find(text[i]) == std::string_view::npos) return false;
  }
  return true;
}

bool is_object_path(const std::string& text) {
  constexpr size_t kMaxLength = 31;  // the gateway's field holds no more
  const bool plain = std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
  });
  return plain && !text.empty() && text.size() <= kMaxLength;
}

}  // namespace desk
