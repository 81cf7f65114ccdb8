// Read ahead of every test source where the C library's headers do not say that their functions never throw. glibc's
// do, and a test that stands in for a function has to say the same as its first declaration.
#ifndef NUVEK_TESTS_SUPPORT_NEVER_THROWS_H
#define NUVEK_TESTS_SUPPORT_NEVER_THROWS_H
#pragma GCC system_header  // the later declarations may leave it out then

#include <sys/types.h>

struct addrinfo;
struct sockaddr;
struct stat;
struct sysinfo;
struct timeval;

extern "C" {
int gettimeofday(timeval* __restrict, void* __restrict) noexcept;
time_t time(time_t*) noexcept;
int sysinfo(struct sysinfo*) noexcept;
int rand() noexcept;
long random() noexcept;
void srand(unsigned) noexcept;
int socket(int, int, int) noexcept;
int setsockopt(int, int, int, const void*, unsigned) noexcept;
int bind(int, const sockaddr*, unsigned) noexcept;
int listen(int, int) noexcept;
void freeaddrinfo(addrinfo*) noexcept;
int access(const char*, int) noexcept;
int flock(int, int) noexcept;
int fstat(int, struct stat*) noexcept;
int fstatat(int, const char* __restrict, struct stat* __restrict, int) noexcept;
int rename(const char*, const char*) noexcept;
int unlink(const char*) noexcept;
int renameat(int, const char*, int, const char*) noexcept;
int mkdirat(int, const char*, mode_t) noexcept;
int mkdir(const char*, mode_t) noexcept;
int unlinkat(int, const char*, int) noexcept;
int pthread_create(pthread_t* __restrict, const pthread_attr_t* __restrict, void* (*)(void*),
                   void* __restrict) noexcept;
int pthread_mutex_lock(pthread_mutex_t*) noexcept;
}

// What is in use of the heap is glibc's own to tell. Only the year's clock asks, and that is not played here.
struct HeapUse {
  size_t uordblks;
};
inline HeapUse mallinfo2() { return {0}; }

#endif
