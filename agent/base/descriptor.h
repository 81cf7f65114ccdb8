// Owns descriptors: that the first three are taken, that no helper program inherits one, and sets of them.
#ifndef NUVEK_AGENT_BASE_DESCRIPTOR_H
#define NUVEK_AGENT_BASE_DESCRIPTOR_H

#include <sys/select.h>

namespace descriptor {

// Opens those of 0 to 2 that are closed, on /dev/null: a socket that took the place of standard output would be sent
// the log.
void open_standard();

// A TCP/IPv4 socket, or -1 with errno. Helper programs, which outlive connections, do not inherit it.
int new_socket();

// The next connection of a listening socket, likewise.
int accept_connection(int listen_fd);

// Puts a descriptor below FD_SETSIZE into a set; looks whether it is in one.
void watch(int fd, fd_set* set);
bool is_in(int fd, const fd_set& set);

}  // namespace descriptor

#endif
