// Owns the table of the platform's messages and what the agent does on the platform's answers.
#ifndef NUVEK_AGENT_RPC_DISPATCH_H
#define NUVEK_AGENT_RPC_DISPATCH_H

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

using RpcHandler = int (*)(ServerArg* server, DevInfo* devinfo, const RecvData* record);

struct RpcEntry {
  const char* method;
  RpcHandler handler;
};
extern const RpcEntry nuvek_RPCTable[];  // ended by an entry without a method

// Hands a record to the handler of its method; an unknown method is ignored. Returns 0.
int nuvek_handle_message(DevInfo* devinfo, ServerArg* server, const RecvData* record);

// The answer to a registration: keeps the registration identifier in the record, the store and the key file, and, for
// code 0, notes the reported location block as acknowledged. An answer without an identifier is ignored.
int nuvek_RPCInform0Res_process(ServerArg* server, DevInfo* devinfo, const RecvData* record);

// The answer to a measurement result: ends the test it belongs to, keeps and counts the code, and for -3 and -2 to a
// speed test arms the delayed task report.
int nuvek_RPCResultRes_process(ServerArg* server, DevInfo* devinfo, const RecvData* record);

namespace dispatch {

// Adds the timer of a delayed report that could not be added when it was asked for: without it the platform, which
// hears of no result any more, would never lift its back-off, and no measurement would run again.
void add_missing_timer();

}  // namespace dispatch

// Writes the key file that the gateway's other software reads: the location blocks in use, the UUID and the
// registration identifier.
void nuvek_save_keys(const DevInfo* devinfo, const RecvData* record);

#endif
