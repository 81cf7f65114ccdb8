// The messages of a gateway, member by member: names, order, types and fixed values.
#ifndef NUVEK_DESK_MESSAGE_SHAPES_H
#define NUVEK_DESK_MESSAGE_SHAPES_H

#include <vector>

namespace desk {

// A position is a number that the gateway has stripped of its quotes: each of the two has become a blank.
enum class Type { kString, kInteger, kPosition, kObject, kArray, kStringOrObject };
inline constexpr const char* kTypeNames[] = {"a string",  "an integer", "a bare number between two blanks",
                                             "an object", "an array",   "a string or an object"};

struct Member {
  const char* name;
  Type type;
  const char* value = nullptr;  // the only value allowed, as JSON text
};
using Members = std::vector<Member>;

// Messages as such.
extern const Members kInform0;
extern const Members kResult;
extern const Members kGetResponse;

// What they carry. kDeviceInfo belongs to an Inform0 and, like the other packages, to a GetResponse.
extern const Members kDeviceInfo;
extern const Members kSiteSpeed;
extern const Members kSiteSpeedError;
extern const Members kTraceRoute;
extern const Members kInterfaceRow;
extern const Members kRouteRow;

struct Package {
  const char* path;
  const char* name;
  Members members;
};
extern const std::vector<Package> kPackages;

}  // namespace desk

#endif
