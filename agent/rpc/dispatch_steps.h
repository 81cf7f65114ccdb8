// The table of the platform's messages and its handlers, for tests.
#ifndef NUVEK_AGENT_RPC_DISPATCH_STEPS_H
#define NUVEK_AGENT_RPC_DISPATCH_STEPS_H

#include "agent/rpc/dispatch.h"

using RpcHandler = int (*)(ServerArg* server, DevInfo* devinfo, const RecvData* record);

struct RpcEntry {
  const char* method;
  RpcHandler handler;
};
extern const RpcEntry nuvek_RPCTable[];  // ended by an entry without a method

// The answer to a registration: keeps the registration identifier in the record, the store and the key file, and, for
// code 0, notes the reported location block as acknowledged. An answer without an identifier is ignored.
int nuvek_RPCInform0Res_process(ServerArg* server, DevInfo* devinfo, const RecvData* record);

// The answer to a measurement result: ends the test it belongs to, keeps and counts the code, and backs off where the
// code asks for it.
int nuvek_RPCResultRes_process(ServerArg* server, DevInfo* devinfo, const RecvData* record);

#endif
