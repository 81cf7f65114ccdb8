// What the messages of a gateway tell of it.

#include "gateway_book.h"
#include "json.h"
#include "rule.h"

namespace desk {
namespace {

constexpr size_t kMostBackOffs = 32;
constexpr int kFirstBackOff_s = 10;
constexpr int kLastDoubling = 9;

constexpr const char* kLocationMembers[] = {"Long",     "Lat",       "Altitudes",    "HorizontalError", "VerticalError",
                                            "AreaCode", "GISDigest", "GISInterface", "GISLockTime"};

void set(Fact& fact, const Exchange& exchange, const Json& values) {
  fact = {values.dump(-1, ' ', true, Json::error_handler_t::replace), exchange.time, exchange.number, exchange.code};
}

void note_device(Gateway& gateway, const Exchange& exchange, const Json& device) {
  set(gateway.device, exchange, device);
  const Json& block = device["GISInterface"];
  if (exchange.kind != Kind::kInform0 || (block != "A" && block != "B")) return;
  Json location = Json::object();
  for (const char* name : kLocationMembers) location[name] = device[name];
  set(block == "A" ? gateway.location_a : gateway.location_b, exchange, location);
}

void note_package(Gateway& gateway, const Exchange& exchange, const Json& result) {
  if (!result.contains("NUVEK")) return;  // the answer for an unknown path is empty
  const Json& packages = result["NUVEK"];
  const std::string& name = packages.begin().key();
  const Json& values = packages.begin().value();
  if (name == "DeviceInfo") note_device(gateway, exchange, values);
  if (name == "GISInfoA") set(gateway.location_a, exchange, values);
  if (name == "GISInfoB") set(gateway.location_b, exchange, values);
  if (name == "Interface") set(gateway.interface, exchange, values);
  if (name != "Counter") return;
  set(gateway.counters, exchange, values);
  gateway.counts_at_fact = gateway.counts;
}

void note_back_off(Gateway& gateway, const Exchange& exchange, std::optional<int> code) {
  if (!gateway.back_off.empty() && gateway.back_off.back().next == 0) {
    BackOff& last = gateway.back_off.back();
    last.next = exchange.number;
    last.waited_ms = std::chrono::duration_cast<std::chrono::milliseconds>(exchange.time - last.time).count();
  }
  if (code != -3 && code != -2) return;
  const int expected_s = kFirstBackOff_s << std::min(gateway.refusals++, kLastDoubling);
  gateway.back_off.push_back({exchange.number, exchange.time, *code, expected_s, 0, 0});
  if (gateway.back_off.size() > kMostBackOffs) gateway.back_off.erase(gateway.back_off.begin());
}

void note_result(Gateway& gateway, const Exchange& exchange, const Json& params, std::optional<int> code) {
  const bool speed = exchange.kind == Kind::kSiteSpeed;
  const Json& values = params["NUVEK"][speed ? "SiteSpeedResult" : "TraceRouteResult"];
  set(speed ? gateway.site_speed : gateway.trace_route, exchange, values);
  if (speed) note_back_off(gateway, exchange, code);
  const bool failed = speed && values["SpeedTable"].empty();
  ++(failed ? gateway.counts.fail_task : gateway.counts.success_task);
  if (code) ++(*code == 0 ? gateway.counts.success_result : gateway.counts.fail_result);
}

void note_message(Gateway& gateway, const Exchange& exchange) {
  // A spoiled answer is none to the gateway.
  const std::optional<int> code = exchange.fault == Fault::kNone ? exchange.code : std::nullopt;
  if (exchange.kind == Kind::kReport) {
    ++gateway.counts.success_inform;
    return;
  }
  const Json body = Json::parse(exchange.request.substr(exchange.request.find("\r\n\r\n") + 4));
  const Json& message = body[1];
  if (exchange.kind == Kind::kInform0) {
    note_device(gateway, exchange, message["Params"]["NUVEK"]["DeviceInfo"]);
    if (code && !exchange.reg_id.empty()) {
      gateway.reg_id = exchange.reg_id;
      gateway.registered = *code == 0;
    }
  } else if (exchange.kind == Kind::kGetResponse) {
    note_package(gateway, exchange, message["Result"]);
  } else {
    note_result(gateway, exchange, message["Params"], code);
  }
}

}  // namespace

void GatewayBook::note(const Exchange& exchange) {
  Gateway* gateway = exchange.uuid.empty() ? nullptr : find(exchange.uuid);
  if (gateway == nullptr) return;
  gateway->findings += static_cast<int64_t>(exchange.findings.size());
  if (exchange.request.empty()) return;  // tells what happened to a connection
  const Kind kind = exchange.findings.empty() ? exchange.kind : Kind::kBad;
  ++gateway->received[index_of(kind)];
  gateway->last_seen = exchange.time;
  gateway->address = exchange.peer.substr(0, exchange.peer.rfind(':'));
  // What passed the check has the members that are read here.
  if (kind != Kind::kBad) note_message(*gateway, exchange);
}

}  // namespace desk
