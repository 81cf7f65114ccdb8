// The values of a message live in cells that fill the library's one page of data up. What is too long for a cell, or
// finds all of them taken, is an allocation of its own.
#include "platform/mjson/cells.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace mjson {
namespace {

struct alignas(std::max_align_t) Cell {
  char bytes[kCellBytes];
};
constexpr size_t kWordBits = 32;

Cell g_cells[kCells];
std::atomic<uint32_t> g_taken[kCells / kWordBits];  // a bit for each cell

}  // namespace

void* take_memory(size_t size) {
  if (size > sizeof(Cell)) return malloc(size);
  Cell* cells = g_cells;
  for (std::atomic<uint32_t>& word : g_taken) {
    uint32_t taken = word.load(std::memory_order_relaxed);
    while (taken != UINT32_MAX) {
      const uint32_t lowest_free = ~taken & (taken + 1);
      if (word.compare_exchange_weak(taken, taken | lowest_free, std::memory_order_acquire,
                                     std::memory_order_relaxed)) {
        return cells + __builtin_ctz(lowest_free);
      }
    }
    cells += kWordBits;
  }
  return malloc(size);
}

void give_memory(void* memory) {
  const size_t cell = (reinterpret_cast<uintptr_t>(memory) - reinterpret_cast<uintptr_t>(g_cells)) / sizeof(Cell);
  if (cell >= kCells) return free(memory);
  g_taken[cell / kWordBits].fetch_and(~(1U << cell % kWordBits), std::memory_order_release);
}

}  // namespace mjson
