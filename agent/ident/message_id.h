// Owns the identifiers of the messages that the agent starts.
#ifndef NUVEK_AGENT_IDENT_MESSAGE_ID_H
#define NUVEK_AGENT_IDENT_MESSAGE_ID_H

#include <cstdint>

// Returns an 8-digit number with eight different digits, the first not 0 (10234567 to 98765432). Seeds rand() with the
// current second, so two calls within a second return the same number.
int32_t nuvek_generateId();

#endif
