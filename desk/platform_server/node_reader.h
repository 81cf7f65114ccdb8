// The words of a scenario file's reader: each takes a YAML node for what it must be, or refuses it with line and
// column.
#ifndef NUVEK_DESK_NODE_READER_H
#define NUVEK_DESK_NODE_READER_H

#include <yaml-cpp/yaml.h>

#include <functional>
#include <map>

#include "scenario.h"

namespace desk {

template <typename Map>
std::string names_in(const Map& map) {
  std::string names;
  for (const auto& row : map) names += (names.empty() ? "" : ", ") + row.first;
  return names;
}

class NodeReader {
 public:
  using Node = YAML::Node;
  using Handler = std::function<void(const Node&)>;
  using Handlers = std::map<std::string, Handler>;

  // `name` of the file, for the reasons.
  explicit NodeReader(std::string name) : name_(std::move(name)) {}

  [[noreturn]] void refuse(const YAML::Mark& at, const std::string& reason, const std::string& expected = "") const {
    throw ScenarioError(name_, at.line, at.column, reason, expected);
  }
  [[noreturn]] void refuse(const Node& at, const std::string& reason, const std::string& expected = "") const {
    refuse(at.Mark(), reason, expected);
  }

  void map(const Node& node, const std::string& what, const Handlers& handlers) const;
  std::string text(const Node& node, const std::string& what) const;
  int64_t number(const Node& node, int64_t low, int64_t high) const;
  // A list of at most `most` entries.
  const Node& list(const Node& node, const std::string& what, const std::string& of, size_t most) const;

  template <typename Value>
  Value choice(const Node& node, const std::string& what, const std::map<std::string, Value>& values) const {
    const auto found = values.find(text(node, what));
    if (found == values.end()) {
      refuse(node, "unknown " + what + " \"" + node.Scalar() + "\"; known: " + names_in(values),
             "one of " + names_in(values));
    }
    return found->second;
  }

  Handler set_number(int& target, int64_t low, int64_t high) const {
    return [this, &target, low, high](const Node& node) { target = static_cast<int>(number(node, low, high)); };
  }

 private:
  std::string name_;
};

}  // namespace desk

#endif
