#include "event_stream.h"

#include <boost/asio/write.hpp>

#include "../api_json.h"

namespace desk::console {
namespace {

constexpr size_t kMostWaiting_bytes = 1024 * 1024;
constexpr size_t kPiece_bytes = 65'536;
constexpr std::chrono::seconds kAlive{15};
constexpr std::chrono::seconds kStuckLimit{30};

// It ends with the connection.
constexpr const char* kHead =
    "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\nX-Content-Type-Options: "
    "nosniff\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\nConnection: close\r\n\r\nretry: 1000\n\n";

std::string event(const std::string& name, const std::string& data) {
  return "event: " + name + "\ndata: " + data + "\n\n";
}

}  // namespace

EventStream::EventStream(boost::beast::tcp_stream&& stream, Seat seat, Shared& shared)
    : stream_(std::move(stream)),
      shared_(shared),
      seat_(std::move(seat)),
      stream_seat_(shared.streams),
      alive_(stream_.get_executor()),
      stuck_(stream_.get_executor()) {}

void EventStream::start(int64_t after) {
  const int64_t last = shared_.platform.ring.last();
  told_ = after < 0 ? last : std::min(after, last);
  // Those that are forgotten can be seen from the greeting.
  told_ = std::max(told_, shared_.platform.ring.first() - 1);
  shared_.platform.events.add(this);
  stream_.expires_never();
  waiting_ = kHead + event("hello", shared_.api.hello());
  watch_for_the_end();
  keep_alive();
  write_more();
}

void EventStream::on_exchange() { write_more(); }

void EventStream::on_event(const char* name, const std::string& data) {
  waiting_ += event(name, data);
  waiting_.size() > kMostWaiting_bytes ? end() : write_more();
}

// Nothing is to come but the end.
void EventStream::watch_for_the_end() {
  stream_.socket().async_read_some(
      boost::asio::buffer(ignored_),
      [self = shared_from_this()](const Error& error, size_t) { error ? self->end() : self->watch_for_the_end(); });
}

void EventStream::keep_alive() {
  alive_.expires_after(kAlive);
  alive_.async_wait([self = shared_from_this()](const Error& error) {
    if (error || self->over_) return;
    self->waiting_ += ": alive\n\n";
    self->write_more();
    self->keep_alive();
  });
}

// Adds to what is waiting; false when the listener was so slow that what comes next is forgotten.
bool EventStream::take_exchanges() {
  const ExchangeRing& ring = shared_.platform.ring;
  while (told_ < ring.last() && waiting_.size() < kPiece_bytes) {
    const auto next = ring.find(told_ + 1);
    if (next == nullptr) return false;
    told_ = next->number;
    waiting_ += "id: " + std::to_string(told_) + "\n" + event("exchange", text_of(exchange_json(*next, false)));
  }
  return true;
}

void EventStream::write_more() {
  if (over_ || !writing_.empty()) return;
  if (!take_exchanges()) {
    end();
    return;
  }
  if (waiting_.empty()) return;
  writing_.swap(waiting_);
  stuck_.expires_after(kStuckLimit);
  stuck_.async_wait([self = shared_from_this()](const Error& error) {
    if (!error && self->stuck_.expiry() <= std::chrono::steady_clock::now()) self->end();
  });
  boost::asio::async_write(stream_.socket(), boost::asio::buffer(writing_),
                           [self = shared_from_this()](const Error& error, size_t) {
                             self->stuck_.expires_at(std::chrono::steady_clock::time_point::max());
                             self->writing_.clear();
                             error ? self->end() : self->write_more();
                           });
}

// Closes: a listener that wants more comes back.
void EventStream::end() {
  if (over_) return;
  over_ = true;
  shared_.platform.events.remove(this);
  alive_.cancel();
  stuck_.cancel();
  Error ignored;
  stream_.socket().close(ignored);
}

}  // namespace desk::console
