#include "agent/local/local_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "agent/base/descriptor.h"
#include "agent/base/log.h"
#include "agent/base/text.h"
#include "agent/json/json_build.h"
#include "agent/json/json_value.h"
#include "agent/local/local_server_steps.h"
#include "agent/local/location.h"
#include "platform/site.h"

namespace {

constexpr int kBacklog = 5;
constexpr time_t kFirstData_s = 10;
constexpr size_t kPrefixSize = 4;  // some clients put the message's length ahead of it
constexpr size_t kScratchSize = 128;

// One accepted connection; closes itself.
class Connection {
 public:
  explicit Connection(int fd) : fd_(fd) {}
  ~Connection() { close(fd_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

// A client may hold the main loop as long as it stays. One whose machine is gone does not count as staying: the kernel
// asks for it, and ends the connection after some 40 s without an answer.
void notice_when_gone(int fd) {
  static constexpr struct {
    int level;
    int option;
    int value;
  } kOptions[] = {
      {SOL_SOCKET, SO_KEEPALIVE, 1},
      {IPPROTO_TCP, TCP_KEEPIDLE, 10},
      {IPPROTO_TCP, TCP_KEEPINTVL, 10},
      {IPPROTO_TCP, TCP_KEEPCNT, 3},
  };
  for (const auto& option : kOptions) setsockopt(fd, option.level, option.option, &option.value, sizeof option.value);
}

// Waits for the first data. Returns false, with the reason in the log, when the connection is to be given up.
bool wait_for_data(int fd) {
  if (fd >= FD_SETSIZE) {
    NUVEK_ERROR_AS("nuvek_localProcess", "descriptor %d too large for select", fd);
    return false;
  }
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(fd, &readable);
  timeval timeout{kFirstData_s, 0};
  if (select(fd + 1, &readable, nullptr, nullptr, &timeout) <= 0) {
    NUVEK_ERROR_AS("nuvek_localProcess", "not recv client data");
    return false;
  }
  return FD_ISSET(fd, &readable) != 0;
}

// Receives until a chunk holds a message; null when the client closed or the connection failed. A message cannot be put
// together from two chunks: what does not begin with a brace, or has none behind a prefix, is thrown away.
const char* receive_message(int fd, char (&buffer)[kLocalMessageSize + 1]) {
  for (;;) {
    memset(buffer, 0, sizeof buffer);
    const ssize_t count = recv(fd, buffer, kLocalMessageSize, 0);
    NUVEK_DEBUG_AS("nuvek_localProcess", "recv :%d", static_cast<int>(count));
    if (count < 0 && errno == EINTR) {
      NUVEK_ERROR_AS("nuvek_localProcess", "EINTR again");
      continue;
    }
    if (count <= 0) return nullptr;
    if (buffer[0] == '{') return buffer;
    if (buffer[kPrefixSize] == '{') return buffer + kPrefixSize;
  }
}

}  // namespace

int nuvek_InitLocalServer() {
  const int fd = descriptor::new_socket();
  if (fd == -1) {
    NUVEK_ERROR("build TCP socket() error!!");
    return -1;
  }
  const int32_t on = 1;
  if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) {
    NUVEK_ERROR("setsockopt failed with errno=%d", errno);
    return fd;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(site::local_port());
  // The two failures below leave the socket open: its port, where it has one, stays taken, and the operator's tools
  // look for it there.
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    NUVEK_ERROR("bind failed with errno=%d", errno);
    return -1;
  }
  if (listen(fd, kBacklog) != 0) {
    NUVEK_ERROR("listen failed with errno=%d", errno);
    return -1;
  }
  return fd;
}

void nuvek_localProcess(int listen_fd) {
  const int accepted = descriptor::accept_connection(listen_fd);
  if (accepted < 0) {
    perror("accept() error\n");
    return;
  }
  const Connection connection(accepted);
  notice_when_gone(accepted);
  if (!wait_for_data(connection.fd())) return;
  char buffer[kLocalMessageSize + 1];
  const char* message = receive_message(connection.fd(), buffer);
  if (message == nullptr) return;
  NUVEK_DEBUG("p_str1:%s ", message);

  // Cleared, so that a member the client leaves out is not taken from the client before.
  GisInfo record{};
  char scratch[kScratchSize] = "";
  const int result = nuvek_save_node(message, scratch, &record);
  if (result == kLocationUnread) return;  // the client meets a closed connection and posts again
  nuvek_local_response(message, connection.fd(), result);
}

int nuvek_local_response(const char* request, int fd, int result) {
  char id[32] = "";
  const bool was_read = nuvek_json_get_value(request, "ID", id);
  json::Value answer = json::Value::object();
  json_AddNumberToObject(answer, "Result", result);
  json_AddNumberToObject(answer, "ID", text::to_int32(id));
  // An answer to nobody's identifier is worse than none.
  if (const json::Text text = was_read ? answer.text() : json::Text()) {
    NUVEK_DEBUG("local response:%s ", text.get());
    if (send(fd, text.get(), strlen(text.get()), 0) == -1) perror("send");
  }
  return answer.free();
}
