// The objects of the console's interface, as docs/console.md shows them.
#ifndef NUVEK_DESK_API_JSON_H
#define NUVEK_DESK_API_JSON_H

#include "gateway_book.h"
#include "journal.h"
#include "json.h"
#include "orders.h"
#include "scenario_keeper.h"

namespace desk {

std::string text_of(const Json& json);

Json gateway_json(const Gateway& gateway);
Json waiting_json(const Gateway& gateway);
Json exchange_json(const Exchange& exchange, bool with_bytes);
Json order_json(const Order& order);
Json answers_json(const Orders& orders);
Json scenario_json(const ScenarioKeeper& keeper, bool with_text);
Json refusal_json(const ScenarioError& error);
Json journal_json(const Journal& journal);

}  // namespace desk

#endif
