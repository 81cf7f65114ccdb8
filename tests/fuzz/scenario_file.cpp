// A scenario file of the desk's platform server. It is read whole or refused with the file's name ahead of the reason.
#include "desk/platform_server/scenario.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/scratch.h"

namespace {

constexpr char kFile[] = "/scenario.yaml";

void check_section(const desk::Section& section) {
  FUZZ_CHECK(!section.codes.empty());
  FUZZ_CHECK(section.delay_ms >= 0);
  for (const auto& contact : section.gets) {
    FUZZ_CHECK(contact.size() <= 8);
    for (const std::string& path : contact) FUZZ_CHECK(!path.empty() && path.size() <= 31);
  }
}

// One deed, and the right one.
void check_rule(const desk::Rule& rule) {
  const desk::Deed& deed = rule.deed;
  const bool fault = deed.fault != desk::Fault::kNone;
  FUZZ_CHECK(int{fault} + int{deed.code.has_value()} + int{!deed.bytes.empty()} == 1);
  FUZZ_CHECK(rule.first >= 1 && rule.last >= 1 && deed.gap_ms >= 0);
  FUZZ_CHECK(deed.bytes.size() <= desk::kMaxLiteral_bytes);
  FUZZ_CHECK(rule.uuid.empty() || desk::is_uuid(rule.uuid));
  FUZZ_CHECK(!deed.code || (rule.to && desk::has_code(*rule.to)));
}

void check_scenario(const desk::Scenario& scenario) {
  for (const desk::Section& section : scenario.sections) check_section(section);
  FUZZ_CHECK(!scenario.reg_id.empty() && scenario.reg_id.find_first_of("\"\\[]") == std::string::npos);
  FUZZ_CHECK(scenario.request_ms >= 1 && scenario.idle_ms >= 1);
  FUZZ_CHECK(scenario.download.bytes >= 1 && scenario.download.duration_s >= 0 && scenario.download.mbit_s >= 0);
  for (const desk::Rule& rule : scenario.rules) check_rule(rule);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const fuzz::Scratch scratch;
  static const std::string file = scratch.path() + kFile;
  scratch.write(kFile, fuzz::bytes_of(data, size));
  try {
    check_scenario(desk::read_scenario(file));
  } catch (const desk::ScenarioError& error) {
    const std::string text = error.what();
    FUZZ_CHECK(text.compare(0, file.size() + 1, file + ":") == 0);
  }
  return 0;
}
