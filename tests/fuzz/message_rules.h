// What the documents say of a message: which texts of a location, or of the platform, leave it JSON.
#ifndef NUVEK_TESTS_FUZZ_MESSAGE_RULES_H
#define NUVEK_TESTS_FUZZ_MESSAGE_RULES_H

#include <string>
#include <string_view>

#include "agent/base/records.h"

namespace fuzz {

constexpr size_t kRequestCharacters = 2047;  // a longer request is cut

// Whether a location's value, empty for its default, is sent as a JSON number: digits, and a point between digits,
// short enough not to be cut.
bool is_sent_as_number(const std::string& value);

// Whether a text names one of the numbers: the first such name in a message, wherever it stands, is taken for the
// number's, and the quotes behind it are blanked.
bool names_a_number(std::string_view value);

// Whether JSON takes the text as it stands in a string: no control byte, every escape one of JSON's, and UTF-8.
bool is_string_of_json(std::string_view text);

// Whether a message may hold the text as one of its strings. One that ends in half an escape may: the agent cuts none
// so.
bool is_harmless(std::string_view text);

// Whether a message may hold the location: its structure at least, so that every quote is where it belongs; or all of
// its texts.
bool keeps_structure(const GisInfo& location);
bool is_harmless(const GisInfo& location);

// Whether the request, when it was sent whole, carries JSON; in strings every byte counts, and a backslash with the
// next.
bool carries_json(const std::string& request);

// The same, but what stands in strings must be JSON, too.
bool carries_strict_json(const std::string& request);

}  // namespace fuzz

#endif
