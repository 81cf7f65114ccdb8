// Owns the one connection to the platform: open, send, receive, close. A secure transport would stand behind the same
// operations; nobody else handles the descriptor, but for the main loop, which waits for it.
#ifndef NUVEK_AGENT_LINK_CONNECTION_H
#define NUVEK_AGENT_LINK_CONNECTION_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "agent/base/records.h"

class Connection {
 public:
  // `fd` holds the connected socket, or -1.
  explicit constexpr Connection(std::atomic<int32_t>& fd) : fd_(fd) {}

  bool is_open() const { return fd_ != -1; }
  int32_t descriptor() const { return fd_; }

  // Opening in two steps. begin() makes a socket, for the first attempt the one that is open already, and returns its
  // descriptor, -1 when there is none. connect() connects it to an IPv4 address text within 1 s; the connection is open
  // only then, so that the main loop never watches a socket that is still connecting. A failure closes the socket.
  int32_t begin() REQUIRES(g_link_lock);
  bool connect(const char* address) REQUIRES(g_link_lock);

  // As send(2) and recv(2) with no flags: the number of bytes, 0 when the platform has closed, -1 for an error.
  ssize_t send(const char* data, size_t size) const REQUIRES(g_link_lock);
  ssize_t receive(char* buffer, size_t size) const;

  void close() REQUIRES(g_link_lock);

 private:
  std::atomic<int32_t>& fd_;
  int32_t pending_ = -1;
};

extern Connection g_connection;  // the platform's: its socket stands in g_server_Arg.fd

// Closes the connection, if there is one. Takes the link.
void nuvek_closeServer() EXCLUDES(g_link_lock);

#endif
