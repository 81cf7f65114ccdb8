#include "agent/base/clock.h"

#include <sys/sysinfo.h>
#include <sys/time.h>

#include <cstdio>

#include "agent/base/file.h"

ClockTime curtime;
ClockTime curtime_his;

namespace {

constexpr char kTimeSyncMarker[] = "/tmp/timeSync";  // made by the gateway's time client after its first success
constexpr uint32_t kEarliestTrusted_s = 1483200001;  // just after 2017-01-01 00:00 in UTC+8

}  // namespace

namespace wall_clock {

ClockTime now() {
  timeval time{};
  gettimeofday(&time, nullptr);
  return {static_cast<int32_t>(static_cast<uint32_t>(time.tv_sec)), static_cast<int32_t>(time.tv_usec)};
}

}  // namespace wall_clock

int32_t get_uptime() {
  struct sysinfo info {};
  const int result = sysinfo(&info);
  if (result != 0) {
    printf("get_uptime code error = %d\n", result);
    return 0;
  }
  return static_cast<int32_t>(info.uptime);
}

int nuvek_check_timeSync() {
  if (!file::exists(kTimeSyncMarker)) return 0;
  timeval time{};
  gettimeofday(&time, nullptr);
  // A clock of 32 bits that is negative stands in 2038 to 2106; a wider one stands before 1970 and tells no time.
  if (sizeof time.tv_sec > sizeof(int32_t) && time.tv_sec < 0) return 0;
  return static_cast<uint32_t>(time.tv_sec) >= kEarliestTrusted_s ? 1 : 0;
}
