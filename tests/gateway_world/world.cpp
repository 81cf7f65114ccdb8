#include "world.h"

#include <dlfcn.h>

#include <cstdio>

#include "faults.h"

namespace {

world::Kind g_kind = world::Kind::none;
bool g_store_in_memory;

}  // namespace

void world::begin(Kind kind, bool store_in_memory) {
  g_store_in_memory = store_in_memory;
  g_kind = kind;
}

world::Kind world::kind() { return g_kind; }

bool world::has_store_in_memory() { return g_store_in_memory; }

void* world::behind(const char* name) {
  const faults::Aside aside;  // a name that is not found costs the loader an allocation
  char checked[64];
  snprintf(checked, sizeof checked, "__interceptor_%s", name);
  void* const found = dlsym(RTLD_DEFAULT, checked);
  return found != nullptr ? found : dlsym(RTLD_NEXT, name);
}
