#include "exchange_query.h"

#include <algorithm>

#include "../api_json.h"
#include "../rule.h"

namespace desk::console {
namespace {

constexpr int kMostAtOnce = 500;
constexpr int kAtOnce = 100;
constexpr size_t kMaxAnswer_bytes = 4 * 1024 * 1024;

struct Wanted {
  std::optional<std::string> uuid;
  std::optional<Kind> kind;

  bool fits(const Exchange& exchange) const {
    return (!uuid || exchange.uuid == *uuid) && (!kind || exchange.kind == *kind);
  }
};

Wanted read_wanted(const std::map<std::string, std::string>& query) {
  Wanted wanted;
  const auto uuid = query.find("uuid");
  if (uuid != query.end()) wanted.uuid = uuid->second;
  const auto kind = query.find("kind");
  if (kind == query.end()) return wanted;
  wanted.kind = kind_named(kind->second);
  if (!wanted.kind) throw Refusal{Status::bad_request, "no such kind", ""};
  return wanted;
}

size_t weight(const Exchange& exchange) {
  constexpr size_t kRest = 1000;  // the other members and the escapes, roughly
  return 2 * (exchange.request.size() + exchange.answer.size()) + kRest;
}

using Entries = std::vector<ExchangeRing::Entry>;

Entries oldest_above(const ExchangeRing& ring, const Wanted& wanted, int64_t after, size_t limit, bool& more) {
  Entries found;
  size_t bytes = 0;
  for (int64_t number = std::max(after + 1, ring.first()); number <= ring.last() && ring.last() != 0; ++number) {
    auto entry = ring.find(number);
    if (!wanted.fits(*entry)) continue;
    bytes += weight(*entry);
    more = found.size() == limit || (bytes > kMaxAnswer_bytes && !found.empty());
    if (more) break;
    found.push_back(std::move(entry));
  }
  return found;
}

Entries newest(const ExchangeRing& ring, const Wanted& wanted, size_t limit) {
  Entries found;
  size_t bytes = 0;
  for (int64_t number = ring.last(); number > 0 && number >= ring.first() && found.size() < limit; --number) {
    auto entry = ring.find(number);
    if (!wanted.fits(*entry)) continue;
    bytes += weight(*entry);
    if (bytes > kMaxAnswer_bytes && !found.empty()) break;
    found.push_back(std::move(entry));
  }
  std::reverse(found.begin(), found.end());
  return found;
}

}  // namespace

Json found_exchanges(const ExchangeRing& ring, const std::map<std::string, std::string>& query) {
  const Wanted wanted = read_wanted(query);
  const auto limit = static_cast<size_t>(number_in(query, "limit", kAtOnce, 1, kMostAtOnce));
  const int64_t after = number_in(query, "after", -1, 0, INT64_MAX - 1);
  bool more = false;
  const Entries found = after < 0 ? newest(ring, wanted, limit) : oldest_above(ring, wanted, after, limit, more);
  Json rows = Json::array();
  for (const auto& entry : found) rows.push_back(exchange_json(*entry, true));
  return {{"exchanges", rows}, {"first", ring.first()}, {"last", ring.last()}, {"more", more}};
}

}  // namespace desk::console
