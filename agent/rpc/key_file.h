// Owns the key file, which the gateway's other software reads.
#ifndef NUVEK_AGENT_RPC_KEY_FILE_H
#define NUVEK_AGENT_RPC_KEY_FILE_H

#include "agent/base/records.h"
#include "agent/rpc/recv_data.h"

// Writes the key file: the location blocks in use, the UUID and the registration identifier.
void nuvek_save_keys(const DevInfo* devinfo, const RecvData* record);

#endif
