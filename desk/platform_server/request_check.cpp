#include "request_check.h"

#include <initializer_list>
#include <set>
#include <string_view>

#include "json.h"
#include "message_shapes.h"
#include "rule.h"

namespace desk {
namespace {

// Text of a request in a finding: short and printable, whatever came.
std::string cited(std::string_view text) {
  constexpr size_t kShown = 60;
  std::string shown = Json(text.substr(0, kShown)).dump(-1, ' ', true, Json::error_handler_t::replace);
  return text.size() > kShown ? shown + "..." : shown;
}

bool is_message_id(int id) {
  const std::string digits = std::to_string(id);
  return digits.size() == 8 && std::set<char>(digits.begin(), digits.end()).size() == 8 && id > 0;
}

// The reader of the JSON library lets the later of two equal members win; here they are a mistake.
Json parse_without_duplicates(std::string_view text) {
  constexpr int kMaxDepth = 16;  // the deepest message has eight levels
  std::vector<std::set<std::string>> open;
  const auto watch = [&open](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth > kMaxDepth) throw std::invalid_argument("body is nested too deeply");
    if (event == Json::parse_event_t::object_start) open.emplace_back();
    if (event == Json::parse_event_t::object_end) open.pop_back();
    if (event == Json::parse_event_t::key && !open.back().insert(parsed.get<std::string>()).second) {
      throw std::invalid_argument("member " + cited(parsed.get<std::string>()) + " stands twice in one object");
    }
    return true;
  };
  return Json::parse(text, watch);
}

class Checker {
 public:
  Checker(Exchange& exchange, std::string_view body) : exchange_(exchange), body_(body) {}
  void check_head(std::string_view head, const std::string& own_address);
  void check_body();

 private:
  bool fail(const std::string& finding) {
    exchange_.findings.push_back(finding);
    return false;
  }
  bool has_type(const Json& value, const Member& member) const;
  bool members(const Json& object, const std::string& where, const Members& expected);
  const Json* inside(const Json& params, std::initializer_list<const char*> names);
  bool rows(const Json& table, const std::string& where, const Members& expected);

  void envelope(const Json& body);
  void message(const Json& object);
  bool inform0(const Json& object);
  bool result(const Json& object);
  bool site_speed(const Json& object);
  bool trace_route(const Json& object);
  bool trace_row(const Json& row);
  bool get_response(const Json& object);

  Exchange& exchange_;
  std::string_view body_;
};

void Checker::check_head(std::string_view head, const std::string& own_address) {
  const std::string expected[] = {"POST /reg/ HTTP/1.1",
                                  "Host: " + own_address,
                                  "Connection: keep-alive",
                                  "Accept: application/json",
                                  "Content-Type: application/json,charset=UTF-8",
                                  "Content-Length: " + std::to_string(body_.size())};
  for (const std::string& wanted : expected) {
    const size_t end = head.find("\r\n");
    const std::string_view line = head.substr(0, end);
    if (line != wanted) {
      fail("head line " + cited(line) + " should be " + cited(wanted));
      return;
    }
    head.remove_prefix(end + 2);
  }
  if (!head.empty()) fail("head line too many: " + cited(head.substr(0, head.find("\r\n"))));
}

bool Checker::has_type(const Json& value, const Member& member) const {
  switch (member.type) {
    case Type::kString:
      return value.is_string();
    case Type::kInteger:
      return value.is_number_integer();
    case Type::kObject:
      return value.is_object();
    case Type::kArray:
      return value.is_array();
    case Type::kStringOrObject:
      return value.is_string() || value.is_object();
    case Type::kPosition:
      break;
  }
  const std::string key = std::string("\"") + member.name + "\":";
  const size_t at = body_.find(key);
  const size_t end = body_.find_first_of(",}", at);
  if (!value.is_number() || at == std::string_view::npos || end == std::string_view::npos) return false;
  return body_[at + key.size()] == ' ' && body_[end - 1] == ' ';
}

bool Checker::members(const Json& object, const std::string& where, const Members& expected) {
  if (!object.is_object()) return fail(where + " is not an object");
  size_t at = 0;
  for (const auto& [name, value] : object.items()) {
    if (at == expected.size()) return fail(where + " has a member too many, " + cited(name));
    const Member& wanted = expected[at++];
    if (name != wanted.name) {
      return fail(where + " has member " + cited(name) + " where \"" + wanted.name + "\" belongs");
    }
    if (!has_type(value, wanted)) return fail(where + "." + name + " is not " + kTypeNames[size_t(wanted.type)]);
    if (wanted.value != nullptr && value.dump() != wanted.value) {
      return fail(where + "." + name + " is " + cited(value.dump()) + ", not " + wanted.value);
    }
  }
  return at == expected.size() || fail(where + " lacks member \"" + expected[at].name + "\"");
}

// Goes down through objects that hold one object each.
const Json* Checker::inside(const Json& params, std::initializer_list<const char*> names) {
  const Json* at = &params;
  std::string where = "Params";
  for (const char* name : names) {
    if (!members(*at, where, {{name, Type::kObject}})) return nullptr;
    at = &at->at(name);
    where = name;
  }
  return at;
}

bool Checker::rows(const Json& table, const std::string& where, const Members& expected) {
  for (const Json& row : table) {
    if (!members(row, "row of " + where, expected)) return false;
  }
  return true;
}

bool Checker::inform0(const Json& object) {
  exchange_.kind = Kind::kInform0;
  if (!members(object, "message", kInform0)) return false;
  const Json* info = inside(object["Params"], {"NUVEK", "DeviceInfo"});
  return info != nullptr && members(*info, "DeviceInfo", kDeviceInfo);
}

bool Checker::site_speed(const Json& object) {
  const Json* result = inside(object["Params"], {"NUVEK", "SiteSpeedResult"});
  if (result == nullptr || !members(*result, "SiteSpeedResult", kSiteSpeed)) return false;
  const Json& error = result->at("Error");
  return error == "null" || members(error, "Error", kSiteSpeedError);
}

bool Checker::trace_row(const Json& row) {
  if (!row.is_array() || row.empty() || row.size() % 2 != 0) return fail("row of PathTable is not a list of pairs");
  for (size_t i = 0; i < row.size(); i += 2) {
    if (!row[i].is_string()) return fail("host in a row of PathTable is not a string");
    if (!row[i + 1].is_number() && row[i + 1] != "null")
      return fail("time in a row of PathTable is no number or \"null\"");
  }
  return true;
}

bool Checker::trace_route(const Json& object) {
  const Json* result = inside(object["Params"], {"NUVEK", "TraceRouteResult"});
  if (result == nullptr || !members(*result, "TraceRouteResult", kTraceRoute)) return false;
  for (const Json& row : result->at("PathTable")) {
    if (!trace_row(row)) return false;
  }
  return true;
}

bool Checker::result(const Json& object) {
  const bool speed = exchange_.path == "NUVEK.SiteSpeed";
  if (!speed && exchange_.path != "NUVEK.TraceRoute") return fail("Result for ObjectPath " + cited(exchange_.path));
  exchange_.kind = speed ? Kind::kSiteSpeed : Kind::kTraceRoute;
  if (!members(object, "message", kResult)) return false;
  return speed ? site_speed(object) : trace_route(object);
}

bool Checker::get_response(const Json& object) {
  exchange_.kind = Kind::kGetResponse;
  if (!members(object, "message", kGetResponse)) return false;
  const Json& result = object["Result"];
  for (const Package& package : kPackages) {
    if (exchange_.path != package.path) continue;
    if (object["Code"] != 0) return fail("Code is " + object["Code"].dump() + " for a known ObjectPath");
    const Json* inner = inside(result, {"NUVEK", package.name});
    if (inner == nullptr || !members(*inner, package.name, package.members)) return false;
    if (exchange_.path != "NUVEK.Interface") return true;
    return rows(inner->at("InterfaceTable"), "InterfaceTable", kInterfaceRow) &&
           rows(inner->at("RouteTable"), "RouteTable", kRouteRow);
  }
  if (object["Code"] != -1) return fail("Code is " + object["Code"].dump() + " for an unknown ObjectPath");
  return result.empty() || fail("Result is not empty for an unknown ObjectPath");
}

void Checker::message(const Json& object) {
  const auto text = [&object](const char* name) { return object.value(name, Json()); };
  const auto number = [&text](const char* name, std::optional<int>& target) {
    const Json value = text(name);
    if (value.is_number_integer() && value >= INT32_MIN && value <= INT32_MAX) target = value.get<int>();
  };
  number("ID", exchange_.id);
  if (text("ObjectPath").is_string()) exchange_.path = text("ObjectPath").get<std::string>();
  const Json method = text("RPCMethod");
  if (method == "Inform0") {
    inform0(object);
  } else if (method == "Result") {
    result(object);
  } else if (method == "GetResponse") {
    number("Code", exchange_.code);
    get_response(object);
    return;  // its ID is the platform's own
  } else {
    fail("RPCMethod is " + (method.is_string() ? cited(method.get<std::string>()) : "not a string"));
    return;
  }
  if (!exchange_.id || !is_message_id(*exchange_.id)) fail("ID is not a number of eight different digits");
}

void Checker::envelope(const Json& body) {
  if (!body.is_array() || body.empty() || !body[0].is_string()) {
    fail("body is not an array that starts with a UUID");
    return;
  }
  const std::string uuid = body[0];
  if (is_uuid(uuid)) {
    exchange_.uuid = uuid;
  } else {
    fail("UUID is not of the shape 8-4-4-4-12 in lower-case hex: " + cited(uuid));
  }
  const std::string start = "[\"" + uuid + "\"";
  if (body.size() == 1) {
    exchange_.kind = Kind::kReport;
    if (body_ != start + "]") fail("body has white space");
  } else if (body.size() != 2 || !body[1].is_object()) {
    fail("body is not [\"UUID\"] or [\"UUID\",{...}]");
  } else {
    if (body_.rfind(start + ",{\"", 0) != 0 || body_.substr(body_.size() - 2) != "}]") fail("body has white space");
    message(body[1]);
  }
}

void Checker::check_body() {
  Json body;
  try {
    body = parse_without_duplicates(body_);
  } catch (const Json::parse_error& error) {
    // Without the library's own prefix and without the bytes that it read last: they can be anything.
    const std::string text = error.what();
    const size_t start = text.find("] ") + 2;
    fail("body is not JSON: " + text.substr(start, text.find("; last read") - start));
    return;
  } catch (const std::invalid_argument& error) {
    fail(error.what());
    return;
  }
  envelope(body);
}

}  // namespace

void check_request(Exchange& exchange, const std::string& own_address) {
  constexpr size_t kMaxRequestLength = 2047;  // the gateway's send buffer, less its terminator
  const std::string_view request = exchange.request;
  const size_t head_length = request.find("\r\n\r\n") + 2;
  Checker checker(exchange, request.substr(head_length + 2));
  checker.check_head(request.substr(0, head_length), own_address);
  checker.check_body();
  if (request.size() > kMaxRequestLength) exchange.findings.push_back("request is longer than a gateway's 2,047 bytes");
}

}  // namespace desk
