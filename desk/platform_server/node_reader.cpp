#include "node_reader.h"

#include <charconv>
#include <set>

namespace desk {

void NodeReader::map(const Node& node, const std::string& what, const Handlers& handlers) const {
  const std::string known = names_in(handlers);
  if (!node.IsMap()) refuse(node, what + " must be a map of: " + known, "a map of " + known);
  std::set<std::string> seen;
  for (const auto& row : node) {
    const std::string key = row.first.IsScalar() ? row.first.Scalar() : "";
    const auto found = handlers.find(key);
    if (found == handlers.end()) {
      refuse(row.first, "unknown key \"" + key + "\" in " + what + "; known: " + known, "one of " + known);
    }
    if (!seen.insert(key).second) refuse(row.first, "key \"" + key + "\" stands twice in " + what);
    if (row.second.IsNull()) refuse(row.first, "key \"" + key + "\" has no value", "a value");
    found->second(row.second);
  }
}

std::string NodeReader::text(const Node& node, const std::string& what) const {
  if (!node.IsScalar() || node.Scalar().empty()) refuse(node, what + " must be a text", "a text");
  return node.Scalar();
}

int64_t NodeReader::number(const Node& node, int64_t low, int64_t high) const {
  constexpr const char* kQuotedTag = "!";  // "5" in quotes is a text
  const std::string digits = node.IsScalar() && node.Tag() != kQuotedTag ? node.Scalar() : "";
  const char* const end = digits.data() + digits.size();
  int64_t value = 0;
  const auto result = std::from_chars(digits.data(), end, value);
  if (digits.empty() || result.ptr != end || result.ec != std::errc() || value < low || value > high) {
    const std::string expected = "a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    refuse(node, "expected " + expected, expected);
  }
  return value;
}

const YAML::Node& NodeReader::list(const Node& node, const std::string& what, const std::string& of,
                                   size_t most) const {
  const std::string shape = of.empty() ? "a list" : "a list of " + of;
  if (!node.IsSequence()) refuse(node, what + " must be " + shape, shape);
  if (node.size() > most) {
    const std::string limit = "at most " + std::to_string(most) + " entries";
    refuse(node, what + " must have " + limit, limit);
  }
  return node;
}

}  // namespace desk
