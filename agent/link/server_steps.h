// The steps of choosing the server, for tests.
#ifndef NUVEK_AGENT_LINK_SERVER_STEPS_H
#define NUVEK_AGENT_LINK_SERVER_STEPS_H

#include <cstdint>

#include "agent/link/server.h"

// Writes the address text of g_platdomain (kAddressSize bytes): an empty text when the look-up fails, nothing when
// g_platdomain is empty.
void nuvek_get_platServer(char* out) REQUIRES(g_link_lock);

// Returns 1 for a dotted IPv4 address of 7 to 15 characters whose first four parts are numbers below 256, else 0. Parts
// beyond the fourth are not looked at.
int nuvek_is_ipaddr(const char* text);

// Reads a whole text as an unsigned number in `base`; white space may lead. Returns 0 with the number in *value, or -1
// with 0 in it. *end, when wanted, is where the reading stopped.
int nuvek_strtoul_strict(const char* text, char** end, int base, uint32_t* value);

// Selects entry number % count of g_platdomainList as g_platdomain.
void nuvek_swap_platServer(int number, int count) REQUIRES(g_link_lock);

#endif
