// The tool "tcapi" but for its start: a fuzz target calls it too.
#ifndef NUVEK_PLATFORM_TCAPI_TOOL_H
#define NUVEK_PLATFORM_TCAPI_TOOL_H

#include <vector>

namespace tcapi_store {

// Does what the words behind the program's name ask for. Returns the exit status.
int run_tool(const std::vector<const char*>& arguments);

}  // namespace tcapi_store

#endif
