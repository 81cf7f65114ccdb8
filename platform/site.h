// Where the agent stands: what differs between a gateway and a desk. platform/site_gateway.cpp holds the gateway's
// constants; platform/site_desk.cpp reads the environment, so that an ordinary user can run the agent beside others:
//
//   NUVEK_ROOT           folder put ahead of every file path, none by default
//   NUVEK_PLATFORM_PORT  TCP port of the platform, 80 by default
//   NUVEK_LOCAL_PORT     TCP port of the local location server, 17999 by default
#ifndef NUVEK_PLATFORM_SITE_H
#define NUVEK_PLATFORM_SITE_H

#include <cstdint>

namespace site {

constexpr uint16_t kPlatformPort = 80;
constexpr uint16_t kLocalPort = 17999;

// Folder that every absolute path of the agent is under, without a final slash; "" on a gateway.
const char* root();

// TCP ports, in host byte order.
uint16_t platform_port();
uint16_t local_port();

}  // namespace site

#endif
