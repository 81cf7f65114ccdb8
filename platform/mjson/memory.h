// Memory for values. A message is some dozens of small values that come and go together: they lie side by side in
// blocks, and a block is given back with the last value in it.
#ifndef NUVEK_PLATFORM_MJSON_MEMORY_H
#define NUVEK_PLATFORM_MJSON_MEMORY_H

#include <cstddef>
#include <cstdint>

#include "platform/mjson/tree.h"

namespace mjson {

struct Block;

// A place of `size` bytes that begins with a value, of which only the way back to the block is set; NULL when memory is
// out.
json_value* take_place(size_t size);

// Gives places back, those of one block together.
class Leaving {
 public:
  Leaving() = default;
  ~Leaving() { leave(); }
  Leaving(const Leaving&) = delete;
  Leaving& operator=(const Leaving&) = delete;
  void add(json_value* value);

 private:
  void leave();
  Block* block_ = nullptr;
  uint32_t values_ = 0;
};

}  // namespace mjson

#endif
