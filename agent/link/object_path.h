// Owns the table that ties the identifier of a sent message to its object path. Both threads use it.
#ifndef NUVEK_AGENT_LINK_OBJECT_PATH_H
#define NUVEK_AGENT_LINK_OBJECT_PATH_H

#include <atomic>
#include <cstddef>
#include <cstdint>

struct ObjPathEntry {
  const char* path;
  std::atomic<int32_t> id;  // last message identifier sent for the path, 0 before the first
};

constexpr size_t kObjPathCount = 7;
constexpr size_t kObjPathSize = 64;                         // holds any path of the table
extern ObjPathEntry nuvek_ObjPathTable[kObjPathCount + 1];  // ended by an entry without a path

// Stores `id` in the first entry whose path begins `object_path`. Returns 0, or -1 when there is none.
int nuvek_set_ObjPathId(const char* object_path, int32_t id);

// Copies the path of the last entry that holds `id`; leaves `out` (kObjPathSize bytes) as it is when there is none. An
// entry that was never sent holds 0, so 0 finds one.
void nuvek_get_ObjPath(int32_t id, char* out);

#endif
