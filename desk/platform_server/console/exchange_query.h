// Finds exchanges for GET /api/exchanges.
#ifndef NUVEK_DESK_CONSOLE_EXCHANGE_QUERY_H
#define NUVEK_DESK_CONSOLE_EXCHANGE_QUERY_H

#include "../exchange_ring.h"
#include "http.h"

namespace desk::console {

// Throws Refusal for a wrong query.
Json found_exchanges(const ExchangeRing& ring, const std::map<std::string, std::string>& query);

}  // namespace desk::console

#endif
