#include "api_json.h"

#include "text.h"

namespace desk {
namespace {

Json fact_json(const Fact& fact, bool with_code = false) {
  if (fact.values.empty()) return nullptr;
  Json json = {{"time", utc_text(fact.time)}, {"exchange", fact.exchange}};
  if (with_code) json["code"] = or_null(fact.code);
  json["values"] = Json::parse(fact.values);
  return json;
}

Json counters_json(const Gateway& gateway) {
  if (gateway.counters.values.empty()) return nullptr;
  const Counts& counts = gateway.counts_at_fact;
  return {{"time", utc_text(gateway.counters.time)},
          {"exchange", gateway.counters.exchange},
          {"gateway", Json::parse(gateway.counters.values)},
          {"platform",
           {{"FailInform", nullptr},  // one that did not arrive
            {"FailResult", counts.fail_result},
            {"FailTask", counts.fail_task},
            {"SuccessInform", counts.success_inform},
            {"SuccessResult", counts.success_result},
            {"SuccessTask", counts.success_task}}}};
}

Json back_off_json(const Gateway& gateway) {
  constexpr double kMsPerS = 1000;
  Json rows = Json::array();
  for (const BackOff& row : gateway.back_off) {
    const bool over = row.next != 0;
    rows.push_back({{"exchange", row.exchange},
                    {"time", utc_text(row.time)},
                    {"code", row.code},
                    {"expected_s", row.expected_s},
                    {"next", over ? Json(row.next) : Json()},
                    {"waited_s", over ? Json(static_cast<double>(row.waited_ms) / kMsPerS) : Json()}});
  }
  return rows;
}

}  // namespace

std::string text_of(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json waiting_json(const Gateway& gateway) {
  Json rows = Json::array();
  for (const auto* questions : {&gateway.asked, &gateway.wanted}) {
    for (const Question& question : *questions) {
      rows.push_back({{"path", question.path}, {"id", or_null(question.id)}, {"since", utc_text(question.since)}});
    }
  }
  return rows;
}

Json gateway_json(const Gateway& gateway) {
  Json received = Json::object();
  for (size_t i = 0; i < kKindNames.size(); ++i) received[kKindNames[i]] = gateway.received[i];
  return {{"number", gateway.number},
          {"uuid", gateway.uuid},
          {"reg_id", or_null(gateway.reg_id)},
          {"registered", gateway.registered},
          {"address", or_null(gateway.address)},
          {"first_seen", utc_text(gateway.first_seen)},
          {"last_seen", utc_text(gateway.last_seen)},
          {"received", received},
          {"findings", gateway.findings},
          {"device", fact_json(gateway.device)},
          {"locations", {{"A", fact_json(gateway.location_a)}, {"B", fact_json(gateway.location_b)}}},
          {"interface", fact_json(gateway.interface)},
          {"counters", counters_json(gateway)},
          {"measurements",
           {{"SiteSpeed", fact_json(gateway.site_speed, true)}, {"TraceRoute", fact_json(gateway.trace_route, true)}}},
          {"back_off", back_off_json(gateway)},
          {"waiting", waiting_json(gateway)}};
}

Json exchange_json(const Exchange& exchange, bool with_bytes) {
  Json json = {{"number", exchange.number},
               {"time", utc_text(exchange.time)},
               {"took_ms", exchange.took_ms},
               {"peer", exchange.peer},
               {"uuid", exchange.uuid},
               {"kind", name_of(exchange.kind)},
               {"id", or_null(exchange.id)},
               {"path", exchange.path},
               {"code", or_null(exchange.code)},
               {"outcome", exchange.outcome},
               {"by", exchange.by},
               {"fault", exchange.fault == Fault::kNone ? Json() : Json(name_of(exchange.fault))},
               {"findings", exchange.findings},
               {"request_bytes", exchange.request.size()},
               {"answer_bytes", exchange.answer.size()}};
  if (with_bytes) {
    json["request"] = text_of_bytes(exchange.request);
    json["answer"] = text_of_bytes(exchange.answer);
  }
  return json;
}

Json order_json(const Order& order) {
  const Deed& deed = order.deed;
  return {{"number", order.number},
          {"kind", order.kind ? Json(name_of(*order.kind)) : Json()},
          {"uuid", or_null(order.uuid)},
          {"times", order.times},
          {"left", order.left},
          {"code", or_null(deed.code)},
          {"bytes", or_null(text_of_bytes(deed.bytes))},
          {"fault", deed.fault == Fault::kNone ? Json() : Json(name_of(deed.fault))},
          {"gap_ms", deed.gap_ms}};
}

Json answers_json(const Orders& orders) {
  Json rows = Json::array();
  for (const Order& order : orders.all()) rows.push_back(order_json(order));
  return {{"answers", rows}};
}

Json refusal_json(const ScenarioError& error) {
  std::string text = error.reason;
  if (error.line > 0) {
    text = "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) + ": " + text;
  }
  return {{"error", text},
          {"line", error.line > 0 ? Json(error.line) : Json()},
          {"column", error.line > 0 ? Json(error.column) : Json()},
          {"expected", or_null(error.expected)}};
}

Json scenario_json(const ScenarioKeeper& keeper, bool with_text) {
  Json error;
  if (keeper.refusal()) {
    error = refusal_json(keeper.refusal()->why);
    error["time"] = utc_text(keeper.refusal()->time);
  }
  Json json = {{"source", keeper.source()},
               {"file", or_null(keeper.file())},
               {"since", utc_text(keeper.since())},
               {"error", error}};
  if (with_text) json["yaml"] = keeper.text();
  return json;
}

Json journal_json(const Journal& journal) {
  if (journal.file().empty()) return nullptr;
  return {{"file", journal.file()}, {"error", or_null(journal.error())}};
}

}  // namespace desk
