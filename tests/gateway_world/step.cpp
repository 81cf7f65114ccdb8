#include "step.h"

#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faults.h"

namespace {

constexpr int kThreads = 2;
constexpr int kDescriptors = 1024;
constexpr size_t kMessageSize = 4096;
enum End { kOpen, kClosed, kHalfClosed };

std::array<int, kThreads> g_channels;
std::array<sem_t, kThreads> g_begun;
int g_threads = 1;
std::array<bool, kDescriptors> g_refused;  // the test has closed its end

std::function<step::Answer(const std::string&)> g_player;  // of a test in this process

thread_local int t_number __attribute__((tls_model("initial-exec")));
thread_local char t_break[160] __attribute__((tls_model("initial-exec")));

[[noreturn]] void give_up(const char* what) {
  fprintf(stderr, "gateway world: %s\n", what);
  _exit(125);
}

// Neither a sanitizer nor a stand-in may see these: to the threads of the agent there is no bond between them here.
void tell(const std::string& text) {
  const size_t size = text.size() < kMessageSize ? text.size() : kMessageSize;
  if (syscall(SYS_write, g_channels[static_cast<size_t>(t_number)], text.data(), size) != static_cast<long>(size)) {
    give_up("the test has gone");
  }
}

void hear(char (&text)[kMessageSize]) {
  for (;;) {
    const long size = syscall(SYS_read, g_channels[static_cast<size_t>(t_number)], text, sizeof text - 1);
    if (size > 0) {
      text[size] = '\0';
      return;
    }
    if (size == 0 || errno != EINTR) give_up("the test has gone");
  }
}

void await_event(int fd, short event) {
  pollfd wanted{fd, event, 0};
  while (syscall(SYS_ppoll, &wanted, 1, nullptr, nullptr, 0) == -1 && errno == EINTR) {
  }
}

// Waits until so many bytes, and the end if there is one, have come over the loopback: a moment.
void await_arrival(int fd, int bytes, int end) {
  static std::array<char, 262144> s_bytes;
  if (bytes < 0) {  // a listening socket
    await_event(fd, POLLIN);
    return;
  }
  if (bytes > 0) {
    syscall(SYS_recvfrom, fd, s_bytes.data(), static_cast<size_t>(bytes), MSG_PEEK | MSG_WAITALL, nullptr, nullptr);
  }
  if (end == kOpen) return;
  await_event(fd, POLLRDHUP);
  if (end == kClosed) g_refused[static_cast<size_t>(fd)] = true;
}

void await_arrivals(char* list) {
  char* rest = nullptr;
  for (char* item = strtok_r(list, " ", &rest); item != nullptr; item = strtok_r(nullptr, " ", &rest)) {
    int fd = -1;
    int bytes = 0;
    int end = kOpen;
    if (sscanf(item, "%d:%d:%d", &fd, &bytes, &end) == 3) await_arrival(fd, bytes, end);
  }
}

step::Answer take_answer() {
  char text[kMessageSize];
  hear(text);
  char* arrivals = strchr(text, '\n');
  if (arrivals == nullptr) give_up("an answer without its lines");
  *arrivals++ = '\0';
  char* line = strchr(arrivals, '\n');
  if (line == nullptr) give_up("an answer without its lines");
  *line++ = '\0';
  snprintf(t_break, sizeof t_break, "%s", line);
  await_arrivals(arrivals);
  step::Answer answer{};
  sscanf(text, "%15s %63s", answer.verb, answer.value);
  return answer;
}

}  // namespace

namespace step {

bool Answer::is(const char* wanted) const { return strcmp(verb, wanted) == 0; }

int Answer::number() const { return static_cast<int>(strtol(value, nullptr, 10)); }

int Answer::error() const {
  static constexpr struct {
    const char* name;
    int number;
  } kErrors[] = {{"EAGAIN", EAGAIN},
                 {"EINPROGRESS", EINPROGRESS},
                 {"EINTR", EINTR},
                 {"ECONNRESET", ECONNRESET},
                 {"ECONNREFUSED", ECONNREFUSED}};
  for (const auto& row : kErrors) {
    if (strcmp(row.name, value) == 0) return row.number;
  }
  give_up("an error that is none");
}

void begin() {
  const char* list = getenv("NUVEK_WORLD_CHANNELS");
  if (list == nullptr || sscanf(list, "%d %d", &g_channels[0], &g_channels[1]) != kThreads) give_up("no channels");
  for (const int channel : g_channels) fcntl(channel, F_SETFD, FD_CLOEXEC);
  for (sem_t& begun : g_begun) sem_init(&begun, 0, 0);
}

void begin_here(std::function<Answer(const std::string&)> player) {
  g_player = std::move(player);
  g_threads = 1;
}

bool is_here() { return g_player != nullptr; }

Answer stop(const std::string& where) {
  const int error = errno;
  const faults::Aside aside;
  if (!is_here()) tell(where);
  const Answer answer = is_here() ? g_player(where) : take_answer();
  errno = error;
  return answer;
}

Answer pass(const std::string& line) {
  if (is_here()) return stop(line);
  if (t_break[0] == '\0' || line.compare(0, strlen(t_break), t_break) != 0) return {"go", ""};
  return stop("break " + line);
}

int new_thread() { return g_threads < kThreads ? g_threads++ : 0; }

void announce_thread(int number) {
  const faults::Aside aside;
  t_number = number;
  tell("begin");
  sem_post(&g_begun[static_cast<size_t>(number)]);
  take_answer();
}

void await_thread(int number) {
  while (sem_wait(&g_begun[static_cast<size_t>(number)]) != 0) {
  }
}

void await_refusal(int fd) {
  if (fd >= 0 && fd < kDescriptors && g_refused[static_cast<size_t>(fd)]) await_event(fd, 0);
}

void forget_connection(int fd) {
  if (fd >= 0 && fd < kDescriptors) g_refused[static_cast<size_t>(fd)] = false;
}

}  // namespace step
