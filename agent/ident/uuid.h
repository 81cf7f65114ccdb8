// Owns the device's UUID: a time-based one (RFC 4122, version 1), made once from the MAC address and the clock.
#ifndef NUVEK_AGENT_IDENT_UUID_H
#define NUVEK_AGENT_IDENT_UUID_H

#include "agent/base/records.h"

// Makes the device's UUID from DevMacRaw and keeps it in the record and in the store. Returns the result of the save.
int nuvek_create_uuid(DevInfo* devinfo);

#endif
