#include "agent/link/server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/config.h"
#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/records.h"
#include "agent/base/text.h"
#include "platform/site.h"

namespace {

constexpr time_t kSendTimeout_s = 1;  // on a blocking socket it bounds connect() too
constexpr int kAttempts = 2;

Mutex g_link_lock;

}  // namespace

LinkHold::LinkHold() { g_link_lock.lock(); }
LinkHold::~LinkHold() { g_link_lock.unlock(); }

int nuvek_Link_Remoteserver() {
  char host[kAddressSize] = "";
  nuvek_load_server();
  nuvek_get_platServer(host);
  NUVEK_DEBUG("hostIp:%s", host);
  int fd = g_server_Arg.fd.exchange(-1);
  if (fd == -1) fd = nuvek_creatSocket();
  NUVEK_DEBUG("g_server_Arg.fd:%d", fd);

  for (int attempt = 1;; ++attempt) {
    if (nuvek_connect_Server(&fd, host) == 0) {
      text::copy(g_server_Arg.hostIp, host);
      g_server_Arg.fd = fd;  // only now: the main loop never watches a socket that is still connecting
      return 0;
    }
    if (attempt == kAttempts) break;
    fd = nuvek_creatSocket();
    nuvek_swap_platServer(1, 2);
    nuvek_get_platServer(host);
  }
  NUVEK_ERROR("connect remote server error");
  return -1;
}

void nuvek_closeServer() {
  const LinkHold hold;
  NUVEK_DEBUG("close g_server_Arg.fd:%d", g_server_Arg.fd.load());
  const int fd = g_server_Arg.fd.exchange(-1);
  if (fd != -1) close(fd);
}

void nuvek_get_platServer(char* out) {
  if (g_platdomain[0] == '\0') return;
  NUVEK_DEBUG("g_platdomain %s", g_platdomain);
  char address[kAddressSize] = "";
  if (nuvek_is_ipaddr(g_platdomain) == 0) {
    nuvek_getaddrinfo(g_platdomain, address);
  } else {
    text::copy(address, g_platdomain);
  }
  text::copy(out, kAddressSize, address);
}

int nuvek_getaddrinfo(const char* domain, char* out) {
  if (domain == nullptr) {
    NUVEK_ERROR("domain is NULL");
    return 0;
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(domain, nullptr, &hints, &found);
  if (error != 0) {
    fprintf(stderr, "getaddrinfo: %s\n", gai_strerror(error));
    return 0;
  }
  sockaddr_in address{};
  memcpy(&address, found->ai_addr, sizeof address);
  inet_ntop(AF_INET, &address.sin_addr, out, INET_ADDRSTRLEN);
  freeaddrinfo(found);
  return 1;
}

int nuvek_is_ipaddr(const char* text) {
  constexpr size_t kShortest = 7;
  constexpr size_t kLongest = 15;
  if (text == nullptr) return 0;
  const size_t length = strlen(text);
  if (length < kShortest || length > kLongest) return 0;

  char copy[kLongest + 1];
  text::copy(copy, text);
  char* rest = nullptr;
  const char* part = strtok_r(copy, ".", &rest);
  for (int count = 0; count < 4; ++count) {
    uint32_t value = 0;
    if (part == nullptr || nuvek_strtoul_strict(part, nullptr, 10, &value) != 0 || value > UINT8_MAX) return 0;
    part = strtok_r(nullptr, ".", &rest);
  }
  return 1;
}

int nuvek_strtoul_strict(const char* text, char** end, int base, uint32_t* value) {
  *value = 0;
  while (isspace(static_cast<unsigned char>(*text)) != 0) ++text;
  char* stop = const_cast<char*>(text);
  unsigned long long number = 0;
  bool good = *text != '-';
  if (good) {
    errno = 0;
    number = strtoull(text, &stop, base);
    good = errno == 0 && number <= UINT32_MAX && *stop == '\0';
  }
  if (end != nullptr) *end = stop;
  if (!good) return -1;
  *value = static_cast<uint32_t>(number);
  return 0;
}

void nuvek_swap_platServer(int number, int count) {
  const int index = number % count;
  text::copy(g_platdomain, g_platdomainList[index]);
  NUVEK_DEBUG("num :%d, max:%d, index:%d, g_platdomain:%s\n", number, count, index, g_platdomain);
}

int nuvek_creatSocket() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd == -1) {
    NUVEK_ERROR(" socket() error");
  } else {
    fcntl(fd, F_SETFD, FD_CLOEXEC);  // a helper program that runs on must not keep a closed connection open
  }
  NUVEK_DEBUG("socketfd:%d", fd);
  return fd;
}

int nuvek_connect_Server(const int* fd, const char* address) {
  if (address == nullptr) {
    NUVEK_DEBUG("ipaddr is null");
    return -1;
  }
  NUVEK_DEBUG("fd :%d ipaddr:%s", *fd, address);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(site::platform_port());
  // Some C libraries' inet_pton() leaves the first four parts of "1.2.3.4.5" behind when it refuses it.
  if (inet_pton(AF_INET, address, &server.sin_addr) != 1) server.sin_addr.s_addr = 0;
  const timeval timeout{kSendTimeout_s, 0};
  setsockopt(*fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(*fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) {
    NUVEK_DEBUG("connect %s success...", address);
    return 0;
  }
  perror("connect");
  if (*fd != -1) close(*fd);
  return -1;
}
