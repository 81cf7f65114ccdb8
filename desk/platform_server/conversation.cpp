#include "conversation.h"

#include <algorithm>

#include "json.h"

namespace desk {
namespace {

// With more an answer might not fit in what a gateway takes.
constexpr size_t kMaxGetsPerAnswer = 8;

constexpr const char* kFaultWords[] = {
    "",          "404 Not Found", "500 Internal Server Error", "closed without an answer",      "reset",
    "no answer", "garbage",       "in two pieces: ",           "with a wrong Content-Length: ", "oversized: "};

// The step in its turn; the last one stays.
template <typename Step>
const Step* step(const std::vector<Step>& steps, size_t turn) {
  return steps.empty() ? nullptr : &steps[std::min(turn, steps.size() - 1)];
}

auto with_id(Gateway& gateway, int id) {
  return std::find_if(gateway.asked.begin(), gateway.asked.end(),
                      [id](const Question& question) { return question.id == id; });
}

}  // namespace

void Conversation::check_asked(Gateway& gateway, Exchange& exchange) {
  if (exchange.kind != Kind::kGetResponse || !exchange.id) return;
  const auto asked = with_id(gateway, *exchange.id);
  if (asked == gateway.asked.end()) {
    exchange.findings.push_back("no Get with ID " + std::to_string(*exchange.id) + " waits for an answer");
    return;
  }
  if (asked->path != exchange.path) exchange.findings.push_back("the Get with this ID asked for " + asked->path);
  gateway.asked.erase(asked);
}

// What was ordered goes ahead of the scenario's rules.
Deed Conversation::deed_for(const Gateway& gateway, Kind kind, Exchange& exchange) {
  if (const auto ordered = orders_.take(kind, exchange.uuid)) {
    exchange.by = "console";
    return *ordered;
  }
  for (const Rule& rule : scenario_.rules) {
    if (!rule.uuid.empty() && rule.uuid != exchange.uuid) continue;
    const int count = rule.to ? gateway.turns.received[index_of(kind)] : gateway.turns.requests;
    if ((!rule.to || *rule.to == kind) && count >= rule.first && count <= rule.last) return rule.deed;
  }
  return {};
}

const RecordedAnswer* Conversation::recorded(Gateway& gateway, Kind kind, Exchange& exchange) const {
  if (scenario_.recording == nullptr || kind == Kind::kBad || exchange.uuid.empty()) return nullptr;
  const auto* answer = scenario_.recording->answer(exchange.uuid, kind, gateway.turns.replayed[index_of(kind)]++);
  if (answer != nullptr) exchange.by = "replay";
  return answer;
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
  const auto in_use = [&gateway](int id) {
    return std::any_of(gateway.asked.begin(), gateway.asked.end(),
                       [id](const Question& question) { return question.id == id; });
  };
  std::string digits = "1234567890";
  int id = 0;
  do {
    std::shuffle(digits.begin(), digits.end(), random_);
    id = std::stoi(digits.substr(0, 8));
  } while (digits[0] == '0' || in_use(id));
  return id;
}

// The scenario's Gets, and as many of the console's as find room. Those stay where they are if the answer is spoiled.
std::vector<Question> Conversation::gets_for(Gateway& gateway, Kind kind, bool may_take) {
  std::vector<Question> questions;
  const auto now = std::chrono::system_clock::now();
  const auto* paths = step(scenario_.section(kind).gets, gateway.turns.answered[index_of(kind)]);
  for (size_t i = 0; paths != nullptr && i < paths->size(); ++i) questions.push_back({(*paths)[i], std::nullopt, now});
  const bool carries_gets = kind == Kind::kReport || has_code(kind);
  while (may_take && carries_gets && !gateway.wanted.empty() && questions.size() < kMaxGetsPerAnswer) {
    questions.push_back(gateway.wanted.front());
    gateway.wanted.erase(gateway.wanted.begin());
  }
  for (Question& question : questions) {
    question.id = fresh_id(gateway);
    GatewayBook::asked(gateway, *question.id, question.path, question.since);
  }
  return questions;
}

int Conversation::proper_code(const Gateway& gateway, const Exchange& exchange, const Deed& deed) const {
  if (deed.code) return *deed.code;
  return *step(scenario_.section(exchange.kind).codes, gateway.turns.answered[index_of(exchange.kind)]);
}

Reply Conversation::proper_answer(Gateway& gateway, Exchange& exchange, const Deed& deed) {
  Reply reply;
  Json body = {exchange.uuid};
  if (exchange.kind == Kind::kInform0) {
    exchange.reg_id = reg_id(gateway, exchange.uuid);
    exchange.code = proper_code(gateway, exchange, deed);
    exchange.outcome = "Inform0Response RegID " + exchange.reg_id + " Code " + std::to_string(*exchange.code);
    body.push_back(Json{{"RPCMethod", "Inform0Response"},
                        {"ObjectPath", "NUVEK.DeviceInfo"},
                        {"RegID", exchange.reg_id},
                        {"ID", *exchange.id},
                        {"Code", *exchange.code}});
  } else if (exchange.kind == Kind::kSiteSpeed || exchange.kind == Kind::kTraceRoute) {
    exchange.code = proper_code(gateway, exchange, deed);
    exchange.outcome = "ResultResponse Code " + std::to_string(*exchange.code);
    body.push_back(Json{{"RPCMethod", "ResultResponse"}, {"ID", *exchange.id}, {"Code", *exchange.code}});
  }
  for (const Question& get : gets_for(gateway, exchange.kind, deed.fault == Fault::kNone)) {
    reply.asked[*get.id] = true;
    exchange.outcome += (exchange.outcome.empty() ? "Get " : ", Get ") + get.path + " " + std::to_string(*get.id);
    body.push_back(Json{{"RPCMethod", "Get"}, {"ObjectPath", get.path}, {"ID", *get.id}});
  }
  if (body.size() == 1) {
    // Nothing to say: an empty object, which the gateway's framing takes as a right answer without a message in it.
    exchange.outcome = "acknowledged";
    body.push_back(Json::object());
  }
  reply.bytes = accepted(body.dump());
  return reply;
}

// Bytes that somebody else has made, with whatever stands in them.
Reply Conversation::literal_answer(Gateway& gateway, Exchange& exchange, const std::string& bytes) {
  Reply reply;
  reply.bytes = bytes;
  const Contents contents = contents_of(bytes);
  if (exchange.kind != Kind::kGetResponse) exchange.code = contents.code;
  exchange.reg_id = contents.reg_id;
  exchange.outcome = std::to_string(bytes.size()) + " literal bytes";
  for (const Contents::Get& get : contents.gets) {
    reply.asked[get.id] = false;
    GatewayBook::asked(gateway, get.id, get.path, std::chrono::system_clock::now());
  }
  return reply;
}

Reply Conversation::usual_answer(Gateway& gateway, Exchange& exchange, Kind kind, const Deed& deed) {
  // A message without UUID or ID cannot be answered properly, whatever the scenario wants.
  const bool bad = kind == Kind::kBad;
  const bool complete = !exchange.uuid.empty() && (exchange.kind == Kind::kReport || exchange.id.has_value());
  Reply reply;
  if (exchange.kind == Kind::kSpeedTest) {
    exchange.outcome = "download";
    reply.download = deed.fault == Fault::kNone;
  } else if (bad && !(scenario_.answer_in_spite_of_findings && complete && exchange.kind != Kind::kBad)) {
    reply.bytes = refused(exchange.findings);
    exchange.outcome = "400 Bad Request";
  } else {
    reply = proper_answer(gateway, exchange, deed);
  }
  return reply;
}

void Conversation::spoil(Reply& reply, Exchange& exchange, const Deed& deed) {
  reply.fault = exchange.fault = deed.fault;
  reply.gap_ms = deed.gap_ms;
  reply.bytes = spoiled(deed.fault, reply.bytes);
  reply.asked.clear();  // no answer to these Gets can be expected
  const std::string words = kFaultWords[static_cast<size_t>(deed.fault)];
  const bool altered = words.back() == ' ';
  exchange.outcome = altered ? words + exchange.outcome : words;
  if (!altered) exchange.code = exchange.kind == Kind::kGetResponse ? exchange.code : std::nullopt;
}

Reply Conversation::answer(Exchange& exchange) {
  Gateway& gateway = book_.of(exchange.uuid);
  check_asked(gateway, exchange);
  const Kind kind = exchange.findings.empty() ? exchange.kind : Kind::kBad;
  ++gateway.turns.requests;
  ++gateway.turns.received[index_of(kind)];

  Deed deed = deed_for(gateway, kind, exchange);
  const bool decided = deed.fault != Fault::kNone || deed.code || !deed.bytes.empty();
  const RecordedAnswer* record = decided ? nullptr : recorded(gateway, kind, exchange);
  Reply reply;
  if (record != nullptr) {
    deed.fault = record->fault;
    reply = literal_answer(gateway, exchange, record->bytes_for(exchange));
  } else if (!deed.bytes.empty()) {
    reply = literal_answer(gateway, exchange, deed.bytes);
  } else {
    reply = usual_answer(gateway, exchange, kind, deed);
    if (deed.fault == Fault::kNone) ++gateway.turns.answered[index_of(exchange.kind)];
  }
  if (deed.fault != Fault::kNone) spoil(reply, exchange, deed);
  reply.delay_ms = scenario_.section(kind).delay_ms;
  exchange.answer = reply.bytes;
  return reply;
}

}  // namespace desk
