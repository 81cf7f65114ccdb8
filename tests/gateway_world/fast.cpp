#include "fast.h"

#include <cstdlib>
#include <ctime>

#include "world.h"

namespace {

constexpr long long kSecond_us = 1000000;

long long machine_us(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kSecond_us + now.tv_nsec / 1000;
}

long speed() {
  static const long factor = [] {
    const char* text = getenv("NUVEK_WORLD_SPEED");
    const long wanted = text == nullptr ? 1 : strtol(text, nullptr, 10);
    return wanted < 1 ? 1 : wanted;
  }();
  return world::is(world::Kind::fast) ? factor : 1;
}

// What a clock of the machine shows when it has run so much faster since the first look.
long long faster_us(clockid_t clock, long long begin_us) { return begin_us + (machine_us(clock) - begin_us) * speed(); }

}  // namespace

namespace fast {

int gettimeofday(timeval* now) {
  static const long long begin_us = machine_us(CLOCK_REALTIME);
  const long long now_us = faster_us(CLOCK_REALTIME, begin_us);
  now->tv_sec = static_cast<time_t>(now_us / kSecond_us);
  now->tv_usec = static_cast<suseconds_t>(now_us % kSecond_us);
  return 0;
}

int sysinfo(struct sysinfo* info) {
  static const auto real = world::behind(&::sysinfo, "sysinfo");
  static const long long begin_us = machine_us(CLOCK_BOOTTIME);
  const int result = real(info);
  info->uptime = static_cast<decltype(info->uptime)>(faster_us(CLOCK_BOOTTIME, begin_us) / kSecond_us);
  return result;
}

useconds_t shortened_us(useconds_t time_us) { return time_us / static_cast<useconds_t>(speed()); }

timeval shortened(const timeval& time) {
  const long long whole_us = (time.tv_sec * kSecond_us + time.tv_usec) / speed();
  return {static_cast<time_t>(whole_us / kSecond_us), static_cast<suseconds_t>(whole_us % kSecond_us)};
}

}  // namespace fast
