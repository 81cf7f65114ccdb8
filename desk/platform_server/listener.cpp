#include "listener.h"

#include <sys/resource.h>

#include <iostream>

#include "session.h"

namespace desk {
namespace {

constexpr std::chrono::milliseconds kAcceptRetry{100};

// One descriptor a gateway: as many as the system lets us have.
void raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

Listener::Listener(boost::asio::io_context& io, const boost::asio::ip::tcp::endpoint& endpoint, Platform& platform)
    : acceptor_(io, endpoint), retry_(io), platform_(platform) {
  raise_descriptor_limit();
  accept();
}

void Listener::accept() {
  acceptor_.async_accept([this](const boost::system::error_code& error, boost::asio::ip::tcp::socket socket) {
    if (!error) {
      std::make_shared<Session>(std::move(socket), platform_)->start();
      accept();
      return;
    }
    // Most likely out of descriptors: others will close.
    std::cerr << "nuvek-platform: cannot accept: " << error.message() << std::endl;
    retry_.expires_after(kAcceptRetry);
    retry_.async_wait([this](const boost::system::error_code&) { accept(); });
  });
}

}  // namespace desk
