// Owns the result of the trace-route test: the table of hops made of the helper program's output, and the message.
#ifndef NUVEK_AGENT_TASKS_TRACE_ROUTE_H
#define NUVEK_AGENT_TASKS_TRACE_ROUTE_H

#include <cstddef>

#include "agent/base/records.h"
#include "platform/mjson.h"

constexpr char kTraceOutput[] = "/tmp/tracenuvek";  // the helper program's output
constexpr size_t kTracePathSize = 2048;

// Builds and sends the TraceRoute result, and marks the test as reported whether or not it could be sent.
void nuvek_trace_test_Report(DevInfo* devinfo, ServerArg* server);

// Looks up the target's address, parses the output and adds {"NUVEK":{"TraceRouteResult":{...}}} to `params`.
void nuvek_trace_result(json_value* params);

// Writes the rows of the hops, joined by commas, into `out` (kTracePathSize bytes), cut to what fits. Leaves `out` as
// it is when the output cannot be opened, which it says on standard output.
void nuvek_trace_parse(char* out);

#endif
