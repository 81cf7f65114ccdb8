#include "answer_bytes.h"

#include <algorithm>
#include <random>

#include "json.h"

namespace desk {
namespace {

// A gateway takes an answer of up to 1,024 bytes; the padding leads beyond that, within one of its receives.
constexpr size_t kOversizePadding_bytes = 1024;
constexpr size_t kGarbage_bytes = 200;

// An error without a body: 404 makes the gateway close, at 500 it keeps the connection.
constexpr const char* kNotFound = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n";
constexpr const char* kServerError = "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 0\r\n\r\n";

std::string http(const std::string& status, const std::string& type, const std::string& body, size_t length) {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type + "\r\nContent-Length: " + std::to_string(length) +
         "\r\n\r\n" + body;
}

std::string garbage() {
  std::mt19937 random{7};
  std::string bytes(kGarbage_bytes, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

}  // namespace

std::string accepted(const std::string& body) { return http("200 OK", "application/json", body, body.size()); }

std::string refused(const std::vector<std::string>& findings) {
  constexpr size_t kMaxReason_bytes = 800;  // the whole answer stays below a gateway's limit
  std::string reason;
  for (const std::string& finding : findings) reason += finding + "\n";
  reason.resize(std::min(reason.size(), kMaxReason_bytes));
  return http("400 Bad Request", "text/plain", reason, reason.size());
}

// What leaves in place of the right bytes.
std::string spoiled(Fault fault, std::string bytes) {
  switch (fault) {
    case Fault::kNotFound:
      return kNotFound;
    case Fault::kServerError:
      return kServerError;
    case Fault::kGarbage:
      return garbage();
    case Fault::kClose:
    case Fault::kReset:
    case Fault::kSilence:
      return "";
    case Fault::kWrongLength: {
      const size_t end = bytes.find("\r\n\r\n");
      return end == std::string::npos ? bytes : bytes.insert(end, "0");  // ten times the length
    }
    case Fault::kOversize: {
      const size_t end = bytes.find("\r\n\r\n");
      return end == std::string::npos ? bytes
                                      : bytes.insert(end, "\r\nPadding: " + std::string(kOversizePadding_bytes, '.'));
    }
    case Fault::kTwoPieces:
    case Fault::kNone:
      break;
  }
  return bytes;
}

Contents contents_of(const std::string& bytes) {
  Contents contents;
  const size_t start = bytes.find("\r\n\r\n");
  if (start == std::string::npos) return contents;
  const Json body = Json::parse(bytes.begin() + static_cast<std::ptrdiff_t>(start) + 4, bytes.end(), nullptr, false);
  if (!body.is_array()) return contents;
  const auto text = [](const Json& message, const char* name) {
    const auto found = message.find(name);
    return found != message.end() && found->is_string() ? found->get<std::string>() : std::string();
  };
  const auto number = [](const Json& message, const char* name) -> std::optional<int> {
    const auto found = message.find(name);
    if (found == message.end() || !found->is_number_integer()) return std::nullopt;
    return found->get<int>();
  };
  for (const Json& message : body) {
    if (!message.is_object()) continue;
    const std::string method = text(message, "RPCMethod");
    const auto id = number(message, "ID");
    if (method == "Get" && id) contents.gets.push_back({*id, text(message, "ObjectPath")});
    if (method != "Inform0Response" && method != "ResultResponse") continue;
    contents.code = number(message, "Code");
    contents.reg_id = text(message, "RegID");
  }
  return contents;
}

}  // namespace desk
