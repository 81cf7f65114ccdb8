// The packages of a GetResponse, for tests.
#ifndef NUVEK_AGENT_RPC_GET_STEPS_H
#define NUVEK_AGENT_RPC_GET_STEPS_H

#include "agent/base/counters.h"
#include "agent/json/json_build.h"
#include "agent/rpc/get.h"

// Adds {"NUVEK":{"GISInfoA":{...}}} to `result`, "GISInfoB" for the other block.
void nuvek_create_GisInfoPkg(const GisInfo* location, json::Value& result, Block block);

// Adds {"NUVEK":{"Interface":{...}}} with the interface table, the route table and the DNS servers to `result`.
void nuvek_create_InterfacePkg(json::Value& result);

// Adds {"NUVEK":{"Counter":{...}}} to `result`, six numbers, those of 2^31 and above as negative ones.
void nuvek_create_CounterPkg(const CntNum* counters, json::Value& result);

#endif
