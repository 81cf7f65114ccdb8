#include "calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

// Other threads of the program call through here too, while nothing is asked for.
std::atomic<bool> g_counting{false};
std::atomic<int> g_calls{0};
int g_death_step = 0;
int g_failing_call = 0;
int g_error = 0;
bool g_short_writes = false;
size_t g_bytes_to_live = 0;  // what may still be written before the process dies in the middle of a write; 0 is no end
constexpr int kNamesMax = 64;
const char* g_names[kNamesMax];

void start(int death_step, int failing_call, int error, bool short_writes, size_t bytes_to_live = 0) {
  g_bytes_to_live = bytes_to_live;
  g_death_step = death_step;
  g_failing_call = failing_call;
  g_error = error;
  g_short_writes = short_writes;
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

template <typename Function>
Function* next(Function*& found, const char* name) {
  if (found == nullptr) found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return found;
}

// For files of any size, where the C library has a name of its own for that.
template <typename Function>
Function* next_for_large_files(Function*& found, const char* large_name, const char* name) {
  return next(found, large_name) != nullptr ? found : next(found, name);
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
void write_bytes_singly() { start(0, 0, 0, true); }

int stop() {
  g_counting = false;
  return g_calls;
}

std::string names() {
  std::string list;
  for (int i = 0; i < g_calls && i < kNamesMax; ++i) list += std::string(g_names[i]) + ' ';
  return list;
}

}  // namespace calls

#define NEXT(name, symbol)           \
  static decltype(::name)* s_##name; \
  const auto call_##name = next(s_##name, symbol)

#define NEXT_FOR_LARGE_FILES(name)   \
  static decltype(::name)* s_##name; \
  const auto call_##name = next_for_large_files(s_##name, #name "64", #name)

// The sources are built for files of any size: these two go by their 64-bit names.
extern "C" int open(const char* path, int flags, ...) {
  NEXT_FOR_LARGE_FILES(open);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return pass("open", [&] { return call_open(path, flags, mode); });
}

extern "C" int openat(int folder, const char* path, int flags, ...) {
  NEXT_FOR_LARGE_FILES(openat);
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return pass("openat", [&] { return call_openat(folder, path, flags, mode); });
}

extern "C" int flock(int fd, int operation) noexcept {
  NEXT(flock, "flock");
  return pass("flock", [&] { return call_flock(fd, operation); });
}

extern "C" ssize_t read(int fd, void* bytes, size_t size) {
  NEXT(read, "read");
  return pass("read", [&] { return call_read(fd, bytes, size); });
}

extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
  NEXT(write, "write");
  size_t taken = g_counting && g_short_writes && size > 1 ? 1 : size;
  const bool dies = g_counting && g_bytes_to_live != 0 && g_bytes_to_live <= taken;
  if (dies) taken = g_bytes_to_live;
  if (g_bytes_to_live != 0) g_bytes_to_live -= taken;
  const ssize_t written = pass("write", [&] { return call_write(fd, bytes, taken); });
  if (dies) kill(getpid(), SIGKILL);
  return written;
}

extern "C" int fsync(int fd) {
  NEXT(fsync, "fsync");
  return pass("fsync", [&] { return call_fsync(fd); });
}

extern "C" int renameat(int from_folder, const char* from, int to_folder, const char* to) noexcept {
  NEXT(renameat, "renameat");
  return pass("renameat", [&] { return call_renameat(from_folder, from, to_folder, to); });
}

extern "C" int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  NEXT(mkdirat, "mkdirat");
  return pass("mkdirat", [&] { return call_mkdirat(folder, path, mode); });
}

extern "C" int mkdir(const char* path, mode_t mode) noexcept {
  NEXT(mkdir, "mkdir");
  return pass("mkdir", [&] { return call_mkdir(path, mode); });
}

extern "C" int unlinkat(int folder, const char* path, int flags) noexcept {
  NEXT(unlinkat, "unlinkat");
  return pass("unlinkat", [&] { return call_unlinkat(folder, path, flags); });
}

// A close that fails has closed all the same.
extern "C" int close(int fd) {
  NEXT(close, "close");
  bool closed = false;
  const int result = pass("close", [&] {
    closed = true;
    return call_close(fd);
  });
  if (!closed) call_close(fd);
  return result;
}
