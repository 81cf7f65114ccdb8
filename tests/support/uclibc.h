// Read ahead of every test source where the C library is uClibc: it calls itself glibc, and is another in two places.
#ifndef NUVEK_TESTS_SUPPORT_UCLIBC_H
#define NUVEK_TESTS_SUPPORT_UCLIBC_H
#pragma GCC system_header

#include <malloc.h>

// Its second argument is a pointer to a time zone there, and a test that stands in for it says what glibc says.
#define gettimeofday uclibc_gettimeofday
#include <sys/time.h>
#undef gettimeofday
extern "C" int gettimeofday(timeval* __restrict, void* __restrict) noexcept;

inline struct mallinfo mallinfo2() { return mallinfo(); }

#endif
