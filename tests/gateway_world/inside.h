// The gateway around code of the agent that runs in one process with its test: the world is linked into the program
// instead of preloaded, and each stop of the lock step is a call of the test's player. The agent's code is called by
// the test, on one thread; what it starts as a thread runs where the test calls it.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_INSIDE_H
#define NUVEK_TESTS_GATEWAY_WORLD_INSIDE_H

#include <functional>
#include <string>

#include "step.h"

namespace inside {

// Is told what step::stop() and step::pass() are, and answers what is to come of it. Two answers more: "accept FD" and
// "connect FD ADDRESS:PORT" take "value N", a connected descriptor, for what the call makes of FD.
using Player = std::function<step::Answer(const std::string& where)>;

// Begins a world with an empty store and all words 0.
void begin(Player player);
void end();

// Runs what the agent began as a thread, to its end: the test goes on where it sleeps.
void run_thread();

// The store, as the gateway's other software changes and reads it; null for an attribute that is not there.
void put(const std::string& node, const std::string& attr, const std::string& value);
const std::string* value_of(const std::string& node, const std::string& attr);

}  // namespace inside

#endif
