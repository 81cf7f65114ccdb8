// A request to the platform server's console: whoever sends it, and whatever it asks.
#include <boost/asio/io_context.hpp>
#include <boost/beast/http/parser.hpp>
#include <iostream>

#include "desk/platform_server/console/api.h"
#include "desk/platform_server/console/guard.h"
#include "tests/fuzz/fuzz.h"

namespace {

namespace http = boost::beast::http;
using namespace desk::console;
using desk::Json;

std::optional<Request> read(const std::string& bytes) {
  http::request_parser<http::string_body> parser;
  parser.eager(true);
  boost::system::error_code error;
  size_t used = 0;
  while (used < bytes.size() && !parser.is_done() && !error) {
    used += parser.put(boost::asio::buffer(bytes.data() + used, bytes.size() - used), error);
  }
  if (!parser.is_done()) return std::nullopt;
  return parser.release();
}

// Every refusal is a JSON object that says why.
void check_refusal(const Refusal& refusal) {
  const Json body = Json::parse(refused(refusal).body());
  FUZZ_CHECK(body.size() == 1 && !body.at("error").get<std::string>().empty());
}

void check_sender_of(const Request& request) {
  const boost::asio::ip::tcp::endpoint own(boost::asio::ip::make_address("127.0.0.1"), 8081);
  try {
    check_sender(request.base(), own);
    FUZZ_CHECK(request.count(http::field::host) == 1);
    FUZZ_CHECK(request[http::field::host].size() == 14);  // 127.0.0.1:8081 or localhost:8081
  } catch (const Refusal& refusal) {
    check_refusal(refusal);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto request = read(std::string(fuzz::bytes_of(data, size)));
  if (!request) return 0;
  check_sender_of(*request);
  boost::asio::io_context io;
  desk::Platform platform(io, "", "", true);
  platform.book.of("1e3b7c90-8d2a-11ee-8a3b-001122334455");
  Api api(platform, About{});
  // Also what the sender's check would have refused: the next line of defence must hold by itself.
  try {
    const Response response = api.answer(*request);
    FUZZ_CHECK(!Json::parse(response.body()).is_discarded());
  } catch (const Refusal& refusal) {
    check_refusal(refusal);
  }
  FUZZ_CHECK(platform.orders.all().size() <= 1);
  return 0;
}
