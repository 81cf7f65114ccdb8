// Owns the answer to the platform's "Get": the data packages and the GetResponse that carries one.
#ifndef NUVEK_AGENT_RPC_GET_H
#define NUVEK_AGENT_RPC_GET_H

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

// Builds the package that the record's ObjectPath names, with code 0, or an empty one with code -1 for any other path,
// and sends it on the connection as it is. Returns the result of nuvek_sendPostRequest.
int nuvek_RPCGet_process(ServerArg* unused, DevInfo* devinfo, const RecvData* record);

#endif
