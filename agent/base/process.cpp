#include "agent/base/process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/file.h"
#include "agent/base/text.h"

namespace {

constexpr char kPidFile[] = "/tmp/app_check.pid";

}  // namespace

void process::run(const char* command) {
  const int result = system(command);
  static_cast<void>(result);
}

int nuvek_app_running(const char* program) {
  const file::Path path(kPidFile);
  char command[320];
  snprintf(command, sizeof command, "pidof %s > %s", program, path.c_str());
  process::run(command);
  char pid[6] = "";
  {
    const file::Reader pids(path);
    if (!pids.is_open()) return -1;
    if (fgets(pid, sizeof pid, pids.stream()) == nullptr) pid[0] = '\0';
  }
  unlink(path.c_str());
  if (char* blank = strchr(pid, ' ')) *blank = '\0';
  return text::to_int32(pid);
}
