#include "session.h"

#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

#include "desk_relay.h"
#include "event_stream.h"
#include "guard.h"

namespace desk::console {
namespace {

namespace http = boost::beast::http;
using std::chrono::seconds;

constexpr size_t kRead_bytes = 4096;
constexpr uint32_t kMaxHead_bytes = 8192;
constexpr uint64_t kMaxBody_bytes = 65'536;
constexpr uint64_t kMaxScenario_bytes = 262'144;
constexpr size_t kMaxStreams = 16;
constexpr size_t kMaxRelays = 8;

constexpr seconds kIdleLimit{60};
constexpr seconds kRequestLimit{10};
constexpr seconds kWriteLimit{30};
constexpr seconds kDrainLimit{1};

constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; font-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

bool is_under(const std::string& path, const std::string& folder) {
  return path == folder || path.rfind(folder + "/", 0) == 0;
}

uint64_t body_limit(const Header& head) {
  return head.target() == "/api/scenario" ? kMaxScenario_bytes : kMaxBody_bytes;
}

constexpr const char* kBodyTooLong = "the body is too long";

}  // namespace

Session::Session(boost::asio::ip::tcp::socket socket, Shared& shared)
    : stream_(std::move(socket)), shared_(shared), seat_(shared.connections) {}

void Session::start() {
  Error error;
  own_ = stream_.socket().local_endpoint(error);
  stream_.socket().set_option(boost::asio::ip::tcp::no_delay(true), error);
  if (!error) expect_request();
}

// An idle connection may wait longer for a request's first byte than for the rest of it.
void Session::expect_request() {
  parser_.emplace();
  parser_->header_limit(kMaxHead_bytes);
  parser_->body_limit(kMaxScenario_bytes);
  response_ = {};
  if (in_.size() > 0) {
    read_head();
    return;
  }
  stream_.expires_after(kIdleLimit);
  stream_.async_read_some(in_.prepare(kRead_bytes), [self = shared_from_this()](const Error& error, size_t length) {
    if (error) return;
    self->in_.commit(length);
    self->read_head();
  });
}

void Session::read_head() {
  stream_.expires_after(kRequestLimit);
  http::async_read_header(stream_, in_, *parser_,
                          [self = shared_from_this()](const Error& error, size_t) { self->on_head(error); });
}

void Session::on_head(const Error& error) {
  if (error) {
    on_broken_request(error);
    return;
  }
  // A refusal ends the connection: what follows the head is not read.
  close_ = true;
  const Header& head = parser_->get().base();
  try {
    check_sender(head, own_);
  } catch (const Refusal& refusal) {
    respond(refused(refusal));
    return;
  }
  if (parser_->content_length().value_or(0) > body_limit(head)) {
    respond(refused({Status::payload_too_large, kBodyTooLong, ""}));
    return;
  }
  parser_->body_limit(body_limit(head));
  http::async_read(stream_, in_, *parser_,
                   [self = shared_from_this()](const Error& failed, size_t) { self->on_body(failed); });
}

void Session::on_body(const Error& error) {
  if (error) {
    on_broken_request(error);
    return;
  }
  close_ = !parser_->get().keep_alive();
  try {
    dispatch();
  } catch (const Refusal& refusal) {
    respond(refused(refusal));
  }
}

void Session::on_broken_request(const Error& error) {
  close_ = true;
  if (error == http::error::header_limit) {
    respond(refused({Status::request_header_fields_too_large, "the head is too long", ""}));
  } else if (error == http::error::body_limit) {
    respond(refused({Status::payload_too_large, kBodyTooLong, ""}));
  } else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
             error != http::error::end_of_stream && error != http::error::partial_message) {
    respond(refused({Status::bad_request, "cannot be read as HTTP: " + error.message(), ""}));
  }
}

void Session::dispatch() {
  const Request& request = parser_->get();
  const std::string target(request.target());
  const std::string path = target.substr(0, target.find('?'));
  if (path == "/api/events") {
    stream_events();
  } else if (is_under(path, "/api/desk")) {
    relay();
  } else if (is_under(path, "/api")) {
    respond(shared_.api.answer(request));
  } else if (request.method() == Verb::get || request.method() == Verb::head) {
    respond(shared_.files.get(path));
  } else {
    throw Refusal{Status::method_not_allowed, "use GET, HEAD", "GET, HEAD"};
  }
}

void Session::stream_events() {
  const Request& request = parser_->get();
  if (request.method() != Verb::get) throw Refusal{Status::method_not_allowed, "use GET", "GET"};
  if (*shared_.streams >= kMaxStreams) throw Refusal{Status::service_unavailable, "too many event streams", ""};
  auto query = Target(std::string(request.target())).query;
  const auto last_id = request.find("Last-Event-ID");
  if (last_id != request.end()) query = {{"after", std::string(last_id->value())}};
  const int64_t after = number_in(query, "after", -1, 0, INT64_MAX - 1);
  std::make_shared<EventStream>(std::move(stream_), std::move(seat_), shared_)->start(after);
}

void Session::relay() {
  if (shared_.desk_socket.empty()) throw Refusal{Status::not_found, "no desk behind this platform", ""};
  if (*shared_.relays >= kMaxRelays) throw Refusal{Status::service_unavailable, "the desk is busy", ""};
  stream_.expires_never();
  const auto done = [self = shared_from_this(), seat = std::make_shared<Seat>(shared_.relays)](Response response) {
    self->respond(std::move(response));
  };
  std::make_shared<DeskRelay>(stream_.get_executor(), shared_.desk_socket, done)->start(parser_->get());
}

void Session::respond(Response response) {
  response_ = std::move(response);
  response_.version(11);
  response_.set(http::field::cache_control, "no-store");
  response_.set("X-Content-Type-Options", "nosniff");
  response_.set("Referrer-Policy", "no-referrer");
  response_.set("Cross-Origin-Resource-Policy", "same-origin");
  response_.set("Content-Security-Policy", kPolicy);
  response_.content_length(response_.body().size());
  response_.keep_alive(!close_);
  if (parser_->get().method() == Verb::head) response_.body().clear();
  stream_.expires_after(kWriteLimit);
  http::async_write(stream_, response_,
                    [self = shared_from_this()](const Error& error, size_t) { self->on_written(error); });
}

void Session::on_written(const Error& error) {
  if (error) return;
  if (!close_) {
    expect_request();
    return;
  }
  Error ignored;
  stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
  stream_.expires_after(kDrainLimit);
  drain();
}

// A close with unread bytes would reset the connection under the answer; so the client closes first, within a limit.
void Session::drain() {
  in_.clear();
  stream_.async_read_some(in_.prepare(kRead_bytes), [self = shared_from_this()](const Error& error, size_t) {
    if (!error) self->drain();
  });
}

}  // namespace desk::console
