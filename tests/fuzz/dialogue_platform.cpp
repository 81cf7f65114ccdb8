#include "tests/fuzz/dialogue_platform.h"

#include <algorithm>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/message_rules.h"

namespace fuzz {
namespace {

// Of the first object; a report has none.
std::string method_of(const std::string& message) {
  constexpr std::string_view kMember = "\"RPCMethod\":\"";
  const size_t member = message.find(kMember);
  if (member == std::string::npos) return "";
  const size_t begin = member + kMember.size();
  return message.substr(begin, message.find('"', begin) - begin);
}

size_t count_of(const std::string& text, std::string_view part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
  return count;
}

bool is_ascii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

}  // namespace

int DialoguePlatform::connect() {
  connection_ = std::make_unique<Connection>();
  return connection_->agent_end();
}

void DialoguePlatform::answer(const std::string& objects) {
  std::string body = "[\"u\",";
  for (const char c : objects) {
    if (c == '@' || c == '&') {
      body += ids_[c == '@' ? 0 : 1];
    } else {
      body += c;
    }
  }
  body += "]";
  // A text that is cut to its field may lose a part of a character.
  const bool is_good = is_harmless(objects) && is_ascii(objects);
  note_sent("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body, is_good);
}

void DialoguePlatform::send(const std::string& bytes) { note_sent(bytes, false); }

void DialoguePlatform::note_sent(const std::string& bytes, bool harmless) {
  if (connection_ == nullptr) return;
  connection_->send(bytes);
  said_harmless_ = said_harmless_ && harmless;
  acknowledgements_ += count_of(bytes, "Inform0Response");
}

void DialoguePlatform::close() { connection_.reset(); }

void DialoguePlatform::expect_message(const DevInfo& devinfo) {
  take_last_message();
  const ReportInfo& report = devinfo.reportInfo;
  keeps_structure_ =
      !names_a_number(devinfo.RegID) && keeps_structure(report.GISInfoA) && keeps_structure(report.GISInfoB);
  is_harmless_ = is_harmless(devinfo.RegID) && is_harmless(report.GISInfoA) && is_harmless(report.GISInfoB);
}

void DialoguePlatform::take_last_message() {
  if (connection_ == nullptr) return;
  const std::string message = connection_->take_received();
  if (!message.empty()) check_message(message);
}

void DialoguePlatform::check_message(const std::string& message) {
  ++messages_;
  FUZZ_CHECK(message.compare(0, 21, "POST /reg/ HTTP/1.1\r\n") == 0);
  FUZZ_CHECK(message.size() <= kRequestCharacters);
  const std::string method = method_of(message);
  const bool is_inform = method == "Inform0";
  const bool is_answer = method == "GetResponse";
  const bool is_known = is_inform || (is_answer && said_harmless_);  // a result relays what helper programs wrote
  FUZZ_CHECK(!is_known || !keeps_structure_ || carries_json(message));
  FUZZ_CHECK(!is_known || !is_harmless_ || carries_strict_json(message));
  if (method.empty()) {
    ++reports_;
    return;
  }
  ids_[1] = ids_[0];
  ids_[0] = std::to_string(strtol(message.c_str() + message.find("\"ID\":") + strlen("\"ID\":"), nullptr, 10));
}

}  // namespace fuzz
