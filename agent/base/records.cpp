#include "agent/base/records.h"

DevInfo g_devinfo;
ServerArg g_server_Arg;
NuvekReport nuvekReport;
char g_platdomain[kDomainSize];
char g_platdomainList[2][kDomainSize];

// The two registration URLs, the time server and the two periods are read by nothing: they are part of the table that
// the operator's tools look for in the image.
const RemoteSerDomain g_RemoteSerDomain = {
    NUVEK_PLATFORM_DOMAIN_1,
    NUVEK_PLATFORM_DOMAIN_2,
    NUVEK_REGISTRATION_URL_1,
    NUVEK_REGISTRATION_URL_2,
    NUVEK_SPEED_URL_1,
    NUVEK_SPEED_URL_2,
    NUVEK_TRACE_HOST,
    NUVEK_TIME_HOST,
    1440,
    168,
};
