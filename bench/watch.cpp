// Preloaded into the agent or the program beside it: notes when it asks the store, runs a shell command, sends its
// first byte and first waits in select, and tells the nanoseconds on standard error, the clock and the two sums: "WHAT
// CLOCK STORE SHELL".
#include <dlfcn.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

long long store_ns;
long long shell_ns;
bool has_sent;
bool has_waited;

long long clock_ns() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

void tell(bool* told, const char* what) {
  if (*told) return;
  *told = true;
  char line[128];
  const int length = snprintf(line, sizeof line, "%s %lld %lld %lld\n", what, clock_ns(), store_ns, shell_ns);
  if (write(STDERR_FILENO, line, static_cast<size_t>(length)) != length) _exit(1);
}

// Adds the scope's time to a sum.
class Timed {
 public:
  explicit Timed(long long* sum) : sum_(sum), start_(clock_ns()) {}
  ~Timed() { *sum_ += clock_ns() - start_; }
  Timed(const Timed&) = delete;
  Timed& operator=(const Timed&) = delete;

 private:
  long long* sum_;
  long long start_;
};

// Helper programs run unwatched: to load this file would be part of what they take.
__attribute__((constructor)) void watch_nobody_else() { unsetenv("LD_PRELOAD"); }

template <class Function>
Function real(Function, const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int tcapi_get(const char* node, const char* attr, char* value) {
  static const auto next = real(&tcapi_get, "tcapi_get");
  const Timed timed(&store_ns);
  return next(node, attr, value);
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  static const auto next = real(&tcapi_set, "tcapi_set");
  const Timed timed(&store_ns);
  return next(node, attr, value);
}

int tcapi_commit(const char* node) {
  static const auto next = real(&tcapi_commit, "tcapi_commit");
  const Timed timed(&store_ns);
  return next(node);
}

int tcapi_save() {
  static const auto next = real(&tcapi_save, "tcapi_save");
  const Timed timed(&store_ns);
  return next();
}

int system(const char* command) {
  static const auto next = real(&system, "system");
  const Timed timed(&shell_ns);
  return next(command);
}

ssize_t send(int fd, const void* data, size_t size, int flags) {
  static const auto next = real(&send, "send");
  const ssize_t sent = next(fd, data, size, flags);
  tell(&has_sent, "send");
  return sent;
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* faulty, timeval* timeout) {
  static const auto next = real(&select, "select");
  tell(&has_waited, "select");
  return next(count, readable, writable, faulty, timeout);
}
}
