// Stands in for the socket and file calls: each does what it always does, unless a fault strikes.
#include <sys/select.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "faults.h"

namespace {

constexpr size_t kUncounted = 2;

// Makes the call, or lets it fail with one of the errors that are drawn for it.
template <typename Call>
auto pass(faults::Kind kind, Call call) -> decltype(call()) {
  uint32_t draw = 0;
  return faults::strikes(kind, &draw) ? faults::fail(draw) : call();
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  static const auto real = behind<int(int, int, int)>("socket");
  return pass(faults::kSocket, [&] { return real(domain, type, protocol); });
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  static const auto real = behind<int(int, const sockaddr*, socklen_t)>("connect");
  return pass(faults::kConnect, [&] { return real(fd, address, size); });
}

int accept(int fd, sockaddr* __restrict address, socklen_t* __restrict size) {
  static const auto real = behind<int(int, sockaddr*, socklen_t*)>("accept");
  return pass(faults::kAccept, [&] { return real(fd, address, size); });
}

int select(int count, fd_set* __restrict readable, fd_set* __restrict writable, fd_set* __restrict broken,
           timeval* __restrict timeout) {
  static const auto real = behind<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
  return pass(faults::kSelect, [&] { return real(count, readable, writable, broken, timeout); });
}

// A short send takes at least one byte and leaves more than two: the agent, which does not count a request's empty
// line, takes one of which two bytes are left for sent.
ssize_t send(int fd, const void* data, size_t size, int flags) {
  static const auto real = behind<ssize_t(int, const void*, size_t, int)>("send");
  uint32_t draw = 0;
  if (size > kUncounted + 1 && faults::strikes(faults::kShortSend, &draw)) size = 1 + draw % (size - 1 - kUncounted);
  return pass(faults::kSend, [&] { return real(fd, data, size, flags); });
}

ssize_t recv(int fd, void* data, size_t size, int flags) {
  static const auto real = behind<ssize_t(int, void*, size_t, int)>("recv");
  return pass(faults::kReceive, [&] { return real(fd, data, size, flags); });
}

// On a full disk a file is opened, and emptied, all the same; what is written to it is lost.
FILE* fopen(const char* __restrict path, const char* __restrict mode) {
  static const auto real = behind<FILE*(const char*, const char*)>("fopen");
  uint32_t draw = 0;
  if (faults::strikes(faults::kOpen, &draw)) {
    errno = draw % 2 == 0 ? EACCES : EMFILE;
    return nullptr;
  }
  FILE* const file = real(path, mode);
  if (file == nullptr || mode[0] != 'w' || !faults::strikes(faults::kFullDisk)) return file;
  fclose(file);
  return real("/dev/full", mode);
}
}
