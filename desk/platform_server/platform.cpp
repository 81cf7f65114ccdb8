#include "platform.h"

#include "api_json.h"

namespace desk {

Platform::Platform(boost::asio::io_context& io, const std::string& scenario_file, const std::string& journal_file,
                   bool watched)
    : keeper(scenario_file),
      conversation(keeper.current(), book, orders),
      journal(journal_file),
      speed_tests(io, [this](const Exchange& test) { tell(test); }),
      watched_(watched) {
  watch_changes();
}

void Platform::watch_changes() {
  keeper.changed = [this](bool another) {
    if (another) book.begin_anew();
    events.tell("scenario", [this] { return text_of(scenario_json(keeper, false)); });
  };
  orders.changed = [this] { events.tell("answers", [this] { return text_of(answers_json(orders)); }); };
  book.changed = [this](const std::string& uuid, const char* change) {
    events.tell("gateway", [&] { return text_of({{"uuid", uuid}, {"change", change}}); });
  };
}

void Platform::tell(Exchange exchange) {
  exchange.number = ++told_;
  exchange.time = std::chrono::system_clock::now();
  time_line.tell(exchange);
  if (!journal.write(exchange)) events.tell("journal", [this] { return text_of(journal_json(journal)); });
  if (!watched_) return;
  book.note(exchange);
  ring.add(std::make_shared<const Exchange>(std::move(exchange)));
  events.exchange();
}

}  // namespace desk
