// The sockets among the descriptors.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_SOCKET_CALLS_H
#define NUVEK_TESTS_GATEWAY_WORLD_SOCKET_CALLS_H

namespace sockets {

// The descriptor is about to be closed: the end of a connection is recorded, and in lock step a stop.
void end_connection(int fd);

}  // namespace sockets

#endif
