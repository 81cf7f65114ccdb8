// What can be done to an answer.
#ifndef NUVEK_DESK_FAULT_H
#define NUVEK_DESK_FAULT_H

#include <array>
#include <cstddef>

namespace desk {

enum class Fault {
  kNone,
  kNotFound,
  kServerError,
  kClose,
  kReset,
  kSilence,
  kGarbage,
  kTwoPieces,
  kWrongLength,
  kOversize
};

// Under the names that scenarios and the console use.
constexpr std::array<const char*, 10> kFaultNames = {
    "", "not_found", "server_error", "close", "reset", "silence", "garbage", "two_pieces", "wrong_length", "oversize"};

constexpr const char* name_of(Fault fault) { return kFaultNames[static_cast<size_t>(fault)]; }

}  // namespace desk

#endif
