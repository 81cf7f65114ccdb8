// The configuration store in memory, for a test in the agent's own process. Names are "NODE ATTR".
#ifndef NUVEK_TESTS_GATEWAY_WORLD_STORE_H
#define NUVEK_TESTS_GATEWAY_WORLD_STORE_H

#include <string>

namespace store_in_memory {

void clear();
void put(const std::string& name, const std::string& value);
const std::string* find(const std::string& name);  // null when it is not there

}  // namespace store_in_memory

#endif
