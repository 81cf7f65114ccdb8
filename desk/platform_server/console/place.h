// Where the console listens: "[ADDRESS:]PORT", or "fd:NUMBER" for a listening socket that was inherited.
#ifndef NUVEK_DESK_CONSOLE_PLACE_H
#define NUVEK_DESK_CONSOLE_PLACE_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <optional>
#include <string>

namespace desk::console {

struct Place {
  int descriptor = -1;
  std::string address = "127.0.0.1";
  uint16_t port = 0;
};

// Nothing when the text is no such place.
std::optional<Place> read_place(const std::string& text);

// Throws std::runtime_error when the place cannot be had.
boost::asio::ip::tcp::acceptor open_place(boost::asio::io_context& io, const Place& place);

}  // namespace desk::console

#endif
