// The scenario that is played now: where it came from, and how it becomes another one.
#ifndef NUVEK_DESK_SCENARIO_KEEPER_H
#define NUVEK_DESK_SCENARIO_KEEPER_H

#include <chrono>
#include <functional>

#include "scenario.h"

namespace desk {

class ScenarioKeeper {
 public:
  using Time = std::chrono::system_clock::time_point;
  struct Refusal {
    ScenarioError why;
    Time time;
  };

  // Is called after another one is there (`another`), or one was refused on reading the file again.
  std::function<void(bool another)> changed = [](bool) {};

  // Reads the file; its name may be empty: the built-in scenario. Throws ScenarioError.
  explicit ScenarioKeeper(const std::string& file);

  const Scenario& current() const { return current_; }
  const std::string& text() const { return text_; }
  const std::string& file() const { return file_; }
  const char* source() const { return source_; }
  Time since() const { return since_; }
  const std::optional<Refusal>& refusal() const { return refusal_; }

  // Takes another text, from the console. Throws ScenarioError and leaves all as it was.
  void replace(const std::string& text);
  // Reads the file again. What is wrong with it is told on standard error, and all stays as it was.
  void reread();

 private:
  void take(Scenario scenario, const std::string& text, const char* source);

  const std::string file_;
  Scenario current_;
  std::string text_;
  const char* source_ = "default";
  Time since_;
  std::optional<Refusal> refusal_;
};

}  // namespace desk

#endif
