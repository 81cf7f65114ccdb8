// The steps of handling a received block, for tests. Responses and objects are read where they stand in the block:
// while one is read, the bytes behind it are changed, and they are as they were afterwards.
#ifndef NUVEK_AGENT_RPC_RESPONSE_STEPS_H
#define NUVEK_AGENT_RPC_RESPONSE_STEPS_H

#include <cstddef>

#include "agent/rpc/recv_data.h"
#include "agent/rpc/response.h"

constexpr size_t kReceiveSize = 2048;   // most bytes of one receive
constexpr size_t kLongestBlock = 1024;  // characters of a block that is still processed
constexpr size_t kBlockRoom = 2;        // bytes that a block's buffer has behind its longest text

// Handles every "HTTP/1.1 200 OK" response of a block and closes the connection after each. Returns 0; -1 for a block
// that is empty or longer than kLongestBlock, which leaves the connection open, and for one with a 404.
int nuvek_parse_RecvData(char* block, DevInfo* devinfo, ServerArg* server);

// Handles one response. Returns 0 after dispatching, for another status and for an empty body; -1, with the connection
// closed, when the framing is wrong.
int nuvek_parse_RecvDataSingle(char* response, DevInfo* devinfo, ServerArg* server);

// Fills a cleared record from one object's text. Returns 1, or 0 for a null text.
int nuvek_JsonTOstring(const char* json, RecvData* record);

#endif
