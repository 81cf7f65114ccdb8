// Owns what the two result messages have in common: their envelope, and tables that go out as arrays.
#ifndef NUVEK_AGENT_TASKS_RESULT_MESSAGE_H
#define NUVEK_AGENT_TASKS_RESULT_MESSAGE_H

#include <cstdint>

#include "agent/json/json_build.h"
#include "agent/link/http_request.h"

// Takes a new message identifier and notes it against the object path, so that the platform's answer finds the test.
int32_t take_result_id(const char* object_path);

// The "Params" of a result: {"NUVEK":{<name>:<result>}}.
json::Value result_params(const char* name, json::Value&& result);

// The whole message. It is made last: a name look-up takes more memory than the message, and the two together would
// keep pages of heap for ever.
json::Value result_message(int32_t id, const char* object_path, json::Value&& params);

// Prints the message as a body, has its table turned into an array, and sends it.
void send_result(const ReportLink& link, const json::Value& message, const char* uuid, void (*open_table)(char* body))
    REQUIRES(g_link_lock);

// Each turns a table that was printed into a body as a string into an array. A body that was cut ahead of the table, or
// was never made, stays as it is.
//
// The speed table: the two quotes that follow its name become brackets.
void open_speed_table(char* body);

// The path table: its opening quote and the quote ahead of the member "Error" become brackets. The rows stand in the
// string unescaped, quotes and all.
void open_path_table(char* body);

#endif
