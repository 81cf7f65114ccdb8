// Stands in for the calls by which the agent learns the time, looks up names and starts programs. The loader finds them
// here before it looks into the C library. The clock stands still until the test moves it; waits in select() and
// usleep() stay real.
#include <netdb.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "control.h"
#include "faults.h"
#include "record.h"

namespace {

constexpr char kSilence[] = "-";
constexpr timespec kLookAgain{0, 5000000};

// The address of a name as the last line of the file "names" has it ("NAME ADDRESS" on each); empty for an unknown
// name.
std::string last_address_of(const std::string& wanted) {
  std::ifstream file(control::file("names"));
  std::string last;
  for (std::string name, address; file >> name >> address;) {
    if (name == wanted) last = address;
  }
  return last;
}

// While the address is a dash, the name server says nothing.
std::string address_of(const std::string& wanted) {
  for (;;) {
    const std::string address = last_address_of(wanted);
    if (address != kSilence) return address;
    nanosleep(&kLookAgain, nullptr);
  }
}

}  // namespace

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
  if (const uint32_t tick_us = control::read(control::kTick_us)) time_us = tick_us;
  const timespec time{static_cast<time_t>(time_us / 1000000), static_cast<long>(time_us % 1000000) * 1000};
  return nanosleep(&time, nullptr);
}

// Records the command. Runs it only when the test says so, with the test's own programs first in PATH.
int system(const char* command) {
  static const auto real = behind<int(const char*)>("system");
  {
    const faults::Aside aside;
    record(std::string("system ") + command);
  }
  if (faults::strikes(faults::kSystem)) return -1;
  return control::read(control::kShellRuns) != 0 ? real(command) : 0;
}

int getaddrinfo(const char* name, const char* service, const struct addrinfo* hints, struct addrinfo** found) {
  static const auto real = behind<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
  char address[64] = "";
  {
    const faults::Aside aside;
    record(std::string("lookup ") + name);
    const std::string known = address_of(name);
    known.copy(address, sizeof address - 1);
  }
  if (faults::strikes(faults::kLookup)) return EAI_AGAIN;
  return address[0] == '\0' ? EAI_NONAME : real(address, service, hints, found);
}
}
