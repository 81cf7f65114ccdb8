// Owns what the agent loads from the configuration store at start-up and what it mirrors back into it.
#ifndef NUVEK_AGENT_BASE_CONFIG_H
#define NUVEK_AGENT_BASE_CONFIG_H

#include <cstdint>

#include "agent/base/records.h"

// Loads both platform domains, each the built-in one where the store has none, and selects the primary.
void nuvek_load_server() REQUIRES(g_link_lock);

// Fills a zeroed record from the store, logs it, and mirrors the identity back into the store.
void nuvek_load_devinfo(DevInfo* devinfo);

// Sets the reported flags of nuvekReport from the store.
void nuvek_load_reportFlags();

// Fills the blocks of a set (block_bit) for a report, an absent attribute giving an empty text, and makes the first of
// them the reported one in reportInfo.GISInterface; any other `mode` than 1 to 3 only empties GISInterface.
void nuvek_load_gisInfo(DevInfo* devinfo, int32_t mode);

#endif
