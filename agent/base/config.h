// Owns what the agent loads from the configuration store at start-up and what it mirrors back into it.
#ifndef NUVEK_AGENT_BASE_CONFIG_H
#define NUVEK_AGENT_BASE_CONFIG_H

#include <cstdint>

#include "agent/base/records.h"

// Location blocks by number, as nuvekReport keeps them.
constexpr int32_t kBlockA = 0;
constexpr int32_t kBlockB = 1;

// Loads both platform domains, each the built-in one where the store has none, and selects the primary. The caller
// holds the platform link, or no other thread uses it yet.
void nuvek_load_server();

// Fills a zeroed record from the store, logs it, and mirrors the identity back into the store.
void nuvek_load_devinfo(DevInfo* devinfo);

// Sets the reported flags of nuvekReport from the store.
void nuvek_load_reportFlags();

// Writes the identity to node "nuvek_DevInfo" and saves the store.
void nuvek_save_devinfo(const DevInfo* devinfo);

// Fills block A from node "nuvek_Entry0"; an absent attribute gives an empty text.
void nuvek_load_gisA(DevInfo* devinfo);

// Fills the blocks for a report and sets reportInfo.GISInterface: mode 1 = block A, "A"; 2 = block B, "B"; 3 = both,
// "A"; any other mode only empties GISInterface.
void nuvek_load_gisInfo(DevInfo* devinfo, int32_t mode);

// Notes that the platform has acknowledged a location block (0 = A, 1 = B), in memory and in the store, and triggers
// both measurement tasks.
void nuvek_set_alreadyReport(int32_t block);

// Logs the identity, one line for each field.
void nuvek_display_devinfo(const DevInfo* devinfo);

#endif
