// A configuration store in memory that records each call, or a witness of the calls to the gateway's own. It begins as
// the file "store.1" says; the test plays the gateway's other software by writing the next such file and counting up
// the word store_edits. Each file is taken once.
#include "store.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "control.h"
#include "faults.h"
#include "platform/tcapi.h"
#include "record.h"
#include "step.h"
#include "walk.h"
#include "world.h"
#include "year.h"

namespace {

struct Store {
  std::mutex lock;
  std::map<std::string, std::string> values;  // by "NODE ATTR"
  std::set<std::string> nodes;
  uint32_t edits_seen = 0;

  // The caller holds the lock.
  void take_edits() {
    const uint32_t edits = control::read(control::store_edits);
    while (edits_seen != edits) take_edit(++edits_seen);
  }
  // Lines of the form "NODE ATTR=VALUE"; without "=" the attribute is removed.
  void take_edit(uint32_t number) {
    std::ifstream file(control::file(("store." + std::to_string(number)).c_str()));
    for (std::string line; std::getline(file, line);) {
      const size_t equals = line.find('=');
      const std::string name = line.substr(0, equals);
      if (equals == std::string::npos) {
        values.erase(name);
      } else {
        put(name, line.substr(equals + 1));
      }
    }
  }
  void put(const std::string& name, const std::string& value) {
    values[name] = value;
    nodes.insert(name.substr(0, name.find(' ')));
  }
};

Store& store() {
  static Store* const instance = new Store;  // never destroyed: the timer thread may still ask at exit
  return *instance;
}

std::string name_of(const char* node, const char* attr) { return std::string(node) + " " + attr; }

// Records the call; in lock step a thread may have been asked to stop ahead of it.
void note(const std::string& line) {
  if (world::is(world::Kind::step)) step::pass(line);
  if (world::is_played()) record(line);
}

int get_in_memory(const char* node, const char* attr, char* value) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  const auto found = all.values.find(name_of(node, attr));
  if (found == all.values.end()) return -1;
  memcpy(value, found->second.c_str(), found->second.size() + 1);
  return 0;
}

int set_in_memory(const char* node, const char* attr, const char* value) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  if (strlen(value) > TCAPI_VALUE_MAX) return -1;
  all.put(name_of(node, attr), value);
  return 0;
}

int commit_in_memory(const char* node) {
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  return all.nodes.count(node) != 0 ? 0 : -1;
}

}  // namespace

namespace store_in_memory {

void clear() {
  store().values.clear();
  store().nodes.clear();
}

void put(const std::string& name, const std::string& value) { store().put(name, value); }

const std::string* find(const std::string& name) {
  const auto found = store().values.find(name);
  return found == store().values.end() ? nullptr : &found->second;
}

}  // namespace store_in_memory

extern "C" {

int tcapi_get(const char* node, const char* attr, char* value) {
  static const auto real = world::behind(&tcapi_get, "tcapi_get");
  if (walk::fails(walk::kStoreReads, "tcapi_get", {-1}) != 0) return -1;
  {
    const faults::Aside aside;
    note("get " + name_of(node, attr));
    if (world::has_store_in_memory()) return get_in_memory(node, attr, value);
  }
  const faults::Aside aside;  // what the gateway's own library does is not the agent's
  return real(node, attr, value);
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  static const auto real = world::behind(&tcapi_set, "tcapi_set");
  if (walk::fails(walk::kStoreWrites, "tcapi_set", {-1}) != 0) return -1;
  {
    const faults::Aside aside;
    note("set " + name_of(node, attr) + "=" + value);
    if (world::has_store_in_memory()) return set_in_memory(node, attr, value);
  }
  if (world::is(world::Kind::year)) year::witness_set(attr);
  const faults::Aside aside;  // what the gateway's own library does is not the agent's
  return real(node, attr, value);
}

int tcapi_commit(const char* node) {
  static const auto real = world::behind(&tcapi_commit, "tcapi_commit");
  if (walk::fails(walk::kStoreWrites, "tcapi_commit", {-1}) != 0) return -1;
  {
    const faults::Aside aside;
    note(std::string("commit ") + node);
    if (world::has_store_in_memory()) return commit_in_memory(node);
  }
  const faults::Aside aside;
  return real(node);
}

int tcapi_save(void) {
  static const auto real = world::behind(&tcapi_save, "tcapi_save");
  {
    const faults::Aside aside;
    note("save");  // one that fails may have worn the flash all the same: it counts
  }
  if (walk::fails(walk::kStoreWrites, "tcapi_save", {-1}) != 0) return -1;
  const faults::Aside aside;
  return world::has_store_in_memory() ? 0 : real();
}

int tcdbg_printf(const char* format, ...) {
  const faults::Aside aside;
  static const auto real = world::behind(&tcdbg_printf, "tcdbg_printf");
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (!world::has_store_in_memory()) return real("%s", text);
  record_console(text);
  return length;
}
}
