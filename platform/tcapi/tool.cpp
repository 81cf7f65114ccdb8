#include "platform/tcapi/tool.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/tcapi/store.h"

namespace tcapi_store {
namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

constexpr auto kWatchPeriod = std::chrono::milliseconds(20);  // a person sees a change at once

constexpr char kHelp[] =
    "Usage: tcapi COMMAND\n"
    "\n"
    "Reads, changes and watches the configuration store of a gateway or a desk, as its other software does.\n"
    "\n"
    "  get NODE ATTR         print the value of an attribute\n"
    "  set NODE ATTR VALUE   change an attribute of the live level, or make it\n"
    "  commit NODE           tell the gateway's software that the changes of a node are complete\n"
    "  save                  write the live level to flash\n"
    "  show [NODE]           print the live level, or one node of it\n"
    "  watch                 print each change as NODE ATTR=VALUE until interrupted; values that come and go within\n"
    "                        20 ms may be missed, and an attribute that is gone is not told\n"
    "  --help                print this text\n"
    "\n"
    "show and watch write \\\\, \\n and \\r for backslash, newline and carriage return.\n"
    "\n"
    "The store is the folder TCAPI_STORE, by default $NUVEK_ROOT/var/lib/tcapi.\n"
    "Exit status: 0 done, 1 no such node or attribute or store refused, 2 wrong usage.\n";

Store g_store;

using Arguments = std::vector<const char*>;
using Snapshot = std::map<std::pair<std::string, std::string>, std::string>;

int no_such(const char* node, const char* attr) {
  if (attr == nullptr || !g_store.find(node, {}).has_node) {
    fprintf(stderr, "tcapi: no node %s\n", node);
  } else {
    fprintf(stderr, "tcapi: no attribute %s in node %s\n", attr, node);
  }
  return kFailed;
}

int get(const Arguments& words) {
  if (!g_store.refresh()) return kFailed;
  const Place place = g_store.find(words[0], words[1]);
  if (!place.has_attr) return no_such(words[0], words[1]);
  char value[TCAPI_VALUE_MAX + 1];
  unescape(place.value, value);
  puts(value);
  return kOk;
}

int set(const Arguments& words) { return g_store.change(words[0], words[1], words[2]) ? kOk : kFailed; }

int commit(const Arguments& words) {
  if (!g_store.refresh()) return kFailed;
  return g_store.find(words[0], {}).has_node ? kOk : no_such(words[0], nullptr);
}

int save(const Arguments&) { return g_store.save() ? kOk : kFailed; }

int show(const Arguments& words) {
  if (!g_store.refresh()) return kFailed;
  if (!words.empty() && !g_store.find(words[0], {}).has_node) return no_such(words[0], nullptr);
  bool wanted = false;
  for (std::string_view rest = g_store.text(); !rest.empty();) {
    const Line line = take_line(rest);
    if (line.kind == Line::Kind::kNode) wanted = words.empty() || line.name == words[0];
    if (line.kind == Line::Kind::kOther || !wanted) continue;
    const std::string name(line.name);
    const std::string value(line.value);
    if (line.kind == Line::Kind::kNode) {
      printf("[%s]\n", name.c_str());
    } else {
      printf("%s=%s\n", name.c_str(), value.c_str());
    }
  }
  return kOk;
}

Snapshot take_snapshot() {
  Snapshot snapshot;
  std::string node;
  for (std::string_view rest = g_store.text(); !rest.empty();) {
    const Line line = take_line(rest);
    if (line.kind == Line::Kind::kNode) node = line.name;
    if (line.kind == Line::Kind::kAttribute) snapshot.try_emplace({node, std::string(line.name)}, line.value);
  }
  return snapshot;
}

void print_changes(const Snapshot& before, const Snapshot& now) {
  for (const auto& [name, value] : now) {
    const auto old = before.find(name);
    if (old != before.end() && old->second == value) continue;
    printf("%s %s=%s\n", name.first.c_str(), name.second.c_str(), value.c_str());
  }
}

int watch(const Arguments&) {
  setvbuf(stdout, nullptr, _IOLBF, 0);
  if (!g_store.refresh()) return kFailed;
  Snapshot before = take_snapshot();
  fprintf(stderr, "tcapi: watching %s\n", g_store.folder_path());
  while (ferror(stdout) == 0) {
    std::this_thread::sleep_for(kWatchPeriod);
    if (g_store.is_current() || !g_store.refresh()) continue;
    Snapshot now = take_snapshot();
    print_changes(before, now);
    before = std::move(now);
  }
  return kOk;
}

struct Command {
  std::string_view name;
  size_t words_min;
  size_t words_max;
  int (*run)(const Arguments& words);
};

constexpr Command kCommands[] = {{"get", 2, 2, get},   {"set", 3, 3, set},   {"commit", 1, 1, commit},
                                 {"save", 0, 0, save}, {"show", 0, 1, show}, {"watch", 0, 0, watch}};

int wrong_usage(const char* what, const char* word) {
  fprintf(stderr, "tcapi: %s%s; \"tcapi --help\" tells more\n", what, word);
  return kUsage;
}

}  // namespace

int run_tool(const Arguments& arguments) {
  if (arguments.empty()) return wrong_usage("no command", "");
  const std::string_view name = arguments[0];
  if (name == "--help") return fputs(kHelp, stdout) >= 0 ? kOk : kFailed;
  const Arguments words(arguments.begin() + 1, arguments.end());
  for (const Command& command : kCommands) {
    if (command.name != name) continue;
    const bool fits = words.size() >= command.words_min && words.size() <= command.words_max;
    return fits ? command.run(words) : wrong_usage("wrong number of words for ", arguments[0]);
  }
  return wrong_usage("no such command: ", arguments[0]);
}

}  // namespace tcapi_store
