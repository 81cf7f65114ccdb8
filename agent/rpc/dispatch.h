// Owns the table of the platform's messages and what the agent does on the platform's answers.
#ifndef NUVEK_AGENT_RPC_DISPATCH_H
#define NUVEK_AGENT_RPC_DISPATCH_H

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

// Hands a record to the handler of its method; an unknown method is ignored. Returns 0.
int nuvek_handle_message(DevInfo* devinfo, ServerArg* server, const RecvData* record);

#endif
