// Owns the one TCP connection to the platform: choosing the server, connecting, closing, and who may use it when.
#ifndef NUVEK_AGENT_LINK_SERVER_H
#define NUVEK_AGENT_LINK_SERVER_H

#include <cstddef>
#include <cstdint>

constexpr size_t kAddressSize = 32;  // holds a dotted IPv4 address

// Holds the platform link against the other thread for a scope: nobody else connects, sends or closes meanwhile. Not to
// be held while a timer is added or removed or a message is dispatched (docs/architecture.md, "Locks").
class LinkHold {
 public:
  LinkHold();
  ~LinkHold();
  LinkHold(const LinkHold&) = delete;
  LinkHold& operator=(const LinkHold&) = delete;
};

// Connects to the primary platform domain as the store has it now, or else, once, to the secondary, and leaves the
// connection in g_server_Arg. Returns 0, or -1 with g_server_Arg.fd -1 when both failed. Blocks for the name look-ups
// and up to 1 s for each connect. The caller holds the link.
int nuvek_Link_Remoteserver();

// Closes the connection, if there is one. Takes the link.
void nuvek_closeServer();

// Writes the address text of g_platdomain (kAddressSize bytes): an empty text when the look-up fails, nothing when
// g_platdomain is empty.
void nuvek_get_platServer(char* out);

// Looks up the first IPv4 address of a domain. Returns 1 with the dotted address in `out` (at least 16 bytes), or 0; a
// failed look-up is reported on the standard error stream.
int nuvek_getaddrinfo(const char* domain, char* out);

// Returns 1 for a dotted IPv4 address of 7 to 15 characters whose first four parts are numbers below 256, else 0. Parts
// beyond the fourth are not looked at.
int nuvek_is_ipaddr(const char* text);

// Reads a whole text as an unsigned number in `base`; white space may lead. Returns 0 with the number in *value, or -1
// with 0 in it. *end, when wanted, is where the reading stopped.
int nuvek_strtoul_strict(const char* text, char** end, int base, uint32_t* value);

// Selects entry number % count of g_platdomainList as g_platdomain.
void nuvek_swap_platServer(int number, int count);

// Returns a new TCP/IPv4 socket, or -1.
int nuvek_creatSocket();

// Connects *fd to an IPv4 address text on the platform's port within 1 s. Returns 0; or -1, and *fd is closed and its
// number left as it was. A text that is no address stands for 0.0.0.0.
int nuvek_connect_Server(const int* fd, const char* address);

#endif
