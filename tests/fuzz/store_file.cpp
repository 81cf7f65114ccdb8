// A store file as a stranger may have left it: checked, and when it is sound, read and changed as the store does. And
// the input as a value: written into a store, it must be read back as it was.
#include <algorithm>
#include <vector>

#include "platform/tcapi/store_text.h"
#include "tests/fuzz/fuzz.h"

namespace {

using tcapi_store::Line;
using tcapi_store::Place;

struct Attribute {
  std::string_view node;
  std::string_view name;
};

bool is_sound(std::string_view text) { return tcapi_store::check(text).reason == nullptr; }

Place find(std::string_view text, Attribute attribute) {
  std::vector<tcapi_store::Slot> slots(tcapi_store::room_for_index(text));
  const tcapi_store::Index index = {slots.data(), slots.size()};
  tcapi_store::fill_index(text, index);
  const Place place = tcapi_store::find(text, index, attribute.node, attribute.name);
  FUZZ_CHECK(place.begin <= place.end && place.end <= text.size());
  FUZZ_CHECK(place.has_node || !place.has_attr);
  return place;
}

std::string value_of(const Place& place) {
  char value[TCAPI_VALUE_MAX + 1];
  FUZZ_CHECK(tcapi_store::unescape(place.value, value) == nullptr);
  FUZZ_CHECK(fuzz::is_terminated(value));
  return value;
}

std::vector<Attribute> attributes_of(std::string_view text) {
  std::vector<Attribute> attributes;
  std::string_view node;
  while (!text.empty()) {
    const Line line = tcapi_store::take_line(text);
    if (line.kind == Line::Kind::kNode) node = line.name;
    if (line.kind == Line::Kind::kAttribute) attributes.push_back({node, line.name});
  }
  return attributes;
}

// The text after one attribute has been given a value.
std::string change(std::string_view text, Attribute attribute, std::string_view value) {
  const Place place = find(text, attribute);
  char entry[tcapi_store::kEntryMaxBytes];
  const size_t size = tcapi_store::write_entry(place, attribute.node, attribute.name, value, entry);
  FUZZ_CHECK(size <= sizeof entry);
  return std::string(text.substr(0, place.begin)).append(entry, size).append(text.substr(place.end));
}

void check_change(std::string_view text, Attribute attribute, const std::string& value) {
  const std::string changed = change(text, attribute, value);
  if (changed.size() > tcapi_store::kStoreMaxBytes) return;
  FUZZ_CHECK(is_sound(changed));
  const Place place = find(changed, attribute);
  FUZZ_CHECK(place.has_attr);
  FUZZ_CHECK(value_of(place) == value);
}

void check_sound_text(std::string_view text) {
  constexpr size_t kMostChanged = 4;  // of the attributes, or long inputs would take too long
  const std::vector<Attribute> attributes = attributes_of(text);
  for (size_t k = 0; k < attributes.size() && k < kMostChanged; ++k) {
    const Place place = find(text, attributes[k]);
    FUZZ_CHECK(place.has_attr);
    check_change(text, attributes[k], value_of(place) == "0" ? "1" : "0");
  }
  check_change(text, {"a_new_node", "attr"}, "x");
  if (!attributes.empty()) check_change(text, {attributes.front().node, "a_new_attr"}, "two\nlines\r\\");
}

void check_as_value(std::string_view bytes) {
  const fuzz::Text text(bytes.substr(0, std::min(bytes.size(), size_t{TCAPI_VALUE_MAX})));
  const std::string empty_store = std::string(tcapi_store::kFirstLine).append(tcapi_store::kLastLine);
  check_change(empty_store, {"node", "attr"}, text.c_str());
}

// An escaped text is refused, or shorter than a value may be.
void check_as_escaped(std::string_view bytes) {
  char value[TCAPI_VALUE_MAX + 1] = "";
  const char* fault = tcapi_store::unescape(bytes, value);
  FUZZ_CHECK((fault == nullptr) == (tcapi_store::unescape(bytes, nullptr) == nullptr));
  if (fault == nullptr) FUZZ_CHECK(fuzz::is_terminated(value));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes = fuzz::bytes_of(data, size);
  check_as_value(bytes);
  check_as_escaped(bytes);
  tcapi_store::is_sane_name(bytes);
  const tcapi_store::Fault fault = tcapi_store::check(bytes);
  if (fault.reason == nullptr) {
    check_sound_text(bytes);
  } else {
    FUZZ_CHECK(size > tcapi_store::kStoreMaxBytes || fault.line >= 1);
  }
  return 0;
}
