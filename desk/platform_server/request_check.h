// Checks a request as a strict platform does: head and body byte for byte, names, order and types of all members.
#ifndef NUVEK_DESK_REQUEST_CHECK_H
#define NUVEK_DESK_REQUEST_CHECK_H

#include "exchange.h"

namespace desk {

// Reads `exchange.request`, a complete HTTP request, and fills kind, uuid, id, path, code and findings. `own_address`
// is the address that the gateway connected to, which is what its Host line must name.
void check_request(Exchange& exchange, const std::string& own_address);

}  // namespace desk

#endif
