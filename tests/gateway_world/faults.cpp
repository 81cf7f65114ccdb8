#include "faults.h"

#include <array>
#include <atomic>
#include <cerrno>

#include "control.h"
#include "world.h"

namespace {

// Not looked up through a call of the loader, which may allocate.
thread_local int t_aside __attribute__((tls_model("initial-exec")));

std::array<std::atomic<uint32_t>, faults::kKinds> g_calls;
std::atomic<uint32_t> g_seed;

// A mixer in which every bit of the input moves every bit of the output.
uint32_t mix(uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return static_cast<uint32_t>(value >> 32);
}

}  // namespace

namespace faults {

Aside::Aside() { ++t_aside; }
Aside::~Aside() { --t_aside; }

bool is_aside() { return t_aside != 0; }

bool strikes(Kind kind, uint32_t* draw) {
  if (!world::is_played() || is_aside()) return false;
  const uint32_t rate = control::read(control::fault_rate);
  if (rate == 0) return false;
  const uint32_t seed = control::read(control::fault_seed);
  if (g_seed.exchange(seed) != seed) {
    for (auto& calls : g_calls) calls = 0;
  }
  const uint64_t number = ++g_calls[kind];
  const uint32_t drawn = mix(uint64_t{seed} << 32 | static_cast<uint64_t>(kind) << 24 | number);
  if ((drawn & 0xFFFF) >= rate) return false;
  if (draw != nullptr) *draw = drawn >> 16;
  control::count(static_cast<control::Word>(int{control::memory_faults} + int{kind}));
  return true;
}

int fail(uint32_t draw) {
  constexpr std::array<int, 5> kErrors = {EINTR, EAGAIN, ECONNRESET, EMFILE, ENOMEM};
  errno = kErrors[draw % kErrors.size()];
  return -1;
}

}  // namespace faults
