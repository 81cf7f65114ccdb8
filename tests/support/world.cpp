#include "tests/support/world.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/base/log.h"
#include "agent/base/records.h"
#include "platform/tcapi.h"
#include "tests/support/fresh_agent.h"
#include "tests/support/own_stack.h"

namespace {

World* g_world = nullptr;

template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool wait_readable(int fd, int timeout_ms) {
  pollfd request{fd, POLLIN, 0};
  return poll(&request, 1, timeout_ms) == 1;
}

}  // namespace

// --- the platform's store and console --------------------------------------------------------------------------------

int tcapi_get(const char* node, const char* attr, char* value) {
  const std::lock_guard<std::mutex> lock(world().mutex);
  world().store_calls.push_back(std::string("get ") + node + " " + attr);
  if (world().on_get) return world().on_get(value);
  const auto found = world().store.find({node, attr});
  if (found == world().store.end()) return -1;
  strcpy(value, found->second.c_str());
  return 0;
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  const std::lock_guard<std::mutex> lock(world().mutex);
  world().store_calls.push_back(std::string("set ") + node + " " + attr + "=" + value);
  if (world().refuse_writes) return -1;
  world().store[{node, attr}] = value;
  return world().write_result;
}

int tcapi_commit(const char* node) {
  const std::lock_guard<std::mutex> lock(world().mutex);
  world().store_calls.push_back(std::string("commit ") + node);
  return world().write_result;
}

int tcapi_save(void) {
  const std::lock_guard<std::mutex> lock(world().mutex);
  world().store_calls.push_back("save");
  return world().write_result;
}

int tcdbg_printf(const char* format, ...) {
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  const std::lock_guard<std::mutex> lock(world().mutex);
  world().console += line;
  return length;
}

// --- libc as the agent meets it --------------------------------------------------------------------------------------

extern "C" {

int gettimeofday(timeval* now, void*) noexcept {
  if (g_world == nullptr) return -1;
  if (world().on_gettimeofday) world().on_gettimeofday();
  const std::lock_guard<std::mutex> lock(world().mutex);
  now->tv_sec = static_cast<time_t>(world().clock_sec);
  now->tv_usec = static_cast<suseconds_t>(world().clock_usec);
  return 0;
}

time_t time(time_t* out) noexcept {
  static time_t (*const real_time)(time_t*) = real<time_t(time_t*)>("time");
  if (g_world == nullptr) return real_time(out);
  const std::lock_guard<std::mutex> lock(world().mutex);
  const time_t now = static_cast<time_t>(world().clock_sec);
  if (out != nullptr) *out = now;
  return now;
}

int sysinfo(struct sysinfo* info) noexcept {
  if (world().uptime < 0) return -1;
  memset(info, 0, sizeof *info);
  info->uptime = static_cast<decltype(info->uptime)>(world().uptime);
  return 0;
}

int usleep(useconds_t usec) {
  static int (*const real_usleep)(useconds_t) = real<int(useconds_t)>("usleep");
  if (g_world == nullptr || !world().on_usleep) return real_usleep(usec);
  world().on_usleep(usec);
  return 0;
}

int system(const char* command) {
  {
    const std::lock_guard<std::mutex> lock(world().mutex);
    world().shell_commands.push_back(command);
  }
  return world().on_system ? world().on_system(command) : 0;
}

int rand() noexcept {
  static int (*const real_rand)() = real<int()>("rand");
  if (g_world == nullptr || world().rands.empty()) return real_rand();
  const int value = world().rands.front();
  world().rands.pop_front();
  return value;
}

long random() noexcept {
  static long (*const real_random)() = real<long()>("random");
  if (g_world == nullptr || world().randoms.empty()) return real_random();
  const long value = world().randoms.front();
  world().randoms.pop_front();
  return value;
}

void srand(unsigned seed) noexcept {
  static void (*const real_srand)(unsigned) = real<void(unsigned)>("srand");
  if (g_world != nullptr) world().seeds.push_back(seed);
  real_srand(seed);
}

int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static auto* const real_getaddrinfo = real<int(const char*, const char*, const addrinfo*, addrinfo**)>("getaddrinfo");
  world().lookups.push_back(name);
  mark_stack();
  EXPECT_EQ(service, nullptr);
  EXPECT_EQ(hints->ai_family, AF_INET);
  EXPECT_EQ(hints->ai_socktype, SOCK_STREAM);
  EXPECT_EQ(hints->ai_flags, 0);
  const auto host = world().hosts.find(name);
  if (host == world().hosts.end()) return EAI_NONAME;
  return real_getaddrinfo(host->second.c_str(), nullptr, hints, found);
}

int socket(int domain, int type, int protocol) noexcept {
  static auto* const real_socket = real<int(int, int, int)>("socket");
  if (g_world != nullptr && world().on_socket) return world().on_socket();
  return real_socket(domain, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  static auto* const real_connect = real<int(int, const sockaddr*, socklen_t)>("connect");
  if (g_world != nullptr && world().on_connect) return world().on_connect(fd, address);
  return real_connect(fd, address, size);
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
  static auto* const real_accept4 = real<int(int, sockaddr*, socklen_t*, int)>("accept4");
  if (g_world != nullptr && world().on_accept) return world().on_accept(fd);
  return real_accept4(fd, address, size, flags);
}

int accept(int fd, sockaddr* address, socklen_t* size) {
  static auto* const real_accept = real<int(int, sockaddr*, socklen_t*)>("accept");
  if (g_world != nullptr && world().on_accept) return world().on_accept(fd);
  return real_accept(fd, address, size);
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t size) noexcept {
  static auto* const real_setsockopt = real<int(int, int, int, const void*, socklen_t)>("setsockopt");
  if (g_world != nullptr && world().on_setsockopt) return world().on_setsockopt();
  const int result = real_setsockopt(fd, level, option, value, size);
  if (g_world != nullptr && result == 0 && level == SOL_SOCKET && option == SO_SNDTIMEO && size == sizeof(timeval)) {
    world().send_timeouts[fd] = *static_cast<const timeval*>(value);
  }
  return result;
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  static auto* const real_bind = real<int(int, const sockaddr*, socklen_t)>("bind");
  if (g_world != nullptr && world().on_bind) return world().on_bind();
  return real_bind(fd, address, size);
}

int listen(int fd, int backlog) noexcept {
  static auto* const real_listen = real<int(int, int)>("listen");
  if (g_world != nullptr && world().on_listen) return world().on_listen(backlog);
  return real_listen(fd, backlog);
}

ssize_t send(int fd, const void* data, size_t size, int flags) {
  static auto* const real_send = real<ssize_t(int, const void*, size_t, int)>("send");
  if (g_world != nullptr && world().on_send) return world().on_send(fd, data, size);
  return real_send(fd, data, size, flags);
}

ssize_t recv(int fd, void* data, size_t size, int flags) {
  static auto* const real_recv = real<ssize_t(int, void*, size_t, int)>("recv");
  if (g_world != nullptr && world().on_recv) return world().on_recv(fd, data, size);
  return real_recv(fd, data, size, flags);
}

int select(int nfds, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
  static auto* const real_select = real<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
  if (g_world != nullptr && world().on_select) return world().on_select(nfds, read, timeout);
  return real_select(nfds, read, write, except, timeout);
}

int close(int fd) {
  static auto* const real_close = real<int(int)>("close");
  if (g_world != nullptr) {
    const std::lock_guard<std::mutex> lock(world().mutex);
    world().closed.push_back(fd);
  }
  return real_close(fd);
}

}  // extern "C"

// --- the world in the test's hands -----------------------------------------------------------------------------------

World& world() { return *g_world; }

World::World() {
  std::string folder = (std::filesystem::temp_directory_path() / "nuvek-test-XXXXXX").string();
  root = mkdtemp(folder.data());
  for (const char* sub : {"/tmp", "/var", "/usr/osgi"}) std::filesystem::create_directories(root + sub);
  setenv("NUVEK_ROOT", root.c_str(), 1);
  setenv("NUVEK_LOCAL_PORT", "1", 1);  // a test that uses a port sets one of its own
  setenv("NUVEK_PLATFORM_PORT", "1", 1);
}

World::~World() {
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
}

void World::put(const std::string& node, const std::string& attr, const std::string& value) {
  const std::lock_guard<std::mutex> lock(mutex);
  store[{node, attr}] = value;
}

void World::erase(const std::string& node, const std::string& attr) {
  const std::lock_guard<std::mutex> lock(mutex);
  store.erase({node, attr});
}

std::optional<std::string> World::get(const std::string& node, const std::string& attr) {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = store.find({node, attr});
  if (found == store.end()) return std::nullopt;
  return found->second;
}

std::vector<std::string> World::calls() {
  const std::lock_guard<std::mutex> lock(mutex);
  return store_calls;
}

std::vector<std::string> World::writes() {
  std::vector<std::string> result;
  for (const std::string& call : calls()) {
    if (call.rfind("get ", 0) != 0) result.push_back(call);
  }
  return result;
}

void World::forget_calls() {
  const std::lock_guard<std::mutex> lock(mutex);
  store_calls.clear();
}

std::vector<std::string> World::commands() {
  const std::lock_guard<std::mutex> lock(mutex);
  return shell_commands;
}

void World::set_clock(int64_t sec, int64_t usec) {
  const std::lock_guard<std::mutex> lock(mutex);
  clock_sec = sec;
  clock_usec = usec;
}

void World::advance(int64_t sec, int64_t usec) {
  const std::lock_guard<std::mutex> lock(mutex);
  const int64_t total = (clock_sec + sec) * 1000000 + clock_usec + usec;
  clock_sec = total / 1000000;
  clock_usec = total % 1000000;
}

void World::write_file(const std::string& path, const std::string& content) {
  std::ofstream(root + path, std::ios::binary) << content;
}

std::optional<std::string> World::read_file(const std::string& path) {
  std::ifstream file(root + path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void World::remove_file(const std::string& path) { std::filesystem::remove(root + path); }

AgentTest::AgentTest() {
  signal(SIGPIPE, SIG_IGN);
  g_world = new World;
  reset_agent();
}

AgentTest::~AgentTest() {
  delete g_world;
  g_world = nullptr;
}

// --- what the agent prints -------------------------------------------------------------------------------------------

std::string stdout_of(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

std::string stderr_of(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

std::string raw_log(const std::function<void()>& action) {
  const int32_t before = nuvekDebugPrintf;
  nuvekDebugPrintf = 1;
  std::string text = stdout_of(action);
  nuvekDebugPrintf = before;
  return text;
}

std::vector<std::string> log_lines(const std::function<void()>& action) {
  std::vector<std::string> lines;
  std::istringstream text(raw_log(action));
  for (std::string line; std::getline(text, line);) {
    const size_t colon = line.find(':');
    const size_t bracket = line.find("] ");
    if (line.rfind("[NUVEK ", 0) == 0 && colon < bracket && bracket != std::string::npos) {
      line = line.substr(7, colon - 7) + " " + line.substr(bracket + 2);
    }
    lines.push_back(line);
  }
  return lines;
}

// --- the platform's side of a connection -----------------------------------------------------------------------------

FakePlatform::FakePlatform() : fd_(::socket(AF_INET, SOCK_STREAM, 0)), port_(0) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::listen(fd_, 16), 0);
  socklen_t size = sizeof address;
  EXPECT_EQ(getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size), 0);
  port_ = ntohs(address.sin_port);
  setenv("NUVEK_PLATFORM_PORT", std::to_string(port_).c_str(), 1);
}

FakePlatform::~FakePlatform() { ::close(fd_); }

int FakePlatform::accept_connection() {
  if (!wait_readable(fd_, 5000)) {
    ADD_FAILURE() << "no connection came within 5 s";
    return -1;
  }
  return ::accept(fd_, nullptr, nullptr);
}

std::string FakePlatform::read_some(int fd) {
  if (!wait_readable(fd, 5000)) {
    ADD_FAILURE() << "no data came within 5 s";
    return "";
  }
  char buffer[8192];
  const ssize_t count = ::read(fd, buffer, sizeof buffer);
  return count > 0 ? std::string(buffer, static_cast<size_t>(count)) : "";
}

ConnectedPlatform::ConnectedPlatform() : far_(-1) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  g_server_Arg.fd = ends[0];
  far_ = ends[1];
  strcpy(g_server_Arg.hostIp, "192.0.2.7");
}

ConnectedPlatform::~ConnectedPlatform() {
  ::close(far_);
  const int near = g_server_Arg.fd;
  if (near != -1) ::close(near);
  g_server_Arg.fd = -1;
}

void ConnectedPlatform::send(const std::string& bytes) {
  EXPECT_EQ(::write(far_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

std::string ConnectedPlatform::received() {
  std::string all;
  char buffer[8192];
  while (wait_readable(far_, 0)) {
    const ssize_t count = ::read(far_, buffer, sizeof buffer);
    if (count <= 0) break;
    all.append(buffer, static_cast<size_t>(count));
  }
  return all;
}

std::string body_of(const std::string& request) {
  const size_t end = request.find("\r\n\r\n");
  return end == std::string::npos ? "" : request.substr(end + 4);
}
