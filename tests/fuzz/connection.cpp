#include "tests/fuzz/connection.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "tests/fuzz/fuzz.h"

namespace fuzz {

Connection::Connection() {
  int ends[2];
  FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
  agent_end_ = ends[0];
  target_end_ = ends[1];
  FUZZ_CHECK(fcntl(target_end_, F_SETFL, O_NONBLOCK) == 0);
}

Connection::~Connection() { close(target_end_); }

// By write() and read(): send() and recv() are the agent's, and stood in for.
void Connection::send(std::string_view bytes) const {
  const ssize_t sent = write(target_end_, bytes.data(), bytes.size());
  FUZZ_CHECK(sent == static_cast<ssize_t>(bytes.size()) || errno == EPIPE || errno == EAGAIN);
}

void Connection::send_all(std::string_view bytes) const {
  send(bytes);
  FUZZ_CHECK(shutdown(target_end_, SHUT_WR) == 0);
}

std::string Connection::take_received() {
  std::string received;
  char block[4096];
  ssize_t count = 0;
  while ((count = read(target_end_, block, sizeof block)) > 0) received.append(block, static_cast<size_t>(count));
  if (count == 0 || errno == ECONNRESET) closed_ = true;  // a reset when the agent left something unread
  return received;
}

bool Connection::is_closed() {
  if (!closed_) take_received();
  return closed_;
}

}  // namespace fuzz
