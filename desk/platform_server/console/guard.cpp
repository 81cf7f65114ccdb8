#include "guard.h"

#include <algorithm>
#include <vector>

namespace desk::console {
namespace {

namespace http = boost::beast::http;

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
  return text;
}

// The names under which the console may be addressed. A name that its owner lets point here is not among them.
std::vector<std::string> own_hosts(const boost::asio::ip::tcp::endpoint& own) {
  constexpr uint16_t kHttpPort = 80;
  std::vector<std::string> names = {own.address().to_string()};
  if (own.address().is_loopback()) names.emplace_back("localhost");
  std::vector<std::string> hosts;
  for (const std::string& name : names) {
    hosts.push_back(name + ":" + std::to_string(own.port()));
    if (own.port() == kHttpPort) hosts.push_back(name);
  }
  return hosts;
}

// The one line of this name; nothing when there is none, Refusal when there are several.
std::optional<std::string> only(const Header& head, const std::string& name) {
  if (head.count(name) > 1) throw Refusal{Status::bad_request, name + " stands twice in the head", ""};
  const auto found = head.find(name);
  if (found == head.end()) return std::nullopt;
  return std::string(found->value());
}

void check_type(const Header& head, const std::string& path) {
  const std::string wanted =
      head.method() == Verb::put && path == "/api/scenario" ? "application/yaml" : "application/json";
  const std::string type = lower(only(head, "Content-Type").value_or(""));
  const std::string bare = type.substr(0, type.find_first_of("; "));
  if (bare != wanted) throw Refusal{Status::unsupported_media_type, "Content-Type must be " + wanted, ""};
}

}  // namespace

void check_sender(const Header& head, const boost::asio::ip::tcp::endpoint& own) {
  const auto hosts = own_hosts(own);
  const std::string host = lower(only(head, "Host").value_or(""));
  if (std::find(hosts.begin(), hosts.end(), host) == hosts.end()) {
    throw Refusal{Status::misdirected_request, "Host must be " + hosts.front(), ""};
  }
  const auto origin = only(head, "Origin");
  if (origin && lower(*origin) != "http://" + host) {
    throw Refusal{Status::forbidden, "a page from elsewhere may not use the console", ""};
  }
  const std::string target(head.target());
  const std::string path = target.substr(0, target.find('?'));
  const bool api = path == "/api" || path.rfind("/api/", 0) == 0;
  const std::string site = only(head, "Sec-Fetch-Site").value_or("none");
  if (api && site != "same-origin" && site != "none") {
    throw Refusal{Status::forbidden, "a page from elsewhere may not use the console", ""};
  }
  const bool reads = head.method() == Verb::get || head.method() == Verb::head;
  const bool changes = head.method() == Verb::post || head.method() == Verb::put || head.method() == Verb::delete_;
  if (!reads && !changes) throw Refusal{Status::method_not_allowed, "no such method", "GET, HEAD"};
  if (changes) check_type(head, path);
}

}  // namespace desk::console
