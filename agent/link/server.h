// Owns the choice of the platform's server: the two domains, the look-up, and the second attempt.
#ifndef NUVEK_AGENT_LINK_SERVER_H
#define NUVEK_AGENT_LINK_SERVER_H

#include <cstddef>

#include "agent/base/records.h"

constexpr size_t kAddressSize = 32;  // holds a dotted IPv4 address

// Connects to the primary platform domain as the store has it now, or else, once, to the secondary, and leaves the
// connection open. Returns 0, or -1 without a connection when both failed. Blocks for the name look-ups and up to 1 s
// for each connect.
int nuvek_Link_Remoteserver() REQUIRES(g_link_lock);

// Looks up the first IPv4 address of a domain. Returns 1 with the dotted address in `out` (at least 16 bytes), or 0; a
// failed look-up is reported on the standard error stream.
int nuvek_getaddrinfo(const char* domain, char* out);

#endif
