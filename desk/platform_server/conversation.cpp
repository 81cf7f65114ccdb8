#include "conversation.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace desk {
namespace {

using Json = nlohmann::ordered_json;

// A gateway takes an answer of up to 1,024 bytes; the padding leads beyond that, within one of its receives.
constexpr size_t kOversizePadding_bytes = 1024;
constexpr size_t kGarbage_bytes = 200;

// An error without a body: 404 makes the gateway close, at 500 it keeps the connection.
constexpr const char* kNotFound = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
constexpr const char* kServerError = "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 0\r\n\r\n";

std::string http(const std::string& status, const std::string& type, const std::string& body, size_t length) {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(length) +
         "\r\n\r\n" + body;
}

std::string accepted(const std::string& body) { return http("200 OK", "application/json", body, body.size()); }

std::string refused(const std::vector<std::string>& findings) {
  constexpr size_t kMaxReason_bytes = 800;  // the whole answer stays below a gateway's limit
  std::string reason;
  for (const std::string& finding : findings) reason += finding + "\n";
  reason.resize(std::min(reason.size(), kMaxReason_bytes));
  return http("400 Bad Request", "text/plain", reason, reason.size());
}

std::string garbage() {
  std::mt19937 random{7};
  std::string bytes(kGarbage_bytes, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

// What leaves in place of the right bytes.
std::string spoiled(Fault fault, std::string bytes) {
  switch (fault) {
    case Fault::kNotFound:
      return kNotFound;
    case Fault::kServerError:
      return kServerError;
    case Fault::kGarbage:
      return garbage();
    case Fault::kClose:
    case Fault::kReset:
    case Fault::kSilence:
      return "";
    case Fault::kWrongLength: {
      const size_t end = bytes.find("\r\n\r\n");
      return end == std::string::npos ? bytes : bytes.insert(end, "0");  // ten times the length
    }
    case Fault::kOversize: {
      const size_t end = bytes.find("\r\n\r\n");
      return end == std::string::npos ? bytes
                                      : bytes.insert(end, "\r\nPadding: " + std::string(kOversizePadding_bytes, '.'));
    }
    case Fault::kTwoPieces:
    case Fault::kNone:
      break;
  }
  return bytes;
}

constexpr const char* kFaultWords[] = {
    "",          "404 Not Found", "500 Internal Server Error", "closed without an answer",      "reset",
    "no answer", "garbage",       "in two pieces: ",           "with a wrong Content-Length: ", "oversized: "};

// The step in its turn; the last one stays.
template <typename Step>
const Step* step(const std::vector<Step>& steps, size_t turn) {
  return steps.empty() ? nullptr : &steps[std::min(turn, steps.size() - 1)];
}

}  // namespace

Conversation::Gateway& Conversation::gateway_of(const std::string& uuid) {
  Gateway& gateway = gateways_[uuid];
  if (gateway.number == 0 && !uuid.empty()) gateway.number = next_number_++;
  return gateway;
}

void Conversation::check_asked(Gateway& gateway, Exchange& exchange) {
  if (exchange.kind != Kind::kGetResponse || !exchange.id) return;
  const auto asked = gateway.asked.find(*exchange.id);
  if (asked == gateway.asked.end()) {
    exchange.findings.push_back("no Get with ID " + std::to_string(*exchange.id) + " waits for an answer");
    return;
  }
  if (asked->second != exchange.path) exchange.findings.push_back("the Get with this ID asked for " + asked->second);
  gateway.asked.erase(asked);
}

const FaultRule* Conversation::fault_for(const Gateway& gateway, Kind kind) const {
  for (const FaultRule& rule : scenario_.faults) {
    const int count = rule.to ? gateway.received[index_of(kind)] : gateway.requests;
    if ((!rule.to || *rule.to == kind) && count >= rule.first && count <= rule.last) return &rule;
  }
  return nullptr;
}

std::string Conversation::reg_id(const Gateway& gateway, const std::string& uuid) const {
  std::string text = scenario_.reg_id;
  const std::pair<std::string, std::string> words[] = {{"{n}", std::to_string(gateway.number)}, {"{uuid}", uuid}};
  for (const auto& [word, value] : words) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word))
      text.replace(at, word.size(), value);
  }
  return text;
}

// Eight different digits, as in a gateway's own messages.
int Conversation::fresh_id(const Gateway& gateway) {
  std::string digits = "1234567890";
  int id = 0;
  do {
    std::shuffle(digits.begin(), digits.end(), random_);
    id = std::stoi(digits.substr(0, 8));
  } while (digits[0] == '0' || gateway.asked.count(id) != 0);
  return id;
}

Reply Conversation::proper_answer(Gateway& gateway, Exchange& exchange) {
  const Section& section = scenario_.section(exchange.kind);
  const size_t turn = gateway.answered[index_of(exchange.kind)];
  Reply reply;
  Json body = {exchange.uuid};
  if (exchange.kind == Kind::kInform0) {
    const std::string name = reg_id(gateway, exchange.uuid);
    exchange.code = *step(section.codes, turn);
    exchange.outcome = "Inform0Response RegID " + name + " Code " + std::to_string(*exchange.code);
    body.push_back(Json{{"RPCMethod", "Inform0Response"},
                        {"ObjectPath", "NUVEK.DeviceInfo"},
                        {"RegID", name},
                        {"ID", *exchange.id},
                        {"Code", *exchange.code}});
  } else if (exchange.kind == Kind::kSiteSpeed || exchange.kind == Kind::kTraceRoute) {
    exchange.code = *step(section.codes, turn);
    exchange.outcome = "ResultResponse Code " + std::to_string(*exchange.code);
    body.push_back(Json{{"RPCMethod", "ResultResponse"}, {"ID", *exchange.id}, {"Code", *exchange.code}});
  }
  if (const auto* paths = step(section.gets, turn)) {
    for (const std::string& path : *paths) {
      const int id = fresh_id(gateway);
      gateway.asked[id] = path;
      reply.asked.insert(id);
      exchange.outcome += (exchange.outcome.empty() ? "Get " : ", Get ") + path + " " + std::to_string(id);
      body.push_back(Json{{"RPCMethod", "Get"}, {"ObjectPath", path}, {"ID", id}});
    }
  }
  if (body.size() == 1) {
    // Nothing to say: an empty object, which the gateway's framing takes as a right answer without a message in it.
    exchange.outcome = "acknowledged";
    body.push_back(Json::object());
  }
  reply.bytes = accepted(body.dump());
  return reply;
}

Reply Conversation::answer(Exchange& exchange) {
  Gateway& gateway = gateway_of(exchange.uuid);
  check_asked(gateway, exchange);
  const bool bad = !exchange.findings.empty();
  const Kind kind = bad ? Kind::kBad : exchange.kind;
  ++gateway.requests;
  ++gateway.received[index_of(kind)];

  // A message without UUID or ID cannot be answered properly, whatever the scenario wants.
  const bool complete = !exchange.uuid.empty() && (exchange.kind == Kind::kReport || exchange.id.has_value());
  Reply reply;
  if (exchange.kind == Kind::kSpeedTest) {
    exchange.outcome = "download";
  } else if (bad && !(scenario_.answer_in_spite_of_findings && complete && exchange.kind != Kind::kBad)) {
    reply.bytes = refused(exchange.findings);
    exchange.outcome = "400 Bad Request";
  } else {
    reply = proper_answer(gateway, exchange);
  }
  reply.delay_ms = scenario_.section(kind).delay_ms;

  if (const FaultRule* rule = fault_for(gateway, kind)) {
    reply.fault = rule->fault;
    reply.gap_ms = rule->gap_ms;
    reply.bytes = spoiled(rule->fault, reply.bytes);
    reply.asked.clear();  // no answer to these Gets can be expected
    const std::string words = kFaultWords[static_cast<size_t>(rule->fault)];
    const bool altered = words.back() == ' ';
    exchange.outcome = altered ? words + exchange.outcome : words;
    if (!altered) exchange.code = exchange.kind == Kind::kGetResponse ? exchange.code : std::nullopt;
  } else {
    ++gateway.answered[index_of(exchange.kind)];
  }
  exchange.answer = reply.bytes;
  return reply;
}

}  // namespace desk
