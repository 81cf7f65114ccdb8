// The local location port over real sockets.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "agent/local/local_server_steps.h"
#include "agent/main/main_loop.h"
#include "tests/support/world.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

namespace {

constexpr char kPost[] = R"({"Longitude":"116.397128","Latitude":"39.916527","ID":"7"})";

// Any port that is free now; the listening socket takes it at once.
uint16_t choose_port() {
  const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t size = sizeof address;
  getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
  ::close(probe);
  return ntohs(address.sin_port);
}

class LocalServerTest : public AgentTest {
 protected:
  LocalServerTest() : port_(choose_port()) { setenv("NUVEK_LOCAL_PORT", std::to_string(port_).c_str(), 1); }
  ~LocalServerTest() override {
    if (listen_fd_ != -1) ::close(listen_fd_);
  }
  void listen_now() {
    listen_fd_ = nuvek_InitLocalServer();
    ASSERT_GE(listen_fd_, 0);
  }
  int client() const {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    const timeval limit{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return fd;
  }
  static std::string read_to_end(int fd) {
    std::string all;
    char buffer[256];
    ssize_t count = 0;
    while ((count = ::read(fd, buffer, sizeof buffer)) > 0) all.append(buffer, static_cast<size_t>(count));
    ::close(fd);
    return all;
  }
  // Sends one message, lets the agent serve the connection, and returns the answer.
  std::string post(const std::string& message) {
    const int fd = client();
    EXPECT_EQ(::write(fd, message.data(), message.size()), static_cast<ssize_t>(message.size()));
    shutdown(fd, SHUT_WR);
    nuvek_localProcess(listen_fd_);
    return read_to_end(fd);
  }
  uint16_t port_;
  int listen_fd_ = -1;
};

}  // namespace

TEST_F(LocalServerTest, ABareMessageIsStoredAndAnswered) {
  listen_now();
  EXPECT_EQ(post(kPost), R"({"Result":0,"ID":7})");
  EXPECT_EQ(world().get("nuvek_Entry0", "Long"), "116.39713");
}

TEST_F(LocalServerTest, AnyFourBytesMayStandAheadOfTheMessage) {
  listen_now();
  for (const std::string& prefix :
       {std::string("\0\0\0\x3a", 4), std::string("abcd"), std::string("\xff\xff\xff\xff")}) {
    world().put("nuvek_Entry0", "GISInterface", "");
    EXPECT_EQ(post(prefix + kPost), R"({"Result":0,"ID":7})");
  }
}

TEST_F(LocalServerTest, AMessageAsDeepAsItsLengthAllowsIsStoredAsAnyOther) {
  listen_now();
  const std::string head = R"({"Longitude":"116.397128","Deep":)";
  const std::string tail = R"(,"Latitude":"39.916527","ID":"7"})";
  const size_t deepest = (kLocalMessageSize - head.size() - tail.size()) / 2;
  for (const size_t levels : {size_t{65}, deepest}) {
    world().put("nuvek_Entry0", "GISInterface", "");
    world().put("nuvek_Entry0", "Lat", "");
    EXPECT_EQ(post(head + std::string(levels, '[') + std::string(levels, ']') + tail), R"({"Result":0,"ID":7})");
    EXPECT_EQ(world().get("nuvek_Entry0", "Long"), "116.39713") << levels;
    EXPECT_EQ(world().get("nuvek_Entry0", "Lat"), "39.91653") << levels;
  }
}

TEST_F(LocalServerTest, ASecondPostingMeetsTheLockAndNothingIsStored) {
  listen_now();
  post(kPost);
  world().forget_calls();
  EXPECT_EQ(post(kPost), R"({"Result":-3,"ID":7})");
  EXPECT_TRUE(world().writes().empty());
}

TEST_F(LocalServerTest, ARequestWithoutANumberForItsIdentifierGetsZero) {
  listen_now();
  EXPECT_EQ(post(R"({"Longitude":"1"})"), R"({"Result":0,"ID":0})");
  EXPECT_EQ(post(R"({"ID":"x"})"), R"({"Result":-3,"ID":0})");
  EXPECT_EQ(post(R"({"ID":99999999999})"), R"({"Result":-3,"ID":2147483647})");
}

TEST_F(LocalServerTest, AMemberLeftOutIsNotTakenFromTheClientBefore) {
  listen_now();
  post(R"({"AreaCode":"first"})");
  world().put("nuvek_Entry0", "GISInterface", "");
  post(kPost);
  EXPECT_EQ(world().get("nuvek_Entry0", "AreaCode"), "");
}

TEST_F(LocalServerTest, ChunksThatAreNoMessageAreThrownAwayUntilOneIs) {
  listen_now();
  std::deque<std::string> chunks = {"junk", "ab{", "\x01", kPost};
  world().on_recv = [&](int, void* data, size_t size) -> ssize_t {
    if (chunks.empty()) return 0;
    const std::string chunk = chunks.front();
    chunks.pop_front();
    EXPECT_EQ(size, 1024U);
    memcpy(data, chunk.data(), chunk.size());
    return static_cast<ssize_t>(chunk.size());
  };
  EXPECT_EQ(post("x"), R"({"Result":0,"ID":7})");
}

TEST_F(LocalServerTest, AMessageInTwoChunksIsTakenForItsFirst) {
  listen_now();
  std::deque<std::string> chunks = {"{\"Longitude\":\"1\",", "\"ID\":\"7\"}"};
  world().on_recv = [&](int, void* data, size_t) -> ssize_t {
    if (chunks.empty()) return 0;
    const std::string chunk = chunks.front();
    chunks.pop_front();
    memcpy(data, chunk.data(), chunk.size());
    return static_cast<ssize_t>(chunk.size());
  };
  EXPECT_EQ(post("x"), R"({"Result":0,"ID":0})");
  EXPECT_EQ(chunks.size(), 1U);
}

TEST_F(LocalServerTest, AMessageOfExactly1024BytesIsServed) {
  listen_now();
  std::string message = R"({"ID":"7","Fill":")";
  message += std::string(1024 - message.size() - 2, 'f') + "\"}";
  ASSERT_EQ(message.size(), 1024U);
  EXPECT_EQ(post(message), R"({"Result":0,"ID":7})");
}

TEST_F(LocalServerTest, ASilentClientIsDroppedAfterTheTimeOutWithoutAnAnswer) {
  listen_now();
  timeval waited{};
  world().on_select = [&](int, fd_set*, timeval* timeout) {
    waited = *timeout;
    return 0;
  };
  const int fd = client();
  EXPECT_THAT(log_lines([&] { nuvek_localProcess(listen_fd_); }),
              ElementsAre("ERROR nuvek_localProcess not recv client data"));
  EXPECT_EQ(waited.tv_sec, 10);
  EXPECT_EQ(waited.tv_usec, 0);
  EXPECT_EQ(read_to_end(fd), "");
}

// Each turn serves one client, so that a silent one delays what is due by its ten seconds, however long the queue is;
// it is the clients behind that wait for all those ahead.
TEST_F(LocalServerTest, AQueueOfSilentClientsDelaysAStepByOneWaitAndAClientByOneWaitForEachAhead) {
  constexpr int kSilent = 5;
  listen_now();
  world().set_clock(kNow_s);
  world().write_file("/tmp/timeSync", "");
  world().on_select = [](int nfds, fd_set* read, timeval* timeout) {
    constexpr timespec kNoTime{};
    const int ready = pselect(nfds, read, nullptr, nullptr, &kNoTime, nullptr);
    if (ready == 0) world().advance(timeout->tv_sec);
    return ready;
  };
  std::vector<int> silent;
  for (int k = 0; k < kSilent; ++k) silent.push_back(client());
  const int honest = client();
  ASSERT_EQ(::write(honest, kPost, strlen(kPost)), static_cast<ssize_t>(strlen(kPost)));

  MainLoop loop(listen_fd_);
  for (int k = 0; k < kSilent; ++k) {
    world().forget_calls();
    loop.turn();
    EXPECT_THAT(world().calls(), Contains("get nuvek_Common LastInformTime")) << "the steps of turn " << k;
    EXPECT_EQ(world().clock_sec, kNow_s + 10 * (k + 1));
    EXPECT_EQ(read_to_end(silent[static_cast<size_t>(k)]), "");
  }
  loop.turn();
  EXPECT_EQ(world().clock_sec, kNow_s + 10 * kSilent) << "an honest client costs no wait";
  EXPECT_EQ(read_to_end(honest), R"({"Result":0,"ID":7})");
}

TEST_F(LocalServerTest, AFailedWaitDropsTheClientAsATimeOutDoes) {
  listen_now();
  world().on_select = [](int, fd_set*, timeval*) { return -1; };
  const int fd = client();
  EXPECT_THAT(log_lines([&] { nuvek_localProcess(listen_fd_); }),
              ElementsAre("ERROR nuvek_localProcess not recv client data"));
  EXPECT_EQ(read_to_end(fd), "");
}

TEST_F(LocalServerTest, AWaitThatNamesAnotherDescriptorDropsTheClientWithoutAWord) {
  listen_now();
  world().on_select = [](int, fd_set* read, timeval*) {
    FD_ZERO(read);
    return 1;
  };
  const int fd = client();
  EXPECT_TRUE(log_lines([&] { nuvek_localProcess(listen_fd_); }).empty());
  EXPECT_EQ(read_to_end(fd), "");
}

TEST_F(LocalServerTest, AnInterruptedReceiveIsRepeatedWithAnErrorLine) {
  listen_now();
  int calls = 0;
  world().on_recv = [&](int, void* data, size_t) -> ssize_t {
    if (calls++ == 0) {
      errno = EINTR;
      return -1;
    }
    memcpy(data, "{}", 2);
    return 2;
  };
  const int fd = client();
  ::write(fd, "x", 1);
  const auto lines = log_lines([&] { nuvek_localProcess(listen_fd_); });
  EXPECT_THAT(lines, Contains("ERROR nuvek_localProcess EINTR again"));
  EXPECT_THAT(lines, Contains("DEBUG nuvek_localProcess recv :-1"));
  EXPECT_THAT(lines, Contains("DEBUG nuvek_localProcess recv :2"));
  EXPECT_THAT(lines, Contains("DEBUG nuvek_localProcess p_str1:{} "));
  EXPECT_THAT(lines, Contains("DEBUG nuvek_local_response local response:{\"Result\":0,\"ID\":0} "));
  EXPECT_EQ(read_to_end(fd), R"({"Result":0,"ID":0})");
}

TEST_F(LocalServerTest, AClientThatClosesOrResetsLeavesNothingBehindAndTheNextIsServed) {
  listen_now();
  const int gone = client();
  ::close(gone);
  nuvek_localProcess(listen_fd_);
  const int reset = client();
  ::write(reset, "junk", 4);
  const linger hard{1, 0};
  ::setsockopt(reset, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  ::close(reset);
  nuvek_localProcess(listen_fd_);
  EXPECT_TRUE(world().writes().empty());
  EXPECT_EQ(post(kPost), R"({"Result":0,"ID":7})");
}

TEST_F(LocalServerTest, AClientWhoseMachineIsGoneIsNoticedWithinFortySeconds) {
  listen_now();
  std::vector<int> options;
  world().on_recv = [&](int fd, void*, size_t) -> ssize_t {
    for (const auto& [level, option] :
         {std::pair(SOL_SOCKET, SO_KEEPALIVE), std::pair<int, int>(IPPROTO_TCP, TCP_KEEPIDLE),
          std::pair<int, int>(IPPROTO_TCP, TCP_KEEPINTVL), std::pair<int, int>(IPPROTO_TCP, TCP_KEEPCNT)}) {
      int value = -1;
      socklen_t size = sizeof value;
      getsockopt(fd, level, option, &value, &size);
      options.push_back(value);
    }
    errno = ETIMEDOUT;  // what the kernel answers then
    return -1;
  };
  EXPECT_EQ(post("garbage"), "");
  EXPECT_THAT(options, ElementsAre(1, 10, 10, 3));
}

TEST_F(LocalServerTest, AFailedAcceptIsToldOnTheErrorStream) {
  listen_now();
  world().on_accept = [](int) {
    errno = EMFILE;
    return -1;
  };
  EXPECT_EQ(stderr_of([&] { nuvek_localProcess(listen_fd_); }),
            std::string("accept() error\n: ") + strerror(EMFILE) + "\n");
}

TEST_F(LocalServerTest, AConnectionTooLargeForAReadSetIsClosedWithAnErrorLine) {
  world().on_accept = [](int) { return FD_SETSIZE; };
  EXPECT_THAT(
      log_lines([] { nuvek_localProcess(3); }),
      ElementsAre("ERROR nuvek_localProcess descriptor " + std::to_string(FD_SETSIZE) + " too large for select"));
  EXPECT_THAT(world().closed, Contains(FD_SETSIZE).Times(1));
}

TEST_F(LocalServerTest, AFailedSendIsToldOnTheErrorStream) {
  listen_now();
  world().on_send = [](int, const void*, size_t) -> ssize_t {
    errno = EPIPE;
    return -1;
  };
  EXPECT_EQ(stderr_of([&] { post(kPost); }), "send: Broken pipe\n");
}

TEST_F(LocalServerTest, EachFailureOfTheStartHasItsErrorLine) {
  int fd = 0;
  const auto start = [&] { return log_lines([&] { fd = nuvek_InitLocalServer(); }); };
  world().on_socket = [] { return -1; };
  EXPECT_THAT(start(), ElementsAre("ERROR nuvek_InitLocalServer build TCP socket() error!!"));
  EXPECT_EQ(fd, -1);
  world().on_socket = nullptr;
  world().on_bind = [] {
    errno = EADDRINUSE;
    return -1;
  };
  EXPECT_THAT(start(), ElementsAre("ERROR nuvek_InitLocalServer bind failed with errno=" + std::to_string(EADDRINUSE)));
  EXPECT_EQ(fd, -1);
  world().on_bind = nullptr;
  world().on_listen = [](int) {
    errno = EOPNOTSUPP;
    return -1;
  };
  EXPECT_THAT(start(),
              ElementsAre("ERROR nuvek_InitLocalServer listen failed with errno=" + std::to_string(EOPNOTSUPP)));
  EXPECT_EQ(fd, -1);
}

TEST_F(LocalServerTest, TheQueueIsFiveClientsLong) {
  int places = 0;
  world().on_listen = [&](int backlog) {
    places = backlog;
    return 0;
  };
  ::close(nuvek_InitLocalServer());
  EXPECT_EQ(places, 5);
}

TEST_F(LocalServerTest, AnAddressThatCannotBeReusedGivesASocketThatNeverListens) {
  world().on_setsockopt = [] {
    errno = ENOPROTOOPT;
    return -1;
  };
  int fd = -1;
  EXPECT_THAT(log_lines([&] { fd = nuvek_InitLocalServer(); }),
              ElementsAre("ERROR nuvek_InitLocalServer setsockopt failed with errno=" + std::to_string(ENOPROTOOPT)));
  EXPECT_GE(fd, 0);
  ::close(fd);
}

TEST_F(LocalServerTest, TheListenerTakesAllAddressesAndIsNotInherited) {
  listen_now();
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&address), &size), 0);
  EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
  EXPECT_EQ(ntohs(address.sin_port), port_);
}
