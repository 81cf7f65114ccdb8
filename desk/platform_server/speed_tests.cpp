#include "speed_tests.h"

#include <algorithm>

namespace desk {
namespace {

// No gateway's program waits longer before it fetches again.
constexpr std::chrono::seconds kQuiet{1};
constexpr size_t kMaxTests = 256;

}  // namespace

void SpeedTests::add(const Exchange& exchange, uint64_t sent, bool complete) {
  const std::string client = exchange.peer.substr(0, exchange.peer.rfind(':'));
  const auto [at, is_new] = tests_.try_emplace(client + " " + exchange.path);
  Test& test = at->second;
  if (is_new) test.exchange = exchange;
  test.bytes += sent;
  ++test.downloads;
  if (!complete) ++test.left;
  test.last = Clock::now();
  if (is_new) test.first = test.last - std::chrono::milliseconds(exchange.took_ms);
  if (tests_.size() > kMaxTests) tell(quietest());
  if (is_new) watch();
}

void SpeedTests::finish() {
  while (!tests_.empty()) tell(tests_.begin());
}

SpeedTests::Tests::iterator SpeedTests::quietest() {
  return std::min_element(tests_.begin(), tests_.end(),
                          [](const auto& a, const auto& b) { return a.second.last < b.second.last; });
}

void SpeedTests::tell(Tests::iterator at) {
  Test test = std::move(at->second);
  tests_.erase(at);
  test.exchange.took_ms = std::chrono::duration_cast<std::chrono::milliseconds>(test.last - test.first).count();
  std::string& outcome = test.exchange.outcome;
  outcome = std::to_string(test.bytes) + " bytes";
  if (test.downloads == 1) {
    if (test.left != 0) outcome += ", then the client left";
  } else {
    outcome += " in " + std::to_string(test.downloads) + " downloads";
    if (test.left != 0) outcome += ", the client left " + std::to_string(test.left) + " of them";
  }
  tell_(test.exchange);
}

void SpeedTests::tell_quiet_ones() {
  const auto now = Clock::now();
  for (auto at = tests_.begin(); at != tests_.end();) {
    const auto next = std::next(at);
    if (at->second.last + kQuiet <= now) tell(at);
    at = next;
  }
  watch();
}

void SpeedTests::watch() {
  if (tests_.empty()) return;
  timer_.expires_at(quietest()->second.last + kQuiet);
  timer_.async_wait([this](const boost::system::error_code& error) {
    if (!error) tell_quiet_ones();
  });
}

}  // namespace desk
