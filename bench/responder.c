// The least that can answer: connects, sends a registration that never changes, receives one block, sends an answer
// that never changes, closes, and begins anew, as the agent does with a platform that never acknowledges.
//
//   responder PORT REGISTRATION-FILE ANSWER-FILE
#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

static char block[2048];
static char registration[2048];
static char answer[2048];

static size_t load(const char* path, char* text) {
  FILE* file = fopen(path, "r");
  if (file == NULL) exit(1);
  const size_t length = fread(text, 1, sizeof block, file);
  fclose(file);
  return length;
}

static int connect_to(const char* port) {
  struct sockaddr_in server;
  memset(&server, 0, sizeof server);
  server.sin_family = AF_INET;
  server.sin_port = htons((unsigned short)atoi(port));
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(fd, (struct sockaddr*)&server, sizeof server) != 0) exit(1);
  return fd;
}

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const size_t registration_length = load(argv[2], registration);
  const size_t answer_length = load(argv[3], answer);
  for (;;) {
    const int fd = connect_to(argv[1]);
    if (send(fd, registration, registration_length, MSG_NOSIGNAL) < 0) return 1;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    if (select(fd + 1, &readable, NULL, NULL, NULL) == 1 && recv(fd, block, sizeof block, 0) > 0) {
      if (send(fd, answer, answer_length, MSG_NOSIGNAL) < 0) return 1;
    }
    close(fd);
  }
}
