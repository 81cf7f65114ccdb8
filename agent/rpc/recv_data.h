// The envelope of one RPC object received from the platform.
#ifndef NUVEK_AGENT_RPC_RECV_DATA_H
#define NUVEK_AGENT_RPC_RECV_DATA_H

#include <cstddef>
#include <cstdint>

// All texts are NUL-terminated, cut to their field, and empty when the object has no such member.
struct RecvData {
  char unused[64];  // stays empty: the platform's own software keeps a session name here
  char RegID[128];
  char RPCMethod[32];
  char ObjectPath[32];
  int32_t ID;
  int32_t Code;
};
static_assert(sizeof(RecvData) == 264 && offsetof(RecvData, ID) == 256, "the device's layout");

#endif
