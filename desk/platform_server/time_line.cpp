#include "time_line.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iostream>
#include <sstream>

namespace desk {
namespace {

constexpr size_t kShortUuid = 8;
constexpr size_t kWhatWidth = 44;

std::string local_now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  const std::time_t seconds = ms / 1000;
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[32];
  const size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(ms % 1000));
  return text;
}

// A path comes from outside: no control character reaches the terminal.
std::string printable(std::string text) {
  for (char& c : text) {
    if (c < ' ' || c > '~') c = '?';
  }
  return text;
}

std::string what_came(const Exchange& exchange) {
  std::string what = name_of(exchange.kind);
  if (exchange.id) what += " " + std::to_string(*exchange.id);
  const bool tells_more = exchange.kind == Kind::kGetResponse || exchange.kind == Kind::kSpeedTest;
  if (tells_more) what += " " + printable(exchange.path);
  if (exchange.kind == Kind::kGetResponse && exchange.code) what += " Code " + std::to_string(*exchange.code);
  what.resize(std::max(what.size(), kWhatWidth), ' ');
  return what;
}

}  // namespace

void TimeLine::tell(const Exchange& exchange) {
  std::string who = exchange.uuid.empty() ? "-" : exchange.uuid.substr(0, kShortUuid);
  who.resize(kShortUuid, ' ');
  std::ostringstream line;
  line << local_now() << "  " << who << "  " << what_came(exchange) << " -> " << exchange.outcome;
  for (const std::string& finding : exchange.findings) line << "  FINDING: " << finding;
  std::cout << line.str() << std::endl;

  if (!exchange.request.empty()) ++requests_[index_of(exchange.kind)];
  findings_ += exchange.findings.size();
}

void TimeLine::summary(size_t gateways) const {
  std::cout << "\nSummary: gateways " << gateways;
  for (size_t i = 0; i < requests_.size(); ++i) std::cout << ", " << kKindNames[i] << " " << requests_[i];
  std::cout << "; findings " << findings_ << std::endl;
}

}  // namespace desk
