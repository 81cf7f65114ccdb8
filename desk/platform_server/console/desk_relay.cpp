#include "desk_relay.h"

#include <boost/beast/core/error.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

namespace desk::console {
namespace {

namespace http = boost::beast::http;

constexpr std::chrono::seconds kLimit{30};
constexpr uint64_t kMaxAnswerBody_bytes = 1024 * 1024;
constexpr uint32_t kMaxAnswerHead_bytes = 8192;

Response bad_gateway(const std::string& why) { return refused({Status::bad_gateway, "the desk: " + why, ""}); }

}  // namespace

DeskRelay::DeskRelay(const boost::asio::any_io_executor& executor, std::string socket, Done done)
    : stream_(executor), socket_(std::move(socket)), done_(std::move(done)) {
  parser_.body_limit(kMaxAnswerBody_bytes);
  parser_.header_limit(kMaxAnswerHead_bytes);
}

void DeskRelay::start(const Request& request) {
  request_ = Request(request.method() == Verb::head ? Verb::get : request.method(), request.target(), 11);
  request_.set(http::field::host, "desk");
  request_.set(http::field::connection, "close");
  request_.set(http::field::content_type, "application/json");
  request_.body() = request.body();
  request_.prepare_payload();
  stream_.expires_after(kLimit);
  stream_.async_connect(boost::asio::local::stream_protocol::endpoint(socket_),
                        [self = shared_from_this()](const Error& error) { error ? self->fail(error) : self->send(); });
}

void DeskRelay::send() {
  http::async_write(stream_, request_, [self = shared_from_this()](const Error& error, size_t) {
    error ? self->fail(error) : self->receive();
  });
}

void DeskRelay::receive() {
  http::async_read(stream_, in_, parser_, [self = shared_from_this()](const Error& error, size_t) {
    error ? self->fail(error) : self->finish();
  });
}

void DeskRelay::finish() {
  const Response& answer = parser_.get();
  const std::string type(answer[http::field::content_type]);
  const std::string bare = type.substr(0, type.find_first_of("; "));
  if (bare != "application/json" && bare != "text/plain") {
    done_(bad_gateway("answered with the type \"" + bare + "\""));
    return;
  }
  Response response(answer.result(), 11);
  response.result(answer.result_int());
  response.set(http::field::content_type, bare == "text/plain" ? "text/plain; charset=utf-8" : bare);
  response.body() = answer.body();
  done_(std::move(response));
}

void DeskRelay::fail(const Error& error) {
  if (error == boost::beast::error::timeout) {
    done_(refused({Status::gateway_timeout, "the desk did not answer within 30 s", ""}));
  } else {
    done_(bad_gateway(error.message()));
  }
}

}  // namespace desk::console
