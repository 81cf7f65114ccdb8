// What a client on the gateway's own network sends to the location port, through receiving, storing and the answer.
// Each input comes twice: once a location is stored, a second posting must change nothing. What was accepted is
// registered: the Inform0 is JSON unless a number is none, a text names one, or a text is no string of JSON.
#include <algorithm>
#include <cctype>
#include <cmath>

#include "agent/base/text.h"
#include "agent/json/json_value.h"
#include "agent/local/local_server_steps.h"
#include "agent/report/registration_steps.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/gateway.h"
#include "tests/fuzz/message_rules.h"

namespace {

constexpr int kListening = -1;  // no real descriptor: accept() is stood in for

struct StoredField {
  const char* attr;
  size_t size;  // of the record's field
};

// In the order in which they are written.
constexpr StoredField kStoredFields[] = {
    {"Long", 32},     {"Lat", 32},         {"Altitudes", 32}, {"HorizontalError", 32}, {"VerticalError", 32},
    {"AreaCode", 16}, {"GISLockTime", 16}, {"GISDigest", 64}, {"GISInterface", 8},
};
constexpr size_t kStoredFieldCount = std::size(kStoredFields);

size_t count_digits(std::string_view text) {
  const auto end = std::find_if(text.begin(), text.end(), [](unsigned char c) { return isdigit(c) == 0; });
  return static_cast<size_t>(end - text.begin());
}

// A number with five decimals, or as much of it as fits; an exponent beyond single precision gives "inf".
bool is_coordinate(std::string_view text) {
  constexpr size_t kDecimals = 5;
  const bool cut = text.size() == kStoredFields[0].size - 1;
  if (!text.empty() && text.front() == '-') text.remove_prefix(1);
  if (text == "inf") return true;
  const size_t whole = count_digits(text);
  if (whole == 0) return false;
  text.remove_prefix(whole);
  if (text.empty()) return cut;
  if (text.front() != '.') return false;
  text.remove_prefix(1);
  const size_t decimals = count_digits(text);
  return decimals == text.size() && (decimals == kDecimals || (cut && decimals < kDecimals));
}

// Whether the C library reads the whole text as a decimal number as the agent does: it takes a plus, white space, other
// notations, and an exponent right behind the point besides.
bool is_plain_number(const char* text) {
  if (strspn(text, "-.0123456789eE+") != strlen(text) || *text == '+' || *text == '\0') return false;
  if (strstr(text, ".e") != nullptr || strstr(text, ".E") != nullptr) return false;
  char* end = nullptr;
  strtod(text, &end);
  return *end == '\0';
}

// A posted number is stored as the C library reads it, as far as single precision and five decimals go.
void check_value(const char* request, const char* member, const std::string& stored) {
  char posted[32] = "";
  nuvek_json_get_value(request, member, posted);
  const bool cut = stored.size() == sizeof posted - 1;
  if (!is_plain_number(posted) || cut) return;
  const double expected = strtod(posted, nullptr);
  const double value = strtod(stored.c_str(), nullptr);
  constexpr double kLargest = 3.4e38;
  if (std::fabs(expected) > kLargest) {
    FUZZ_CHECK(std::fabs(value) > kLargest);
  } else {
    FUZZ_CHECK(std::fabs(value - expected) <= std::fabs(expected) * 1e-6 + 1e-5);
  }
}

void check_stored(const fuzz::Gateway& gateway, const char* request) {
  FUZZ_CHECK(gateway.writes.size() == kStoredFieldCount);
  for (size_t k = 0; k < kStoredFieldCount; ++k) {
    const fuzz::StoreWrite& write = gateway.writes[k];
    FUZZ_CHECK(write.node == "nuvek_Entry0" && write.attr == kStoredFields[k].attr);
    FUZZ_CHECK(write.value.size() < kStoredFields[k].size);
  }
  FUZZ_CHECK(is_coordinate(gateway.writes[0].value) && is_coordinate(gateway.writes[1].value));
  check_value(request, "Longitude", gateway.writes[0].value);
  check_value(request, "Latitude", gateway.writes[1].value);
  FUZZ_CHECK(gateway.writes.back().value == "A");
  FUZZ_CHECK(gateway.commits.size() == 1 && gateway.commits[0] == "nuvek_Entry0" && gateway.saves == 1);
}

void check_registration(fuzz::Gateway& gateway) {
  nuvek_first_report(&g_devinfo);
  const std::string request = gateway.platform.take_received();
  FUZZ_CHECK(!request.empty());
  const GisInfo& location = g_devinfo.reportInfo.GISInfoA;
  FUZZ_CHECK(!fuzz::keeps_structure(location) || fuzz::carries_json(request));
  FUZZ_CHECK(!fuzz::is_harmless(location) || fuzz::carries_strict_json(request));
}

// The answer to one client that sends the bytes and then nothing more.
std::string post(fuzz::Gateway& gateway, std::string_view bytes) {
  fuzz::Connection client;
  client.send_all(bytes);
  gateway.client = client.agent_end();
  nuvek_localProcess(kListening);
  const std::string answer = client.take_received();
  FUZZ_CHECK(client.is_closed());
  return answer;
}

// The message among the bytes: the first receive that holds one.
fuzz::Text stored_message(std::string_view bytes) {
  while (bytes.front() != '{' && !(bytes.size() > 4 && bytes[4] == '{')) bytes.remove_prefix(kLocalMessageSize);
  if (bytes.front() != '{') return fuzz::Text(bytes.substr(4, kLocalMessageSize - 4));
  return fuzz::Text(bytes.substr(0, kLocalMessageSize));
}

bool is_answer(const std::string& answer, const char* result) {
  const std::string head = std::string("{\"Result\":") + result + ",\"ID\":";
  if (answer.compare(0, head.size(), head) != 0 || answer.back() != '}') return false;
  const std::string id = answer.substr(head.size(), answer.size() - head.size() - 1);
  return id == std::to_string(text::to_int32(id.c_str()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes = fuzz::bytes_of(data, size);
  fuzz::Gateway gateway;
  gateway.put("nuvek_Entry0", "GISInterface", "");
  const std::string first = post(gateway, bytes);
  if (first.empty()) {
    FUZZ_CHECK(gateway.writes.empty());
    return 0;
  }
  FUZZ_CHECK(is_answer(first, "0"));
  check_stored(gateway, stored_message(bytes).c_str());
  check_registration(gateway);
  const std::string second = post(gateway, bytes);
  FUZZ_CHECK(is_answer(second, "-3"));
  FUZZ_CHECK(gateway.writes.size() == kStoredFieldCount && gateway.saves == 1);
  return 0;
}
