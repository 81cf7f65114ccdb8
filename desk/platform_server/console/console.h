// The console: a listener of its own beside the gateways'.
#ifndef NUVEK_DESK_CONSOLE_CONSOLE_H
#define NUVEK_DESK_CONSOLE_CONSOLE_H

#include <boost/asio/steady_timer.hpp>

#include "api.h"
#include "files.h"
#include "place.h"

namespace desk::console {

// One of a bounded number of places. Copies take one more.
class Seat {
 public:
  explicit Seat(std::shared_ptr<size_t> taken) : taken_(std::move(taken)) { ++*taken_; }
  ~Seat() {
    if (taken_) --*taken_;
  }
  Seat(Seat&&) = default;
  Seat(const Seat&) = delete;
  Seat& operator=(const Seat&) = delete;
  Seat& operator=(Seat&&) = delete;

 private:
  std::shared_ptr<size_t> taken_;
};

// What all connections of the console share.
struct Shared {
  Platform& platform;
  Api api;
  Files files;
  std::string desk_socket;  // empty: no desk

  // A session can outlive this struct by a moment, so each holds what it counts in.
  std::shared_ptr<size_t> connections = std::make_shared<size_t>(0);
  std::shared_ptr<size_t> streams = std::make_shared<size_t>(0);
  std::shared_ptr<size_t> relays = std::make_shared<size_t>(0);
};

class Console {
 public:
  // Throws std::runtime_error when the place cannot be had.
  Console(boost::asio::io_context& io, const Place& place, Platform& platform, const About& about,
          const std::string& desk_socket);
  boost::asio::ip::tcp::endpoint endpoint() const { return acceptor_.local_endpoint(); }

 private:
  void accept();
  void take(boost::asio::ip::tcp::socket socket);

  boost::asio::ip::tcp::acceptor acceptor_;
  boost::asio::steady_timer retry_;
  Shared shared_;
};

}  // namespace desk::console

#endif
