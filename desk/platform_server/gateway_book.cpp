#include "gateway_book.h"

#include <algorithm>

namespace desk {

Gateway& GatewayBook::of(const std::string& uuid) {
  if (uuid.empty()) return nameless_;
  const auto found = by_uuid_.find(uuid);
  if (found != by_uuid_.end()) {
    gateways_.splice(gateways_.begin(), gateways_, found->second);
    return gateways_.front();
  }
  if (gateways_.size() == kMostGateways) forget_the_quietest();
  gateways_.emplace_front();
  Gateway& gateway = gateways_.front();
  by_uuid_[uuid] = gateways_.begin();
  gateway.uuid = uuid;
  gateway.number = next_number_++;
  gateway.first_seen = gateway.last_seen = std::chrono::system_clock::now();
  changed(uuid, "new");
  return gateway;
}

Gateway* GatewayBook::find(const std::string& uuid) {
  const auto found = by_uuid_.find(uuid);
  return found == by_uuid_.end() ? nullptr : &*found->second;
}

void GatewayBook::forget_the_quietest() {
  const std::string uuid = gateways_.back().uuid;
  by_uuid_.erase(uuid);
  gateways_.pop_back();
  changed(uuid, "forgotten");
}

void GatewayBook::ask(Gateway& gateway, const std::string& path) {
  gateway.wanted.push_back({path, std::nullopt, std::chrono::system_clock::now()});
  changed(gateway.uuid, "waiting");
}

void GatewayBook::take_back(Gateway& gateway) {
  if (gateway.wanted.empty()) return;
  gateway.wanted.clear();
  changed(gateway.uuid, "waiting");
}

void GatewayBook::asked(Gateway& gateway, int id, const std::string& path, Time since) {
  gateway.asked.push_back({path, id, since});
  if (gateway.asked.size() > kMostAsked) gateway.asked.erase(gateway.asked.begin());
}

void GatewayBook::begin_anew() {
  nameless_.turns = {};
  for (Gateway& gateway : gateways_) gateway.turns = {};
}

std::vector<const Gateway*> GatewayBook::above(int after) const {
  std::vector<const Gateway*> found;
  for (const Gateway& gateway : gateways_) {
    if (gateway.number > after) found.push_back(&gateway);
  }
  std::sort(found.begin(), found.end(), [](const Gateway* a, const Gateway* b) { return a->number < b->number; });
  return found;
}

}  // namespace desk
