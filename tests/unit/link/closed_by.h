// Which descriptors the agent closed: world().closed also has those that the capturing of output around it closes.
#ifndef NUVEK_TESTS_UNIT_LINK_CLOSED_BY_H
#define NUVEK_TESTS_UNIT_LINK_CLOSED_BY_H

#include <functional>
#include <vector>

#include "tests/support/world.h"

// Every descriptor that `action` closed, in order. To be called innermost.
inline std::vector<int> closed_by(const std::function<void()>& action) {
  const size_t before = world().closed.size();
  action();
  const auto& all = world().closed;
  return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
}

#endif
