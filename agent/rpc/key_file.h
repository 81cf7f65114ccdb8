// Owns the key file, which the gateway's other software reads. It is written beside and put in its place whole: an
// acknowledged gateway does not register again, so a file that was lost half-way would be lost for good.
#ifndef NUVEK_AGENT_RPC_KEY_FILE_H
#define NUVEK_AGENT_RPC_KEY_FILE_H

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

// Writes the key file: the location blocks in use, the UUID and the registration identifier. When a step fails, the log
// says so and the old file stays.
void nuvek_save_keys(const DevInfo* devinfo, const RecvData* record);

#endif
