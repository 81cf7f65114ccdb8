// A gateway's request to the desk's platform server: cut by its HTTP parser, checked, answered twice, and noted for the
// console.
#include <boost/asio/io_context.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <iostream>

#include "desk/platform_server/api_json.h"
#include "desk/platform_server/platform.h"
#include "desk/platform_server/request_check.h"
#include "tests/fuzz/fuzz.h"

namespace {

namespace http = boost::beast::http;

constexpr size_t kGatewayTakes_bytes = 1024;
constexpr uint32_t kMaxHead_bytes = 4096;

// The first request in the bytes, as the server's session cuts it; nothing when there is none.
std::string first_request(const std::string& bytes) {
  http::request_parser<http::string_body> parser;
  parser.eager(true);
  parser.header_limit(kMaxHead_bytes);
  boost::system::error_code error;
  size_t used = 0;
  while (used < bytes.size() && !parser.is_done() && !error) {
    used += parser.put(boost::asio::buffer(bytes.data() + used, bytes.size() - used), error);
  }
  return parser.is_done() ? bytes.substr(0, used) : "";
}

void check_answer(const desk::Exchange& exchange, const desk::Reply& reply) {
  FUZZ_CHECK(reply.bytes.size() <= kGatewayTakes_bytes);
  FUZZ_CHECK(reply.bytes.compare(0, 9, "HTTP/1.1 ") == 0);
  FUZZ_CHECK(exchange.kind != desk::Kind::kBad || !exchange.findings.empty());
  FUZZ_CHECK(exchange.uuid.empty() || desk::is_uuid(exchange.uuid));
  // What is right is answered, what is not is refused.
  FUZZ_CHECK((reply.bytes.compare(9, 3, "200") == 0) == exchange.findings.empty());
}

// A platform that asks, so that an answer to its question can be right once.
desk::Exchange ask(desk::Platform& platform, const std::string& uuid) {
  desk::GatewayBook::asked(platform.book.of(uuid), 12345678, "NUVEK.Counter", {});
  desk::GatewayBook::asked(platform.book.of(uuid), 23456789, "NUVEK.Interface", {});
  return {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string request = first_request(std::string(fuzz::bytes_of(data, size)));
  if (request.empty()) return 0;
  std::cout.setstate(std::ios::failbit);  // the time line
  boost::asio::io_context io;
  desk::Platform platform(io, "", "", true);
  ask(platform, "1e3b7c90-8d2a-11ee-8a3b-001122334455");
  for (int turn = 0; turn < 2; ++turn) {
    desk::Exchange exchange;
    exchange.peer = "127.0.0.1:4711";
    exchange.request = request;
    desk::check_request(exchange, "127.0.0.1");
    const desk::Reply reply = platform.conversation.answer(exchange);
    check_answer(exchange, reply);
    platform.tell(exchange);
    for (const desk::Gateway* gateway : platform.book.above(0)) FUZZ_CHECK(!desk::gateway_json(*gateway).empty());
    FUZZ_CHECK(!desk::text_of(desk::exchange_json(*platform.ring.find(turn + 1), true)).empty());
  }
  return 0;
}
