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

struct CounterRow {
  Counter number;
  const char* name;      // in the store and in messages
  const char* log_name;  // field tools search the log for the mixed spelling of the last three
  std::atomic<uint32_t> CntNum::*value;
};
constexpr int32_t kCounterCount = 6;
constexpr CounterRow kCounters[kCounterCount] = {
    {kSuccessTask, "SuccessTask", "SuccessTask", &CntNum::SuccessTask},
    {kFailTask, "FailTask", "FailTask", &CntNum::FailTask},
    {kFailInform, "FailInform", "FailInform", &CntNum::FailInform},
    {kSuccessInform, "SuccessInform", "successInform", &CntNum::SuccessInform},
    {kFailResult, "FailResult", "failResult", &CntNum::FailResult},
    {kSuccessResult, "SuccessResult", "successResult", &CntNum::SuccessResult},
};
constexpr const CounterRow& counter_row(int32_t number) { return kCounters[number - 1]; }
constexpr bool rows_are_in_order() {
  for (int32_t number = 1; number <= kCounterCount; ++number) {
    if (counter_row(number).number != number) return false;
  }
  return true;
}
static_assert(rows_are_in_order(), "a counter's row stands at its number");

extern CntNum g_CntNum;
extern std::atomic<int32_t> g_cntSaveCount;  // counter changes since the store was last saved for them

// Loads the counters from the store and logs them.
void nuvek_init_Counter();

// Adds one to counter `number` (1 to 6) and writes it to the store; every 20th change saves the store, so that flash is
// not written at every event. Any other number does nothing. Returns 0.
int nuvek_save_Counter(int32_t number);

#endif
