// What the platform knows of each gateway, by its UUID: a bounded number of gateways, and for each a bounded memory.
#ifndef NUVEK_DESK_GATEWAY_BOOK_H
#define NUVEK_DESK_GATEWAY_BOOK_H

#include <functional>
#include <list>
#include <unordered_map>
#include <vector>

#include "exchange.h"

namespace desk {

using Time = std::chrono::system_clock::time_point;

// A Get, from the wish for it until it is answered.
struct Question {
  std::string path;
  std::optional<int> id;  // none until it has been asked
  Time since;
};

// What a gateway has told of one thing, as the JSON text that came.
struct Fact {
  std::string values;  // empty: nothing yet
  Time time;
  int64_t exchange = 0;
  std::optional<int> code;  // answered to it
};

// The gateway's six counters, as far as the platform can count the same.
struct Counts {
  int64_t fail_result = 0;
  int64_t fail_task = 0;
  int64_t success_inform = 0;
  int64_t success_result = 0;
  int64_t success_task = 0;
};

// A speed-test result that was refused, and the one that followed.
struct BackOff {
  int64_t exchange = 0;
  Time time;
  int code = 0;
  int expected_s = 0;
  int64_t next = 0;  // 0: still waited for
  int64_t waited_ms = 0;
};

struct Gateway {
  std::string uuid;
  int number = 0;

  // How far the scenario has been played.
  struct Turns {
    int requests = 0;
    std::array<int, kKindNames.size()> received{};
    std::array<size_t, kKindNames.size()> answered{};  // steps of codes and Gets that were used up
    std::array<size_t, kKindNames.size()> replayed{};
  } turns;
  std::vector<Question> wanted;  // wait for the next contact
  std::vector<Question> asked;   // wait for their answer

  Time first_seen;
  Time last_seen;
  std::string address;
  std::string reg_id;
  bool registered = false;
  std::array<int64_t, kKindNames.size()> received{};
  int64_t findings = 0;

  Fact device;
  Fact location_a;
  Fact location_b;
  Fact interface;
  Fact counters;
  Fact site_speed;
  Fact trace_route;
  Counts counts;          // by now
  Counts counts_at_fact;  // when `counters` came
  std::vector<BackOff> back_off;
  int refusals = 0;
};

class GatewayBook {
 public:
  static constexpr size_t kMostGateways = 10'000;
  static constexpr size_t kMostWanted = 16;
  static constexpr size_t kMostAsked = 64;

  // Is called with a gateway's UUID and "new", "forgotten" or "waiting".
  std::function<void(const std::string& uuid, const char* change)> changed = [](const std::string&, const char*) {};

  // The gateway, known from now on; whoever carries no UUID shares one record.
  Gateway& of(const std::string& uuid);
  Gateway* find(const std::string& uuid);

  // Adds what an exchange tells of its gateway.
  void note(const Exchange& exchange);

  void ask(Gateway& gateway, const std::string& path);
  void take_back(Gateway& gateway);
  // A Get leaves with an answer. The oldest one without an answer is given up when there are too many.
  static void asked(Gateway& gateway, int id, const std::string& path, Time since);

  // Another scenario: every gateway begins with its first step.
  void begin_anew();

  size_t seen() const { return static_cast<size_t>(next_number_) - 1; }
  size_t size() const { return by_uuid_.size(); }
  // Those with a number above `after`, in their order.
  std::vector<const Gateway*> above(int after) const;

 private:
  using Gateways = std::list<Gateway>;

  void forget_the_quietest();

  Gateways gateways_;  // the last one that was heard of in front
  std::unordered_map<std::string, Gateways::iterator> by_uuid_;
  Gateway nameless_;
  int next_number_ = 1;
};

}  // namespace desk

#endif
