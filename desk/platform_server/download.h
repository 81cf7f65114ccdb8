// The body of a speed-test download: streamed in small blocks, as fast as the scenario allows and the client takes it.
#ifndef NUVEK_DESK_DOWNLOAD_H
#define NUVEK_DESK_DOWNLOAD_H

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>

#include "scenario.h"

namespace desk {

std::string download_head(const DownloadSettings& settings);

class Download : public std::enable_shared_from_this<Download> {
 public:
  // Gets the number of bytes that left and whether the client took all of them.
  using Done = std::function<void(uint64_t sent, bool complete)>;

  // `done` keeps the owner of `socket` alive.
  Download(boost::asio::ip::tcp::socket& socket, const Scenario& scenario, Done done);
  void start() { next_block(); }

 private:
  using Clock = std::chrono::steady_clock;

  void next_block();
  void write_block(size_t length);
  void on_written(boost::system::error_code error, size_t length);
  Clock::time_point due() const;

  boost::asio::ip::tcp::socket& socket_;
  const DownloadSettings settings_;
  const std::chrono::milliseconds stall_limit_;
  const Done done_;
  boost::asio::steady_timer pace_;
  boost::asio::steady_timer stall_;
  const Clock::time_point start_ = Clock::now();
  uint64_t sent_ = 0;
};

}  // namespace desk

#endif
