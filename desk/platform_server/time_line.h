// The time line on standard output, for people: one line an event; and the summary at the end.
#ifndef NUVEK_DESK_TIME_LINE_H
#define NUVEK_DESK_TIME_LINE_H

#include "exchange.h"

namespace desk {

class TimeLine {
 public:
  void tell(const Exchange& exchange);
  void summary(size_t gateways) const;
  size_t findings() const { return findings_; }

 private:
  std::array<size_t, kKindNames.size()> requests_{};
  size_t findings_ = 0;
};

}  // namespace desk

#endif
