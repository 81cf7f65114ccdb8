// glibc's rand(), random() and srand() where the C library has others: the dialogues know the identifiers that the
// agent draws, number by number.
#include <cstdint>
#include <cstdlib>

namespace {

constexpr int kDegree = 31;
constexpr int kSeparation = 3;
constexpr int kDiscarded = 10 * kDegree;

uint32_t g_state[kDegree];
int g_next;  // of the oldest number
bool g_seeded;

uint32_t advance() {
  uint32_t& oldest = g_state[g_next];
  oldest += g_state[(g_next + kDegree - kSeparation) % kDegree];
  g_next = (g_next + 1) % kDegree;
  return oldest >> 1;
}

void seed(unsigned number) {
  int64_t word = number == 0 ? 1 : static_cast<int32_t>(number);
  for (uint32_t& place : g_state) {
    place = static_cast<uint32_t>(word);
    word = 16807 * word % INT32_MAX;
    if (word < 0) word += INT32_MAX;
  }
  g_next = kSeparation;
  g_seeded = true;
  for (int i = 0; i < kDiscarded; ++i) advance();
}

}  // namespace

extern "C" {

void srand(unsigned number) noexcept { seed(number); }

long random() noexcept {
  if (!g_seeded) seed(1);
  return static_cast<long>(advance());
}

int rand() noexcept { return static_cast<int>(random()); }
}
