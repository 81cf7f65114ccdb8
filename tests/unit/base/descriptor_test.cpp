// The first three descriptors, and what helper programs inherit.
#include "agent/base/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/world.h"

namespace {

using DescriptorTest = AgentTest;

bool is_null_device(int fd) {
  struct stat here {};
  struct stat null {};
  return fstat(fd, &here) == 0 && stat("/dev/null", &null) == 0 && here.st_rdev == null.st_rdev;
}

// What `action` returns in a process of its own, which starts with some of the first three descriptors closed.
int in_a_process_without(std::initializer_list<int> closed, int (*action)()) {
  const pid_t child = fork();
  if (child == 0) {
    for (const int fd : closed) close(fd);
    _exit(action());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int null_devices_among_the_first_three() {
  descriptor::open_standard();
  int bits = 0;
  for (int fd = 0; fd < 3; ++fd) bits |= is_null_device(fd) ? 1 << fd : 0;
  return fcntl(3, F_GETFD) == -1 ? bits : 0x80;  // nothing is left open behind them
}

int lowest_new_descriptor() {
  descriptor::open_standard();
  return descriptor::new_socket();
}

}  // namespace

TEST_F(DescriptorTest, WhatIsClosedOfTheFirstThreeIsOpenedOnTheNullDevice) {
  const auto all = [] {
    for (int fd = 3; fd < 64; ++fd) close(fd);
    return null_devices_among_the_first_three();
  };
  EXPECT_EQ(in_a_process_without({0, 1, 2}, all), 7);
  EXPECT_EQ(in_a_process_without({1}, all) & 2, 2);
  EXPECT_EQ(in_a_process_without({0, 2}, all) & 5, 5);
}

TEST_F(DescriptorTest, NoSocketTakesThePlaceOfStandardOutput) {
  EXPECT_GT(in_a_process_without({0, 1, 2}, lowest_new_descriptor), 2);
}

TEST_F(DescriptorTest, SocketsAndAcceptedConnectionsAreNotInherited) {
  const int listening = descriptor::new_socket();
  ASSERT_EQ(listen(listening, 1), 0);  // on a port of the system's choice
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size), 0);
  const int client = descriptor::new_socket();
  ASSERT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), size), 0);
  const int accepted = descriptor::accept_connection(listening);
  for (const int fd : {listening, client, accepted}) {
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << fd;
    close(fd);
  }
}
