// The gateway around the built agent: one library, preloaded, that stands in for the calls by which the agent meets the
// world. The environment says which world it is; docs/reliability.md tells how a test is written.
//
//   NUVEK_WORLD=step   lock step: each wait of the agent is a stop, which ends when the test says so, by the channels
//                      that NUVEK_WORLD_CHANNELS names (descriptors, one for each thread). The clock stands still.
//   NUVEK_WORLD=free   threads run and waits are real; the clock stands still until the test moves it
//   NUVEK_WORLD=year   the clock jumps whenever the main loop has nothing to do (script/soak)
//   NUVEK_WORLD=fast   the clock, and with it every wait, runs NUVEK_WORLD_SPEED times as fast as this machine's, from
//                      this machine's time on, but not while a program runs that the agent started; all else is real.
//                      It needs nothing more than these two and LD_PRELOAD. NUVEK_WORLD_HELD: fast.h.
//
//   NUVEK_WORLD_FOLDER  of step, free and year: where "control" lies and notes are taken
//   NUVEK_WORLD_STORE=memory   the store is the file "store.1" of that folder; without it, it is the gateway's own
//                              library
//
// Programs that the agent starts do not get the library, and the agent ends with the process that started it.
//
// The fuzz targets have the same code in one process with the agent's (inside.h).
#ifndef NUVEK_TESTS_GATEWAY_WORLD_WORLD_H
#define NUVEK_TESTS_GATEWAY_WORLD_WORLD_H

namespace world {

enum class Kind { none, step, free, year, fast };

// None until the library is ready: the loader and the C library call ahead of that.
Kind kind();
inline bool is(Kind wanted) { return kind() == wanted; }

// Whether a test plays the gateway around: calls are recorded, and may be made to fail.
inline bool is_played() { return is(Kind::step) || is(Kind::free); }

bool has_store_in_memory();

void begin(Kind kind, bool store_in_memory);

// The function of the same name behind this library: a sanitizer's, which looks at the call first, where one is linked
// into the same program.
void* behind(const char* name);
template <typename Function>
Function* behind(Function*, const char* name) {
  return reinterpret_cast<Function*>(behind(name));
}

}  // namespace world

#endif
