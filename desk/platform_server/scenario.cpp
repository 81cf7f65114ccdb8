#include "scenario.h"

#include <yaml-cpp/eventhandler.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "node_reader.h"
#include "text.h"

namespace desk {

const char* const kDefaultScenario =
    "Report:\n"
    "  gets:\n"
    "    - [NUVEK.DeviceInfo, NUVEK.GISInfoA, NUVEK.GISInfoB, NUVEK.Interface, NUVEK.Counter]\n"
    "    - [NUVEK.Counter]\n";

namespace {

// The gateway takes an answer of at most 1,024 bytes. With these two limits the longest one, an Inform0Response with
// its Gets, has some 970.
constexpr size_t kMaxGetsPerAnswer = 8;
constexpr size_t kMaxRegIdLength = 95;

constexpr size_t kMaxSteps = 10'000;
constexpr size_t kMaxRules = 256;
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

class Reader : private NodeReader {
 public:
  Reader(const std::string& name, bool may_replay) : NodeReader(name), name_(name), may_replay_(may_replay) {}
  Scenario read(const std::string& text);

 private:
  Handlers keys();
  void section(const Node& node, Kind kind);
  void gets(const Node& node, Section& section) const;
  void reg_id(const Node& node);
  void fault(const Node& node);
  void answer(const Node& node);
  void add_rule(const Node& node, const std::string& what, Handlers handlers, Rule& rule);
  std::string bytes(const Node& node) const;
  void replay(const Node& node);

  const std::string name_;
  const bool may_replay_;
  Scenario scenario_;
};

void Reader::gets(const Node& node, Section& section) const {
  const std::string of = "lists of object paths, one list a contact";
  for (const Node& contact : list(node, "gets", of, kMaxSteps)) {
    std::vector<std::string> paths;
    for (const Node& path : list(contact, "gets", of, kMaxSteps)) {
      paths.push_back(text(path, "an object path"));
      if (is_object_path(paths.back())) continue;
      const std::string expected = "1 to 31 letters, digits and . _ -";
      refuse(path, "an object path has " + expected, expected);
    }
    if (paths.size() > kMaxGetsPerAnswer) {
      const std::string most = std::to_string(kMaxGetsPerAnswer);
      refuse(contact, "more than " + most + " Gets do not fit in one answer", "at most " + most + " Gets");
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
  const std::string allowed = "printable ASCII without \" \\ [ ] { }, besides {n} and {uuid}";
  if (!plain) refuse(node, "reg_id may hold " + allowed, allowed);
  const std::string most = std::to_string(kMaxRegIdLength) + " bytes";
  if (length > kMaxRegIdLength) refuse(node, "reg_id can get longer than " + most, "at most " + most);
}

void Reader::section(const Node& node, Kind kind) {
  Section& section = scenario_.sections[index_of(kind)];
  Handlers handlers = {{"delay_ms", set_number(section.delay_ms, 0, kMaxWait_ms)}};
  if (kind == Kind::kInform0) handlers["reg_id"] = [this](const Node& value) { reg_id(value); };
  if (has_code(kind)) {
    handlers["codes"] = [this, &section](const Node& value) {
      section.codes.clear();
      for (const Node& code : list(value, "codes", "whole numbers", kMaxSteps)) {
        section.codes.push_back(static_cast<int>(number(code, INT_MIN, INT_MAX)));
      }
      if (section.codes.empty()) refuse(value, "codes must hold at least one code", "at least one code");
    };
  }
  // Not with a GetResponse: the gateway closes as soon as it has sent that, and would never see a further Get.
  if (kind == Kind::kReport || has_code(kind)) {
    handlers["gets"] = [this, &section](const Node& value) { gets(value, section); };
  }
  if (kind == Kind::kSpeedTest) {
    DownloadSettings& download = scenario_.download;
    handlers["bytes"] = [this, &download](const Node& value) {
      download.bytes = static_cast<uint64_t>(number(value, 1, kMaxDownload_bytes));
    };
    handlers["duration_s"] = set_number(download.duration_s, 1, 3600);
    handlers["mbit_s"] = set_number(download.mbit_s, 1, 100'000);
  }
  map(node, name_of(kind), handlers);
  if (kind == Kind::kSpeedTest && node["bytes"] && node["duration_s"]) {
    refuse(node["duration_s"], "a download has bytes or duration_s, not both");
  }
}

// What faults and answers have in common: to whom and when.
void Reader::add_rule(const Node& node, const std::string& what, Handlers handlers, Rule& rule) {
  handlers["to"] = [&](const Node& value) { rule.to = choice(value, "kind", kKinds); };
  handlers["uuid"] = [&](const Node& value) {
    rule.uuid = text(value, "uuid");
    const std::string shape = "8-4-4-4-12 hex digits in lower case";
    if (!is_uuid(rule.uuid)) refuse(value, "uuid must be " + shape, shape);
  };
  handlers["nth"] = set_number(rule.last, 1, INT_MAX);
  handlers["from"] = set_number(rule.first, 1, INT_MAX);
  map(node, what, handlers);
  if (node["nth"] && node["from"]) refuse(node, what + " has nth or from, not both");
  if (node["nth"]) rule.first = rule.last;
}

void Reader::fault(const Node& node) {
  Rule rule;
  add_rule(node, "a fault",
           {{"do", [&](const Node& value) { rule.deed.fault = choice(value, "fault", kFaults); }},
            {"gap_ms", set_number(rule.deed.gap_ms, 0, kMaxWait_ms)}},
           rule);
  if (rule.deed.fault == Fault::kNone) {
    refuse(node, "a fault needs \"do\"; known: " + names_in(kFaults), "\"do\": one of " + names_in(kFaults));
  }
  scenario_.rules.push_back(rule);
}

std::string Reader::bytes(const Node& node) const {
  const auto literal = bytes_of_text(text(node, "bytes"));
  const std::string limit = "1 to " + std::to_string(kMaxLiteral_bytes) + " characters up to U+00FF, one a byte";
  if (!literal || literal->size() > kMaxLiteral_bytes) refuse(node, "bytes must be " + limit, limit);
  return *literal;
}

void Reader::answer(const Node& node) {
  Rule rule;
  add_rule(node, "an answer",
           {{"code", [&](const Node& value) { rule.deed.code = static_cast<int>(number(value, INT_MIN, INT_MAX)); }},
            {"bytes", [&](const Node& value) { rule.deed.bytes = bytes(value); }}},
           rule);
  if (rule.deed.code.has_value() == !rule.deed.bytes.empty()) {
    refuse(node, "an answer needs code or bytes, and not both", "code or bytes");
  }
  if (rule.deed.code && !(rule.to && has_code(*rule.to))) {
    refuse(node["code"], "only answers to Inform0, SiteSpeed and TraceRoute have a code",
           "\"to\": Inform0, SiteSpeed or TraceRoute");
  }
  scenario_.rules.push_back(rule);
}

void Reader::replay(const Node& node) {
  const std::string file = text(node, "replay");
  if (!may_replay_) refuse(node, "replay names a file, so it is for a scenario file only");
  const size_t folder = name_.rfind('/');
  const bool beside = file[0] != '/' && folder != std::string::npos;
  try {
    scenario_.recording = std::make_shared<Recording>(beside ? name_.substr(0, folder + 1) + file : file);
  } catch (const std::runtime_error& error) {
    refuse(node, std::string("replay: ") + error.what(), "the file of a journal");
  }
}

NodeReader::Handlers Reader::keys() {
  const std::map<std::string, bool> on_finding = {{"refuse", false}, {"answer", true}};
  Handlers handlers = {
      {"on_finding",
       [=](const Node& value) { scenario_.answer_in_spite_of_findings = choice(value, "on_finding", on_finding); }},
      {"request_ms", set_number(scenario_.request_ms, 1, kMaxWait_ms)},
      {"write_ms", set_number(scenario_.write_ms, 1, kMaxWait_ms)},
      {"idle_ms", set_number(scenario_.idle_ms, 1, kMaxWait_ms)},
      {"replay", [this](const Node& value) { replay(value); }},
      {"faults",
       [this](const Node& value) {
         for (const Node& row : list(value, "faults", "", kMaxRules)) fault(row);
       }},
      {"answers", [this](const Node& value) {
         for (const Node& row : list(value, "answers", "", kMaxRules)) answer(row);
       }}};
  for (const auto& row : kKinds) {
    handlers[row.first] = [this, kind = row.second](const Node& value) { section(value, kind); };
  }
  return handlers;
}

Scenario Reader::read(const std::string& text) {
  try {
    const int documents = DocumentCounter::count(text);
    if (documents != 1) {
      refuse(YAML::Mark(), documents == 0 ? "expected one YAML document, found none" : "expected one YAML document",
             "one YAML document");
    }
    map(YAML::Load(text), "the scenario", keys());
  } catch (const YAML::Exception& error) {
    refuse(error.mark, error.msg);
  }
  return scenario_;
}

}  // namespace

ScenarioError::ScenarioError(const std::string& file, int at_line, int at_column, const std::string& why,
                             const std::string& wanted)
    : std::runtime_error(file + ":" + std::to_string(at_line + 1) + ": " + why),
      line(at_line + 1),
      column(at_line < 0 ? 0 : at_column + 1),
      reason(why),
      expected(wanted) {}

std::string read_text(const std::string& file) {
  std::ifstream in(file);
  std::string all;
  char block[4096];
  while (in.read(block, sizeof block), in.gcount() > 0) all.append(block, static_cast<size_t>(in.gcount()));
  // A folder can be opened, but not read.
  if (!in.is_open() || in.bad()) throw ScenarioError(file + ": cannot be read: " + std::strerror(errno));
  return all;
}

Scenario parse_scenario(const std::string& text, const std::string& name, bool may_replay) {
  return Reader(name, may_replay).read(text);
}

Scenario read_scenario(const std::string& file) { return parse_scenario(read_text(file), file, true); }

}  // namespace desk
