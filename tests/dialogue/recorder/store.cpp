// A configuration store in memory that records each call. It begins as the file "store.1" says; the test plays the
// gateway's other software by writing the next such file and counting up the word kStoreEdits. Each file is taken once.
#include <fcntl.h>
#include <unistd.h>

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

namespace {

// A file that is only appended to. The descriptor lies far above those that the agent gets, whose numbers it leaves as
// they are without a recorder.
class Journal {
 public:
  explicit Journal(const char* name) {
    const int fd = open(control::file(name).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    fd_ = fcntl(fd, F_DUPFD_CLOEXEC, 200);
    close(fd);
  }
  void append(const std::string& text) const {
    if (write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) _exit(125);
  }

 private:
  int fd_;
};

struct Store {
  std::mutex lock;
  std::map<std::string, std::string> values;  // by "NODE ATTR"
  std::set<std::string> nodes;
  uint32_t edits_seen = 0;

  // The caller holds the lock.
  void take_edits() {
    const uint32_t edits = control::read(control::kStoreEdits);
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

}  // namespace

void record(const std::string& line) {
  static const Journal journal("record");
  journal.append(line + "\n");
}

extern "C" {

int tcapi_get(const char* node, const char* attr, char* value) {
  const faults::Aside aside;
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  record("get " + name_of(node, attr));
  const auto found = all.values.find(name_of(node, attr));
  if (found == all.values.end()) return -1;
  memcpy(value, found->second.c_str(), found->second.size() + 1);
  return 0;
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  const faults::Aside aside;
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  record("set " + name_of(node, attr) + "=" + value);
  if (strlen(value) > TCAPI_VALUE_MAX) return -1;
  all.put(name_of(node, attr), value);
  return 0;
}

int tcapi_commit(const char* node) {
  const faults::Aside aside;
  Store& all = store();
  const std::lock_guard<std::mutex> guard(all.lock);
  all.take_edits();
  record(std::string("commit ") + node);
  return all.nodes.count(node) != 0 ? 0 : -1;
}

int tcapi_save(void) {
  const faults::Aside aside;
  const std::lock_guard<std::mutex> guard(store().lock);
  record("save");
  return 0;
}

int tcdbg_printf(const char* format, ...) {
  const faults::Aside aside;
  static const Journal console("console");
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  console.append(text);
  return length;
}
}
