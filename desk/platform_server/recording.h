// The answers of an earlier journal, to be given again in their order.
#ifndef NUVEK_DESK_RECORDING_H
#define NUVEK_DESK_RECORDING_H

#include <array>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "exchange.h"
#include "fault.h"

namespace desk {

struct RecordedAnswer {
  std::string uuid;
  std::optional<int> id;
  Fault fault = Fault::kNone;  // how it was sent, where the bytes do not tell: closed, reset, none, in two pieces
  std::string bytes;

  // The bytes as the answer to another request: its identifiers in place of the recorded ones.
  std::string bytes_for(const Exchange& exchange) const;
};

class Recording {
 public:
  // Throws std::runtime_error when the file cannot be read or is no journal.
  explicit Recording(const std::string& file);

  // The answer to a gateway's n-th request of a kind (from 0); null when no more was recorded. A gateway that the
  // journal does not know gets what the journal's first gateway got.
  const RecordedAnswer* answer(const std::string& uuid, Kind kind, size_t nth) const;

 private:
  using Answers = std::array<std::vector<RecordedAnswer>, kKindNames.size()>;

  void take(const std::string& line);

  std::map<std::string, Answers> gateways_;
  std::string first_;
};

}  // namespace desk

#endif
