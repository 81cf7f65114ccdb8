#include "agent/base/counters.h"

#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/text.h"

CntNum g_CntNum;
std::atomic<int32_t> g_cntSaveCount;

namespace {

constexpr char kNode[] = "nuvek_Counter";
constexpr int32_t kChangesPerSave = 20;

struct CounterRow {
  const char* attr;
  const char* log_name;  // field tools search the log for the mixed spelling of the last three
  std::atomic<uint32_t>& value;
};

constexpr int32_t kCounterCount = 6;
const CounterRow kCounters[kCounterCount] = {
    {"SuccessTask", "SuccessTask", g_CntNum.SuccessTask}, {"FailTask", "FailTask", g_CntNum.FailTask},
    {"FailInform", "FailInform", g_CntNum.FailInform},    {"SuccessInform", "successInform", g_CntNum.SuccessInform},
    {"FailResult", "failResult", g_CntNum.FailResult},    {"SuccessResult", "successResult", g_CntNum.SuccessResult},
};

Mutex g_counter_lock;  // the value in the store is the value that was counted last, whichever thread counted it

}  // namespace

void nuvek_init_Counter() {
  for (const CounterRow& counter : kCounters) {
    char value[32] = "";
    store::read(kNode, counter.attr, value);
    if (value[0] != '\0') counter.value = text::to_uint32(value);
  }
  for (const CounterRow& counter : kCounters) {
    NUVEK_DEBUG("g_CntNum.%s:%d", counter.log_name, static_cast<int32_t>(counter.value.load()));
  }
}

int nuvek_save_Counter(int32_t number) {
  if (number < 1 || number > kCounterCount) return 0;
  const CounterRow& counter = kCounters[number - 1];
  const Lock lock(g_counter_lock);
  // Written as a signed number: the platform reads the upper half of the range as negative.
  store::write_number(kNode, counter.attr, static_cast<int32_t>(++counter.value));
  if (++g_cntSaveCount == kChangesPerSave) {
    store::save();
    g_cntSaveCount = 0;
  }
  return 0;
}
