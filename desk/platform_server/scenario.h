// What the platform answers: the scenario file and its built-in default. The vocabulary is told by `--help`, by the
// manual page and by the files in scenarios/.
#ifndef NUVEK_DESK_SCENARIO_H
#define NUVEK_DESK_SCENARIO_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include "recording.h"
#include "rule.h"

namespace desk {

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
  std::vector<Rule> rules;
  std::shared_ptr<const Recording> recording;  // null: nothing is replayed
  bool answer_in_spite_of_findings = false;
  int request_ms = 10'000;  // a request that began must be complete by then
  int write_ms = 30'000;    // an answer, or a piece of a download, must be taken by then
  int idle_ms = 300'000;    // a connection that says nothing is closed then

  const Section& section(Kind kind) const { return sections[index_of(kind)]; }
};

// Its text is complete: "FILE:LINE: reason".
struct ScenarioError : std::runtime_error {
  // Line and column from 0, as the YAML library counts; a negative line when the place is not known.
  ScenarioError(const std::string& file, int at_line, int at_column, const std::string& why, const std::string& wanted);
  explicit ScenarioError(const std::string& why) : std::runtime_error(why), reason(why) {}

  int line = 0;    // from 1; 0: not known
  int column = 0;  // from 1
  std::string reason;
  std::string expected;  // empty when there is no more to say
};

// What --scenario's absence means, as the text of a file.
extern const char* const kDefaultScenario;

std::string read_text(const std::string& file);
Scenario read_scenario(const std::string& file);

// `name` stands in the reasons. A recording that the text names is looked for beside the file `name`; without
// `may_replay` the text may name none.
Scenario parse_scenario(const std::string& text, const std::string& name, bool may_replay);

}  // namespace desk

#endif
