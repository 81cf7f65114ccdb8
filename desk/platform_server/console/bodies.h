// Reads the bodies of requests that change something.
#ifndef NUVEK_DESK_CONSOLE_BODIES_H
#define NUVEK_DESK_CONSOLE_BODIES_H

#include "../orders.h"
#include "http.h"

namespace desk::console {

// The object path that is to be asked for. Throws Refusal, as does the next.
std::string read_get(const std::string& body);

Order read_order(const std::string& body);

}  // namespace desk::console

#endif
