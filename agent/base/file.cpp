#include "agent/base/file.h"

#include "platform/site.h"

namespace file {

Path::Path(const char* absolute) { snprintf(path_, sizeof path_, "%s%s", site::root(), absolute); }

Stream open(const Path& path, const char* mode) { return Stream(fopen(path.c_str(), mode)); }

}  // namespace file

int nuvek_read_file(const char* path, char* buf, size_t size) {
  buf[0] = '\0';
  const file::Stream stream = file::open(file::Path(path), "r");
  if (stream == nullptr) return 0;
  setvbuf(stream.get(), nullptr, _IONBF, 0);  // straight into `buf`: no page of heap in between
  const size_t count = fread(buf, 1, size - 1, stream.get());
  buf[count] = '\0';
  return static_cast<int>(count);
}
