#include "exchange_ring.h"

#include <utility>

namespace desk {
namespace {

constexpr size_t kMostEntries = 10'000;
constexpr size_t kMostBytes = 16 * 1024 * 1024;

size_t size_of(const Exchange& exchange) {
  size_t size = sizeof exchange + exchange.request.size() + exchange.answer.size() + exchange.outcome.size();
  for (const std::string& finding : exchange.findings) size += finding.size();
  return size;
}

}  // namespace

void ExchangeRing::add(Entry exchange) {
  bytes_ += size_of(*exchange);
  entries_.push_back(std::move(exchange));
  while (entries_.size() > kMostEntries || (bytes_ > kMostBytes && entries_.size() > 1)) {
    bytes_ -= size_of(*entries_.front());
    entries_.pop_front();
  }
}

ExchangeRing::Entry ExchangeRing::find(int64_t number) const {
  if (entries_.empty() || number < first() || number > last()) return nullptr;
  return entries_[static_cast<size_t>(number - first())];
}

}  // namespace desk
