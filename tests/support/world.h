// The gateway around a unit test. The test program itself defines the store's functions and the libc calls through
// which the agent meets the world, so that a test sets the time, reads every store call in order and every shell
// command, and makes a socket call fail. What a test does not take into its hands works as usual.
//
// Each test starts with a fresh World and a zeroed agent; the tests of a room run one after the other in one process.
#ifndef NUVEK_TESTS_SUPPORT_WORLD_H
#define NUVEK_TESTS_SUPPORT_WORLD_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

constexpr int64_t kNow_s = 1700000000;  // the clock as a test begins: 2023-11-14 22:13:20 UTC

struct World {
  // --- configuration store -------------------------------------------------------------------------------------------
  void put(const std::string& node, const std::string& attr, const std::string& value);
  void erase(const std::string& node, const std::string& attr);
  std::optional<std::string> get(const std::string& node, const std::string& attr);

  // Every store call in order: "get NODE ATTR", "set NODE ATTR=VALUE", "commit NODE", "save".
  std::vector<std::string> calls();
  std::vector<std::string> writes();  // the same without the gets
  void forget_calls();
  std::function<int(char* value)> on_get;  // instead of looking up
  bool refuse_writes = false;              // tcapi_set() changes nothing and says so
  int write_result = 0;  // what tcapi_set(), tcapi_commit() and tcapi_save() answer; the write is done in any case

  // --- time ----------------------------------------------------------------------------------------------------------
  // What gettimeofday() and time() answer. The clock stands still until a test moves it.
  void set_clock(int64_t sec, int64_t usec = 0);
  void advance(int64_t sec, int64_t usec = 0);
  std::function<void()> on_gettimeofday;    // called ahead of each gettimeofday()
  int64_t uptime = 1000;                    // sysinfo(); a negative value makes it fail with -1
  std::function<void(unsigned)> on_usleep;  // instead of sleeping

  // --- shell ---------------------------------------------------------------------------------------------------------
  std::vector<std::string> commands();                       // every system() command in order
  std::function<int(const std::string& command)> on_system;  // what it does and answers; 0 and nothing by default

  // --- randomness: the numbers to give out first; the real generator afterwards
  // ---------------------------------------
  std::deque<int> rands;
  std::deque<long> randoms;
  std::vector<unsigned> seeds;  // every srand()

  // --- names and sockets ---------------------------------------------------------------------------------------------
  std::map<std::string, std::string> hosts;  // name -> dotted IPv4; any other name does not resolve
  std::vector<std::string> lookups;          // every getaddrinfo() in order
  // Instead of the real call, when set:
  std::function<int()> on_socket;
  std::function<int(int fd, const sockaddr* address)> on_connect;
  std::function<int(int fd)> on_accept;
  std::function<int()> on_setsockopt, on_bind;
  std::function<int(int backlog)> on_listen;
  std::function<ssize_t(int fd, const void* data, size_t size)> on_send;
  std::function<ssize_t(int fd, void* data, size_t size)> on_recv;
  std::function<int(int nfds, fd_set* read, timeval* timeout)> on_select;
  // What each descriptor was given and the system took. It is not read back: an emulator may not know the option's
  // number.
  std::map<int, timeval> send_timeouts;
  std::vector<int> closed;  // every close() of a descriptor in order

  // --- console and files ---------------------------------------------------------------------------------------------
  std::string console;  // all that tcdbg_printf() was given
  std::string root;     // the site's root folder, empty and of this process alone, with tmp/, var/ and usr/osgi/
  void write_file(const std::string& path, const std::string& content);  // path as the agent names it: "/var/httpURL"
  std::optional<std::string> read_file(const std::string& path);
  void remove_file(const std::string& path);

  World();
  ~World();

  // For the stand-ins in world.cpp; a test uses the functions above.
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, std::string> store;
  std::vector<std::string> store_calls;
  std::vector<std::string> shell_commands;
  int64_t clock_sec = kNow_s;
  int64_t clock_usec = 0;
};

// The world of the running test.
World& world();

// Base of every test of the agent: a new world, zeroed records, switches off, no connection, SIGPIPE ignored.
class AgentTest : public ::testing::Test {
 protected:
  AgentTest();
  ~AgentTest() override;
};

// Runs `action` with the "-v" switch on and returns the log lines that the agent printed, without the source line
// number: "DEBUG nuvek_report Enter". A message that itself ends in a newline keeps an empty line after it, so the raw
// text is there too.
std::vector<std::string> log_lines(const std::function<void()>& action);
std::string raw_log(const std::function<void()>& action);    // standard output as it is, "-v" on
std::string stdout_of(const std::function<void()>& action);  // standard output, switches as they are
std::string stderr_of(const std::function<void()>& action);

// A loopback server on a port of its own, which becomes the platform's port.
class FakePlatform {
 public:
  FakePlatform();
  ~FakePlatform();
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;
  int accept_connection();        // waits up to 5 s; the test fails and -1 is returned when none comes
  std::string read_some(int fd);  // one receive, waits up to 5 s; "" when closed
  uint16_t port() const { return port_; }

 private:
  int fd_;
  uint16_t port_;
};

// A connected pair of stream sockets; the first end becomes g_server_Arg.fd.
class ConnectedPlatform {
 public:
  ConnectedPlatform();
  ~ConnectedPlatform();
  ConnectedPlatform(const ConnectedPlatform&) = delete;
  ConnectedPlatform& operator=(const ConnectedPlatform&) = delete;
  int fd() const { return far_; }       // the platform's end
  void send(const std::string& bytes);  // to the agent
  std::string received();               // all that the agent has sent so far

 private:
  int far_;
};

// The body of a request as the agent put it on the wire (after the empty line).
std::string body_of(const std::string& request);

#endif
