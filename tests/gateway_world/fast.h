// Owns a clock that runs some times as fast as the machine's, from the machine's time at the start on.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_FAST_H
#define NUVEK_TESTS_GATEWAY_WORLD_FAST_H

#include <sys/select.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <sys/types.h>

namespace fast {

// As fast as the machine's own until the library is ready.
int gettimeofday(timeval* now);
int sysinfo(struct sysinfo* info);

// Runs the command, and waits for what it leaves in the background, too. The clock stands still meanwhile: programs run
// no faster than ever, and on a busy machine minutes of the gateway's time would pass. How long it has stood still in
// all goes to the file that NUVEK_WORLD_HELD names, in microseconds.
int system(const char* command);

// How long a wait of so many microseconds lasts on this machine's clock.
useconds_t shortened_us(useconds_t time_us);
timeval shortened(const timeval& time);

}  // namespace fast

#endif
