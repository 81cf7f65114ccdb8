// What the platform answers: the scenario file and its built-in default. The vocabulary is told by `--help` and by the
// files in scenarios/.
#ifndef NUVEK_DESK_SCENARIO_H
#define NUVEK_DESK_SCENARIO_H

#include <climits>
#include <cstdint>
#include <stdexcept>

#include "exchange.h"
#include "fault.h"

namespace desk {

// Plays a fault on the first to the last request of one kind (of any kind when none is named), counted per gateway.
struct FaultRule {
  std::optional<Kind> to;
  Fault fault = Fault::kNone;
  int first = 1;
  int last = INT_MAX;
  int gap_ms = 100;  // between the two pieces of kTwoPieces
};

// Answers to one kind of message. Codes and Gets are used in their order, one step an answer; the last step stays.
struct Section {
  std::vector<int> codes = {0};
  std::vector<std::vector<std::string>> gets;
  int delay_ms = 0;
};

constexpr uint64_t kMaxDownload_bytes = 100'000'000'000;

// Body of a speed-test download: so many bytes, or as many as go out in `duration_s`.
struct DownloadSettings {
  uint64_t bytes = 8'000'000;
  int duration_s = 0;  // 0: `bytes` count
  int mbit_s = 1000;   // more than a home line has, but not all that a processor can do
};

struct Scenario {
  std::array<Section, kKindNames.size()> sections;
  std::string reg_id = "NUVEK-{n}";
  DownloadSettings download;
  std::vector<FaultRule> faults;
  bool answer_in_spite_of_findings = false;
  int request_ms = 10'000;  // a request that began must be complete by then
  int write_ms = 30'000;    // an answer, or a piece of a download, must be taken by then
  int idle_ms = 300'000;    // a connection that says nothing is closed then

  const Section& section(Kind kind) const { return sections[index_of(kind)]; }
};

// Its text is complete: "FILE:LINE: reason".
struct ScenarioError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

Scenario default_scenario();
Scenario read_scenario(const std::string& file);

}  // namespace desk

#endif
