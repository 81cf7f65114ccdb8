// Downloads as speed tests: a gateway's program fetches the same path again and again, thousands of times on a fast
// line. They are told as one exchange, a moment after the last of them is over.
#ifndef NUVEK_DESK_SPEED_TESTS_H
#define NUVEK_DESK_SPEED_TESTS_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <map>

#include "exchange.h"

namespace desk {

class SpeedTests {
 public:
  using Tell = std::function<void(const Exchange&)>;

  SpeedTests(boost::asio::io_context& io, Tell tell) : tell_(std::move(tell)), timer_(io) {}

  // A download is over; `exchange` is told with its first one's bytes.
  void add(const Exchange& exchange, uint64_t sent, bool complete);
  // Tells what is not told yet.
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  struct Test {
    Exchange exchange;
    uint64_t bytes = 0;
    size_t downloads = 0;
    size_t left = 0;  // by clients that did not take all
    Clock::time_point first;
    Clock::time_point last;
  };
  using Tests = std::map<std::string, Test>;

  void tell(Tests::iterator at);
  void tell_quiet_ones();
  void watch();
  Tests::iterator quietest();

  const Tell tell_;
  boost::asio::steady_timer timer_;
  Tests tests_;  // by client address and path
};

}  // namespace desk

#endif
