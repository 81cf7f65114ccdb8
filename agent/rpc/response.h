// Owns the receiving side of the platform link: one received block is cut into HTTP responses, each response into its
// RPC objects, and each object's envelope goes to the dispatcher. The connection is closed after every handled
// response.
#ifndef NUVEK_AGENT_RPC_RESPONSE_H
#define NUVEK_AGENT_RPC_RESPONSE_H

#include "agent/base/records.h"
#include "agent/link/connection.h"

// Receives one block and handles it. Returns the result of nuvek_parse_RecvData, or -1 when the server closed the
// connection.
int nuvek_serverProcess(const Connection& connection, DevInfo* devinfo, ServerArg* server);

#endif
