#include "platform/mjson/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace mjson {

// What the thread that fills a block makes in it is counted apart, and taken into account when the block is full: so
// only giving values back, which another thread may do, needs an atomic count.
struct alignas(json_value) Block {
  std::atomic<uint32_t> values;  // kFilling and the values made, less those given back
  uint32_t made;
  size_t used;  // bytes, with this head
};

namespace {

constexpr uint32_t kFilling = 1U << 31;  // more than the values of a block

// A size that the C library hands out from what it keeps for each thread.
#ifdef MJSON_VALUES_APART
constexpr size_t kBlockBytes = 0;
#else
constexpr size_t kBlockBytes = 1024;
#endif

// A thread that ends while values in it live leaves it behind.
thread_local Block* t_filling = nullptr;

// Returns how many of `values` more than these are left.
uint32_t left_without(Block* block, uint32_t values) {
  return block->values.fetch_sub(values, std::memory_order_acq_rel) - values;
}

void end_filling() {
  Block* const block = t_filling;
  t_filling = nullptr;
  if (block != nullptr && left_without(block, kFilling - block->made) == 0) free(block);
}

bool begin_filling(size_t size) {
  void* const memory = malloc(std::max(kBlockBytes, sizeof(Block) + size));
  if (memory == nullptr) return false;
  end_filling();
  t_filling = new (memory) Block{{kFilling}, 0, sizeof(Block)};
  return true;
}

}  // namespace

json_value* take_place(size_t size) {
  size = (size + alignof(json_value) - 1) / alignof(json_value) * alignof(json_value);
  const bool has_room = t_filling != nullptr && t_filling->used + size <= kBlockBytes;
  if (!has_room && !begin_filling(size)) return nullptr;
  auto* const value = reinterpret_cast<json_value*>(reinterpret_cast<char*>(t_filling) + t_filling->used);
  value->distance = static_cast<uint16_t>(t_filling->used);
  t_filling->used += size;
  t_filling->made++;
  if (t_filling->used >= kBlockBytes) end_filling();
  return value;
}

void Leaving::add(json_value* value) {
  auto* const block = reinterpret_cast<Block*>(reinterpret_cast<char*>(value) - value->distance);
  if (block != block_) leave();
  block_ = block;
  values_++;
}

void Leaving::leave() {
  if (block_ == nullptr) return;
  const uint32_t left = left_without(block_, values_);
  values_ = 0;
  if (block_ == t_filling) {
    if (left == kFilling - block_->made) end_filling();
  } else if (left == 0) {
    free(block_);
  }
}

}  // namespace mjson
