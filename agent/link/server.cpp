#include "agent/link/server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/base/config.h"
#include "agent/base/log.h"
#include "agent/base/stack.h"
#include "agent/base/text.h"
#include "agent/link/connection.h"
#include "agent/link/server_steps.h"

namespace {

constexpr int kAttempts = 2;

}  // namespace

int nuvek_Link_Remoteserver() {
  char host[kAddressSize] = "";
  nuvek_load_server();
  nuvek_get_platServer(host);
  NUVEK_DEBUG("hostIp:%s", host);
  const int32_t fd = g_connection.begin();
  NUVEK_DEBUG("g_server_Arg.fd:%d", fd);

  for (int attempt = 1;; ++attempt) {
    if (g_connection.connect(host)) {
      text::copy(g_server_Arg.hostIp, host);
      return 0;
    }
    if (attempt == kAttempts) break;
    g_connection.begin();
    nuvek_swap_platServer(1, 2);
    nuvek_get_platServer(host);
  }
  NUVEK_ERROR("connect remote server error");
  return -1;
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
  if (error == 0) {
    sockaddr_in address{};
    memcpy(&address, found->ai_addr, sizeof address);
    inet_ntop(AF_INET, &address.sin_addr, out, INET_ADDRSTRLEN);
    freeaddrinfo(found);
  } else {
    fprintf(stderr, "getaddrinfo: %s\n", gai_strerror(error));
  }
  stack::give_back();  // nothing else goes as deep as a look-up
  return error == 0 ? 1 : 0;
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
