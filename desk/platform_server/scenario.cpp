#include "scenario.h"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

namespace desk {
namespace {

// The gateway takes an answer of at most 1,024 bytes. With these two limits the longest one, an Inform0Response with
// its Gets, has some 970.
constexpr size_t kMaxGetsPerAnswer = 8;
constexpr size_t kMaxRegIdLength = 95;

constexpr size_t kMaxPathLength = 31;   // the gateway's field holds no more
constexpr size_t kUuidLength = 36;      // what {uuid} becomes
constexpr size_t kMaxNumberLength = 7;  // what {n} becomes at most
constexpr int kMaxWait_ms = 3'600'000;

const std::map<std::string, Fault> kFaults = [] {
  std::map<std::string, Fault> faults;
  for (size_t i = 1; i < kFaultNames.size(); ++i) faults[kFaultNames[i]] = static_cast<Fault>(i);
  return faults;
}();

const std::map<std::string, Kind> kKinds = [] {
  std::map<std::string, Kind> kinds;
  for (size_t i = 0; i < kKindNames.size(); ++i) kinds[kKindNames[i]] = static_cast<Kind>(i);
  return kinds;
}();

template <typename Map>
std::string names_in(const Map& map) {
  std::string names;
  for (const auto& row : map) names += (names.empty() ? "" : ", ") + row.first;
  return names;
}

// Counts the documents of a text, two at most: the library's own reading of all of them finds no end behind a stray
// comma.
class DocumentCounter : public YAML::EventHandler {
 public:
  static int count(const std::string& text) {
    std::istringstream stream(text);
    YAML::Parser parser(stream);
    DocumentCounter counter;
    while (counter.documents_ < 2 && parser.HandleNextDocument(counter)) {
    }
    return counter.documents_;
  }

 private:
  using Mark = YAML::Mark;
  using Anchor = YAML::anchor_t;
  using Style = YAML::EmitterStyle::value;
  void OnDocumentStart(const Mark&) override { ++documents_; }
  void OnDocumentEnd() override {}
  void OnNull(const Mark&, Anchor) override {}
  void OnAlias(const Mark&, Anchor) override {}
  void OnScalar(const Mark&, const std::string&, Anchor, const std::string&) override {}
  void OnSequenceStart(const Mark&, const std::string&, Anchor, Style) override {}
  void OnSequenceEnd() override {}
  void OnMapStart(const Mark&, const std::string&, Anchor, Style) override {}
  void OnMapEnd() override {}

  int documents_ = 0;
};

class Reader {
 public:
  explicit Reader(const std::string& file) : file_(file) {}
  Scenario read();

 private:
  using Node = YAML::Node;
  using Handlers = std::map<std::string, std::function<void(const Node&)>>;

  [[noreturn]] void refuse(int line, const std::string& reason) const {
    throw ScenarioError(file_ + ":" + std::to_string(line + 1) + ": " + reason);
  }
  [[noreturn]] void refuse(const Node& at, const std::string& reason) const { refuse(at.Mark().line, reason); }

  std::string load() const;
  void map(const Node& node, const std::string& what, const Handlers& handlers) const;
  std::string text(const Node& node, const std::string& what) const;
  int64_t number(const Node& node, int64_t low, int64_t high) const;
  template <typename Value>
  Value choice(const Node& node, const std::string& what, const std::map<std::string, Value>& values) const;
  const Node& list(const Node& node, const std::string& what) const;

  Handlers::mapped_type set_number(int& target, int64_t low, int64_t high) const {
    return [this, &target, low, high](const Node& node) { target = static_cast<int>(number(node, low, high)); };
  }
  void section(const Node& node, Kind kind);
  void gets(const Node& node, Section& section) const;
  void reg_id(const Node& node);
  void fault(const Node& node);

  std::string file_;
  Scenario scenario_;
};

std::string Reader::load() const {
  std::ifstream in(file_);
  std::string all;
  char block[4096];
  while (in.read(block, sizeof block), in.gcount() > 0) all.append(block, static_cast<size_t>(in.gcount()));
  // A folder can be opened, but not read.
  if (!in.is_open() || in.bad()) throw ScenarioError(file_ + ": cannot be read: " + std::strerror(errno));
  return all;
}

void Reader::map(const Node& node, const std::string& what, const Handlers& handlers) const {
  if (!node.IsMap()) refuse(node, what + " must be a map of: " + names_in(handlers));
  std::set<std::string> seen;
  for (const auto& row : node) {
    const std::string key = row.first.IsScalar() ? row.first.Scalar() : "";
    const auto found = handlers.find(key);
    if (found == handlers.end()) {
      refuse(row.first, "unknown key \"" + key + "\" in " + what + "; known: " + names_in(handlers));
    }
    if (!seen.insert(key).second) refuse(row.first, "key \"" + key + "\" stands twice in " + what);
    if (row.second.IsNull()) refuse(row.first, "key \"" + key + "\" has no value");
    found->second(row.second);
  }
}

std::string Reader::text(const Node& node, const std::string& what) const {
  if (!node.IsScalar() || node.Scalar().empty()) refuse(node, what + " must be a text");
  return node.Scalar();
}

int64_t Reader::number(const Node& node, int64_t low, int64_t high) const {
  constexpr const char* kQuotedTag = "!";  // "5" in quotes is a text
  const std::string digits = node.IsScalar() && node.Tag() != kQuotedTag ? node.Scalar() : "";
  const char* const end = digits.data() + digits.size();
  int64_t value = 0;
  const auto result = std::from_chars(digits.data(), end, value);
  if (digits.empty() || result.ptr != end || result.ec != std::errc() || value < low || value > high) {
    refuse(node, "expected a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  }
  return value;
}

template <typename Value>
Value Reader::choice(const Node& node, const std::string& what, const std::map<std::string, Value>& values) const {
  const auto found = values.find(text(node, what));
  if (found == values.end()) {
    refuse(node, "unknown " + what + " \"" + node.Scalar() + "\"; known: " + names_in(values));
  }
  return found->second;
}

const YAML::Node& Reader::list(const Node& node, const std::string& what) const {
  if (!node.IsSequence()) refuse(node, what);
  return node;
}

void Reader::gets(const Node& node, Section& section) const {
  const std::string shape = "gets must be a list of lists of object paths, one list a contact";
  for (const Node& contact : list(node, shape)) {
    std::vector<std::string> paths;
    for (const Node& path : list(contact, shape)) {
      paths.push_back(text(path, "an object path"));
      const bool plain = std::all_of(paths.back().begin(), paths.back().end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
      });
      if (!plain || paths.back().size() > kMaxPathLength) {
        refuse(path, "an object path has 1 to " + std::to_string(kMaxPathLength) + " letters, digits and . _ -");
      }
    }
    if (paths.size() > kMaxGetsPerAnswer) {
      refuse(contact, "more than " + std::to_string(kMaxGetsPerAnswer) + " Gets do not fit in one answer");
    }
    section.gets.push_back(paths);
  }
}

void Reader::reg_id(const Node& node) {
  scenario_.reg_id = text(node, "reg_id");
  std::string rest = scenario_.reg_id;
  size_t length = rest.size();
  for (const auto& [word, becomes] : {std::pair{"{n}", kMaxNumberLength}, std::pair{"{uuid}", kUuidLength}}) {
    for (size_t at = rest.find(word); at != std::string::npos; at = rest.find(word)) {
      length += becomes - std::strlen(word);
      rest.erase(at, std::strlen(word));
    }
  }
  // A brace or bracket would end the object or the answer at the gateway.
  const bool plain = std::all_of(rest.begin(), rest.end(), [](unsigned char c) {
    return c >= ' ' && c <= '~' && std::strchr("\"\\[]{}", c) == nullptr;
  });
  if (!plain) refuse(node, "reg_id may hold printable ASCII without \" \\ [ ] { }, besides {n} and {uuid}");
  if (length > kMaxRegIdLength)
    refuse(node, "reg_id can get longer than " + std::to_string(kMaxRegIdLength) + " bytes");
}

void Reader::section(const Node& node, Kind kind) {
  Section& section = scenario_.sections[index_of(kind)];
  Handlers handlers = {{"delay_ms", set_number(section.delay_ms, 0, kMaxWait_ms)}};
  if (kind == Kind::kInform0) handlers["reg_id"] = [this](const Node& value) { reg_id(value); };
  if (kind == Kind::kInform0 || kind == Kind::kSiteSpeed || kind == Kind::kTraceRoute) {
    handlers["codes"] = [this, &section](const Node& value) {
      section.codes.clear();
      for (const Node& code : list(value, "codes must be a list of whole numbers")) {
        section.codes.push_back(static_cast<int>(number(code, INT_MIN, INT_MAX)));
      }
      if (section.codes.empty()) refuse(value, "codes must hold at least one code");
    };
  }
  // Not with a GetResponse: the gateway closes as soon as it has sent that, and would never see a further Get.
  if (kind == Kind::kReport || handlers.count("codes") != 0) {
    handlers["gets"] = [this, &section](const Node& value) { gets(value, section); };
  }
  if (kind == Kind::kSpeedTest) {
    DownloadSettings& download = scenario_.download;
    handlers["bytes"] = [this, &download](const Node& value) {
      download.bytes = static_cast<uint64_t>(number(value, 1, 100'000'000'000));
    };
    handlers["duration_s"] = set_number(download.duration_s, 1, 3600);
    handlers["mbit_s"] = set_number(download.mbit_s, 1, 100'000);
  }
  map(node, name_of(kind), handlers);
  if (kind == Kind::kSpeedTest && node["bytes"] && node["duration_s"]) {
    refuse(node["duration_s"], "a download has bytes or duration_s, not both");
  }
}

void Reader::fault(const Node& node) {
  FaultRule rule;
  map(node, "a fault",
      {{"to", [&](const Node& value) { rule.to = choice(value, "kind", kKinds); }},
       {"do", [&](const Node& value) { rule.fault = choice(value, "fault", kFaults); }},
       {"nth", set_number(rule.last, 1, INT_MAX)},
       {"from", set_number(rule.first, 1, INT_MAX)},
       {"gap_ms", set_number(rule.gap_ms, 0, kMaxWait_ms)}});
  if (rule.fault == Fault::kNone) refuse(node, "a fault needs \"do\"; known: " + names_in(kFaults));
  if (node["nth"] && node["from"]) refuse(node, "a fault has nth or from, not both");
  if (node["nth"]) rule.first = rule.last;
  scenario_.faults.push_back(rule);
}

Scenario Reader::read() {
  const std::map<std::string, bool> on_finding = {{"refuse", false}, {"answer", true}};
  Handlers handlers = {
      {"on_finding",
       [&](const Node& value) { scenario_.answer_in_spite_of_findings = choice(value, "on_finding", on_finding); }},
      {"request_ms", set_number(scenario_.request_ms, 1, kMaxWait_ms)},
      {"write_ms", set_number(scenario_.write_ms, 1, kMaxWait_ms)},
      {"idle_ms", set_number(scenario_.idle_ms, 1, kMaxWait_ms)},
      {"faults", [&](const Node& value) {
         for (const Node& row : list(value, "faults must be a list")) fault(row);
       }}};
  for (const auto& row : kKinds) {
    handlers[row.first] = [this, kind = row.second](const Node& value) { section(value, kind); };
  }
  try {
    const std::string text = load();
    const int documents = DocumentCounter::count(text);
    if (documents != 1)
      refuse(0, documents == 0 ? "expected one YAML document, found none" : "expected one YAML document");
    map(YAML::Load(text), "the scenario", handlers);
  } catch (const YAML::Exception& error) {
    refuse(error.mark.line, error.msg);
  }
  return scenario_;
}

}  // namespace

Scenario default_scenario() {
  Scenario scenario;
  scenario.sections[index_of(Kind::kReport)].gets = {
      {"NUVEK.DeviceInfo", "NUVEK.GISInfoA", "NUVEK.GISInfoB", "NUVEK.Interface", "NUVEK.Counter"}, {"NUVEK.Counter"}};
  return scenario;
}

Scenario read_scenario(const std::string& file) { return Reader(file).read(); }

}  // namespace desk
