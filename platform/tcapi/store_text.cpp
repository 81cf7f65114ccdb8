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

// Whether a text begins with just this name and the byte that ends a name there.
inline bool begins_with(std::string_view text, std::string_view name, char end) {
  return text.size() > name.size() && text[name.size()] == end && starts_with(text, name) &&
         name.find(end) == name.npos;
}

// Looks through the lines of one node, which begin at `begin`. Returns whether the attribute is there.
bool find_in_node(std::string_view text, size_t begin, std::string_view attr, Place& place) {
  for (size_t end = 0; begin < text.size(); begin = end) {
    const std::string_view line = first_line(rest_of(text, begin));
    end = begin + line.size() + 1;
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') return false;
    place.begin = place.end = end;  // a new attribute follows the last one, not a comment after it
    if (!begins_with(line, attr, '=')) continue;
    place.begin = begin;
    place.value = rest_of(line, attr.size() + 1);
    place.has_attr = true;
    return true;
  }
  return false;
}

// FNV-1a.
size_t hash(std::string_view name) {
  uint32_t value = 2166136261U;
  for (const char c : name) value = (value ^ static_cast<unsigned char>(c)) * 16777619U;
  return value;
}

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

size_t room_for_nodes(std::string_view text) {
  size_t room = 2;
  for (size_t nodes = 0; !text.empty();) {
    if (take_line(text).kind == Line::Kind::kNode && ++nodes * 2 > room) room *= 2;
  }
  return room;
}

void index_nodes(std::string_view text, NodeIndex index) {
  const size_t last_slot = index.room - 1;
  memset(index.slots, 0, index.room * sizeof *index.slots);
  for (std::string_view rest = text; !rest.empty();) {
    const size_t begin = text.size() - rest.size();
    const Line line = take_line(rest);
    if (line.kind != Line::Kind::kNode) continue;
    size_t slot = hash(line.name) & last_slot;
    while (index.slots[slot] != 0) slot = (slot + 1) & last_slot;  // later sections of a node come behind earlier ones
    index.slots[slot] = static_cast<uint32_t>(begin);
  }
}

Place find(std::string_view text, NodeIndex index, std::string_view node, std::string_view attr) {
  const size_t end_of_nodes = text.size() - kLastLine.size();
  Place place{false, false, {}, end_of_nodes, end_of_nodes};
  const size_t last_slot = index.room - 1;
  for (size_t slot = hash(node) & last_slot; index.slots[slot] != 0; slot = (slot + 1) & last_slot) {
    const size_t name_begin = index.slots[slot] + 1;
    if (!begins_with(rest_of(text, name_begin), node, ']')) continue;
    place.has_node = true;
    place.begin = place.end = name_begin + node.size() + strlen("]\n");
    if (find_in_node(text, place.begin, attr, place)) break;
  }
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
