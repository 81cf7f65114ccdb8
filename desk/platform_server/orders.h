// Answers that were ordered over the console: they go ahead of the scenario, in their order, until they are used up.
#ifndef NUVEK_DESK_ORDERS_H
#define NUVEK_DESK_ORDERS_H

#include <functional>
#include <list>

#include "rule.h"

namespace desk {

struct Order {
  int number = 0;
  std::optional<Kind> kind;  // none: any but a download
  std::string uuid;          // empty: any gateway
  int times = 1;
  int left = 1;
  Deed deed;
};

class Orders {
 public:
  static constexpr size_t kMost = 64;

  // Is called after each change.
  std::function<void()> changed = [] {};

  const Order& add(Order order);
  // The deed for a request; a turn of its order is used up.
  std::optional<Deed> take(Kind kind, const std::string& uuid);
  bool remove(int number);
  void clear();
  const std::list<Order>& all() const { return orders_; }

 private:
  std::list<Order> orders_;
  int next_number_ = 1;
};

}  // namespace desk

#endif
