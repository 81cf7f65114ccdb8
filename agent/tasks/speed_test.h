// Owns the result of the site speed test: the helper program's files, and the message made of them.
#ifndef NUVEK_AGENT_TASKS_SPEED_TEST_H
#define NUVEK_AGENT_TASKS_SPEED_TEST_H

#include <cstddef>

#include "agent/base/records.h"
#include "platform/mjson.h"

// Builds and sends the SiteSpeed result, and marks the test as reported whether or not it could be sent.
void nuvek_speed_test_Report(DevInfo* devinfo, ServerArg* server);

// Reads the result files, adds {"NUVEK":{"SiteSpeedResult":{...}}} to `params`, and counts the task.
void nuvek_speed_result(json_value* params);

// Reads at most size - 1 bytes of a file (an absolute path, under the site's root) into `buf` and terminates them.
// Returns their number; 0 and an empty text when the file cannot be opened.
int nuvek_read_file(const char* path, char* buf, size_t size);

#endif
