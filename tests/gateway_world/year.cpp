#include "year.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
#include "world.h"

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

// Files of notes; without a buffer, so that they do not count as the agent's growth.
int open_notes(const char* name) {
  return open(control::file(name).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
}

// Both at once, so that the agent's descriptors do not seem to grow with its first answer.
struct Notes {
  int requests = open_notes("requests");
  int answers = open_notes("answers");
};

const Notes& notes() {
  static const Notes files;
  return files;
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
  const uint32_t now_s = control::read(control::clock_s);
  control::write(control::clock_s, now_s + seconds);
  if (now_s + seconds < now_s) control::count(control::clock_era);
  control::write(control::uptime_s, control::read(control::uptime_s) + seconds);
  control::write(control::to_go_s, control::read(control::to_go_s) - seconds);
  ++g_steps;
  pthread_cond_broadcast(&g_moved);
  while (g_ticked != g_steps) pthread_cond_wait(&g_moved, &g_lock);
  pthread_mutex_unlock(&g_lock);
}

int ready_within(int count, fd_set* readable, suseconds_t time_us) {
  static const auto real = world::behind(&::select, "select");
  fd_set found = *readable;
  timeval time{time_us / 1000000, time_us % 1000000};
  const int ready = real(count, &found, nullptr, nullptr, &time);
  if (ready > 0) *readable = found;
  return ready;
}

// Waits without time where the soak has stopped the clock. Returns what is readable, or 0 once the clock may go on.
int park(int count, fd_set* readable) {
  while (control::read(control::to_go_s) == 0) {
    control::write(control::heap_bytes, static_cast<uint32_t>(mallinfo2().uordblks));
    control::write(control::parked, 1);
    const int ready = ready_within(count, readable, kPark_us);
    if (ready > 0) {
      control::write(control::parked, 0);
      return ready;
    }
  }
  control::write(control::parked, 0);
  return 0;
}

suseconds_t patience_us(bool is_turn) {
  if (!is_turn) return kClientPatience_us;
  return g_asked.exchange(-1) != -1 ? kAnswerPatience_us : 0;
}

int wait_for_input(int count, fd_set* readable, time_t timeout_s) {
  const bool is_turn = timeout_s == kTurn_s;
  int ready = ready_within(count, readable, patience_us(is_turn));
  uint32_t left_s = is_turn ? control::read(control::step_s) : static_cast<uint32_t>(timeout_s);
  while (ready <= 0 && left_s != 0) {
    ready = park(count, readable);
    if (ready > 0) break;
    const uint32_t step_s = std::min(left_s, control::read(control::to_go_s));
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
    raise_to(control::longest_turn_us, real_us() - g_turn_begin_us - g_waited_us);
    raise_to(control::longest_turn_s, control::read(control::clock_s) - g_turn_begin_s);
  }
  control::count(control::turns);
}

void begin_turn() {
  g_in_turn = true;
  g_turn_begin_us = real_us();
  g_turn_begin_s = control::read(control::clock_s);
  g_waited_us = 0;
}

// "TURN UPTIME ID" of each request that went out; the periodic report has no ID.
void note_request(const char* request) {
  const char* id = strstr(request, "\"ID\":");
  dprintf(notes().requests, "%u %u %ld\n", control::read(control::turns), control::read(control::uptime_s),
          id == nullptr ? 0 : strtol(id + 5, nullptr, 10));
}

// The ID of each ResultResponse that the agent has read, as the desk's platform server writes it.
void note_answers(std::string_view block) {
  constexpr std::string_view kResultResponse = "\"ResultResponse\",\"ID\":";
  for (size_t at = 0; (at = block.find(kResultResponse, at)) != std::string_view::npos;) {
    at += kResultResponse.size();
    dprintf(notes().answers, "%ld\n", strtol(std::string(block.substr(at)).c_str(), nullptr, 10));
  }
}

}  // namespace

namespace year {

// The timer thread's tick: one after each step of the clock.
int usleep() {
  pthread_mutex_lock(&g_lock);
  g_ticked = g_steps;
  pthread_cond_broadcast(&g_moved);
  while (g_ticked == g_steps) pthread_cond_wait(&g_moved, &g_lock);
  pthread_mutex_unlock(&g_lock);
  return 0;
}

int select(int count, fd_set* readable, const timeval* timeout) {
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

int system(const char* command) {
  static const auto real = world::behind(&::system, "system");
  std::string text = command;
  if (!text.empty() && text.back() == '&') text.pop_back();
  const int status = real(text.c_str());
  const size_t output = text.find("> ");
  if (text.compare(0, 6, "pidof ") == 0 && is_empty(text.c_str() + output + 2)) control::count(control::trace_ends);
  return status;
}

void witness_set(const char* attr) {
  if (strcmp(attr, "LastInformTime") == 0) control::count(control::reports);
}

void witness_open(const char* path) {
  if (!ends_with(path, "/var/httpSpeed")) return;
  control::count(is_empty(path) ? control::empty_speed_tables : control::full_speed_tables);
}

void witness_refusal() { control::count(control::refused_connects); }

void witness_send(int fd, const void* data, ssize_t sent) {
  if (sent <= 0 || strncmp(static_cast<const char*>(data), "POST ", 5) != 0) return;
  note_request(static_cast<const char*>(data));
  g_asked = fd;
}

void witness_receive(const void* data, ssize_t received) {
  if (received > 0) note_answers({static_cast<const char*>(data), static_cast<size_t>(received)});
}

// Nobody waits for the answer on a closed connection.
void witness_close(int fd) {
  int asked = fd;
  g_asked.compare_exchange_strong(asked, -1);
}

}  // namespace year
