#include "orders.h"

#include <algorithm>

namespace desk {

const Order& Orders::add(Order order) {
  order.number = next_number_++;
  order.left = order.times;
  orders_.push_back(std::move(order));
  changed();
  return orders_.back();
}

std::optional<Deed> Orders::take(Kind kind, const std::string& uuid) {
  const auto found = std::find_if(orders_.begin(), orders_.end(), [&](const Order& order) {
    const bool kind_fits = order.kind ? *order.kind == kind : kind != Kind::kSpeedTest;
    return kind_fits && (order.uuid.empty() || order.uuid == uuid);
  });
  if (found == orders_.end()) return std::nullopt;
  Deed deed = found->deed;
  if (--found->left == 0) orders_.erase(found);
  changed();
  return deed;
}

bool Orders::remove(int number) {
  const auto found =
      std::find_if(orders_.begin(), orders_.end(), [number](const Order& order) { return order.number == number; });
  if (found == orders_.end()) return false;
  orders_.erase(found);
  changed();
  return true;
}

void Orders::clear() {
  if (orders_.empty()) return;
  orders_.clear();
  changed();
}

}  // namespace desk
