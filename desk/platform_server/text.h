// How bytes and times are written for scripts: in the journal and on the console.
#ifndef NUVEK_DESK_TEXT_H
#define NUVEK_DESK_TEXT_H

#include <chrono>
#include <optional>
#include <string>

namespace desk {

// One character for each byte, in UTF-8, so that nothing is lost: what is no ASCII becomes U+0080 to U+00FF.
std::string text_of_bytes(const std::string& bytes);

// The way back; nothing when a character is above U+00FF or the text is no UTF-8.
std::optional<std::string> bytes_of_text(const std::string& text);

// 2026-11-21T19:04:05.678Z
std::string utc_text(std::chrono::system_clock::time_point time);

}  // namespace desk

#endif
