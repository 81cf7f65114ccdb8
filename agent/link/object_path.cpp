#include "agent/link/object_path.h"

#include <cstring>

#include "agent/base/text.h"

ObjPathEntry nuvek_ObjPathTable[kObjPathCount + 1] = {
    {"NUVEK.DeviceInfo", {0}}, {"NUVEK.GISInfoA", {0}},  {"NUVEK.GISInfoB", {0}},   {"NUVEK.Interface", {0}},
    {"NUVEK.Counter", {0}},    {"NUVEK.SiteSpeed", {0}}, {"NUVEK.TraceRoute", {0}}, {nullptr, {0}},
};

int nuvek_set_ObjPathId(const char* object_path, int32_t id) {
  for (ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) {
    if (strncmp(object_path, entry->path, strlen(entry->path)) != 0) continue;
    entry->id = id;
    return 0;
  }
  return -1;
}

void nuvek_get_ObjPath(int32_t id, char* out) {
  for (const ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) {
    if (entry->id == id) text::copy(out, kObjPathSize, entry->path);
  }
}
