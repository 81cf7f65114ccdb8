#include "download.h"

#include <algorithm>
#include <boost/asio/write.hpp>

namespace desk {
namespace {

// Small enough to pace a slow line evenly.
const std::array<char, 16'384> kBlock{};

}  // namespace

std::string download_head(const DownloadSettings& settings) {
  const std::string end =
      settings.duration_s == 0 ? "Content-Length: " + std::to_string(settings.bytes) : "Connection: close";
  return "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n" + end + "\r\n\r\n";
}

Download::Download(boost::asio::ip::tcp::socket& socket, const Scenario& scenario, Done done)
    : socket_(socket),
      settings_(scenario.download),
      stall_limit_(scenario.write_ms),
      done_(std::move(done)),
      pace_(socket.get_executor()),
      stall_(socket.get_executor()) {}

// When as much as has left may have left.
Download::Clock::time_point Download::due() const {
  const double us = static_cast<double>(sent_) * 8 / settings_.mbit_s;
  return start_ + std::chrono::microseconds(static_cast<int64_t>(us));
}

void Download::next_block() {
  const bool timed = settings_.duration_s != 0;
  const uint64_t left = (timed ? kMaxDownload_bytes : settings_.bytes) - sent_;
  if (left == 0 || (timed && Clock::now() - start_ >= std::chrono::seconds(settings_.duration_s))) {
    done_(sent_, true);
    return;
  }
  const size_t length = std::min<uint64_t>(left, kBlock.size());
  if (due() <= Clock::now()) {
    write_block(length);
    return;
  }
  pace_.expires_at(due());
  pace_.async_wait([self = shared_from_this(), length](boost::system::error_code) { self->write_block(length); });
}

void Download::write_block(size_t length) {
  stall_.expires_after(stall_limit_);
  stall_.async_wait([self = shared_from_this()](boost::system::error_code error) {
    boost::system::error_code ignored;
    if (!error) self->socket_.close(ignored);
  });
  boost::asio::async_write(socket_, boost::asio::buffer(kBlock.data(), length),
                           [self = shared_from_this()](boost::system::error_code error, size_t written) {
                             self->stall_.cancel();
                             self->on_written(error, written);
                           });
}

void Download::on_written(boost::system::error_code error, size_t length) {
  sent_ += length;
  if (error) {
    done_(sent_, false);
  } else {
    next_block();
  }
}

}  // namespace desk
