// The desk's site: the environment says where the root folder is and which ports are used.
#include <cstdlib>

#include "platform/site.h"

namespace {

// A port number from the environment; `fallback` when it is not set or is no number from 1 to 65535.
uint16_t port_from(const char* variable, uint16_t fallback) {
  const char* text = getenv(variable);
  if (text == nullptr) return fallback;
  char* end = nullptr;
  const long port = strtol(text, &end, 10);
  if (end == text || *end != '\0' || port < 1 || port > UINT16_MAX) return fallback;
  return static_cast<uint16_t>(port);
}

}  // namespace

namespace site {

const char* root() {
  const char* folder = getenv("NUVEK_ROOT");
  return folder == nullptr ? "" : folder;
}

uint16_t platform_port() { return port_from("NUVEK_PLATFORM_PORT", kPlatformPort); }
uint16_t local_port() { return port_from("NUVEK_LOCAL_PORT", kLocalPort); }

}  // namespace site
