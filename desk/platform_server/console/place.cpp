#include "place.h"

#include <sys/socket.h>

#include <charconv>
#include <stdexcept>

namespace desk::console {
namespace {

namespace asio = boost::asio;

template <typename Number>
bool read_number(const std::string& digits, Number& number) {
  const char* const end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number);
  return !digits.empty() && result.ptr == end && result.ec == std::errc();
}

bool listens(int descriptor) {
  int value = 0;
  socklen_t length = sizeof value;
  const auto option = [&](int name) { return getsockopt(descriptor, SOL_SOCKET, name, &value, &length) == 0; };
  return option(SO_DOMAIN) && value == AF_INET && option(SO_TYPE) && value == SOCK_STREAM && option(SO_ACCEPTCONN) &&
         value != 0;
}

}  // namespace

std::optional<Place> read_place(const std::string& text) {
  Place place;
  if (text.rfind("fd:", 0) == 0) {
    if (!read_number(text.substr(3), place.descriptor) || place.descriptor < 0) return std::nullopt;
    return place;
  }
  const size_t colon = text.rfind(':');
  if (colon != std::string::npos) place.address = text.substr(0, colon);
  if (!read_number(text.substr(colon == std::string::npos ? 0 : colon + 1), place.port)) return std::nullopt;
  boost::system::error_code error;
  asio::ip::make_address_v4(place.address, error);
  if (error) return std::nullopt;
  return place;
}

asio::ip::tcp::acceptor open_place(asio::io_context& io, const Place& place) {
  if (place.descriptor >= 0) {
    if (!listens(place.descriptor)) {
      throw std::runtime_error("descriptor " + std::to_string(place.descriptor) + " is no listening TCP socket");
    }
    return {io, asio::ip::tcp::v4(), place.descriptor};
  }
  try {
    return {io, asio::ip::tcp::endpoint(asio::ip::make_address_v4(place.address), place.port)};
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("cannot listen on " + place.address + " port " + std::to_string(place.port) + ": " +
                             error.code().message());
  }
}

}  // namespace desk::console
