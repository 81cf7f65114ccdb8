// The least that can register: opens the local listening socket as the agent does, connects, sends a registration that
// never changes, and waits in select.
//
//   opener LOCAL-PORT PLATFORM-PORT REGISTRATION-FILE
#include <arpa/inet.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

static struct sockaddr_in address_of(in_addr_t host, const char* port) {
  struct sockaddr_in address;
  memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_port = htons((unsigned short)atoi(port));
  address.sin_addr.s_addr = htonl(host);
  return address;
}

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const struct sockaddr_in local = address_of(INADDR_ANY, argv[1]);
  const struct sockaddr_in platform = address_of(INADDR_LOOPBACK, argv[2]);
  const int on = 1;
  const int listen_fd = socket(AF_INET, SOCK_STREAM, 0);
  setsockopt(listen_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listen_fd, (const struct sockaddr*)&local, sizeof local) != 0 || listen(listen_fd, 5) != 0) return 1;

  char registration[2048];
  const int file = open(argv[3], O_RDONLY);
  const ssize_t length = read(file, registration, sizeof registration);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (length <= 0 || connect(fd, (const struct sockaddr*)&platform, sizeof platform) != 0) return 1;
  if (send(fd, registration, (size_t)length, 0) != length) return 1;
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(listen_fd, &readable);
  select(listen_fd + 1, &readable, NULL, NULL, NULL);
  return 0;
}
