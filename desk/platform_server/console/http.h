// A request to the console, and the answers that every part of it gives.
#ifndef NUVEK_DESK_CONSOLE_HTTP_H
#define NUVEK_DESK_CONSOLE_HTTP_H

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <map>
#include <optional>
#include <string>

#include "../json.h"

namespace desk::console {

using Request = boost::beast::http::request<boost::beast::http::string_body>;
using Response = boost::beast::http::response<boost::beast::http::string_body>;
using Status = boost::beast::http::status;
using Verb = boost::beast::http::verb;

// Is thrown by whoever cannot do what a request asks.
struct Refusal {
  Status status;
  std::string why;
  std::string allow;  // of a wrong method: the right ones
};

Response json_response(Status status, const Json& body);
Response refused(const Refusal& refusal);

// A request's target, cut into path and query.
struct Target {
  std::string path;
  std::map<std::string, std::string> query;

  // Throws Refusal for a wrong escape or a key that stands twice.
  explicit Target(const std::string& text);
};

// The path's piece behind `prefix`, up to the next slash or the end; nothing when the path is another one.
std::optional<std::string> piece_behind(const std::string& path, const std::string& prefix, const std::string& suffix);

// A whole number in a query; Refusal when it is none, or out of range.
int64_t number_in(const std::map<std::string, std::string>& query, const std::string& key, int64_t otherwise,
                  int64_t low, int64_t high);

}  // namespace desk::console

#endif
