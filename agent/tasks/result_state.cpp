#include "agent/tasks/result_state.h"

#include <cstring>

#include "agent/base/log.h"
#include "agent/base/text.h"

std::atomic<int32_t> g_selectTimeoutSec{1};
std::atomic<int32_t> g_RPCResultRes;
std::atomic<int32_t> g_delaySessionTime;
std::atomic<int32_t> g_resultRetryCount;
std::atomic<int32_t> g_resultTimerId;

ObjPathEntry nuvek_ObjPathTable[kObjPathCount + 1] = {
    {"NUVEK.DeviceInfo", {0}}, {"NUVEK.GISInfoA", {0}},  {"NUVEK.GISInfoB", {0}},   {"NUVEK.Interface", {0}},
    {"NUVEK.Counter", {0}},    {"NUVEK.SiteSpeed", {0}}, {"NUVEK.TraceRoute", {0}}, {nullptr, {0}},
};

namespace {

constexpr int32_t kDefaultDelay_s = 5;
constexpr int32_t kFirstBackOff_s = 10;
constexpr int32_t kLongestBackOffStep = 10;

}  // namespace

int nuvek_set_ObjPathId(const char* object_path, int32_t id) {
  for (ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) {
    if (strncmp(object_path, entry->path, strlen(entry->path)) != 0) continue;
    entry->id = id;
    return 0;
  }
  return -1;
}

void nuvek_get_ObjPath(int32_t id, char* out) {
  for (const ObjPathEntry* entry = nuvek_ObjPathTable; entry->path != nullptr; ++entry) {
    if (entry->id == id) text::copy(out, kObjPathSize, entry->path);
  }
}

void nuvek_get_selectTimeout(timeval* timeout) {
  timeout->tv_sec = g_selectTimeoutSec;
  timeout->tv_usec = 0;
}

void nuvek_set_selectTimeout(int32_t seconds) { g_selectTimeoutSec = seconds; }

void nuvek_set_delaySessionTime(int32_t n) {
  if (n <= 0) {  // nobody asks for less than 0
    g_delaySessionTime = kDefaultDelay_s;
    return;
  }
  const int32_t step = n < kLongestBackOffStep ? n : kLongestBackOffStep;
  g_delaySessionTime = kFirstBackOff_s << (step - 1);
  NUVEK_DEBUG("n :%d, delay session time:%d", step, nuvek_get_delaySessionTime());
}

int32_t nuvek_get_delaySessionTime() { return g_delaySessionTime; }

int32_t nuvek_get_defaultDelay() { return kDefaultDelay_s; }

void nuvek_set_RPCResultRes(int32_t code) { g_RPCResultRes = code; }

int32_t nuvek_get_RPCResultRes() { return g_RPCResultRes; }
