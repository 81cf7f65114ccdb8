// One listener's stream of server-sent events. Exchanges are taken from the ring as the listener keeps up; other events
// wait in a bounded queue.
#ifndef NUVEK_DESK_CONSOLE_EVENT_STREAM_H
#define NUVEK_DESK_CONSOLE_EVENT_STREAM_H

#include <array>
#include <boost/beast/core/tcp_stream.hpp>

#include "console.h"

namespace desk::console {

class EventStream : public std::enable_shared_from_this<EventStream>, private EventListener {
 public:
  EventStream(boost::beast::tcp_stream&& stream, Seat seat, Shared& shared);

  // Begins behind exchange `after`; with -1 behind the last one.
  void start(int64_t after);

 private:
  using Error = boost::system::error_code;

  void on_exchange() override;
  void on_event(const char* name, const std::string& data) override;

  void watch_for_the_end();
  void keep_alive();
  void write_more();
  bool take_exchanges();
  void end();

  boost::beast::tcp_stream stream_;
  Shared& shared_;
  Seat seat_;
  Seat stream_seat_;
  boost::asio::steady_timer alive_;
  boost::asio::steady_timer stuck_;
  std::array<char, 512> ignored_{};
  std::string waiting_;
  std::string writing_;
  int64_t told_ = 0;  // the last exchange that was told
  bool over_ = false;
};

}  // namespace desk::console

#endif
