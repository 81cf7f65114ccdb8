// Takes connections in, any number of them.
#ifndef NUVEK_DESK_LISTENER_H
#define NUVEK_DESK_LISTENER_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "platform.h"

namespace desk {

class Listener {
 public:
  // Throws boost::system::system_error when the address or port cannot be had.
  Listener(boost::asio::io_context& io, const boost::asio::ip::tcp::endpoint& endpoint, Platform& platform);
  boost::asio::ip::tcp::endpoint endpoint() const { return acceptor_.local_endpoint(); }

 private:
  void accept();

  boost::asio::ip::tcp::acceptor acceptor_;
  boost::asio::steady_timer retry_;
  Platform& platform_;
};

}  // namespace desk

#endif
