#include "journal.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace desk {
namespace {

using Json = nlohmann::ordered_json;

// One character for each byte, so that nothing is lost: what is no ASCII becomes U+0080 to U+00FF.
std::string byte_by_byte(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x80) {
      text += byte;
    } else {
      text += static_cast<char>(0xC0 | value >> 6);
      text += static_cast<char>(0x80 | (value & 0x3F));
    }
  }
  return text;
}

std::string utc_now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  const std::time_t seconds = ms / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(ms % 1000));
  return text;
}

template <typename Value>
Json or_null(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace

Journal::Journal(const std::string& file) : file_(file) {
  if (file.empty()) return;
  out_.open(file, std::ios::app);
  if (!out_) throw std::runtime_error("cannot write the journal " + file_ + ": " + std::strerror(errno));
}

void Journal::write(const Exchange& exchange) {
  if (file_.empty()) return;
  const Json line = {{"time", utc_now()},
                     {"peer", exchange.peer},
                     {"kind", name_of(exchange.kind)},
                     {"verdict", exchange.findings.empty() ? Json("ok") : Json(exchange.findings)},
                     {"uuid", exchange.uuid},
                     {"id", or_null(exchange.id)},
                     {"path", byte_by_byte(exchange.path)},
                     {"code", or_null(exchange.code)},
                     {"outcome", exchange.outcome},
                     {"request", byte_by_byte(exchange.request)},
                     {"answer", byte_by_byte(exchange.answer)}};
  // In ASCII, so that no reader takes a character for the end of a line.
  out_ << line.dump(-1, ' ', true, Json::error_handler_t::replace) << std::endl;
  if (!out_) throw std::runtime_error("cannot write the journal " + file_ + ": " + std::strerror(errno));
}

}  // namespace desk
