// The answer of the location port, for tests.
#ifndef NUVEK_AGENT_LOCAL_LOCAL_SERVER_STEPS_H
#define NUVEK_AGENT_LOCAL_LOCAL_SERVER_STEPS_H

#include "agent/local/local_server.h"

// Sends {"Result":result,"ID":<the request's "ID">} on the connection. Returns the result of json_free_value.
int nuvek_local_response(const char* request, int fd, int result);

#endif
