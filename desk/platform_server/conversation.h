// What the platform says to each gateway: makes the answers, by what was ordered, by the scenario, or by a recording.
#ifndef NUVEK_DESK_CONVERSATION_H
#define NUVEK_DESK_CONVERSATION_H

#include <map>
#include <random>

#include "answer_bytes.h"
#include "gateway_book.h"
#include "orders.h"
#include "scenario.h"

namespace desk {

// How a request is answered. `bytes` leave in one write, unless the fault says otherwise.
struct Reply {
  std::string bytes;
  bool download = false;  // in place of bytes
  Fault fault = Fault::kNone;
  int delay_ms = 0;
  int gap_ms = 0;
  // IDs of the Gets in `bytes`, and whether each one must be answered: a gateway may have its reasons not to answer
  // what stands in somebody's literal bytes.
  std::map<int, bool> asked;
};

class Conversation {
 public:
  Conversation(const Scenario& scenario, GatewayBook& book, Orders& orders)
      : scenario_(scenario), book_(book), orders_(orders) {}

  // Answers a checked request: adds what is wrong with it in this conversation to its findings and fills code and
  // outcome.
  Reply answer(Exchange& exchange);

 private:
  static void check_asked(Gateway& gateway, Exchange& exchange);
  Deed deed_for(const Gateway& gateway, Kind kind, Exchange& exchange);
  const RecordedAnswer* recorded(Gateway& gateway, Kind kind, Exchange& exchange) const;

  Reply usual_answer(Gateway& gateway, Exchange& exchange, Kind kind, const Deed& deed);
  Reply proper_answer(Gateway& gateway, Exchange& exchange, const Deed& deed);
  static Reply literal_answer(Gateway& gateway, Exchange& exchange, const std::string& bytes);
  int proper_code(const Gateway& gateway, const Exchange& exchange, const Deed& deed) const;
  std::vector<Question> gets_for(Gateway& gateway, Kind kind, bool may_take);
  static void spoil(Reply& reply, Exchange& exchange, const Deed& deed);

  std::string reg_id(const Gateway& gateway, const std::string& uuid) const;
  int fresh_id(const Gateway& gateway);

  const Scenario& scenario_;
  GatewayBook& book_;
  Orders& orders_;
  std::mt19937 random_{1};  // the same IDs in every run
};

}  // namespace desk

#endif
