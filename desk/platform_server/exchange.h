// One exchange with a gateway: what came, what was found in it and what was answered. Filled on its way from the
// request check through the conversation to the time line and the journal.
#ifndef NUVEK_DESK_EXCHANGE_H
#define NUVEK_DESK_EXCHANGE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fault.h"

namespace desk {

// Kinds of request, under the names that scenarios, time line and journal use. kBad is what could not be recognised.
enum class Kind { kInform0, kReport, kSiteSpeed, kTraceRoute, kGetResponse, kSpeedTest, kBad };
constexpr std::array<const char*, 7> kKindNames = {"Inform0",     "Report",    "SiteSpeed", "TraceRoute",
                                                   "GetResponse", "SpeedTest", "Bad"};

constexpr size_t index_of(Kind kind) { return static_cast<size_t>(kind); }
constexpr const char* name_of(Kind kind) { return kKindNames[index_of(kind)]; }

struct Exchange {
  int64_t number = 0;                          // in the order in which they are told, from 1
  std::chrono::system_clock::time_point time;  // when it was told
  int64_t took_ms = 0;                         // from the whole request to the answer
  Kind kind = Kind::kBad;
  std::string peer;
  std::string uuid;             // empty unless the request carries one of the right shape
  std::optional<int> id;        // "ID" of the message
  std::optional<int> code;      // "Code": the one received in a GetResponse, the one answered otherwise
  std::string path;             // "ObjectPath" of the message, or the path of a download
  std::string request;          // the bytes that came
  std::string answer;           // the bytes that were answered; of a download the head
  std::string reg_id;           // registration identifier in the answer
  std::string outcome;          // the answer in words
  const char* by = "scenario";  // who chose the answer: or "console", or "replay"
  Fault fault = Fault::kNone;   // what was done to it
  std::vector<std::string> findings;
};

}  // namespace desk

#endif
