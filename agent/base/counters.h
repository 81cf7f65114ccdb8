// Owns the six outcome counters and their place in the store, node "nuvek_Counter".
#ifndef NUVEK_AGENT_BASE_COUNTERS_H
#define NUVEK_AGENT_BASE_COUNTERS_H

#include <atomic>
#include <cstdint>

// Both threads count; the platform reads the counters at any time.
struct CntNum {
  std::atomic<uint32_t> SuccessTask;    // speed test with a result, or finished trace-route run
  std::atomic<uint32_t> FailTask;       // speed test without a result
  std::atomic<uint32_t> FailInform;     // periodic report not sent
  std::atomic<uint32_t> SuccessInform;  // periodic report sent
  std::atomic<uint32_t> FailResult;     // ResultResponse with a non-zero code
  std::atomic<uint32_t> SuccessResult;  // ResultResponse with code 0
};
static_assert(sizeof(CntNum) == 24, "the device's layout");

// Counter numbers, in the order of the fields.
enum Counter : int32_t {
  kSuccessTask = 1,
  kFailTask,
  kFailInform,
  kSuccessInform,
  kFailResult,
  kSuccessResult,
};

extern CntNum g_CntNum;
extern std::atomic<int32_t> g_cntSaveCount;  // counter changes since the store was last saved for them

// Loads the counters from the store and logs them.
void nuvek_init_Counter();

// Adds one to counter `number` (1 to 6) and writes it to the store; every 20th change saves the store, so that flash is
// not written at every event. Any other number does nothing. Returns 0.
int nuvek_save_Counter(int32_t number);

#endif
