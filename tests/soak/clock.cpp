// Preloaded into the agent: a clock that runs only while the main loop has nothing to do, and then in long steps, up to
// where the soak lets it. After each step the timer thread has its tick, so neither thread misses anything and every
// run of one seed goes the same way. Beside the clock, a witness: it counts what the agent begins, so that the soak
// need not believe the agent's own counters.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "control.h"
#include "platform/tcapi.h"

namespace {

constexpr time_t kTurn_s = 1;                        // the main loop's own timeout, by which its select is known
constexpr suseconds_t kAnswerPatience_us = 2000000;  // real time in which the platform on this machine has answered
constexpr suseconds_t kClientPatience_us = 100000;   // the same for a client that has just connected
constexpr suseconds_t kPark_us = 1000;

pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_moved = PTHREAD_COND_INITIALIZER;
uint32_t g_steps;              // steps of the clock so far
uint32_t g_ticked;             // steps for which the timer thread has had its tick
std::atomic<int> g_asked{-1};  // connection on which a request awaits its answer

// Of the turn that is running; main thread only.
bool g_in_turn;
long long g_turn_begin_us;
uint32_t g_turn_begin_s;
long long g_waited_us;  // in the selects of this turn

template <typename Function>
Function* behind(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Files of notes; from the beginning and without a buffer, so that they do not count as the agent's growth.
int g_requests = -1;
int g_answers = -1;

int open_notes(const char* name) {
  return open(control::file(name).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

__attribute__((constructor)) void begin() {
  unsetenv("LD_PRELOAD");  // helper programs run by this machine's clock
  g_requests = open_notes("requests");
  g_answers = open_notes("answers");
}

long long real_us() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

void raise_to(control::Word word, long long value) {
  if (value > control::read(word)) control::write(word, static_cast<uint32_t>(value));
}

bool ends_with(const char* text, const char* end) {
  const size_t length = strlen(text);
  return length >= strlen(end) && strcmp(text + length - strlen(end), end) == 0;
}

bool is_empty(const char* path) {
  struct stat status {};
  return stat(path, &status) != 0 || status.st_size == 0;
}

// Lets the clock go and the timer thread look at its timers.
void pass(uint32_t seconds) {
  pthread_mutex_lock(&g_lock);
  control::write(control::kClock_s, control::read(control::kClock_s) + seconds);
  control::write(control::kUptime_s, control::read(control::kUptime_s) + seconds);
  ++g_steps;
  pthread_cond_broadcast(&g_moved);
  while (g_ticked != g_steps) pthread_cond_wait(&g_moved, &g_lock);
  pthread_mutex_unlock(&g_lock);
}

uint32_t seconds_to_go() { return control::read(control::kTarget_s) - control::read(control::kClock_s); }

int ready_within(int count, fd_set* readable, suseconds_t time_us) {
  static const auto real = behind(&select, "select");
  fd_set found = *readable;
  timeval time{time_us / 1000000, time_us % 1000000};
  const int ready = real(count, &found, nullptr, nullptr, &time);
  if (ready > 0) *readable = found;
  return ready;
}

// Waits without time where the soak has stopped the clock. Returns what is readable, or 0 once the clock may go on.
int park(int count, fd_set* readable) {
  while (seconds_to_go() == 0) {
    control::write(control::kHeap_bytes, static_cast<uint32_t>(mallinfo2().uordblks));
    control::write(control::kParked, 1);
    const int ready = ready_within(count, readable, kPark_us);
    if (ready > 0) {
      control::write(control::kParked, 0);
      return ready;
    }
  }
  control::write(control::kParked, 0);
  return 0;
}

suseconds_t patience_us(bool is_turn) {
  if (!is_turn) return kClientPatience_us;
  return g_asked.exchange(-1) != -1 ? kAnswerPatience_us : 0;
}

int wait_for_input(int count, fd_set* readable, time_t timeout_s) {
  const bool is_turn = timeout_s == kTurn_s;
  int ready = ready_within(count, readable, patience_us(is_turn));
  uint32_t left_s = is_turn ? control::read(control::kStep_s) : static_cast<uint32_t>(timeout_s);
  while (ready <= 0 && left_s != 0) {
    ready = park(count, readable);
    if (ready > 0) break;
    const uint32_t step_s = std::min(left_s, seconds_to_go());
    pass(step_s);
    left_s = is_turn ? 0 : left_s - step_s;
    if (!is_turn) ready = ready_within(count, readable, 0);
  }
  if (ready > 0) return ready;
  FD_ZERO(readable);
  return 0;
}

void end_turn() {
  if (g_in_turn) {
    raise_to(control::kLongestTurn_us, real_us() - g_turn_begin_us - g_waited_us);
    raise_to(control::kLongestTurn_s, control::read(control::kClock_s) - g_turn_begin_s);
  }
  control::count(control::kTurns);
}

void begin_turn() {
  g_in_turn = true;
  g_turn_begin_us = real_us();
  g_turn_begin_s = control::read(control::kClock_s);
  g_waited_us = 0;
}

// "TURN UPTIME ID" of each request that went out; the periodic report has no ID.
void note_request(const char* request) {
  const char* id = strstr(request, "\"ID\":");
  dprintf(g_requests, "%u %u %ld\n", control::read(control::kTurns), control::read(control::kUptime_s),
          id == nullptr ? 0 : strtol(id + 5, nullptr, 10));
}

// The ID of each ResultResponse that the agent has read, as the desk's platform server writes it.
void note_answers(std::string_view block) {
  constexpr std::string_view kResultResponse = "\"ResultResponse\",\"ID\":";
  for (size_t at = 0; (at = block.find(kResultResponse, at)) != std::string_view::npos;) {
    at += kResultResponse.size();
    dprintf(g_answers, "%ld\n", strtol(std::string(block.substr(at)).c_str(), nullptr, 10));
  }
}

}  // namespace

extern "C" {

int gettimeofday(struct timeval* __restrict now, void* __restrict) noexcept {
  now->tv_sec = static_cast<time_t>(control::read(control::kClock_s));
  now->tv_usec = 0;
  return 0;
}

time_t time(time_t* out) noexcept {
  const time_t now = static_cast<time_t>(control::read(control::kClock_s));
  if (out != nullptr) *out = now;
  return now;
}

int sysinfo(struct sysinfo* info) noexcept {
  memset(info, 0, sizeof *info);
  info->uptime = static_cast<long>(control::read(control::kUptime_s));
  return 0;
}

// The timer thread's tick: one after each step of the clock.
int usleep(useconds_t) {
  pthread_mutex_lock(&g_lock);
  g_ticked = g_steps;
  pthread_cond_broadcast(&g_moved);
  while (g_ticked == g_steps) pthread_cond_wait(&g_moved, &g_lock);
  pthread_mutex_unlock(&g_lock);
  return 0;
}

int select(int count, fd_set* readable, fd_set*, fd_set*, struct timeval* timeout) {
  const bool is_turn = timeout->tv_sec == kTurn_s;
  if (is_turn) end_turn();
  const long long begin_us = real_us();
  const int ready = wait_for_input(count, readable, timeout->tv_sec);
  if (is_turn) {
    begin_turn();
  } else {
    g_waited_us += real_us() - begin_us;
  }
  return ready;
}

// Helper programs are quick here, and in the foreground: at the next look they have ended.
int system(const char* command) {
  static const auto real = behind(&system, "system");
  std::string text = command;
  if (!text.empty() && text.back() == '&') text.pop_back();
  const int status = real(text.c_str());
  const size_t output = text.find("> ");
  if (text.compare(0, 6, "pidof ") == 0 && is_empty(text.c_str() + output + 2)) control::count(control::kTraceEnds);
  return status;
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  static const auto real = behind(&tcapi_set, "tcapi_set");
  if (strcmp(attr, "LastInformTime") == 0) control::count(control::kReports);
  return real(node, attr, value);
}

FILE* fopen(const char* path, const char* mode) {
  static const auto real = behind(&fopen, "fopen");
  if (ends_with(path, "/var/httpSpeed")) {
    control::count(is_empty(path) ? control::kEmptySpeedTables : control::kFullSpeedTables);
  }
  return real(path, mode);
}

int connect(int fd, const struct sockaddr* address, socklen_t size) {
  static const auto real = behind(&connect, "connect");
  const int result = real(fd, address, size);
  if (result != 0) control::count(control::kRefusedConnects);
  return result;
}

ssize_t send(int fd, const void* data, size_t size, int flags) {
  static const auto real = behind(&send, "send");
  const ssize_t sent = real(fd, data, size, flags);
  if (sent > 0 && strncmp(static_cast<const char*>(data), "POST ", 5) == 0) {
    note_request(static_cast<const char*>(data));
    g_asked = fd;
  }
  return sent;
}

ssize_t recv(int fd, void* data, size_t size, int flags) {
  static const auto real = behind(&recv, "recv");
  const ssize_t received = real(fd, data, size, flags);
  if (received > 0) note_answers({static_cast<const char*>(data), static_cast<size_t>(received)});
  return received;
}

// Nobody waits for the answer on a closed connection.
int close(int fd) {
  static const auto real = behind(&close, "close");
  int asked = fd;
  g_asked.compare_exchange_strong(asked, -1);
  return real(fd);
}
}
