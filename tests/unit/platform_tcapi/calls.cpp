#include "calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

// Other threads of the program call through here too, while nothing is asked for.
std::atomic<bool> g_counting{false};
std::atomic<int> g_calls{0};
int g_death_step = 0;
int g_failing_call = 0;
int g_error = 0;
bool g_single_bytes = false;
size_t g_bytes_to_live = 0;  // what may still be written before the process dies in the middle of a write; 0 is no end
int g_flags_of_all = 0;
int g_failing_realloc = 0;
const char* g_awaited = nullptr;
void (*g_ahead)() = nullptr;
constexpr int kNamesMax = 64;
const char* g_names[kNamesMax];

void start(int death_step, int failing_call, int error, bool single_bytes, size_t bytes_to_live = 0) {
  g_bytes_to_live = bytes_to_live;
  g_death_step = death_step;
  g_failing_call = failing_call;
  g_error = error;
  g_single_bytes = single_bytes;
  g_flags_of_all = ~0;
  g_failing_realloc = 0;
  g_awaited = nullptr;
  g_calls = 0;
  g_counting = true;
}

void reach_step(int step) {
  if (step == g_death_step) kill(getpid(), SIGKILL);
}

// Makes one call, or lets it fail. The arguments of a call that fails are not looked at.
template <typename Call>
auto pass(const char* name, Call call) -> decltype(call()) {
  if (!g_counting) return call();
  if (g_awaited != nullptr && strcmp(name, g_awaited) == 0) {
    g_awaited = nullptr;
    g_ahead();
  }
  const int number = ++g_calls;
  if (number <= kNamesMax) g_names[number - 1] = name;
  if (number == g_failing_call) {
    errno = g_error;
    return -1;
  }
  reach_step(2 * number - 1);
  const auto result = call();
  const int error = errno;
  reach_step(2 * number);
  errno = error;
  return result;
}

// The system's own function. Where the sources are built for files of any size, some go by another name.
template <typename Function>
Function* next(Function*& found, const char* name) {
  if (found == nullptr) found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, (std::string(name) + "64").c_str()));
  if (found == nullptr) found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return found;
}

mode_t mode_of(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

}  // namespace

namespace calls {

void die_at_step(int step) { start(step, 0, 0, false); }
void die_at_byte(size_t byte) { start(0, 0, 0, false, byte); }
void fail_at_call(int call, int error) { start(0, call, error, false); }
void count() { start(0, 0, 0, false); }
void move_bytes_singly() { start(0, 0, 0, true); }

void ahead_of(const char* name, void (*what)()) {
  start(0, 0, 0, true);
  g_ahead = what;
  g_awaited = name;
}

void fail_at_realloc(int call) {
  start(0, 0, 0, false);
  g_failing_realloc = call;
}

int stop() {
  g_counting = false;
  return g_calls;
}

std::string names() {
  std::string list;
  for (int i = 0; i < g_calls && i < kNamesMax; ++i) list += std::string(g_names[i]) + ' ';
  return list;
}

int number_of(const std::string& name) {
  for (int i = 0; i < g_calls && i < kNamesMax; ++i) {
    if (g_names[i] == name) return i + 1;
  }
  ADD_FAILURE() << "no call of " << name << " among " << names();
  return 0;
}

int flags_of_all_opens() { return g_flags_of_all; }

}  // namespace calls

#define NEXT(name)                   \
  static decltype(::name)* s_##name; \
  const auto call_##name = next(s_##name, #name)

extern "C" int open(const char* path, int flags, ...) {
  NEXT(open);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  g_flags_of_all &= flags;
  return pass("open", [&] { return call_open(path, flags, mode); });
}

extern "C" int openat(int folder, const char* path, int flags, ...) {
  NEXT(openat);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  g_flags_of_all &= flags;
  return pass("openat", [&] { return call_openat(folder, path, flags, mode); });
}

extern "C" int flock(int fd, int operation) noexcept {
  NEXT(flock);
  return pass("flock", [&] { return call_flock(fd, operation); });
}

extern "C" int fstat(int fd, struct stat* status) noexcept {
  NEXT(fstat);
  return pass("fstat", [&] { return call_fstat(fd, status); });
}

extern "C" int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
  NEXT(fstatat);
  return pass("fstatat", [&] { return call_fstatat(folder, path, status, flags); });
}

// The store's own calls alone come here. No system call: it is not counted with them.
extern "C" void* realloc_or_none(void* memory, size_t size);
void* realloc_or_none(void* memory, size_t size) {
  if (g_counting && g_failing_realloc > 0 && --g_failing_realloc == 0) {
    errno = ENOMEM;
    return nullptr;
  }
  return realloc(memory, size);
}

extern "C" ssize_t read(int fd, void* bytes, size_t size) {
  NEXT(read);
  const size_t given = g_counting && g_single_bytes && size > 1 ? 1 : size;
  return pass("read", [&] { return call_read(fd, bytes, given); });
}

extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
  NEXT(write);
  size_t taken = g_counting && g_single_bytes && size > 1 ? 1 : size;
  const bool dies = g_counting && g_bytes_to_live != 0 && g_bytes_to_live <= taken;
  if (dies) taken = g_bytes_to_live;
  if (g_bytes_to_live != 0) g_bytes_to_live -= taken;
  const ssize_t written = pass("write", [&] { return call_write(fd, bytes, taken); });
  if (dies) kill(getpid(), SIGKILL);
  return written;
}

extern "C" int fsync(int fd) {
  NEXT(fsync);
  return pass("fsync", [&] { return call_fsync(fd); });
}

extern "C" int renameat(int from_folder, const char* from, int to_folder, const char* to) noexcept {
  NEXT(renameat);
  return pass("renameat", [&] { return call_renameat(from_folder, from, to_folder, to); });
}

extern "C" int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  NEXT(mkdirat);
  return pass("mkdirat", [&] { return call_mkdirat(folder, path, mode); });
}

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  NEXT(mkdir);
  return pass("mkdir", [&] { return call_mkdir(path, mode); });
}

extern "C" int unlinkat(int folder, const char* path, int flags) noexcept {
  NEXT(unlinkat);
  return pass("unlinkat", [&] { return call_unlinkat(folder, path, flags); });
}

// A close that fails has closed all the same.
extern "C" int close(int fd) {
  NEXT(close);
  bool closed = false;
  const int result = pass("close", [&] {
    closed = true;
    return call_close(fd);
  });
  if (!closed) call_close(fd);
  return result;
}
