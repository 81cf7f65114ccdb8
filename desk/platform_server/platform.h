// What all connections share.
#ifndef NUVEK_DESK_PLATFORM_H
#define NUVEK_DESK_PLATFORM_H

#include "conversation.h"
#include "events.h"
#include "exchange_ring.h"
#include "journal.h"
#include "scenario_keeper.h"
#include "speed_tests.h"
#include "time_line.h"

namespace desk {

class Platform {
 public:
  // Without a console (`watched`) nothing is kept of an exchange but what the next answer needs.
  // Throws ScenarioError for the scenario, std::runtime_error for the journal.
  Platform(boost::asio::io_context& io, const std::string& scenario_file, const std::string& journal_file,
           bool watched);

  // An exchange is over: to the time line, the journal, the ring and whoever listens.
  void tell(Exchange exchange);

  const Scenario& scenario() const { return keeper.current(); }

  const std::chrono::system_clock::time_point started = std::chrono::system_clock::now();
  ScenarioKeeper keeper;
  GatewayBook book;
  Orders orders;
  Conversation conversation;
  Journal journal;
  TimeLine time_line;
  ExchangeRing ring;
  Events events;
  SpeedTests speed_tests;

 private:
  void watch_changes();

  const bool watched_;
  int64_t told_ = 0;
};

}  // namespace desk

#endif
