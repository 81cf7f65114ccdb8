// Owns the record: every call of the agent that changes or asks the gateway, one line each, in the order of their
// effect.
#ifndef NUVEK_TESTS_DIALOGUE_RECORDER_RECORD_H
#define NUVEK_TESTS_DIALOGUE_RECORDER_RECORD_H

#include <string>

// Appends one line; a single write, so that a reader never meets half of it for long and a kill loses nothing.
void record(const std::string& line);

#endif
