// One connection to the console: reads a request at a time, has it answered, and sends the answer.
#ifndef NUVEK_DESK_CONSOLE_SESSION_H
#define NUVEK_DESK_CONSOLE_SESSION_H

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>

#include "console.h"

namespace desk::console {

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(boost::asio::ip::tcp::socket socket, Shared& shared);
  void start();

 private:
  using Error = boost::system::error_code;

  void expect_request();
  void read_head();
  void on_head(const Error& error);
  void on_body(const Error& error);
  void on_broken_request(const Error& error);

  void dispatch();
  void stream_events();
  void relay();
  void respond(Response response);
  void on_written(const Error& error);
  void drain();

  boost::beast::tcp_stream stream_;
  Shared& shared_;
  Seat seat_;
  boost::asio::ip::tcp::endpoint own_;
  boost::beast::flat_buffer in_;
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
  Response response_;
  bool close_ = false;
};

}  // namespace desk::console

#endif
