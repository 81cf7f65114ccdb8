// Owns the receiving side of the platform link: one received block is cut into HTTP responses, each response into its
// RPC objects, and each object's envelope goes to the dispatcher. The connection is closed after every handled
// response.
#ifndef NUVEK_AGENT_RPC_RESPONSE_H
#define NUVEK_AGENT_RPC_RESPONSE_H

#include <cstddef>

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

constexpr size_t kReceiveSize = 2048;   // most bytes of one receive
constexpr size_t kLongestBlock = 1024;  // characters of a block that is still processed

// Receives one block and handles it. Returns the result of nuvek_parse_RecvData, or -1 when the server closed the
// connection.
int nuvek_serverProcess(int fd, DevInfo* devinfo, ServerArg* server);

// Handles every "HTTP/1.1 200 OK" response of a block and closes the connection after each. Returns 0; -1 for a block
// that is empty or longer than kLongestBlock, which leaves the connection open, and for one with a 404.
int nuvek_parse_RecvData(const char* block, DevInfo* devinfo, ServerArg* server);

// Handles one response. Returns 0 after dispatching, for another status and for an empty body; -1, with the connection
// closed, when the framing is wrong.
int nuvek_parse_RecvDataSingle(const char* response, DevInfo* devinfo, ServerArg* server);

// Fills a cleared record from one object's text. Returns 1, or 0 for a null text.
int nuvek_JsonTOstring(const char* json, RecvData* record);

#endif
