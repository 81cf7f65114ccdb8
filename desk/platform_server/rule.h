// What goes in place of the usual answer, and when.
#ifndef NUVEK_DESK_RULE_H
#define NUVEK_DESK_RULE_H

#include <climits>
#include <optional>
#include <string>

#include "exchange.h"
#include "fault.h"

namespace desk {

constexpr size_t kMaxLiteral_bytes = 16'384;

// One of three: a fault, a code in an otherwise right answer, or literal bytes.
struct Deed {
  Fault fault = Fault::kNone;
  std::optional<int> code;
  std::string bytes;
  int gap_ms = 100;  // between the two pieces of kTwoPieces
};

// Plays the deed on the first to the last request of one kind (of any kind when none is named), counted per gateway.
struct Rule {
  std::optional<Kind> to;
  std::string uuid;  // of the only gateway that it is for; empty: for all
  int first = 1;
  int last = INT_MAX;
  Deed deed;
};

// By their names; nothing for a name that nobody knows.
std::optional<Kind> kind_named(const std::string& name);
std::optional<Fault> fault_named(const std::string& name);

// Only these answers have a code.
constexpr bool has_code(Kind kind) {
  return kind == Kind::kInform0 || kind == Kind::kSiteSpeed || kind == Kind::kTraceRoute;
}

// 8-4-4-4-12 hex digits in lower case.
bool is_uuid(const std::string& text);

// What a Get can ask for: 1 to 31 letters, digits and . _ -
bool is_object_path(const std::string& text);

}  // namespace desk

#endif
