#include "agent/base/descriptor.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

void descriptor::open_standard() {
  int fd = 0;
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd > STDERR_FILENO) close(fd);
}

// The mark is set as the descriptor is made, so that a helper program started by the other thread just then has no part
// in it. The C libraries of the oldest gateways know no such way.
#ifdef SOCK_CLOEXEC

int descriptor::new_socket() { return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); }

int descriptor::accept_connection(int listen_fd) {
  sockaddr_in peer{};
  socklen_t size = sizeof peer;
  return accept4(listen_fd, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
}

#else

namespace {

int closed_on_exec(int fd) {
  if (fd != -1) fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

}  // namespace

int descriptor::new_socket() { return closed_on_exec(socket(AF_INET, SOCK_STREAM, 0)); }

int descriptor::accept_connection(int listen_fd) {
  sockaddr_in peer{};
  socklen_t size = sizeof peer;
  return closed_on_exec(accept(listen_fd, reinterpret_cast<sockaddr*>(&peer), &size));
}

#endif
