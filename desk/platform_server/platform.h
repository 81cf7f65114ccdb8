// What all connections share.
#ifndef NUVEK_DESK_PLATFORM_H
#define NUVEK_DESK_PLATFORM_H

#include "conversation.h"
#include "journal.h"
#include "speed_tests.h"
#include "time_line.h"

namespace desk {

struct Platform {
  Platform(boost::asio::io_context& io, const Scenario& what, const std::string& journal_file)
      : scenario(what),
        conversation(scenario),
        journal(journal_file),
        speed_tests(io, [this](const Exchange& test) { tell(test); }) {}

  void tell(Exchange exchange) {
    exchange.time = std::chrono::system_clock::now();
    time_line.tell(exchange);
    journal.write(exchange);
  }

  const Scenario scenario;
  Conversation conversation;
  Journal journal;
  TimeLine time_line;
  SpeedTests speed_tests;
};

}  // namespace desk

#endif
