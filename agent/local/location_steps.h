// The steps of storing a location, for tests.
#ifndef NUVEK_AGENT_LOCAL_LOCATION_STEPS_H
#define NUVEK_AGENT_LOCAL_LOCATION_STEPS_H

#include "agent/local/location.h"

// Reads a decimal number: an optional minus (no plus), digits, a fraction, an exponent. Reading stops at the first
// character that does not fit; a text without digits gives 0.
float nuvek_strToFloat(const char* text);

// Logs a location, one line for each field.
void display_Coordinate(const GisInfo* record);

#endif
