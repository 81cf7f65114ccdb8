#include "fast.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

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

// The gateway's clock: what the machine's clocks showed at the first look, how long it has stood still since then, and
// since when it stands still now (0: it runs).
struct Clock {
  std::mutex lock;
  const long long real_us = machine_us(CLOCK_REALTIME);
  const long long up_us = machine_us(CLOCK_BOOTTIME);
  const long long begin_us = machine_us(CLOCK_MONOTONIC);
  long long held_us = 0;
  long long since_us = 0;

  long long passed_us() {
    const std::lock_guard<std::mutex> hold(lock);
    const long long now_us = since_us != 0 ? since_us : machine_us(CLOCK_MONOTONIC);
    return (now_us - begin_us - held_us) * speed();
  }

  void stand_still() {
    const std::lock_guard<std::mutex> hold(lock);
    since_us = machine_us(CLOCK_MONOTONIC);
  }

  // Returns how long it has stood still in all.
  long long go_on() {
    const std::lock_guard<std::mutex> hold(lock);
    held_us += machine_us(CLOCK_MONOTONIC) - since_us;
    since_us = 0;
    return held_us;
  }
};

Clock& gateway() {
  static Clock s_clock;
  return s_clock;
}

// For whoever shows the gateway's time outside.
void tell_held(long long held_us) {
  const char* path = getenv("NUVEK_WORLD_HELD");
  FILE* file = path == nullptr ? nullptr : fopen(path, "we");
  if (file == nullptr) return;
  fprintf(file, "%lld\n", held_us);
  fclose(file);
}

}  // namespace

namespace fast {

int gettimeofday(timeval* now) {
  const long long now_us = gateway().real_us + gateway().passed_us();
  now->tv_sec = static_cast<time_t>(now_us / kSecond_us);
  now->tv_usec = static_cast<suseconds_t>(now_us % kSecond_us);
  return 0;
}

int sysinfo(struct sysinfo* info) {
  static const auto real = world::behind(&::sysinfo, "sysinfo");
  const int result = real(info);
  info->uptime = static_cast<decltype(info->uptime)>((gateway().up_us + gateway().passed_us()) / kSecond_us);
  return result;
}

int system(const char* command) {
  static const auto real = world::behind(&::system, "system");
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return real(command);
  fcntl(ends[1], F_SETFD, 0);
  gateway().stand_still();
  const int result = real(command);
  close(ends[1]);
  char nothing;
  while (read(ends[0], &nothing, 1) == -1 && errno == EINTR) {
  }  // until the last program that holds the other end is over
  close(ends[0]);
  tell_held(gateway().go_on());
  return result;
}

useconds_t shortened_us(useconds_t time_us) { return time_us / static_cast<useconds_t>(speed()); }

timeval shortened(const timeval& time) {
  const long long whole_us = (time.tv_sec * kSecond_us + time.tv_usec) / speed();
  return {static_cast<time_t>(whole_us / kSecond_us), static_cast<suseconds_t>(whole_us % kSecond_us)};
}

}  // namespace fast
