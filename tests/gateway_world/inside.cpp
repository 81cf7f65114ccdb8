#include "inside.h"

#include "control.h"
#include "store.h"
#include "threads.h"
#include "world.h"

namespace inside {

void begin(Player player) {
  control::begin_here();
  store_in_memory::clear();
  step::begin_here(std::move(player));
  world::begin(world::Kind::step, true);
}

void end() {
  world::begin(world::Kind::none, false);
  step::begin_here(nullptr);
}

void run_thread() { threads::run_kept(); }

void put(const std::string& node, const std::string& attr, const std::string& value) {
  store_in_memory::put(node + " " + attr, value);
}

const std::string* value_of(const std::string& node, const std::string& attr) {
  return store_in_memory::find(node + " " + attr);
}

}  // namespace inside
