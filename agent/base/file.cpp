#include "agent/base/file.h"

#include "platform/site.h"

namespace file {

Path::Path(const char* absolute) { snprintf(path_, sizeof path_, "%s%s", site::root(), absolute); }

Stream open(const Path& path, const char* mode) { return Stream(fopen(path.c_str(), mode)); }

}  // namespace file
