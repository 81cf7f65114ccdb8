#include "platform/tcapi/store_text.h"

#include <algorithm>
#include <cstring>

namespace tcapi_store {
namespace {

struct Escape {
  char plain;
  char letter;
};
constexpr Escape kEscapes[] = {{'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}};

constexpr std::string_view without_newline(std::string_view line) { return {line.data(), line.size() - 1}; }

bool starts_with(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && memcmp(text.data(), start.data(), start.size()) == 0;
}

// Whether a text that has its first line ends with the last one, on a line of its own.
bool has_end(std::string_view text) {
  constexpr std::string_view kEnd = "\n# end\n";
  static_assert(kEnd.size() == kLastLine.size() + 1 && kEnd.size() <= kFirstLine.size(), "there is room to look");
  return memcmp(text.data() + text.size() - kEnd.size(), kEnd.data(), kEnd.size()) == 0;
}

// The text from a place on.
std::string_view rest_of(std::string_view text, size_t begin) { return {text.data() + begin, text.size() - begin}; }

// The text up to its first newline, or all of it.
std::string_view first_line(std::string_view text) { return {text.data(), std::min(text.find('\n'), text.size())}; }

Line parse(std::string_view line) {
  if (line.empty() || line.front() == '#') return {Line::Kind::kOther, {}, {}};
  if (line.front() == '[' && line.back() == ']') {
    return {Line::Kind::kNode, {line.data() + 1, line.size() - 2}, {}};
  }
  const size_t equals = line.find('=');
  if (equals == line.npos) return {Line::Kind::kOther, {}, {}};
  return {Line::Kind::kAttribute, {line.data(), equals}, {line.data() + equals + 1, line.size() - equals - 1}};
}

const char* fault_in_attribute(const Line& line, bool in_node) {
  if (!in_node) return "an attribute ahead of the first [node]";
  if (!is_sane_name(line.name)) return "not a name for an attribute";
  return unescape(line.value, nullptr);
}

const char* fault_in_line(std::string_view text, bool& in_node) {
  if (text.find('\0') != text.npos) return "a NUL byte";
  if (text.find('\r') != text.npos) return "a carriage return that is not written as \\r";
  const Line line = parse(text);
  if (line.kind == Line::Kind::kAttribute) return fault_in_attribute(line, in_node);
  if (line.kind == Line::Kind::kNode) {
    in_node = true;
    return is_sane_name(line.name) ? nullptr : "not a name for a node";
  }
  if (text == without_newline(kLastLine)) return "the end of the store ahead of other lines";
  return text.empty() || text.front() == '#' ? nullptr : "neither [node] nor attribute=value";
}

uint32_t count_lines(std::string_view text) {
  uint32_t lines = 1;
  for (const char c : text) lines += c == '\n' ? 1U : 0U;
  return lines;
}

char plain_of(char letter) {
  for (const Escape& escape : kEscapes) {
    if (escape.letter == letter) return escape.plain;
  }
  return '\0';
}

char letter_of(char plain) {
  for (const Escape& escape : kEscapes) {
    if (escape.plain == plain) return escape.letter;
  }
  return '\0';
}

char* put(char* out, std::string_view text) {
  memcpy(out, text.data(), text.size());
  return out + text.size();
}

bool is_same(std::string_view text, Name name, std::string_view wanted) {
  return name.size == wanted.size() && memcmp(text.data() + name.begin, wanted.data(), wanted.size()) == 0;
}

// Where a new attribute of a node goes, whose lines begin at `begin`: behind its last one, not behind a comment after
// it.
size_t end_of_attributes(std::string_view text, size_t begin) {
  size_t end = begin;
  while (begin < text.size() && text[begin] != '[') {
    const std::string_view line = first_line(rest_of(text, begin));
    begin += line.size() + 1;
    if (!line.empty() && line.front() != '#') end = begin;
  }
  return end;
}

// Eight bytes at a time; the last ones of a longer name overlap those ahead of them.
uint64_t hash(uint64_t value, std::string_view name) {
  constexpr size_t kStep = sizeof(uint64_t);
  value += name.size();
  const auto mix = [&value, name](size_t at, size_t count) {
    uint64_t bytes = 0;
    memcpy(&bytes, name.data() + at, count);
    value = (value ^ bytes) * 0x9E3779B97F4A7C15U;
    value ^= value >> 32U;
  };
  for (size_t at = 0; at + kStep < name.size(); at += kStep) mix(at, kStep);
  if (name.size() < kStep) {
    mix(0, name.size());
  } else {
    mix(name.size() - kStep, kStep);
  }
  return value;
}

size_t hash(std::string_view node, std::string_view attr) { return static_cast<size_t>(hash(hash(0, node), attr)); }

}  // namespace

Line take_line(std::string_view& text) {
  const std::string_view line = first_line(text);
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return parse(line);
}

bool is_sane_name(std::string_view name) {
  if (name.empty() || name.size() > kNameMaxChars) return false;
  for (const char c : name) {
    if (c <= ' ' || c > '~' || strchr("=#[]", c) != nullptr) return false;
  }
  return true;
}

Fault check(std::string_view text) {
  if (text.size() > kStoreMaxBytes) return {0, "larger than a store may be"};
  if (!starts_with(text, kFirstLine)) return {1, "not a store: its first line is not \"# tcapi store 1\""};
  // The end is looked at first, so that a torn file is told as such and not by the line where it happens to break off.
  if (!has_end(text)) return {count_lines(text), "torn: the last line is not \"# end\" and a newline"};
  text.remove_prefix(kFirstLine.size());
  text.remove_suffix(kLastLine.size());
  bool in_node = false;
  for (uint32_t number = 2; !text.empty(); ++number) {
    const std::string_view line = first_line(text);
    const char* reason = fault_in_line(line, in_node);
    if (reason != nullptr) return {number, reason};
    text.remove_prefix(line.size() + 1);
  }
  return {0, nullptr};
}

size_t room_for_index(std::string_view text) {
  size_t room = 4;
  for (size_t names = 0; !text.empty();) {
    if (take_line(text).kind != Line::Kind::kOther && ++names > room / 4 * 3) room *= 2;
  }
  return room;
}

void fill_index(std::string_view text, Index index) {
  const auto name_of = [text](std::string_view name) {
    return Name{static_cast<uint32_t>(name.data() - text.data()) & 0xFFFFFFU, static_cast<uint8_t>(name.size())};
  };
  const size_t last_slot = index.room - 1;
  memset(index.slots, 0, index.room * sizeof *index.slots);
  std::string_view node = text.substr(0, 0);
  for (std::string_view rest = text; !rest.empty();) {
    const Line line = take_line(rest);
    if (line.kind == Line::Kind::kOther) continue;
    const bool is_node = line.kind == Line::Kind::kNode;
    if (is_node) node = line.name;
    const std::string_view attr{line.name.data(), is_node ? 0 : line.name.size()};
    size_t slot = hash(node, attr) & last_slot;
    while (index.slots[slot].node.size != 0)
      slot = (slot + 1) & last_slot;  // what comes later in the text stands behind
    index.slots[slot] = {name_of(node), name_of(attr)};
  }
}

// Looks through the slots from the one that the names lead to, and calls `take` with each that has them until that
// returns true. Returns whether it did.
template <typename Take>
bool visit(std::string_view text, Index index, std::string_view node, std::string_view attr, Take take) {
  const size_t last_slot = index.room - 1;
  for (size_t k = hash(node, attr) & last_slot; index.slots[k].node.size != 0; k = (k + 1) & last_slot) {
    const Slot& slot = index.slots[k];
    if (is_same(text, slot.attr, attr) && is_same(text, slot.node, node) && take(slot)) return true;
  }
  return false;
}

Place find(std::string_view text, Index index, std::string_view node, std::string_view attr) {
  const size_t end_of_nodes = text.size() - kLastLine.size();
  Place place{false, false, {}, end_of_nodes, end_of_nodes};
  const auto take_attribute = [&place, text](const Slot& slot) {
    const size_t value_begin = slot.attr.begin + slot.attr.size + strlen("=");
    const std::string_view value = first_line(rest_of(text, value_begin));
    place = {true, true, value, slot.attr.begin, value_begin + value.size() + 1};
    return true;
  };
  if (!attr.empty() && visit(text, index, node, attr, take_attribute)) return place;
  visit(text, index, node, "", [&place, text](const Slot& slot) {
    place.has_node = true;
    place.begin = place.end = end_of_attributes(text, slot.node.begin + slot.node.size + strlen("]\n"));
    return false;
  });
  return place;
}

size_t write_entry(const Place& place, std::string_view node, std::string_view attr, std::string_view value,
                   char* out) {
  char* const begin = out;
  if (!place.has_node) {
    out = put(out, "[");
    out = put(out, node);
    out = put(out, "]\n");
  }
  out = put(out, attr);
  *out++ = '=';
  for (const char c : value) {
    const char letter = letter_of(c);
    if (letter != '\0') *out++ = '\\';
    *out++ = letter != '\0' ? letter : c;
  }
  *out++ = '\n';
  return static_cast<size_t>(out - begin);
}

const char* unescape(std::string_view escaped, char* out) {
  if (out != nullptr && escaped.size() <= TCAPI_VALUE_MAX && escaped.find('\\') == escaped.npos) {  // as most are
    memcpy(out, escaped.data(), escaped.size());
    out[escaped.size()] = '\0';
    return nullptr;
  }
  size_t length = 0;
  for (size_t i = 0; i < escaped.size(); ++i) {
    char c = escaped[i];
    if (c == '\\') {
      c = ++i < escaped.size() ? plain_of(escaped[i]) : '\0';
      if (c == '\0') return "a backslash that is none of \\\\, \\n and \\r";
    }
    if (length == TCAPI_VALUE_MAX) return "a value of more than 1023 characters";
    if (out != nullptr) out[length] = c;
    ++length;
  }
  if (out != nullptr) out[length] = '\0';
  return nullptr;
}

}  // namespace tcapi_store
