// Choosing the platform server, looking up its address, connecting and closing.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/base/records.h"
#include "agent/link/connection.h"
#include "agent/link/connection_steps.h"
#include "agent/link/server_steps.h"
#include "tests/support/own_stack.h"
#include "tests/support/world.h"
#include "tests/unit/link/closed_by.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRefused[] = "connect: Connection refused\n";

std::string unknown_name() { return std::string("getaddrinfo: ") + gai_strerror(EAI_NONAME) + "\n"; }

// Connections as the agent tries them; nothing leaves the test. An address is refused unless it is the reachable one.
class Attempts {
 public:
  explicit Attempts(std::string reachable = "") : reachable_(std::move(reachable)) {
    world().on_connect = [this](int fd, const sockaddr* address) { return attempt(fd, address); };
  }
  std::vector<std::string> addresses;
  std::vector<int> fds;
  std::vector<int> fds_in_record;  // g_server_Arg.fd during each attempt

 private:
  int attempt(int fd, const sockaddr* address) {
    sockaddr_in target{};
    memcpy(&target, address, sizeof target);
    EXPECT_EQ(target.sin_family, AF_INET);
    char text[INET_ADDRSTRLEN];
    inet_ntop(AF_INET, &target.sin_addr, text, sizeof text);
    addresses.push_back(std::string(text) + ":" + std::to_string(ntohs(target.sin_port)));
    fds.push_back(fd);
    fds_in_record.push_back(g_server_Arg.fd);
    if (text == reachable_) return 0;
    errno = ECONNREFUSED;
    return -1;
  }
  std::string reachable_;
};

class Server : public AgentTest {
 protected:
  Server() { setenv("NUVEK_PLATFORM_PORT", "80", 1); }

  static void configure(const std::string& primary, const std::string& secondary) {
    world().put("nuvek_Server", "PlatDomain1", primary);
    world().put("nuvek_Server", "PlatDomain2", secondary);
  }
  static void select(const char* domain) { strcpy(g_platdomain, domain); }
};

// What one call leaves to see.
struct Seen {
  int result = 0;
  std::vector<std::string> log;
  std::string errors;  // on the standard error stream
  std::vector<int> closed;
};

Seen watch(const std::function<int()>& call) {
  Seen seen;
  seen.errors =
      stderr_of([&] { seen.log = log_lines([&] { seen.closed = closed_by([&] { seen.result = call(); }); }); });
  return seen;
}

std::string resolved() {
  char out[kAddressSize] = "unchanged";
  nuvek_get_platServer(out);
  return out;
}

struct Strict {
  int result;
  uint32_t value;
  size_t end;
  bool operator==(const Strict& other) const {
    return result == other.result && value == other.value && end == other.end;
  }
};

Strict strict(const char* text, int base = 10) {
  uint32_t value = 4711;
  char* end = nullptr;
  const int result = nuvek_strtoul_strict(text, &end, base, &value);
  return {result, value, static_cast<size_t>(end - text)};
}

void PrintTo(const Strict& strict, std::ostream* out) {
  *out << strict.result << ", value " << strict.value << ", end " << strict.end;
}

}  // namespace

// --- numbers and addresses -------------------------------------------------------------------------------------------

TEST_F(Server, AWholeTextIsANumber) {
  EXPECT_EQ(strict("0"), (Strict{0, 0, 1}));
  EXPECT_EQ(strict("255"), (Strict{0, 255, 3}));
  EXPECT_EQ(strict("007"), (Strict{0, 7, 3}));
  EXPECT_EQ(strict("4294967295"), (Strict{0, 4294967295U, 10}));
  EXPECT_EQ(strict("ff", 16), (Strict{0, 255, 2}));
}

TEST_F(Server, WhiteSpaceAheadOfANumberIsSkipped) { EXPECT_EQ(strict(" \t\n42"), (Strict{0, 42, 5})); }

TEST_F(Server, ANegativeNumberFailsAtItsMinus) {
  EXPECT_EQ(strict("-1"), (Strict{-1, 0, 0}));
  EXPECT_EQ(strict("  -1"), (Strict{-1, 0, 2}));
}

TEST_F(Server, CharactersLeftAfterANumberFail) {
  EXPECT_EQ(strict("12a"), (Strict{-1, 0, 2}));
  EXPECT_EQ(strict("12 "), (Strict{-1, 0, 2}));
  EXPECT_EQ(strict("a"), (Strict{-1, 0, 0}));
}

TEST_F(Server, ANumberBeyondThirtyTwoBitsFails) {
  EXPECT_EQ(strict("4294967296").result, -1);
  EXPECT_EQ(strict("4294967296").value, 0U);
  EXPECT_EQ(strict("99999999999999999999999").result, -1);
}

TEST_F(Server, ThePlaceForTheEndIsOptional) {
  uint32_t value = 0;
  EXPECT_EQ(nuvek_strtoul_strict("17", nullptr, 10, &value), 0);
  EXPECT_EQ(value, 17U);
  EXPECT_EQ(nuvek_strtoul_strict("-17", nullptr, 10, &value), -1);
}

TEST_F(Server, FourNumbersBelowTwoHundredFiftySixAreAnAddress) {
  for (const char* text : {"1.2.3.4", "0.0.0.0", "255.255.255.255", "192.0.2.07", "10.000.1.1"}) {
    EXPECT_EQ(nuvek_is_ipaddr(text), 1) << text;
  }
}

TEST_F(Server, APartOfTwoHundredFiftySixIsNoAddress) {
  for (const char* text : {"256.1.1.1", "1.256.1.1", "1.1.256.1", "1.1.1.256", "1.1.1.1000"}) {
    EXPECT_EQ(nuvek_is_ipaddr(text), 0) << text;
  }
}

TEST_F(Server, ATextOfOtherThanSevenToFifteenCharactersIsNoAddress) {
  EXPECT_EQ(nuvek_is_ipaddr(nullptr), 0);
  for (const char* text : {"", "1.2.3.", "1.2.34", "0255.255.255.255", "1.2.3.4.5.6.7.8.9"}) {
    EXPECT_EQ(nuvek_is_ipaddr(text), 0) << text;
  }
}

TEST_F(Server, TheLastOfFifteenCharactersCounts) {
  for (const char* text : {"255.255.255.25x", "255.255.255.256"}) EXPECT_EQ(nuvek_is_ipaddr(text), 0) << text;
}

TEST_F(Server, PartsBeyondTheFourthAreNotLookedAt) {
  EXPECT_EQ(nuvek_is_ipaddr("1.2.3.4.5"), 1);
  EXPECT_EQ(nuvek_is_ipaddr("1.2.3.4.example"), 1);
}

TEST_F(Server, ABlankAheadOfAPartIsSkippedAndOneBehindItIsNot) {
  EXPECT_EQ(nuvek_is_ipaddr(" 1.2.3.4"), 1);
  EXPECT_EQ(nuvek_is_ipaddr("1. 2.3.4"), 1);
  EXPECT_EQ(nuvek_is_ipaddr("1.2.3.4 "), 0);
}

TEST_F(Server, DotsThatStandTogetherDivideOnce) {
  EXPECT_EQ(nuvek_is_ipaddr("1..2.3.4"), 1);
  EXPECT_EQ(nuvek_is_ipaddr(".1.2.3.4."), 1);
}

TEST_F(Server, AMissingPartIsNoAddress) {
  EXPECT_EQ(nuvek_is_ipaddr("10.20.30."), 0);
  EXPECT_EQ(nuvek_is_ipaddr("100.200.30"), 0);
  EXPECT_EQ(nuvek_is_ipaddr("......."), 0);
}

TEST_F(Server, APartThatIsNoNumberIsNoAddress) {
  for (const char* text : {"nuvek.example", "1.2.3.x", "1.2.-3.4", "1.2.3a.4"})
    EXPECT_EQ(nuvek_is_ipaddr(text), 0) << text;
}

// --- name look-up ----------------------------------------------------------------------------------------------------

TEST_F(Server, ALookUpGivesTheDottedAddress) {
  world().hosts["p1.example"] = "192.0.2.33";
  char out[16] = "";
  EXPECT_EQ(nuvek_getaddrinfo("p1.example", out), 1);
  EXPECT_STREQ(out, "192.0.2.33");
  EXPECT_THAT(world().lookups, ElementsAre("p1.example"));
}

TEST_F(Server, AFailedLookUpIsReportedOnTheStandardErrorStreamOnly) {
  char out[16] = "before";
  std::vector<std::string> lines;
  EXPECT_EQ(stderr_of([&] { lines = log_lines([&] { EXPECT_EQ(nuvek_getaddrinfo("nowhere.example", out), 0); }); }),
            unknown_name());
  EXPECT_THAT(lines, IsEmpty());
  EXPECT_STREQ(out, "before");
}

// It is by far the deepest call of the agent, and a rare one.
TEST_F(Server, ALookUpsStackIsNotHeldForEver) {
  world().hosts["p1.example"] = "192.0.2.33";
  for (const char* name : {"p1.example", "nowhere.example"}) {
    size_t marks = 0;
    stderr_of([&] {
      marks = marks_left_by([name] {
        char out[16] = "";
        nuvek_getaddrinfo(name, out);
      });
    });
    EXPECT_LE(marks, kMarks / 2) << name;
  }
}

TEST_F(Server, NoDomainIsAnErrorLine) {
  char out[16] = "before";
  EXPECT_THAT(log_lines([&] { EXPECT_EQ(nuvek_getaddrinfo(nullptr, out), 0); }),
              ElementsAre("ERROR nuvek_getaddrinfo domain is NULL"));
  EXPECT_STREQ(out, "before");
  EXPECT_THAT(world().lookups, IsEmpty());
}

// --- resolving -------------------------------------------------------------------------------------------------------

TEST_F(Server, WithoutADomainNothingIsWritten) {
  EXPECT_THAT(log_lines([] { EXPECT_EQ(resolved(), "unchanged"); }), IsEmpty());
}

TEST_F(Server, ADomainIsLookedUp) {
  world().hosts["p1.example"] = "192.0.2.33";
  select("p1.example");
  EXPECT_THAT(log_lines([] { EXPECT_EQ(resolved(), "192.0.2.33"); }),
              ElementsAre("DEBUG nuvek_get_platServer g_platdomain p1.example"));
}

TEST_F(Server, ADottedAddressIsUsedWithoutALookUp) {
  for (const char* domain : {"192.0.2.1", " 1.2.3.4", "1.2.3.4.5"}) {
    select(domain);
    EXPECT_EQ(resolved(), domain);
  }
  EXPECT_THAT(world().lookups, IsEmpty());
}

TEST_F(Server, ATextLikeAnAddressWithTooLargeAPartIsLookedUp) {
  world().hosts["256.1.1.1"] = "192.0.2.9";
  select("256.1.1.1");
  EXPECT_EQ(resolved(), "192.0.2.9");
  EXPECT_THAT(world().lookups, ElementsAre("256.1.1.1"));
}

TEST_F(Server, AFailedLookUpGivesAnEmptyAddress) {
  select("nowhere.example");
  EXPECT_EQ(stderr_of([] { EXPECT_EQ(resolved(), ""); }), unknown_name());
}

TEST_F(Server, TheServerIsSelectedByTheNumberModuloTheCount) {
  strcpy(g_platdomainList[0], "p1.example");
  strcpy(g_platdomainList[1], "p2.example");
  EXPECT_THAT(log_lines([] { nuvek_swap_platServer(1, 2); }),
              ElementsAre("DEBUG nuvek_swap_platServer num :1, max:2, index:1, g_platdomain:p2.example", ""));
  EXPECT_STREQ(g_platdomain, "p2.example");
  EXPECT_THAT(log_lines([] { nuvek_swap_platServer(4, 2); }),
              ElementsAre("DEBUG nuvek_swap_platServer num :4, max:2, index:0, g_platdomain:p1.example", ""));
  EXPECT_STREQ(g_platdomain, "p1.example");
  nuvek_swap_platServer(1, 2);
  nuvek_swap_platServer(1, 2);
  EXPECT_STREQ(g_platdomain, "p2.example") << "the same number selects the same server";
}

// --- the socket ------------------------------------------------------------------------------------------------------

TEST_F(Server, ANewSocketIsLoggedAndNotInheritedByHelperPrograms) {
  int fd = -1;
  const auto lines = log_lines([&] { fd = nuvek_creatSocket(); });
  ASSERT_GE(fd, 0);
  EXPECT_THAT(lines, ElementsAre("DEBUG nuvek_creatSocket socketfd:" + std::to_string(fd)));
  EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  int type = 0;
  socklen_t size = sizeof type;
  EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size), 0);
  EXPECT_EQ(type, SOCK_STREAM);
  close(fd);
}

TEST_F(Server, WithoutASocketThereIsAnErrorLineAndMinusOne) {
  world().on_socket = [] { return -1; };
  EXPECT_THAT(log_lines([] { EXPECT_EQ(nuvek_creatSocket(), -1); }),
              ElementsAre("ERROR nuvek_creatSocket  socket() error", "DEBUG nuvek_creatSocket socketfd:-1"));
}

// --- connecting ------------------------------------------------------------------------------------------------------

TEST_F(Server, NoAddressIsRefusedAndTheSocketStaysOpen) {
  const int fd = nuvek_creatSocket();
  const Seen seen = watch([&] { return nuvek_connect_Server(fd, nullptr); });
  EXPECT_EQ(seen.result, -1);
  EXPECT_THAT(seen.log, ElementsAre("DEBUG nuvek_connect_Server ipaddr is null"));
  EXPECT_THAT(seen.closed, IsEmpty());
  close(fd);
}

TEST_F(Server, AConnectionGoesToPortEightyAndIsLogged) {
  Attempts attempts("192.0.2.1");
  const int fd = nuvek_creatSocket();
  const Seen seen = watch([&] { return nuvek_connect_Server(fd, "192.0.2.1"); });
  EXPECT_EQ(seen.result, 0);
  EXPECT_THAT(seen.log, ElementsAre("DEBUG nuvek_connect_Server fd :" + std::to_string(fd) + " ipaddr:192.0.2.1",
                                    "DEBUG nuvek_connect_Server connect 192.0.2.1 success..."));
  EXPECT_EQ(seen.errors, "");
  EXPECT_THAT(attempts.addresses, ElementsAre("192.0.2.1:80"));
  EXPECT_THAT(attempts.fds, ElementsAre(fd));
  EXPECT_THAT(seen.closed, IsEmpty());
  close(fd);
}

TEST_F(Server, SendingAndConnectingAreBoundedToOneSecond) {
  timeval timeout{-1, -1};
  world().on_connect = [&](int fd, const sockaddr*) {
    timeout = world().send_timeouts.at(fd);
    return 0;
  };
  const int fd = nuvek_creatSocket();
  EXPECT_EQ(nuvek_connect_Server(fd, "192.0.2.1"), 0);
  EXPECT_EQ(timeout.tv_sec, 1);
  EXPECT_EQ(timeout.tv_usec, 0);
  close(fd);
}

TEST_F(Server, ATextThatIsNoAddressStandsForAllZeros) {
  Attempts attempts;
  for (const char* text : {"", "nuvek.example", " 1.2.3.4", "1.2.3.4.5", "1.2.3.400", "1.2.3"}) {
    const int fd = nuvek_creatSocket();
    EXPECT_EQ(stderr_of([&] { EXPECT_EQ(nuvek_connect_Server(fd, text), -1); }), kRefused);
    EXPECT_EQ(attempts.addresses.back(), "0.0.0.0:80") << text;
  }
}

TEST_F(Server, AFailedConnectClosesTheSocketOnce) {
  Attempts attempts;
  const int number = nuvek_creatSocket();
  const Seen seen = watch([&] { return nuvek_connect_Server(number, "192.0.2.1"); });
  EXPECT_EQ(seen.result, -1);
  EXPECT_EQ(seen.errors, kRefused);
  EXPECT_THAT(seen.log, ElementsAre("DEBUG nuvek_connect_Server fd :" + std::to_string(number) + " ipaddr:192.0.2.1"));
  EXPECT_THAT(seen.closed, ElementsAre(number));
  EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST_F(Server, ConnectingWithoutASocketFailsLikeAConnectAndClosesNothing) {
  const int fd = -1;
  const Seen seen = watch([&] { return nuvek_connect_Server(fd, "192.0.2.1"); });
  EXPECT_EQ(seen.result, -1);
  EXPECT_EQ(seen.errors, "connect: Bad file descriptor\n");
  EXPECT_THAT(seen.closed, IsEmpty());
}

// --- linking ---------------------------------------------------------------------------------------------------------

TEST_F(Server, LinkingConnectsToThePrimaryServer) {
  FakePlatform platform;
  configure("p1.example", "p2.example");
  world().hosts = {{"p1.example", "127.0.0.1"}};
  const Seen seen = watch(nuvek_Link_Remoteserver);
  EXPECT_EQ(seen.result, 0);
  const int fd = g_server_Arg.fd;
  ASSERT_GE(fd, 0);
  EXPECT_STREQ(g_server_Arg.hostIp, "127.0.0.1");
  EXPECT_STREQ(g_platdomain, "p1.example");
  const std::string number = std::to_string(fd);
  EXPECT_THAT(seen.log, ElementsAre("DEBUG nuvek_get_platServer g_platdomain p1.example",
                                    "DEBUG nuvek_Link_Remoteserver hostIp:127.0.0.1",
                                    "DEBUG nuvek_creatSocket socketfd:" + number,
                                    "DEBUG nuvek_Link_Remoteserver g_server_Arg.fd:" + number,
                                    "DEBUG nuvek_connect_Server fd :" + number + " ipaddr:127.0.0.1",
                                    "DEBUG nuvek_connect_Server connect 127.0.0.1 success..."));
  EXPECT_THAT(world().calls(), ElementsAre("get nuvek_Server PlatDomain1", "get nuvek_Server PlatDomain2"));
  EXPECT_THAT(world().lookups, ElementsAre("p1.example"));
  EXPECT_THAT(seen.closed, IsEmpty());

  const int far = platform.accept_connection();
  ASSERT_EQ(send(fd, "x", 1, 0), 1);
  EXPECT_EQ(platform.read_some(far), "x");
  close(far);
  nuvek_closeServer();
}

TEST_F(Server, AnUnreachablePrimaryLeadsToTheSecondary) {
  Attempts attempts("192.0.2.2");
  configure("p1.example", "p2.example");
  world().hosts = {{"p1.example", "192.0.2.1"}, {"p2.example", "192.0.2.2"}};
  const Seen seen = watch(nuvek_Link_Remoteserver);
  EXPECT_EQ(seen.result, 0);
  EXPECT_EQ(seen.errors, kRefused);
  ASSERT_EQ(attempts.fds.size(), 2U);
  const std::string first = std::to_string(attempts.fds[0]);
  const std::string second = std::to_string(attempts.fds[1]);
  EXPECT_THAT(seen.log,
              ElementsAre("DEBUG nuvek_get_platServer g_platdomain p1.example",
                          "DEBUG nuvek_Link_Remoteserver hostIp:192.0.2.1", "DEBUG nuvek_creatSocket socketfd:" + first,
                          "DEBUG nuvek_Link_Remoteserver g_server_Arg.fd:" + first,
                          "DEBUG nuvek_connect_Server fd :" + first + " ipaddr:192.0.2.1",
                          "DEBUG nuvek_creatSocket socketfd:" + second,
                          "DEBUG nuvek_swap_platServer num :1, max:2, index:1, g_platdomain:p2.example", "",
                          "DEBUG nuvek_get_platServer g_platdomain p2.example",
                          "DEBUG nuvek_connect_Server fd :" + second + " ipaddr:192.0.2.2",
                          "DEBUG nuvek_connect_Server connect 192.0.2.2 success..."));
  EXPECT_THAT(attempts.addresses, ElementsAre("192.0.2.1:80", "192.0.2.2:80"));
  EXPECT_THAT(seen.closed, ElementsAre(attempts.fds[0]));
  EXPECT_EQ(g_server_Arg.fd, attempts.fds[1]);
  EXPECT_STREQ(g_server_Arg.hostIp, "192.0.2.2");
  EXPECT_STREQ(g_platdomain, "p2.example");
  nuvek_closeServer();
}

TEST_F(Server, TheNextLinkStartsWithThePrimaryAgain) {
  Attempts attempts("192.0.2.2");
  configure("192.0.2.1", "192.0.2.2");
  stderr_of([] {
    EXPECT_EQ(nuvek_Link_Remoteserver(), 0);
    nuvek_closeServer();
    EXPECT_EQ(nuvek_Link_Remoteserver(), 0);
  });
  EXPECT_THAT(attempts.addresses, ElementsAre("192.0.2.1:80", "192.0.2.2:80", "192.0.2.1:80", "192.0.2.2:80"));
  nuvek_closeServer();
}

TEST_F(Server, WithBothUnreachableThereAreTwoAttemptsAndNoConnection) {
  Attempts attempts;
  configure("192.0.2.1", "192.0.2.2");
  strcpy(g_server_Arg.hostIp, "192.0.2.99");
  const Seen seen = watch(nuvek_Link_Remoteserver);
  EXPECT_EQ(seen.result, -1);
  EXPECT_EQ(seen.errors, std::string(kRefused) + kRefused);
  EXPECT_EQ(seen.log.back(), "ERROR nuvek_Link_Remoteserver connect remote server error");
  EXPECT_THAT(seen.log, Contains(seen.log.back()).Times(1));
  EXPECT_THAT(attempts.addresses, ElementsAre("192.0.2.1:80", "192.0.2.2:80"));
  EXPECT_EQ(g_server_Arg.fd, -1);
  EXPECT_EQ(seen.closed, attempts.fds);
  EXPECT_STREQ(g_server_Arg.hostIp, "192.0.2.99") << "the address of the last successful connection stays";
}

TEST_F(Server, WithoutConfiguredDomainsTheBuiltInOnesAreUsed) {
  Attempts attempts;
  configure("", "");
  EXPECT_EQ(stderr_of([] { EXPECT_EQ(nuvek_Link_Remoteserver(), -1); }),
            unknown_name() + kRefused + unknown_name() + kRefused);
  EXPECT_THAT(world().lookups, ElementsAre(g_RemoteSerDomain.platDomain1, g_RemoteSerDomain.platDomain2));
  EXPECT_STREQ(g_platdomainList[0], g_RemoteSerDomain.platDomain1);
  EXPECT_STREQ(g_platdomainList[1], g_RemoteSerDomain.platDomain2);
}

TEST_F(Server, AFailedLookUpIsFollowedByAConnectToAllZeros) {
  Attempts attempts("192.0.2.2");
  configure("nowhere.example", "192.0.2.2");
  EXPECT_EQ(stderr_of([] { EXPECT_EQ(nuvek_Link_Remoteserver(), 0); }), unknown_name() + kRefused);
  EXPECT_THAT(attempts.addresses, ElementsAre("0.0.0.0:80", "192.0.2.2:80"));
  nuvek_closeServer();
}

TEST_F(Server, AnEditedStoreTakesEffectAtTheNextLink) {
  Attempts attempts("192.0.2.1");
  configure("192.0.2.1", "192.0.2.2");
  EXPECT_EQ(nuvek_Link_Remoteserver(), 0);
  nuvek_closeServer();
  configure("192.0.2.5", "192.0.2.1");
  stderr_of([] { EXPECT_EQ(nuvek_Link_Remoteserver(), 0); });
  EXPECT_THAT(attempts.addresses, ElementsAre("192.0.2.1:80", "192.0.2.5:80", "192.0.2.1:80"));
  nuvek_closeServer();
}

TEST_F(Server, AConfiguredDomainIsCutToThirtyOneCharacters) {
  Attempts attempts;
  configure("abcdefghijklmnopqrstuvwxyz.example.org", "p2.example");
  stderr_of([] { nuvek_Link_Remoteserver(); });
  EXPECT_THAT(world().lookups, ElementsAre("abcdefghijklmnopqrstuvwxyz.exam", "p2.example"));
}

TEST_F(Server, AMissingSocketCountsAsAFailedAttempt) {
  configure("192.0.2.1", "192.0.2.2");
  world().on_socket = [] { return -1; };
  const Seen seen = watch(nuvek_Link_Remoteserver);
  EXPECT_EQ(seen.result, -1);
  EXPECT_EQ(seen.errors, "connect: Bad file descriptor\nconnect: Bad file descriptor\n");
  EXPECT_THAT(seen.log,
              ElementsAre("DEBUG nuvek_get_platServer g_platdomain 192.0.2.1",
                          "DEBUG nuvek_Link_Remoteserver hostIp:192.0.2.1", "ERROR nuvek_creatSocket  socket() error",
                          "DEBUG nuvek_creatSocket socketfd:-1", "DEBUG nuvek_Link_Remoteserver g_server_Arg.fd:-1",
                          "DEBUG nuvek_connect_Server fd :-1 ipaddr:192.0.2.1",
                          "ERROR nuvek_creatSocket  socket() error", "DEBUG nuvek_creatSocket socketfd:-1",
                          "DEBUG nuvek_swap_platServer num :1, max:2, index:1, g_platdomain:192.0.2.2", "",
                          "DEBUG nuvek_get_platServer g_platdomain 192.0.2.2",
                          "DEBUG nuvek_connect_Server fd :-1 ipaddr:192.0.2.2",
                          "ERROR nuvek_Link_Remoteserver connect remote server error"));
  EXPECT_EQ(g_server_Arg.fd, -1);
  EXPECT_THAT(seen.closed, IsEmpty());
}

TEST_F(Server, ADescriptorThatIsThereAlreadyIsConnectedInsteadOfANewOne) {
  Attempts attempts("192.0.2.1");
  configure("192.0.2.1", "192.0.2.2");
  const int fd = nuvek_creatSocket();
  g_server_Arg.fd = fd;
  EXPECT_EQ(nuvek_Link_Remoteserver(), 0);
  EXPECT_THAT(attempts.fds, ElementsAre(fd));
  EXPECT_EQ(g_server_Arg.fd, fd);
  nuvek_closeServer();
}

TEST_F(Server, TheRecordHasNoDescriptorWhileItIsStillConnecting) {
  Attempts attempts("192.0.2.2");
  configure("192.0.2.1", "192.0.2.2");
  stderr_of([] { EXPECT_EQ(nuvek_Link_Remoteserver(), 0); });
  EXPECT_THAT(attempts.fds_in_record, ElementsAre(-1, -1));
  nuvek_closeServer();
}

// --- closing ---------------------------------------------------------------------------------------------------------

TEST_F(Server, ClosingLogsTheDescriptorAndClosesItOnce) {
  const int fd = nuvek_creatSocket();
  g_server_Arg.fd = fd;
  const auto close_server = [] {
    nuvek_closeServer();
    return 0;
  };
  const Seen first = watch(close_server);
  EXPECT_THAT(first.log, ElementsAre("DEBUG nuvek_closeServer close g_server_Arg.fd:" + std::to_string(fd)));
  EXPECT_THAT(first.closed, ElementsAre(fd));
  EXPECT_EQ(g_server_Arg.fd, -1);
  const Seen second = watch(close_server);
  EXPECT_THAT(second.log, ElementsAre("DEBUG nuvek_closeServer close g_server_Arg.fd:-1"));
  EXPECT_THAT(second.closed, IsEmpty());
}
