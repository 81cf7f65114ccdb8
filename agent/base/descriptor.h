// Owns descriptors: that the first three are taken, and that no helper program inherits one.
#ifndef NUVEK_AGENT_BASE_DESCRIPTOR_H
#define NUVEK_AGENT_BASE_DESCRIPTOR_H

namespace descriptor {

// Opens those of 0 to 2 that are closed, on /dev/null: a socket that took the place of standard output would be sent
// the log.
void open_standard();

// A TCP/IPv4 socket, or -1 with errno. Helper programs, which outlive connections, do not inherit it.
int new_socket();

// The next connection of a listening socket, likewise.
int accept_connection(int listen_fd);

}  // namespace descriptor

#endif
