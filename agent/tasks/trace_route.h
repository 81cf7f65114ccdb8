// Owns the trace-route test: its start and its end, the table of hops made of the helper program's output, and the
// message.
#ifndef NUVEK_AGENT_TASKS_TRACE_ROUTE_H
#define NUVEK_AGENT_TASKS_TRACE_ROUTE_H

#include <cstddef>

#include "agent/base/records.h"
#include "agent/json/json_build.h"

constexpr char kTracePath[] = "NUVEK.TraceRoute";
constexpr char kTraceOutput[] = "/tmp/tracenuvek";  // the helper program's output
constexpr size_t kTraceRowsSize = 2048;

namespace trace_route {

void start(const DevInfo& devinfo);
bool is_over();

// Counts a test that has ended and, unless the platform's last result code holds it back, sends its result.
void report(DevInfo* devinfo, ServerArg* server);

}  // namespace trace_route

// Builds and sends the TraceRoute result, and marks the test as reported whether or not it could be sent.
void nuvek_trace_test_Report(DevInfo* devinfo, ServerArg* server);

// Looks up the target's address, parses the output and returns the message's "Params":
// {"NUVEK":{"TraceRouteResult":{...}}}.
json::Value nuvek_trace_result();

// Writes the rows of the hops, joined by commas, into `out` (kTraceRowsSize bytes), cut to what fits. Leaves `out` as
// it is when the output cannot be opened, which it says on standard output.
void nuvek_trace_parse(char* out);

#endif
