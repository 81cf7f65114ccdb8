// Owns the local location port: a client on the gateway's own network posts its position, one message a connection.
#ifndef NUVEK_AGENT_LOCAL_LOCAL_SERVER_H
#define NUVEK_AGENT_LOCAL_LOCAL_SERVER_H

#include <cstddef>

constexpr size_t kLocalMessageSize = 1024;  // most bytes of one receive

// Opens the listening socket on all IPv4 addresses. Returns its descriptor, or -1 with an error line. When the address
// cannot be made reusable, the socket is returned as it stands, unbound: it never becomes ready.
int nuvek_InitLocalServer();

// Serves one waiting connection: waits up to 10 s for its first data, stores the location, answers, closes. Chunks that
// hold no message are discarded until one does or the client closes.
void nuvek_localProcess(int listen_fd);

#endif
