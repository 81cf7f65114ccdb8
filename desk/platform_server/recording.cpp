#include "recording.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "json.h"
#include "rule.h"
#include "text.h"

namespace desk {
namespace {

constexpr size_t kMaxRecording_bytes = 64 * 1024 * 1024;

// Faults whose bytes do not tell them, by the outcome's beginning.
constexpr std::pair<const char*, Fault> kOutcomes[] = {{"closed without an answer", Fault::kClose},
                                                       {"reset", Fault::kReset},
                                                       {"no answer", Fault::kSilence},
                                                       {"in two pieces: ", Fault::kTwoPieces}};

Fault fault_of(const std::string& outcome) {
  const auto* found = std::find_if(std::begin(kOutcomes), std::end(kOutcomes),
                                   [&outcome](const auto& row) { return outcome.rfind(row.first, 0) == 0; });
  return found == std::end(kOutcomes) ? Fault::kNone : found->second;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

std::string RecordedAnswer::bytes_for(const Exchange& exchange) const {
  std::string text = bytes;
  // Old and new ones are of the same length, so the head's Content-Length stays right.
  replace_all(text, uuid, exchange.uuid);
  if (id && exchange.id) {
    replace_all(text, "\"ID\":" + std::to_string(*id) + ",", "\"ID\":" + std::to_string(*exchange.id) + ",");
  }
  return text;
}

Recording::Recording(const std::string& file) {
  std::error_code error;
  const auto size = std::filesystem::file_size(file, error);
  if (error) throw std::runtime_error(file + ": cannot be read: " + error.message());
  if (!std::filesystem::is_regular_file(file, error)) throw std::runtime_error(file + ": is no file");
  if (size > kMaxRecording_bytes) throw std::runtime_error(file + ": longer than 64 MB");
  std::ifstream in(file);
  std::string line;
  for (size_t number = 1; std::getline(in, line); ++number) {
    try {
      take(line);
    } catch (const std::exception&) {
      throw std::runtime_error(file + ":" + std::to_string(number) + ": no line of a journal");
    }
  }
  if (!in.is_open() || in.bad()) throw std::runtime_error(file + ": cannot be read");
  if (first_.empty()) throw std::runtime_error(file + ": holds no exchange of a gateway");
}

void Recording::take(const std::string& line) {
  const Json row = Json::parse(line);
  const auto kind = kind_named(row.at("kind").get<std::string>());
  const auto answer = bytes_of_text(row.at("answer").get<std::string>());
  if (!kind || !answer) throw std::invalid_argument("kind or answer");
  RecordedAnswer recorded;
  recorded.uuid = row.at("uuid").get<std::string>();
  if (row.at("id").is_number_integer()) recorded.id = row.at("id").get<int>();
  recorded.fault = fault_of(row.at("outcome").get<std::string>());
  recorded.bytes = *answer;
  // Without a request nothing was answered, and without a UUID nobody can be answered so again.
  if (recorded.uuid.empty() || row.at("request").get<std::string>().empty() || *kind == Kind::kBad) return;
  if (first_.empty()) first_ = recorded.uuid;
  gateways_[recorded.uuid][index_of(*kind)].push_back(std::move(recorded));
}

const RecordedAnswer* Recording::answer(const std::string& uuid, Kind kind, size_t nth) const {
  const auto found = gateways_.find(uuid);
  const auto& answers = (found == gateways_.end() ? gateways_.at(first_) : found->second)[index_of(kind)];
  return nth < answers.size() ? &answers[nth] : nullptr;
}

}  // namespace desk
