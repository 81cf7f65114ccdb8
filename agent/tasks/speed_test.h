// Owns the site speed test: its start, the helper program's files, and the message made of them.
#ifndef NUVEK_AGENT_TASKS_SPEED_TEST_H
#define NUVEK_AGENT_TASKS_SPEED_TEST_H

#include <atomic>
#include <cstdint>

#include "agent/base/records.h"
#include "agent/json/json_build.h"

constexpr char kSpeedPath[] = "NUVEK.SiteSpeed";

// Uptime in s at which the running speed test started, 0 when none runs.
extern std::atomic<int32_t> g_speedStartUptime;

namespace speed_test {

void start(const DevInfo& devinfo);
bool is_over();

}  // namespace speed_test

// Returns 1, once, when the running speed test has had its time; else 0.
int nuvek_speed_over();

// Builds and sends the SiteSpeed result, and marks the test as reported whether or not it could be sent.
void nuvek_speed_test_Report(DevInfo* devinfo, ServerArg* server);

// Reads the result files, counts the task, and returns the message's "Params": {"NUVEK":{"SiteSpeedResult":{...}}}.
json::Value nuvek_speed_result();

#endif
