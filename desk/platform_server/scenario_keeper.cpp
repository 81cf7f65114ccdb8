#include "scenario_keeper.h"

#include <iostream>

namespace desk {
namespace {

constexpr const char* kFromFile = "file";
constexpr const char* kFromConsole = "console";

}  // namespace

ScenarioKeeper::ScenarioKeeper(const std::string& file) : file_(file) {
  if (file.empty()) {
    take(parse_scenario(kDefaultScenario, "default", false), kDefaultScenario, source_);
    return;
  }
  const std::string text = read_text(file);
  take(parse_scenario(text, file, true), text, kFromFile);
}

void ScenarioKeeper::take(Scenario scenario, const std::string& text, const char* source) {
  current_ = std::move(scenario);
  text_ = text;
  source_ = source;
  since_ = std::chrono::system_clock::now();
  refusal_.reset();
  changed(true);
}

void ScenarioKeeper::replace(const std::string& text) {
  take(parse_scenario(text, "scenario", false), text, kFromConsole);
}

void ScenarioKeeper::reread() {
  if (file_.empty()) return;
  try {
    const std::string text = read_text(file_);
    take(parse_scenario(text, file_, true), text, kFromFile);
  } catch (const ScenarioError& error) {
    std::cerr << "nuvek-platform: " << error.what() << "; the scenario stays as it was" << std::endl;
    refusal_ = Refusal{error, std::chrono::system_clock::now()};
    changed(false);
  }
}

}  // namespace desk
