// Stands in for the socket calls. Each does what it always does, unless a fault strikes; in lock step one that would
// wait is a stop. A socket's life is recorded: connect, accept, what was sent and received, close.
#include "socket_calls.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "control.h"
#include "fast.h"
#include "faults.h"
#include "record.h"
#include "step.h"
#include "walk.h"
#include "world.h"
#include "year.h"

namespace {

using walk::fails_with_errno;
using walk::kNetwork;

constexpr size_t kUncounted = 2;

std::array<bool, 1024> g_connections;  // by descriptor

// Makes the call, or lets it fail with one of the errors that are drawn for it.
template <typename Call>
auto pass(faults::Kind kind, Call call) -> decltype(call()) {
  uint32_t draw = 0;
  return faults::strikes(kind, &draw) ? faults::fail(draw) : call();
}

bool in_step() { return world::is(world::Kind::step); }

ssize_t fail_with(int error) {
  errno = error;
  return -1;
}

int port_of(const sockaddr_in& address) { return ntohs(address.sin_port); }

int own_port(int fd) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? port_of(address) : 0;
}

std::string text_of(const sockaddr_in& peer) {
  const uint32_t host = ntohl(peer.sin_addr.s_addr);
  char text[32];
  snprintf(text, sizeof text, "%u.%u.%u.%u:%d", host >> 24, host >> 16 & 0xFF, host >> 8 & 0xFF, host & 0xFF,
           port_of(peer));
  return text;
}

std::string text_of(const sockaddr* address) {
  sockaddr_in peer{};
  memcpy(&peer, address, sizeof peer);
  return text_of(peer);
}

void begin_connection(int fd) {
  g_connections[static_cast<size_t>(fd) % g_connections.size()] = true;
  step::forget_connection(fd);
}

void note_connect(int fd) {
  const faults::Aside aside;
  sockaddr_in peer{};
  socklen_t size = sizeof peer;
  getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size);
  begin_connection(fd);
  record_call("connect %d %d %s", fd, own_port(fd), text_of(peer).c_str());
}

// Makes `fd` the connection that the test has made.
int take_over(int fd, int connection) {
  const int result = dup3(connection, fd, O_CLOEXEC);
  close(connection);
  return result == -1 ? -1 : 0;
}

// Notes the client as well, which may have gone again, so that the socket no longer knows it. `call` makes the real
// one.
template <typename Call>
int accept_and_note(int fd, sockaddr* address, socklen_t* size, Call call) {
  if (!world::is_played()) return call(address, size);
  if (step::is_here()) return step::stop("accept " + std::to_string(fd)).number();
  if (fails_with_errno(kNetwork, "accept", {ECONNABORTED, EMFILE, ENFILE, ENOBUFS, ENOMEM, EINTR, EPERM})) return -1;
  sockaddr_in peer{};
  socklen_t peer_size = sizeof peer;
  const int accepted = pass(faults::accept, [&] { return call(reinterpret_cast<sockaddr*>(&peer), &peer_size); });
  if (accepted < 0) return accepted;
  if (address != nullptr) {
    memcpy(address, &peer, *size < peer_size ? *size : peer_size);
    *size = peer_size;
  }
  begin_connection(accepted);
  record_call("accept %d %d", accepted, port_of(peer));
  return accepted;
}

std::string descriptors(int count, const fd_set* readable) {
  std::string list;
  for (int fd = 0; fd < count; ++fd) {
    if (FD_ISSET(fd, readable)) list += " " + std::to_string(fd);
  }
  return list;
}

int select_in_step(int count, fd_set* readable, timeval* timeout) {
  static const auto real = world::behind(&select, "select");
  step::Answer answer{};
  {
    const faults::Aside aside;
    answer = step::stop("select" + descriptors(count, readable) + " within " +
                        std::to_string(timeout->tv_sec * 1000000L + timeout->tv_usec));
  }
  if (answer.is("errno")) return static_cast<int>(fail_with(answer.error()));
  timeval now{};
  return real(count, readable, nullptr, nullptr, &now);
}

// Waits where the real call would. `call` makes the real one without a wait.
template <typename Call>
ssize_t wait_in_step(const char* name, int fd, Call call) {
  for (;;) {
    const ssize_t result = call();
    if (result != -1 || errno != EAGAIN) return result;
    const step::Answer answer = step::stop(std::string(name) + " " + std::to_string(fd));
    if (answer.is("errno")) return fail_with(answer.error());
  }
}

}  // namespace

void sockets::end_connection(int fd) {
  const size_t index = static_cast<size_t>(fd);
  if (fd < 0 || index >= g_connections.size() || !g_connections[index]) return;
  if (in_step()) step::pass("close " + std::to_string(fd));
  g_connections[index] = false;
  record_call("close %d", fd);
}

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  static const auto real = world::behind(&socket, "socket");
  if (fails_with_errno(kNetwork, "socket", {EMFILE, ENFILE, ENOBUFS, ENOMEM})) return -1;
  return pass(faults::socket, [&] { return real(domain, type, protocol); });
}

int listen(int fd, int backlog) noexcept {
  static const auto real = world::behind(&listen, "listen");
  if (fails_with_errno(kNetwork, "listen", {EADDRINUSE})) return -1;
  if (world::is_played()) record_call("listen %d %d", fd, own_port(fd));
  return real(fd, backlog);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  static const auto real = world::behind(&bind, "bind");
  return fails_with_errno(kNetwork, "bind", {EADDRINUSE, EACCES}) ? -1 : real(fd, address, size);
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t size) noexcept {
  static const auto real = world::behind(&setsockopt, "setsockopt");
  return fails_with_errno(kNetwork, "setsockopt", {ENOMEM, ENOPROTOOPT}) ? -1 : real(fd, level, option, value, size);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  static const auto real = world::behind(&connect, "connect");
  step::Answer answer{"go", ""};
  if (in_step()) {
    const faults::Aside aside;
    answer = step::stop("connect " + std::to_string(fd) + " " + text_of(address));
    if (answer.is("errno")) return static_cast<int>(fail_with(answer.error()));
  }
  if (fails_with_errno(kNetwork, "connect",
                       {ECONNREFUSED, ENETUNREACH, EHOSTUNREACH, ETIMEDOUT, EINPROGRESS, EINTR, EADDRNOTAVAIL})) {
    return -1;
  }
  const int result = pass(
      faults::connect, [&] { return answer.is("value") ? take_over(fd, answer.number()) : real(fd, address, size); });
  if (result == 0 && world::is_played()) note_connect(fd);
  if (result != 0 && world::is(world::Kind::year)) year::witness_refusal();
  return result;
}

int accept(int fd, sockaddr* __restrict address, socklen_t* __restrict size) {
  static const auto real = world::behind(&accept, "accept");
  return accept_and_note(fd, address, size,
                         [&](sockaddr* peer, socklen_t* peer_size) { return real(fd, peer, peer_size); });
}

int accept4(int fd, sockaddr* __restrict address, socklen_t* __restrict size, int flags) {
  static const auto real = world::behind(&accept4, "accept4");
  return accept_and_note(fd, address, size,
                         [&](sockaddr* peer, socklen_t* peer_size) { return real(fd, peer, peer_size, flags); });
}

int select(int count, fd_set* __restrict readable, fd_set* __restrict writable, fd_set* __restrict broken,
           timeval* __restrict timeout) {
  static const auto real = world::behind(&select, "select");
  switch (world::kind()) {
    case world::Kind::step: {
      // The stop first: while a fault is on, the main loop still turns no faster than the test lets it.
      const int result = select_in_step(count, readable, timeout);
      if (fails_with_errno(walk::kWaits, "select", {EINTR, ENOMEM, EBADF})) return -1;
      return pass(faults::select, [&] { return result; });
    }
    case world::Kind::year:
      return year::select(count, readable, timeout);
    case world::Kind::fast: {
      timeval shorter = fast::shortened(*timeout);
      return real(count, readable, writable, broken, &shorter);
    }
    default:
      return pass(faults::select, [&] { return real(count, readable, writable, broken, timeout); });
  }
}

// A short send takes at least one byte and leaves more than two: the agent, which does not count a request's empty
// line, takes one of which two bytes are left for sent.
ssize_t send(int fd, const void* data, size_t size, int flags) {
  static const auto real = world::behind(&send, "send");
  uint32_t draw = 0;
  if (size > kUncounted + 1 && faults::strikes(faults::short_send, &draw)) size = 1 + draw % (size - 1 - kUncounted);
  if (!in_step()) {
    const ssize_t sent = pass(faults::send, [&] { return real(fd, data, size, flags); });
    if (world::is(world::Kind::year)) year::witness_send(fd, data, sent);
    return sent;
  }
  const step::Answer answer = step::pass("send " + std::to_string(fd));
  if (answer.is("errno")) return fail_with(answer.error());
  if (fails_with_errno(kNetwork, "send", {EPIPE, ECONNRESET, EAGAIN, EINTR, ENOBUFS, ENOMEM, EHOSTUNREACH})) return -1;
  if (answer.is("short")) size = static_cast<size_t>(answer.number());
  const ssize_t sent = pass(faults::send, [&] {
    return wait_in_step("send", fd, [&] { return real(fd, data, size, flags | MSG_DONTWAIT); });
  });
  const int error = errno;
  if (sent > 0) {
    record_call("send %d %zd", fd, sent);
    step::await_refusal(fd);
  }
  errno = error;
  return sent;
}

ssize_t recv(int fd, void* data, size_t size, int flags) {
  static const auto real = world::behind(&recv, "recv");
  if (!in_step()) {
    const ssize_t received = pass(faults::receive, [&] { return real(fd, data, size, flags); });
    if (world::is(world::Kind::year)) year::witness_receive(data, received);
    return received;
  }
  if (fails_with_errno(kNetwork, "recv", {ECONNRESET, ETIMEDOUT, EHOSTUNREACH, EAGAIN, EINTR, ENOMEM})) return -1;
  const ssize_t received = pass(faults::receive, [&] {
    return wait_in_step("recv", fd, [&] { return real(fd, data, size, flags | MSG_DONTWAIT); });
  });
  const int error = errno;
  if (received >= 0) record_call("recv %d %zd", fd, received);
  errno = error;
  return received;
}
}
