// The library's system calls, as this test program sees them: it defines these calls itself, so the library's pass
// through here, and a test can count them, let one fail, or have its process killed between any two.
#ifndef NUVEK_TESTS_PLATFORM_TCAPI_CALLS_H
#define NUVEK_TESTS_PLATFORM_TCAPI_CALLS_H

#include <cstddef>
#include <string>

namespace calls {

// From now on the process kills itself at this step; every call is two steps, ahead of it and after it. The first is 1.
void die_at_step(int step);

// From now on the process kills itself as soon as it has written so many bytes, be it in the middle of a write.
void die_at_byte(size_t byte);

// From now on the call of this number fails with this error. The first is 1.
void fail_at_call(int call, int error);

// From now on the calls are only counted.
void count();

// From now on each write takes one byte only, and each read gives one.
void move_bytes_singly();

// Before the first call of this name, whoever makes it, this is done; from then on bytes move singly, as above.
void ahead_of(const char* name, void (*what)());

// From now on the store's n-th realloc finds no memory. The first is 1.
void fail_at_realloc(int call);

// How many calls there were since then; everything is back to normal.
int stop();

// The names of those calls in their order, each with a blank after it.
std::string names();

// The number of the first of those calls that has this name.
int number_of(const std::string& name);

// The flags that every open of those calls had.
int flags_of_all_opens();

}  // namespace calls

#endif
