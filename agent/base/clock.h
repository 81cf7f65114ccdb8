// Owns the wall clock as the device counts it: 32-bit seconds and microseconds. The seconds are signed where they are
// stored and printed, and compared as unsigned numbers, so that they are in order until 2106.
#ifndef NUVEK_AGENT_BASE_CLOCK_H
#define NUVEK_AGENT_BASE_CLOCK_H

#include <cstdint>

struct ClockTime {
  int32_t sec;
  int32_t usec;
};

// "Now", refreshed by whichever report step needs it, and the reference instant of the default report. Main thread
// only.
extern ClockTime curtime;
extern ClockTime curtime_his;

namespace wall_clock {

// The time of day since the epoch, seconds modulo 2^32.
ClockTime now();

// Whether the first instant comes ahead of the second.
constexpr bool is_before(const ClockTime& a, const ClockTime& b) {
  return a.sec == b.sec ? a.usec < b.usec : static_cast<uint32_t>(a.sec) < static_cast<uint32_t>(b.sec);
}

}  // namespace wall_clock

// Returns the system's uptime in seconds, 0 when it cannot be read.
int32_t get_uptime();

// Returns 1 when the clock is synchronised: the marker file exists and the time is past the start of 2017; else 0.
int nuvek_check_timeSync();

#endif
