// Owns a clock that runs only while the main loop has nothing to do, and then in long steps, up to where the soak lets
// it. After each step the timer thread has its tick, so neither thread misses anything and every run of one seed goes
// the same way. Beside the clock, a witness: it counts what the agent begins, so that the soak need not believe the
// agent's own counters.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_YEAR_H
#define NUVEK_TESTS_GATEWAY_WORLD_YEAR_H

#include <sys/select.h>
#include <sys/time.h>
#include <sys/types.h>

namespace year {

int usleep();
int select(int count, fd_set* readable, const timeval* timeout);

// Helper programs are quick here, and in the foreground: at the next look they have ended.
int system(const char* command);

void witness_set(const char* attr);
void witness_open(const char* path);
void witness_refusal();
void witness_send(int fd, const void* data, ssize_t sent);
void witness_receive(const void* data, ssize_t received);
void witness_close(int fd);

}  // namespace year

#endif
