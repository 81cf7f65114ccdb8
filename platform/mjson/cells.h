// Where values live: an allocation each, or cells.cpp for the library that is shipped. Programs that look for misused
// memory have no_cells.cpp.
#ifndef NUVEK_PLATFORM_MJSON_CELLS_H
#define NUVEK_PLATFORM_MJSON_CELLS_H

#include <cstddef>

namespace mjson {

constexpr size_t kCells = 64;
constexpr size_t kCellBytes = 48;

// Memory for one value; NULL when memory is out. By any thread.
void* take_memory(size_t size);
void give_memory(void* memory);

}  // namespace mjson

#endif
