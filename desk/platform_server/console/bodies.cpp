#include "bodies.h"

#include <climits>
#include <functional>

#include "../text.h"

namespace desk::console {
namespace {

constexpr int kMostTimes = 1000;
constexpr int kMaxGap_ms = 60'000;
constexpr int kMaxDepth = 8;

using Handlers = std::map<std::string, std::function<void(const Json&)>>;

[[noreturn]] void refuse(const std::string& why) { throw Refusal{Status::bad_request, why, ""}; }

Json parse(const std::string& body) {
  const auto watch = [](int depth, Json::parse_event_t, const Json&) { return depth <= kMaxDepth; };
  const Json json = Json::parse(body, watch, false);
  if (!json.is_object()) refuse("the body must be a JSON object");
  return json;
}

void read(const std::string& body, const Handlers& handlers) {
  const Json json = parse(body);
  for (const auto& [name, value] : json.items()) {
    const auto found = handlers.find(name);
    if (found == handlers.end()) refuse("unknown member \"" + name + "\"");
    if (!value.is_null()) found->second(value);
  }
}

std::string text(const Json& value, const std::string& name) {
  if (!value.is_string()) refuse("\"" + name + "\" must be a text");
  return value.get<std::string>();
}

int number(const Json& value, const std::string& name, int low, int high) {
  const bool beyond = value.is_number_unsigned() && value.get<uint64_t>() > INT_MAX;
  if (!value.is_number_integer() || beyond || value < low || value > high) {
    refuse("\"" + name + "\" must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  }
  return value.get<int>();
}

std::string literal(const Json& value) {
  const auto bytes = bytes_of_text(text(value, "bytes"));
  if (!bytes || bytes->empty() || bytes->size() > kMaxLiteral_bytes) {
    refuse("\"bytes\" must be 1 to " + std::to_string(kMaxLiteral_bytes) + " characters up to U+00FF, one a byte");
  }
  return *bytes;
}

void check(const Order& order) {
  const Deed& deed = order.deed;
  const int deeds = (deed.code ? 1 : 0) + (deed.bytes.empty() ? 0 : 1) + (deed.fault == Fault::kNone ? 0 : 1);
  if (deeds != 1) refuse("one of \"code\", \"bytes\" and \"fault\" is needed");
  if (deed.code && !(order.kind && has_code(*order.kind))) {
    refuse("with \"code\" the \"kind\" must be Inform0, SiteSpeed or TraceRoute");
  }
}

}  // namespace

std::string read_get(const std::string& body) {
  std::string path;
  read(body, {{"path", [&path](const Json& value) { path = text(value, "path"); }}});
  if (!is_object_path(path)) refuse("\"path\" must have 1 to 31 letters, digits and . _ -");
  return path;
}

Order read_order(const std::string& body) {
  Order order;
  read(body, {{"kind",
               [&](const Json& value) {
                 order.kind = kind_named(text(value, "kind"));
                 if (!order.kind) refuse("no such \"kind\"");
               }},
              {"uuid",
               [&](const Json& value) {
                 order.uuid = text(value, "uuid");
                 if (!is_uuid(order.uuid)) refuse("\"uuid\" must be 8-4-4-4-12 hex digits in lower case");
               }},
              {"fault",
               [&](const Json& value) {
                 const auto fault = fault_named(text(value, "fault"));
                 if (!fault) refuse("no such \"fault\"");
                 order.deed.fault = *fault;
               }},
              {"times", [&](const Json& value) { order.times = number(value, "times", 1, kMostTimes); }},
              {"code", [&](const Json& value) { order.deed.code = number(value, "code", INT_MIN, INT_MAX); }},
              {"gap_ms", [&](const Json& value) { order.deed.gap_ms = number(value, "gap_ms", 0, kMaxGap_ms); }},
              {"bytes", [&](const Json& value) { order.deed.bytes = literal(value); }}});
  check(order);
  return order;
}

}  // namespace desk::console
