// Hands one request on to the desk, which serves its own gateway on a Unix socket, and brings the answer back.
#ifndef NUVEK_DESK_CONSOLE_DESK_RELAY_H
#define NUVEK_DESK_CONSOLE_DESK_RELAY_H

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <functional>
#include <memory>

#include "http.h"

namespace desk::console {

class DeskRelay : public std::enable_shared_from_this<DeskRelay> {
 public:
  using Done = std::function<void(Response)>;

  // `done` is called once, with the desk's answer or one that says why there is none.
  DeskRelay(const boost::asio::any_io_executor& executor, std::string socket, Done done);
  void start(const Request& request);

 private:
  using Error = boost::system::error_code;

  void send();
  void receive();
  void finish();
  void fail(const Error& error);

  boost::beast::basic_stream<boost::asio::local::stream_protocol> stream_;
  const std::string socket_;
  const Done done_;
  Request request_;
  boost::beast::flat_buffer in_;
  boost::beast::http::response_parser<boost::beast::http::string_body> parser_;
};

}  // namespace desk::console

#endif
