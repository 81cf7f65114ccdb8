// Stands in for the calls by which the agent learns the time and starts programs. The loader finds them here before it
// looks into the C library. The clock stands still until the test moves it; waits in select() and usleep() stay real.
#include <dlfcn.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "control.h"
#include "record.h"

extern "C" {

int gettimeofday(struct timeval* __restrict now, void* __restrict) noexcept {
  now->tv_sec = static_cast<time_t>(control::read(control::kClock_s));
  now->tv_usec = static_cast<suseconds_t>(control::read(control::kClock_us));
  return 0;
}

time_t time(time_t* out) noexcept {
  const time_t now = static_cast<time_t>(control::read(control::kClock_s));
  if (out != nullptr) *out = now;
  return now;
}

int sysinfo(struct sysinfo* info) noexcept {
  memset(info, 0, sizeof *info);
  info->uptime = static_cast<long>(control::read(control::kUptime_s));
  return 0;
}

// Only the timer thread sleeps this way: the count tells the test that a tick has passed.
int usleep(useconds_t time_us) {
  control::count(control::kTicks);
  const timespec time{static_cast<time_t>(time_us / 1000000), static_cast<long>(time_us % 1000000) * 1000};
  return nanosleep(&time, nullptr);
}

// Records the command. Runs it only when the test says so, with the test's own programs first in PATH.
int system(const char* command) {
  using System = int (*)(const char*);
  static const System real = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
  record(std::string("system ") + command);
  return control::read(control::kShellRuns) != 0 ? real(command) : 0;
}
}
