// JSON as the server reads and writes it: members keep their order. One type for all, as each costs every build
// seconds.
#ifndef NUVEK_DESK_JSON_H
#define NUVEK_DESK_JSON_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace desk {

using Json = nlohmann::ordered_json;

template <typename Value>
Json or_null(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

inline Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

}  // namespace desk

#endif
