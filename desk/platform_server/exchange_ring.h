// The last exchanges, bounded in number and in bytes.
#ifndef NUVEK_DESK_EXCHANGE_RING_H
#define NUVEK_DESK_EXCHANGE_RING_H

#include <deque>
#include <memory>

#include "exchange.h"

namespace desk {

class ExchangeRing {
 public:
  using Entry = std::shared_ptr<const Exchange>;

  void add(Entry exchange);

  // Numbers that are held, without gaps; both 0 when there are none.
  int64_t first() const { return entries_.empty() ? 0 : entries_.front()->number; }
  int64_t last() const { return entries_.empty() ? 0 : entries_.back()->number; }

  // Null when it is not held.
  Entry find(int64_t number) const;

 private:
  std::deque<Entry> entries_;
  size_t bytes_ = 0;
};

}  // namespace desk

#endif
