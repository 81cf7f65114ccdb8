#include "tests/fuzz/dialogue_script.h"

#include <algorithm>
#include <cstdlib>

namespace fuzz {
namespace {

bool has_number(char verb) { return std::string_view("schv").find(verb) != std::string_view::npos; }

std::string unescaped(std::string_view text) {
  constexpr std::string_view kLetters = "rn0";
  constexpr char kBytes[] = {'\r', '\n', '\0'};
  std::string bytes;
  for (size_t k = 0; k < text.size(); ++k) {
    const size_t letter = k + 1 < text.size() && text[k] == '^' ? kLetters.find(text[k + 1]) : kLetters.npos;
    if (letter != kLetters.npos) ++k;
    bytes += letter != kLetters.npos ? kBytes[letter] : text[k];
  }
  return bytes;
}

}  // namespace

std::optional<Step> Script::next() {
  if (rest_.empty() || steps_++ == kMostSteps) return std::nullopt;
  const std::string_view line = rest_.substr(0, rest_.find('\n'));
  rest_.remove_prefix(std::min(line.size() + 1, rest_.size()));
  const char verb = line.empty() ? ' ' : line[0];
  std::string text(line.substr(std::min<size_t>(2, line.size())));
  uint32_t number = 0;
  if (has_number(verb)) {
    char* end = nullptr;
    number = static_cast<uint32_t>(strtoll(text.c_str(), &end, 10));
    text.erase(0, static_cast<size_t>(end - text.c_str()) + (*end == ' ' ? 1 : 0));
  }
  return Step{verb, number, unescaped(text)};
}

}  // namespace fuzz
