// The steps of opening a connection, for tests.
#ifndef NUVEK_AGENT_LINK_CONNECTION_STEPS_H
#define NUVEK_AGENT_LINK_CONNECTION_STEPS_H

// Returns a new TCP/IPv4 socket, or -1.
int nuvek_creatSocket();

// Connects a socket to an IPv4 address text on the platform's port within 1 s. Returns 0; or -1, and the socket is
// closed. A text that is no address stands for 0.0.0.0; without a text the socket stays open.
int nuvek_connect_Server(int fd, const char* address);

#endif
