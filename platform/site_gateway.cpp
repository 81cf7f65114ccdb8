// The gateway's site: the real paths and the protocol's own ports.
#include "platform/site.h"

namespace site {

const char* root() { return ""; }
uint16_t platform_port() { return kPlatformPort; }
uint16_t local_port() { return kLocalPort; }

}  // namespace site
