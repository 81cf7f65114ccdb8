// Stands in for the calls by which the agent learns the time and sleeps.
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <string>

#include "control.h"
#include "fast.h"
#include "faults.h"
#include "step.h"
#include "world.h"
#include "year.h"

namespace {

bool is_told_the_time() { return !world::is(world::Kind::none) && !world::is(world::Kind::fast); }

int sleep_for(useconds_t time_us) {
  const timespec time{static_cast<time_t>(time_us / 1000000), static_cast<long>(time_us % 1000000) * 1000};
  return nanosleep(&time, nullptr);
}

}  // namespace

extern "C" {

int gettimeofday(struct timeval* __restrict now, void* __restrict) noexcept {
  if (!is_told_the_time()) return fast::gettimeofday(now);
  now->tv_sec =
      static_cast<time_t>(uint64_t{control::read(control::clock_era)} << 32 | control::read(control::clock_s));
  now->tv_usec = static_cast<suseconds_t>(control::read(control::clock_us));
  return 0;
}

time_t time(time_t* out) noexcept {
  timeval now{};
  gettimeofday(&now, nullptr);
  if (out != nullptr) *out = now.tv_sec;
  return now.tv_sec;
}

int sysinfo(struct sysinfo* info) noexcept {
  if (!is_told_the_time()) return fast::sysinfo(info);
  memset(info, 0, sizeof *info);
  info->uptime = static_cast<decltype(info->uptime)>(control::read(control::uptime_s));
  return 0;
}

// Only the timer thread sleeps this way, and looks at its timers after it.
int usleep(useconds_t time_us) {
  switch (world::kind()) {
    case world::Kind::step: {
      const faults::Aside aside;
      step::stop("sleep " + std::to_string(time_us));
      return 0;
    }
    case world::Kind::free:
      control::count(control::ticks);
      return sleep_for(time_us);
    case world::Kind::year:
      return year::usleep();
    default:
      return sleep_for(fast::shortened_us(time_us));
  }
}
}
