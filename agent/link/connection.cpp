#include "agent/link/connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>

#include "agent/base/descriptor.h"
#include "agent/base/log.h"
#include "agent/link/connection_steps.h"
#include "platform/site.h"

Connection g_connection(g_server_Arg.fd);

namespace {

constexpr time_t kSendTimeout_s = 1;  // on a blocking socket it bounds connect() too

}  // namespace

int32_t Connection::begin() {
  pending_ = fd_.exchange(-1);
  if (pending_ == -1) pending_ = nuvek_creatSocket();
  return pending_;
}

bool Connection::connect(const char* address) {
  const int32_t fd = pending_;
  pending_ = -1;
  if (nuvek_connect_Server(fd, address) != 0) return false;
  fd_ = fd;
  return true;
}

ssize_t Connection::send(const char* data, size_t size) const { return ::send(fd_, data, size, 0); }

ssize_t Connection::receive(char* buffer, size_t size) const { return recv(fd_, buffer, size, 0); }

void Connection::close() {
  const int fd = fd_.exchange(-1);
  if (fd != -1) ::close(fd);
}

void nuvek_closeServer() {
  const Lock hold(g_link_lock);
  NUVEK_DEBUG("close g_server_Arg.fd:%d", g_connection.descriptor());
  g_connection.close();
}

int nuvek_creatSocket() {
  const int fd = descriptor::new_socket();
  if (fd == -1) NUVEK_ERROR(" socket() error");
  NUVEK_DEBUG("socketfd:%d", fd);
  return fd;
}

int nuvek_connect_Server(int fd, const char* address) {
  if (address == nullptr) {
    NUVEK_DEBUG("ipaddr is null");
    return -1;
  }
  NUVEK_DEBUG("fd :%d ipaddr:%s", fd, address);
  sockaddr_in server{};
  server.sin_family = AF_INET;
  server.sin_port = htons(site::platform_port());
  // Some C libraries' inet_pton() leaves the first four parts of "1.2.3.4.5" behind when it refuses it.
  if (inet_pton(AF_INET, address, &server.sin_addr) != 1) server.sin_addr.s_addr = 0;
  const timeval timeout{kSendTimeout_s, 0};
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0) {
    NUVEK_DEBUG("connect %s success...", address);
    return 0;
  }
  perror("connect");
  if (fd != -1) close(fd);
  return -1;
}
