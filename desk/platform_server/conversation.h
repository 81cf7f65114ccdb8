// What the platform says to each gateway: keeps a short memory of every gateway, by its UUID, and makes the answers.
#ifndef NUVEK_DESK_CONVERSATION_H
#define NUVEK_DESK_CONVERSATION_H

#include <map>
#include <random>
#include <set>

#include "scenario.h"

namespace desk {

// How a request is answered. `bytes` leave in one write, unless the fault says otherwise.
struct Reply {
  std::string bytes;
  Fault fault = Fault::kNone;
  int delay_ms = 0;
  int gap_ms = 0;
  std::set<int> asked;  // IDs of the Gets in `bytes`
};

class Conversation {
 public:
  explicit Conversation(const Scenario& scenario) : scenario_(scenario) {}

  // Answers a checked request: adds what is wrong with it in this conversation to its findings and fills code and
  // outcome.
  Reply answer(Exchange& exchange);

  size_t gateways() const { return next_number_ - 1; }

 private:
  struct Gateway {
    int number = 0;
    int requests = 0;
    std::array<int, kKindNames.size()> received{};
    std::array<size_t, kKindNames.size()> answered{};  // steps of codes and Gets that were used up
    std::map<int, std::string> asked;                  // Gets without an answer yet, by ID
  };

  Gateway& gateway_of(const std::string& uuid);
  void check_asked(Gateway& gateway, Exchange& exchange);
  const FaultRule* fault_for(const Gateway& gateway, Kind kind) const;
  Reply proper_answer(Gateway& gateway, Exchange& exchange);
  std::string reg_id(const Gateway& gateway, const std::string& uuid) const;
  int fresh_id(const Gateway& gateway);

  const Scenario& scenario_;
  std::map<std::string, Gateway> gateways_;
  int next_number_ = 1;
  std::mt19937 random_{1};  // the same IDs in every run
};

}  // namespace desk

#endif
