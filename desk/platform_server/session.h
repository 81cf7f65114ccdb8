// One connection: cuts what comes into requests, has each checked and answered, and sends the answer as the reply says.
// One step at a time: a connection either reads, waits or writes, so any number of them share the one thread.
#ifndef NUVEK_DESK_SESSION_H
#define NUVEK_DESK_SESSION_H

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <chrono>
#include <memory>

#include "platform.h"

namespace desk {

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(boost::asio::ip::tcp::socket socket, Platform& platform);
  void start();

 private:
  using Clock = std::chrono::steady_clock;
  using Error = boost::system::error_code;
  using Step = void (Session::*)();

  // Reading.
  void expect_request();
  void watch();
  void read();
  void on_read(const Error& error, size_t length);
  void parse();
  void on_deadline();
  Clock::time_point deadline() const;

  // Answering.
  void on_request();
  void on_broken_request(const std::string& reason);
  void answer();
  void wait(int ms, Step then);
  void carry_out();
  void write(size_t length, Step then);
  void on_write_deadline();
  void write_second_piece();
  void download();
  void stream();
  void after_answer();
  void flush_held();

  // Ending.
  void drain();
  void end(const std::string& half_request_finding);
  int64_t since_complete_ms() const;
  void tell_exchange();
  void tell_unanswered_gets();
  void tell_end(Kind kind, const std::vector<std::string>& findings);
  void close(bool with_reset);

  boost::asio::ip::tcp::socket socket_;
  Platform& platform_;
  std::string own_address_;
  std::string peer_;

  boost::beast::flat_buffer in_;
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
  std::string raw_;                         // the request as far as the parser has taken it
  std::optional<Clock::time_point> begun_;  // when its first byte came
  boost::asio::steady_timer deadline_;
  boost::asio::steady_timer pause_;

  Clock::time_point complete_;  // when the request that is being answered had come
  Exchange exchange_;
  Reply reply_;
  std::string out_;
  // A gateway answers all Gets of an answer one after the other and then closes. Whatever it is sent meanwhile turns
  // that close into a reset, which can cost the messages still on their way. So their acknowledgements wait for the
  // last one.
  std::string held_;
  std::map<int, bool> open_gets_;  // and whether each must be answered
  std::string uuid_;               // of the last request that told it
  bool close_after_ = false;
  bool draining_ = false;
};

}  // namespace desk

#endif
