#include "world.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "control.h"
#include "faults.h"
#include "step.h"

namespace {

world::Kind g_kind = world::Kind::none;
bool g_store_in_memory;

constexpr struct {
  const char* name;
  world::Kind kind;
} kKinds[] = {
    {"step", world::Kind::step}, {"free", world::Kind::free}, {"year", world::Kind::year}, {"fast", world::Kind::fast}};

__attribute__((constructor)) void begin() {
  unsetenv("LD_PRELOAD");
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const faults::Aside aside;
  const char* name = getenv("NUVEK_WORLD");
  const char* store = getenv("NUVEK_WORLD_STORE");
  g_store_in_memory = store != nullptr && strcmp(store, "memory") == 0;
  for (const auto& row : kKinds) {
    if (name == nullptr || strcmp(row.name, name) != 0) continue;
    if (row.kind != world::Kind::fast) control::read(control::clock_s);
    if (row.kind == world::Kind::step) step::begin();
    g_kind = row.kind;
    return;
  }
  fprintf(stderr, "gateway world: NUVEK_WORLD is not step, free, year or fast\n");
  _exit(125);
}

}  // namespace

world::Kind world::kind() { return g_kind; }

bool world::has_store_in_memory() { return g_store_in_memory; }
