// Begins the world that the environment names, in the process that the library is preloaded into.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "control.h"
#include "faults.h"
#include "platform/mjson.h"
#include "platform/mjson/cells.h"
#include "step.h"
#include "world.h"

namespace {

constexpr struct {
  const char* name;
  world::Kind kind;
} kKinds[] = {
    {"step", world::Kind::step}, {"free", world::Kind::free}, {"year", world::Kind::year}, {"fast", world::Kind::fast}};

// Takes what the library of the document tree has for its values, so that each of the agent's is an allocation, which
// can be made to fail.
void take_cells() {
  for (size_t k = 0; k < mjson::kCells; ++k) json_new_array();
}

__attribute__((constructor)) void begin() {
  unsetenv("LD_PRELOAD");
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const faults::Aside aside;
  const char* name = getenv("NUVEK_WORLD");
  const char* store = getenv("NUVEK_WORLD_STORE");
  for (const auto& row : kKinds) {
    if (name == nullptr || strcmp(row.name, name) != 0) continue;
    if (row.kind != world::Kind::fast) control::read(control::clock_s);
    if (row.kind == world::Kind::step) step::begin();
    if (row.kind == world::Kind::step || row.kind == world::Kind::free) take_cells();
    world::begin(row.kind, store != nullptr && strcmp(store, "memory") == 0);
    return;
  }
  fprintf(stderr, "gateway world: NUVEK_WORLD is not step, free, year or fast\n");
  _exit(125);
}

}  // namespace
