// Owns what the two result messages have in common: their envelope and their way to the platform.
#ifndef NUVEK_TASKS_RESULT_MESSAGE_H
#define NUVEK_TASKS_RESULT_MESSAGE_H

#include <cstdint>

#include "link/http_request.h"
#include "link/json_build.h"

// Takes a new message identifier and notes it against the object path, so that the platform's answer finds the test.
int32_t take_result_id(const char* object_path);

// Adds "RPCMethod" to "Params" to the message, which owns `params` from then on.
void add_result_envelope(const json::Message& message, int32_t id, const char* object_path, json_value* params);

#endif
