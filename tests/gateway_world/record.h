// Owns the record: every call of the agent that changes, asks or meets the gateway, one line each, in their order.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_RECORD_H
#define NUVEK_TESTS_GATEWAY_WORLD_RECORD_H

#include <string>

// Appends one line; a single write, so that a reader never meets half of it for long and a kill loses nothing.
void record(const std::string& line);

// The same with numbers, for the calls on sockets: "accept 4 7 40212".
void record_call(const char* format, ...) __attribute__((format(printf, 1, 2)));

// What the agent says on the gateway's console.
void record_console(const std::string& text);

#endif
