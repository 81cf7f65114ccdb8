// The platform's side of a Get: takes one connection after the other, reads the request that comes first, sends a block
// with one Get, and prints how long the whole answer took to arrive, in nanoseconds, a line for each.
//
//   exchange PORT-FILE COUNT BLOCK-FILE [FIRST-REQUEST-FILE ANSWER-FILE]     the last two are written: what came
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>

namespace {

constexpr useconds_t kPause_us = 100;  // until the other side waits in select again

long long clock_ns() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

[[noreturn]] void fail(const char* what) {
  perror(what);
  exit(1);
}

// One whole request; empty when the connection ends first.
std::string read_request(int fd) {
  std::string request;
  for (;;) {
    char chunk[4096];
    const ssize_t count = recv(fd, chunk, sizeof chunk, 0);
    if (count <= 0) return {};
    request.append(chunk, static_cast<size_t>(count));
    const size_t head = request.find("\r\n\r\n");
    const size_t length = request.find("Content-Length: ");
    if (head == std::string::npos || length == std::string::npos) continue;
    if (request.size() >= head + 4 + strtoul(request.c_str() + length + 16, nullptr, 10)) return request;
  }
}

int listen_on_any_port(const char* port_file) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(fd, 64) != 0) fail("listen");
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
  const std::string path = port_file;
  std::ofstream(path + ".new") << ntohs(address.sin_port);
  if (rename((path + ".new").c_str(), port_file) != 0) fail("rename");
  return fd;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 6) return 2;
  std::ifstream block_file(argv[3]);
  std::ostringstream block_text;
  block_text << block_file.rdbuf();
  const std::string block = block_text.str();
  const int listener = listen_on_any_port(argv[1]);
  std::string request;
  std::string answer;
  for (int left = atoi(argv[2]); left > 0;) {
    const int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) fail("accept");
    request = read_request(fd);
    usleep(kPause_us);
    const long long start = clock_ns();
    if (!request.empty() && send(fd, block.data(), block.size(), MSG_NOSIGNAL) > 0) answer = read_request(fd);
    const long long taken = clock_ns() - start;
    if (!request.empty() && !answer.empty()) {
      printf("%lld\n", taken);
      --left;
    }
    close(fd);
  }
  if (argc == 6) {
    std::ofstream(argv[4]) << request;
    std::ofstream(argv[5]) << answer;
  }
}
