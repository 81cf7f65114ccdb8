// Owns the storing of a posted location as location block A, and the conversion of its coordinates.
#ifndef NUVEK_AGENT_LOCAL_LOCATION_H
#define NUVEK_AGENT_LOCAL_LOCATION_H

#include "agent/base/records.h"

constexpr int kLocationStored = 0;
constexpr int kLocationUnread = -1;  // no memory to read the message; nothing was written, and no client is told so
constexpr int kLocationLocked = -3;  // a location is stored already; nothing was written

// Stores the location that a client posted, unless one is stored already. `record` is the working record: a member that
// is absent leaves its field as it is. `scratch` is not used. Returns one of the above.
int nuvek_save_node(const char* request, char* scratch, GisInfo* record);

#endif
