// Owns the log: two switches, two forms. With nuvekDebug on, the console shows only where the program passed; with
// nuvekDebugPrintf on, standard output shows the whole line.
#ifndef NUVEK_AGENT_BASE_LOG_H
#define NUVEK_AGENT_BASE_LOG_H

#include <cstdint>

// Counts of the options "-d" and "-v"; set before any other thread runs.
extern int32_t nuvekDebug;
extern int32_t nuvekDebugPrintf;

namespace logging {

// One log line in the name of `operation`; nothing when both switches are off.
void debug(const char* operation, int line, const char* format, ...) __attribute__((format(printf, 3, 4)));
void error(const char* operation, int line, const char* format, ...) __attribute__((format(printf, 3, 4)));

}  // namespace logging

#define NUVEK_DEBUG(...) logging::debug(__func__, __LINE__, __VA_ARGS__)
#define NUVEK_ERROR(...) logging::error(__func__, __LINE__, __VA_ARGS__)

// For a helper that works in the name of the operation which called it.
#define NUVEK_DEBUG_AS(operation, ...) logging::debug(operation, __LINE__, __VA_ARGS__)
#define NUVEK_ERROR_AS(operation, ...) logging::error(operation, __LINE__, __VA_ARGS__)

#endif
