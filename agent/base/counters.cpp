#include "agent/base/counters.h"

#include "agent/base/lock.h"
#include "agent/base/log.h"
#include "agent/base/store.h"
#include "agent/base/store_names.h"
#include "agent/base/text.h"

CntNum g_CntNum;
std::atomic<int32_t> g_cntSaveCount;

namespace {

constexpr int32_t kChangesPerSave = 20;

Mutex g_counter_lock;  // the value in the store is the value that was counted last, whichever thread counted it

void count(const CounterRow& counter) REQUIRES(g_counter_lock) {
  // Written as a signed number: the platform reads the upper half of the range as negative.
  store::write_number(node::kCounter, counter.name, static_cast<int32_t>(++(g_CntNum.*counter.value)));
  if (++g_cntSaveCount == kChangesPerSave) {
    store::save();
    g_cntSaveCount = 0;
  }
}

}  // namespace

void nuvek_init_Counter() {
  for (const CounterRow& counter : kCounters) {
    char value[32] = "";
    store::read(node::kCounter, counter.name, value);
    if (value[0] != '\0') g_CntNum.*counter.value = text::to_uint32(value);
  }
  for (const CounterRow& counter : kCounters) {
    NUVEK_DEBUG("g_CntNum.%s:%d", counter.log_name, static_cast<int32_t>((g_CntNum.*counter.value).load()));
  }
}

int nuvek_save_Counter(int32_t number) {
  if (number < 1 || number > kCounterCount) return 0;
  const Lock lock(g_counter_lock);
  count(counter_row(number));
  return 0;
}
