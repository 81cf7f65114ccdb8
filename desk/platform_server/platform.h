// What all connections share.
#ifndef NUVEK_DESK_PLATFORM_H
#define NUVEK_DESK_PLATFORM_H

#include "conversation.h"
#include "journal.h"
#include "time_line.h"

namespace desk {

struct Platform {
  Platform(const Scenario& what, const std::string& journal_file)
      : scenario(what), conversation(scenario), journal(journal_file) {}

  void tell(const Exchange& exchange) {
    time_line.tell(exchange);
    journal.write(exchange);
  }

  const Scenario scenario;
  Conversation conversation;
  Journal journal;
  TimeLine time_line;
};

}  // namespace desk

#endif
