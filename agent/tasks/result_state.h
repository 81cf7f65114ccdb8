// Owns what a ResultResponse leaves behind: its code, the back-off delay, the select timeout, the retry timer, and the
// table that ties a sent message identifier to its object path. Both threads use it.
#ifndef NUVEK_AGENT_TASKS_RESULT_STATE_H
#define NUVEK_AGENT_TASKS_RESULT_STATE_H

#include <sys/time.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

extern std::atomic<int32_t> g_selectTimeoutSec;  // wait of one main-loop turn, seconds
extern std::atomic<int32_t> g_RPCResultRes;      // code of the last ResultResponse; not 0 holds the task steps
extern std::atomic<int32_t> g_delaySessionTime;  // back-off of the next task report, seconds
extern std::atomic<int32_t> g_resultRetryCount;  // back-offs asked for in this run, never reset
extern std::atomic<int32_t> g_resultTimerId;     // timer of the last back-off, 0 before the first

struct ObjPathEntry {
  const char* path;
  std::atomic<int32_t> id;  // last message identifier sent for the path, 0 before the first
};

constexpr size_t kObjPathCount = 7;
constexpr size_t kObjPathSize = 64;                         // holds any path of the table
extern ObjPathEntry nuvek_ObjPathTable[kObjPathCount + 1];  // ended by an entry without a path

// Stores `id` in the first entry whose path begins `object_path`. Returns 0, or -1 when there is none.
int nuvek_set_ObjPathId(const char* object_path, int32_t id);

// Copies the path of the last entry that holds `id`; leaves `out` (kObjPathSize bytes) as it is when there is none. An
// entry that was never sent holds 0, so 0 finds one.
void nuvek_get_ObjPath(int32_t id, char* out);

// Fills in the wait of one main-loop turn.
void nuvek_get_selectTimeout(timeval* timeout);
void nuvek_set_selectTimeout(int32_t seconds);

// Sets the back-off: 5 s for 0, else 10 * 2^(n - 1) s, with n taken as 10 when it is more.
void nuvek_set_delaySessionTime(int32_t n);
int32_t nuvek_get_delaySessionTime();
int32_t nuvek_get_defaultDelay();

void nuvek_set_RPCResultRes(int32_t code);
int32_t nuvek_get_RPCResultRes();

#endif
