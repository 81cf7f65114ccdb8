#include "api.h"

#include "../api_json.h"
#include "../message_shapes.h"
#include "../text.h"
#include "bodies.h"
#include "exchange_query.h"

namespace desk::console {
namespace {

constexpr int kMostGatewaysAtOnce = 200;
constexpr int kGatewaysAtOnce = 100;

// Throws Refusal when the method is none of these.
void allow(const Request& request, std::initializer_list<Verb> methods) {
  const Verb method = request.method() == Verb::head ? Verb::get : request.method();
  std::string allowed;
  for (const Verb verb : methods) {
    if (verb == method) return;
    allowed += (allowed.empty() ? "" : ", ") + std::string(boost::beast::http::to_string(verb));
    if (verb == Verb::get) allowed += ", HEAD";
  }
  throw Refusal{Status::method_not_allowed, "use " + allowed, allowed};
}

std::string now() { return utc_text(std::chrono::system_clock::now()); }

Json held(const ExchangeRing& ring) { return {{"first", ring.first()}, {"last", ring.last()}}; }

void expect_keys(const Target& target, std::initializer_list<const char*> keys) {
  for (const auto& [key, value] : target.query) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      throw Refusal{Status::bad_request, "unknown \"" + key + "\" in the query", ""};
    }
  }
}

}  // namespace

Response Api::answer(const Request& request) {
  const Target target{std::string(request.target())};
  const std::string& path = target.path;
  if (path == "/api/platform") return platform(request, target);
  if (path == "/api/gateways") return gateways(request, target);
  if (path == "/api/exchanges") return exchanges(request, target);
  expect_keys(target, {});
  if (path == "/api/answers") return answers(request);
  if (path == "/api/scenario") return scenario(request);
  if (const auto uuid = piece_behind(path, "/api/gateways/", "/gets")) return gets(request, *uuid);
  if (const auto uuid = piece_behind(path, "/api/gateways/", "")) return gateway(request, *uuid);
  if (const auto number = piece_behind(path, "/api/exchanges/", "")) return exchange(request, *number);
  if (const auto number = piece_behind(path, "/api/answers/", "")) return one_answer(request, *number);
  throw Refusal{Status::not_found, "no such path", ""};
}

std::string Api::hello() const {
  Json json = {{"version", NUVEK_VERSION}, {"started", utc_text(platform_.started)}, {"time", now()}};
  json.update(held(platform_.ring));
  return text_of(json);
}

Response Api::platform(const Request& request, const Target& target) {
  allow(request, {Verb::get});
  expect_keys(target, {});
  Json packages = Json::array();
  for (const Package& package : kPackages) packages.push_back(package.path);
  std::vector<std::string> faults(kFaultNames.begin() + 1, kFaultNames.end());
  std::sort(faults.begin(), faults.end());
  return json_response(Status::ok, {{"version", NUVEK_VERSION},
                                    {"started", utc_text(platform_.started)},
                                    {"time", now()},
                                    {"address", about_.address},
                                    {"port", about_.port},
                                    {"strict", about_.strict},
                                    {"desk", about_.desk},
                                    {"gateways", platform_.book.size()},
                                    {"findings", platform_.time_line.findings()},
                                    {"exchanges", held(platform_.ring)},
                                    {"journal", journal_json(platform_.journal)},
                                    {"kinds", kKindNames},
                                    {"faults", faults},
                                    {"packages", packages}});
}

Response Api::gateways(const Request& request, const Target& target) {
  allow(request, {Verb::get});
  expect_keys(target, {"after", "limit"});
  const auto after = static_cast<int>(number_in(target.query, "after", 0, 0, INT_MAX));
  const auto limit = static_cast<size_t>(number_in(target.query, "limit", kGatewaysAtOnce, 1, kMostGatewaysAtOnce));
  const auto found = platform_.book.above(after);
  Json rows = Json::array();
  for (size_t i = 0; i < found.size() && i < limit; ++i) rows.push_back(gateway_json(*found[i]));
  return json_response(Status::ok,
                       {{"gateways", rows}, {"count", platform_.book.size()}, {"more", found.size() > limit}});
}

Gateway& Api::known(const std::string& uuid) {
  Gateway* gateway = platform_.book.find(uuid);
  if (gateway == nullptr) throw Refusal{Status::not_found, "no such gateway", ""};
  return *gateway;
}

Response Api::gateway(const Request& request, const std::string& uuid) {
  allow(request, {Verb::get});
  return json_response(Status::ok, gateway_json(known(uuid)));
}

Response Api::gets(const Request& request, const std::string& uuid) {
  allow(request, {Verb::post, Verb::delete_});
  Gateway& gateway = known(uuid);
  const bool asks = request.method() == Verb::post;
  if (asks) {
    const std::string path = read_get(request.body());
    if (gateway.wanted.size() == GatewayBook::kMostWanted) {
      throw Refusal{Status::conflict, "16 questions wait already for this gateway's next contact", ""};
    }
    platform_.book.ask(gateway, path);
  } else {
    platform_.book.take_back(gateway);
  }
  return json_response(asks ? Status::accepted : Status::ok, {{"uuid", uuid}, {"waiting", waiting_json(gateway)}});
}

Response Api::exchanges(const Request& request, const Target& target) {
  allow(request, {Verb::get});
  expect_keys(target, {"after", "uuid", "kind", "limit"});
  return json_response(Status::ok, found_exchanges(platform_.ring, target.query));
}

Response Api::exchange(const Request& request, const std::string& number) {
  allow(request, {Verb::get});
  const auto found = platform_.ring.find(number_in({{"number", number}}, "number", 0, 0, INT64_MAX));
  if (found == nullptr) throw Refusal{Status::not_found, "no such exchange, or not remembered any more", ""};
  return json_response(Status::ok, exchange_json(*found, true));
}

Response Api::answers(const Request& request) {
  allow(request, {Verb::get, Verb::post, Verb::delete_});
  if (request.method() == Verb::post) {
    Order order = read_order(request.body());
    if (platform_.orders.all().size() == Orders::kMost) {
      throw Refusal{Status::conflict, "64 answers are ordered already", ""};
    }
    return json_response(Status::created, order_json(platform_.orders.add(std::move(order))));
  }
  if (request.method() == Verb::delete_) platform_.orders.clear();
  return json_response(Status::ok, answers_json(platform_.orders));
}

Response Api::one_answer(const Request& request, const std::string& number) {
  allow(request, {Verb::delete_});
  const auto which = static_cast<int>(number_in({{"number", number}}, "number", 0, 0, INT_MAX));
  if (!platform_.orders.remove(which)) throw Refusal{Status::not_found, "no such answer", ""};
  return json_response(Status::ok, answers_json(platform_.orders));
}

Response Api::scenario(const Request& request) {
  allow(request, {Verb::get, Verb::put});
  if (request.method() == Verb::put) {
    try {
      platform_.keeper.replace(request.body());
    } catch (const ScenarioError& error) {
      return json_response(Status::bad_request, refusal_json(error));
    }
  }
  return json_response(Status::ok, scenario_json(platform_.keeper, true));
}

}  // namespace desk::console
