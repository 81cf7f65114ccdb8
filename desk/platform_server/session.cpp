#include "session.h"

#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>

#include "download.h"
#include "request_check.h"

namespace desk {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

// A gateway's request has at most 2,047 bytes; somewhat more is read, so that a longer one can be told.
constexpr size_t kRead_bytes = 4096;
constexpr uint32_t kMaxHead_bytes = 4096;
constexpr uint64_t kMaxBody_bytes = 16'384;

// For a client that waits for one acknowledgement before it sends its next GetResponse.
constexpr std::chrono::milliseconds kHoldLimit{500};

// More than an answer can ask, and than a gateway can have open.
constexpr size_t kMaxOpenGets = 64;

// After an answer that ends the connection: time for the client to take it and close.
constexpr std::chrono::seconds kDrainLimit{1};

// A text that is merely assigned an empty one keeps its memory.
template <typename Value>
void release(Value& value) {
  const Value released = std::move(value);
  value = Value();
}

}  // namespace

Session::Session(asio::ip::tcp::socket socket, Platform& platform)
    : socket_(std::move(socket)),
      platform_(platform),
      deadline_(socket_.get_executor()),
      pause_(socket_.get_executor()) {}

void Session::start() {
  Error error;
  socket_.set_option(asio::ip::tcp::no_delay(true), error);
  own_address_ = socket_.local_endpoint(error).address().to_string();
  const auto peer = socket_.remote_endpoint(error);
  if (error) return;  // gone before it was served
  peer_ = peer.address().to_string() + ":" + std::to_string(peer.port());
  expect_request();
}

void Session::expect_request() {
  // An idle connection keeps nothing of what went over it.
  if (in_.size() == 0) release(in_);
  release(exchange_);
  release(reply_);
  release(out_);
  release(raw_);
  parser_.emplace();
  parser_->eager(true);
  parser_->header_limit(kMaxHead_bytes);
  parser_->body_limit(kMaxBody_bytes);
  begun_.reset();
  parse();
}

Session::Clock::time_point Session::deadline() const {
  const auto now = Clock::now();
  if (draining_) return deadline_.expiry();
  if (!held_.empty()) return now + kHoldLimit;
  if (begun_) return *begun_ + std::chrono::milliseconds(platform_.scenario().request_ms);
  return now + std::chrono::milliseconds(platform_.scenario().idle_ms);
}

// What the connection waits for is cancelled when its time is over.
void Session::watch() {
  deadline_.async_wait([self = shared_from_this()](const Error& error) {
    // A wait that ended in the same instant as the step must not hit the one that follows.
    if (error || self->deadline_.expiry() > Clock::now()) return;
    Error ignored;
    self->socket_.cancel(ignored);
  });
}

void Session::read() {
  deadline_.expires_at(deadline());
  watch();
  socket_.async_read_some(in_.prepare(kRead_bytes), [self = shared_from_this()](const Error& error, size_t length) {
    if (!self->draining_) self->deadline_.expires_at(Clock::time_point::max());
    self->on_read(error, length);
  });
}

void Session::on_read(const Error& error, size_t length) {
  if (draining_) {
    error ? close(false) : read();
  } else if (error == asio::error::operation_aborted) {
    on_deadline();
  } else if (error) {
    end("connection ended in the middle of a request");
  } else {
    in_.commit(length);
    parse();
  }
}

void Session::on_deadline() {
  if (!held_.empty()) {
    flush_held();
  } else {
    end("request not complete after " + std::to_string(platform_.scenario().request_ms) + " ms");
  }
}

void Session::parse() {
  if (in_.size() > 0 && !begun_) begun_ = Clock::now();
  Error error;
  while (in_.size() > 0 && !parser_->is_done() && !error) {
    const size_t used = parser_->put(in_.data(), error);
    raw_.append(static_cast<const char*>(in_.data().data()), used);
    in_.consume(used);
  }
  if (error && error != http::error::need_more) {
    on_broken_request(error.message());
  } else if (parser_->is_done()) {
    on_request();
  } else {
    read();
  }
}

void Session::on_request() {
  const auto& request = parser_->get();
  const std::string target(request.target());
  close_after_ = !request.keep_alive();
  exchange_ = {};
  exchange_.peer = peer_;
  exchange_.request = raw_;
  if (request.method() == http::verb::get && target.rfind("/speedtest/", 0) == 0) {
    exchange_.kind = Kind::kSpeedTest;
    exchange_.path = target;
  } else {
    check_request(exchange_, own_address_);
  }
  answer();
}

// Where the next request would begin is not known: the connection ends with the answer.
void Session::on_broken_request(const std::string& reason) {
  close_after_ = true;
  exchange_ = {};
  exchange_.peer = peer_;
  exchange_.request = raw_ + std::string(static_cast<const char*>(in_.data().data()), in_.size());
  exchange_.findings.push_back("cannot be read as HTTP: " + reason);
  in_.consume(in_.size());
  answer();
}

void Session::answer() {
  complete_ = Clock::now();
  if (!exchange_.uuid.empty()) uuid_ = exchange_.uuid;
  reply_ = platform_.conversation.answer(exchange_);
  wait(reply_.delay_ms, &Session::carry_out);
}

void Session::wait(int ms, Step then) {
  if (ms == 0) {
    (this->*then)();
    return;
  }
  pause_.expires_after(std::chrono::milliseconds(ms));
  pause_.async_wait([self = shared_from_this(), then](const Error&) { (self.get()->*then)(); });
}

void Session::carry_out() {
  if (exchange_.kind == Kind::kGetResponse && exchange_.id) open_gets_.erase(*exchange_.id);
  if (open_gets_.size() > kMaxOpenGets) tell_unanswered_gets();
  open_gets_.insert(reply_.asked.begin(), reply_.asked.end());
  if (reply_.download) {
    download();
    return;
  }
  tell_exchange();
  out_ = held_ + reply_.bytes;
  held_.clear();
  if (reply_.fault == Fault::kClose || reply_.fault == Fault::kReset) {
    close(reply_.fault == Fault::kReset);
  } else if (reply_.fault == Fault::kTwoPieces) {
    write(out_.size() / 2, &Session::write_second_piece);
  } else if (exchange_.kind == Kind::kGetResponse && exchange_.findings.empty() && !open_gets_.empty()) {
    held_.swap(out_);
    expect_request();
  } else {
    write(out_.size(), &Session::after_answer);
  }
}

void Session::flush_held() {
  out_.swap(held_);
  held_.clear();
  // What has come of the next request stays where it is.
  write(out_.size(), &Session::parse);
}

// Sends the first `length` bytes of `out_` and takes them off it.
void Session::write(size_t length, Step then) {
  deadline_.expires_after(std::chrono::milliseconds(platform_.scenario().write_ms));
  watch();
  asio::async_write(socket_, asio::buffer(out_.data(), length),
                    [self = shared_from_this(), then](const Error& error, size_t written) {
                      self->deadline_.expires_at(Clock::time_point::max());
                      if (error == asio::error::operation_aborted) return self->on_write_deadline();
                      if (error) return self->end("");
                      self->out_.erase(0, written);
                      (self.get()->*then)();
                    });
}

// With a reset, so that the system does not keep for the client what it does not take.
void Session::on_write_deadline() {
  tell_end(exchange_.kind, {"answer not taken within " + std::to_string(platform_.scenario().write_ms) + " ms"});
  close(true);
}

void Session::write_second_piece() {
  pause_.expires_after(std::chrono::milliseconds(reply_.gap_ms));
  pause_.async_wait(
      [self = shared_from_this()](const Error&) { self->write(self->out_.size(), &Session::after_answer); });
}

void Session::download() {
  const DownloadSettings& settings = platform_.scenario().download;
  exchange_.answer = download_head(settings);
  if (settings.duration_s != 0) close_after_ = true;
  out_ = exchange_.answer;
  write(out_.size(), &Session::stream);
}

void Session::stream() {
  const auto done = [self = shared_from_this()](uint64_t sent, bool complete) {
    self->exchange_.took_ms = self->since_complete_ms();
    self->platform_.speed_tests.add(self->exchange_, sent, complete);
    complete ? self->after_answer() : self->close(true);
  };
  std::make_shared<Download>(socket_, platform_.scenario(), done)->start();
}

void Session::after_answer() { close_after_ ? drain() : expect_request(); }

// A close with unread bytes would reset the connection under the answer; so the client closes first, within a limit.
void Session::drain() {
  Error ignored;
  socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  draining_ = true;
  deadline_.expires_after(kDrainLimit);
  read();
}

void Session::end(const std::string& half_request_finding) {
  const bool half_request = begun_ && !half_request_finding.empty();
  if (half_request) {
    exchange_ = {};
    exchange_.peer = peer_;
    exchange_.request = raw_ + std::string(static_cast<const char*>(in_.data().data()), in_.size());
    exchange_.outcome = "closed";
    exchange_.findings.push_back(half_request_finding);
    platform_.tell(exchange_);
  }
  close(false);
}

int64_t Session::since_complete_ms() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - complete_).count();
}

void Session::tell_exchange() {
  exchange_.took_ms = since_complete_ms();
  platform_.tell(exchange_);
}

void Session::tell_unanswered_gets() {
  std::vector<std::string> findings;
  for (const auto& [id, must_be_answered] : open_gets_) {
    if (must_be_answered) findings.push_back("Get " + std::to_string(id) + " was not answered");
  }
  open_gets_.clear();
  if (!findings.empty()) tell_end(Kind::kGetResponse, findings);
}

// What the end of a connection left undone.
void Session::tell_end(Kind kind, const std::vector<std::string>& findings) {
  Exchange end;
  end.kind = kind;
  end.peer = peer_;
  end.uuid = uuid_;
  end.outcome = "closed";
  end.findings = findings;
  platform_.tell(end);
}

void Session::close(bool with_reset) {
  tell_unanswered_gets();
  Error ignored;
  if (with_reset) socket_.set_option(asio::socket_base::linger(true, 0), ignored);
  deadline_.expires_at(Clock::time_point::max());
  socket_.close(ignored);
}

}  // namespace desk
