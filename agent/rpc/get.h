// Owns the answer to the platform's "Get": the data packages and the GetResponse that carries one.
#ifndef NUVEK_AGENT_RPC_GET_H
#define NUVEK_AGENT_RPC_GET_H

#include "agent/base/counters.h"
#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"
#include "platform/mjson.h"

// Builds the package that the record's ObjectPath names, with code 0, or an empty one with code -1 for any other path,
// and sends it on the connection as it is. Returns the result of nuvek_sendPostRequest.
int nuvek_RPCGet_process(ServerArg* unused, DevInfo* devinfo, const RecvData* record);

// Adds {"NUVEK":{"GISInfoA":{...}}} to `result`, "GISInfoB" for an interface text that begins with 'B'; with any other
// text the inner object is missing.
void nuvek_create_GisInfoPkg(const GisInfo* location, json_value* result, const char* interface_text);

// Adds {"NUVEK":{"Interface":{...}}} with the interface table, the route table and the DNS servers to `result`.
void nuvek_create_InterfacePkg(json_value* result);

// Adds {"NUVEK":{"Counter":{...}}} to `result`, six numbers, those of 2^31 and above as negative ones.
void nuvek_create_CounterPkg(const CntNum* counters, json_value* result);

#endif
