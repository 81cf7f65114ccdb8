// The steps of loading the configuration, for tests.
#ifndef NUVEK_AGENT_BASE_CONFIG_STEPS_H
#define NUVEK_AGENT_BASE_CONFIG_STEPS_H

#include "agent/base/config.h"

// Logs the identity, one line for each field.
void nuvek_display_devinfo(const DevInfo* devinfo);

// Writes the identity to node "nuvek_DevInfo" and saves the store.
void nuvek_save_devinfo(const DevInfo* devinfo);

// Fills block A from node "nuvek_Entry0"; an absent attribute gives an empty text.
void nuvek_load_gisA(DevInfo* devinfo);

#endif
