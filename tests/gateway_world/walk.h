// Owns the walk over the agent's calls: the n-th call of the groups that a test chose fails, with an error that such a
// call can give; or that one and every later one, as when the store, the disk or the network is dead; or the agent is
// killed ahead of it.
#ifndef NUVEK_TESTS_GATEWAY_WORLD_WALK_H
#define NUVEK_TESTS_GATEWAY_WORLD_WALK_H

#include <cstdint>
#include <initializer_list>

namespace walk {

// Bits of the word walk_groups.
enum Group : uint32_t { kStoreReads = 1, kStoreWrites = 2, kFiles = 4, kNetwork = 8, kPrograms = 16, kWaits = 32 };

// Counts the call. Returns the error that it fails with, or 0; negative errors are the resolver's. The record names
// the first that fails. EINTR, which no signal makes for ever, is then another.
int fails(Group group, const char* name, std::initializer_list<int> errors);

// The same for a call that tells its error in errno. Returns whether it fails.
bool fails_with_errno(Group group, const char* name, std::initializer_list<int> errors);

}  // namespace walk

#endif
