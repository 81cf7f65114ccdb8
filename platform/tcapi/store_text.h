// The store's text: what a sound file is, where an attribute stands in it, how a value is written. Nothing here touches
// a file. The format is described at the head of tcapi.cpp.
#ifndef NUVEK_PLATFORM_TCAPI_STORE_TEXT_H
#define NUVEK_PLATFORM_TCAPI_STORE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/tcapi.h"

namespace tcapi_store {

constexpr std::string_view kFirstLine = "# tcapi store 1\n";
constexpr std::string_view kLastLine = "# end\n";

constexpr size_t kNameMaxChars = 63;                              // of a node and of an attribute
constexpr size_t kEscapedMaxChars = size_t{2} * TCAPI_VALUE_MAX;  // every character of a value may need a backslash
constexpr size_t kStoreMaxBytes = size_t{1024} * size_t{1024};    // a gateway's whole configuration has some 10 kB
// "[node]\n" and "attribute=value\n", the most that one change adds.
constexpr size_t kEntryMaxBytes = (kNameMaxChars + 3) + (kNameMaxChars + 2) + kEscapedMaxChars;

// What is wrong with a text, and in which line, counted from 1; reason is null for a sound text.
struct Fault {
  uint32_t line;
  const char* reason;
};

// One line of a sound text, without its newline.
struct Line {
  enum class Kind { kOther, kNode, kAttribute };
  Kind kind;
  std::string_view name;   // of the node or the attribute
  std::string_view value;  // escaped
};

// Where an attribute stands, or where it would have to be written.
struct Place {
  bool has_node;
  bool has_attr;
  std::string_view value;  // escaped, of an attribute that is there
  size_t begin;            // bytes of the text that the attribute's line takes; both the same when it is not there yet
  size_t end;
};

// Takes the first line off the text, which must have one.
Line take_line(std::string_view& text);

// 1 to kNameMaxChars visible ASCII characters without '=', '#', '[' and ']'.
bool is_sane_name(std::string_view name);

Fault check(std::string_view text);

// Where a name stands in a text.
struct Name {
  uint32_t begin : 24;
  uint32_t size : 8;
};
static_assert(kStoreMaxBytes < 1U << 24U && kNameMaxChars < 1U << 8U);

// An attribute and its node; a node itself has an attribute without a name. A slot is free while its node has none.
struct Slot {
  Name node;
  Name attr;
};

// The nodes and attributes of a sound text, each at a slot that its names lead to, so that no look-up walks through all
// of them: a hash table, open addressed.
struct Index {
  Slot* slots;
  size_t room;  // slots, a power of two
};

// The least room of an index for this text, which has more slots than nodes and attributes.
size_t room_for_index(std::string_view text);

// Fills an index that has the room.
void fill_index(std::string_view text, Index index);

// Finds an attribute in a sound text with its index. A node may have several sections, as hand-written files do; of two
// equal attributes the first one counts.
Place find(std::string_view text, Index index, std::string_view node, std::string_view attr);

// Writes the lines of one attribute, with the [node] line ahead unless the place has one. Returns the number of bytes,
// kEntryMaxBytes at most. Names and value are sane.
size_t write_entry(const Place& place, std::string_view node, std::string_view attr, std::string_view value, char* out);

// Writes the value of an escaped text and a terminator, TCAPI_VALUE_MAX + 1 bytes at most, or nothing when `out` is
// null. Returns null, or what is wrong with the text.
const char* unescape(std::string_view escaped, char* out);

}  // namespace tcapi_store

#endif
