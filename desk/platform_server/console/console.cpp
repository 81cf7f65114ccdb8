#include "console.h"

#include "session.h"

namespace desk::console {
namespace {

constexpr size_t kMostConnections = 64;
constexpr std::chrono::milliseconds kAcceptRetry{100};

constexpr char kTooMany[] =
    "HTTP/1.1 503 Service Unavailable\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: "
    "34\r\n\r\n"
    "{\"error\":\"too many connections\"}\r\n";

}  // namespace

Console::Console(boost::asio::io_context& io, const Place& place, Platform& platform, const About& about,
                 const std::string& desk_socket)
    : acceptor_(open_place(io, place)), retry_(io), shared_{platform, Api(platform, about), Files(), desk_socket} {
  accept();
}

void Console::accept() {
  acceptor_.async_accept([this](const boost::system::error_code& error, boost::asio::ip::tcp::socket socket) {
    if (!error) {
      take(std::move(socket));
      accept();
      return;
    }
    retry_.expires_after(kAcceptRetry);
    retry_.async_wait([this](const boost::system::error_code&) { accept(); });
  });
}

void Console::take(boost::asio::ip::tcp::socket socket) {
  if (*shared_.connections >= kMostConnections) {
    // It fits in an empty send buffer, so this waits for nobody.
    boost::system::error_code ignored;
    socket.non_blocking(true, ignored);
    socket.write_some(boost::asio::buffer(kTooMany, sizeof kTooMany - 1), ignored);
    return;
  }
  std::make_shared<Session>(std::move(socket), shared_)->start();
}

}  // namespace desk::console
