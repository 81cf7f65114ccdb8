#include "http.h"

#include <charconv>

namespace desk::console {
namespace {

namespace http = boost::beast::http;

int hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string unescaped(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? hex(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hex(text[i + 2]) : -1;
    if (high < 0 || low < 0) throw Refusal{Status::bad_request, "wrong escape in the target", ""};
    plain += static_cast<char>(high << 4 | low);
    i += 2;
  }
  return plain;
}

}  // namespace

Response json_response(Status status, const Json& body) {
  Response response(status, 11);
  response.set(http::field::content_type, "application/json");
  response.body() = body.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  return response;
}

Response refused(const Refusal& refusal) {
  Response response = json_response(refusal.status, {{"error", refusal.why}});
  if (!refusal.allow.empty()) response.set(http::field::allow, refusal.allow);
  return response;
}

Target::Target(const std::string& text) {
  const size_t mark = text.find('?');
  path = text.substr(0, mark);
  if (mark == std::string::npos) return;
  std::string rest = text.substr(mark + 1);
  while (!rest.empty()) {
    const size_t end = rest.find('&');
    const std::string pair = rest.substr(0, end);
    rest = end == std::string::npos ? "" : rest.substr(end + 1);
    const size_t equals = pair.find('=');
    const std::string key = unescaped(pair.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : unescaped(pair.substr(equals + 1));
    if (!query.emplace(key, value).second) throw Refusal{Status::bad_request, "\"" + key + "\" stands twice", ""};
  }
}

std::optional<std::string> piece_behind(const std::string& path, const std::string& prefix, const std::string& suffix) {
  if (path.size() <= prefix.size() + suffix.size() || path.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
  const std::string piece = path.substr(prefix.size(), path.size() - prefix.size() - suffix.size());
  if (path.substr(prefix.size() + piece.size()) != suffix) return std::nullopt;
  if (piece.find('/') != std::string::npos) return std::nullopt;
  return piece;
}

int64_t number_in(const std::map<std::string, std::string>& query, const std::string& key, int64_t otherwise,
                  int64_t low, int64_t high) {
  const auto found = query.find(key);
  if (found == query.end()) return otherwise;
  const std::string& digits = found->second;
  const char* const end = digits.data() + digits.size();
  int64_t value = 0;
  const auto result = std::from_chars(digits.data(), end, value);
  if (digits.empty() || result.ptr != end || result.ec != std::errc() || value < low || value > high) {
    throw Refusal{Status::bad_request,
                  "\"" + key + "\" must be a whole number from " + std::to_string(low) + " to " + std::to_string(high),
                  ""};
  }
  return value;
}

}  // namespace desk::console
