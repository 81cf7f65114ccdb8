#include "platform/mjson/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace mjson {

// What the thread that fills a block makes in it is counted apart, and taken into account when the block is full: so
// only giving values back, which another thread may do, needs an atomic count.
struct alignas(json_value) Block {
  std::atomic<uint32_t> values;  // kFilling and the values made, less those given back
  uint32_t made;
  size_t size;  // bytes, with this head
  size_t used;
};

namespace {

constexpr uint32_t kFilling = 1U << 31;  // more than the values of a block

#ifdef MJSON_VALUES_APART
constexpr size_t kBlockBytes = 0;
constexpr size_t kFirstBytes = 1;  // too few for a value
#else
constexpr size_t kBlockBytes = 2032;
constexpr size_t kFirstBytes = 3072;  // of values
#endif

// The first block stands in the page that the library's import table takes anyway: some fifty values.
alignas(Block) char g_first[sizeof(Block) + kFirstBytes];
std::atomic<bool> g_first_is_taken;

Block* first_block() { return reinterpret_cast<Block*>(g_first); }

// A thread that ends while values in it live leaves it behind.
thread_local Block* t_filling = nullptr;

// Returns how many of `values` more than these are left.
uint32_t left_without(Block* block, uint32_t values) {
  return block->values.fetch_sub(values, std::memory_order_acq_rel) - values;
}

void give_back(Block* block) {
  if (block == first_block()) {
    g_first_is_taken.store(false, std::memory_order_release);
  } else {
    free(block);
  }
}

void end_filling() {
  Block* const block = t_filling;
  t_filling = nullptr;
  if (block != nullptr && left_without(block, kFilling - block->made) == 0) give_back(block);
}

Block* new_block(size_t value_size) {
  if (value_size <= kFirstBytes && !g_first_is_taken.exchange(true, std::memory_order_acquire)) {
    first_block()->size = sizeof g_first;
    return first_block();
  }
  const size_t size = std::max(kBlockBytes, sizeof(Block) + value_size);
  auto* const block = static_cast<Block*>(malloc(size));
  if (block != nullptr) block->size = size;
  return block;
}

// Returns the block from now on; NULL when memory is out.
Block* begin_filling(size_t value_size) {
  Block* const block = new_block(value_size);
  if (block == nullptr) return nullptr;
  end_filling();
  block->values.store(kFilling, std::memory_order_relaxed);
  block->made = 0;
  block->used = sizeof *block;
  t_filling = block;
  return block;
}

}  // namespace

json_value* take_place(size_t size) {
  size = (size + alignof(json_value) - 1) / alignof(json_value) * alignof(json_value);
  Block* block = t_filling;
  if (block == nullptr || block->used + size > block->size) block = begin_filling(size);
  if (block == nullptr) return nullptr;
  auto* const value = reinterpret_cast<json_value*>(reinterpret_cast<char*>(block) + block->used);
  value->distance = static_cast<uint16_t>(block->used);
  block->used += size;
  block->made++;
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
    give_back(block_);
  }
}

}  // namespace mjson
