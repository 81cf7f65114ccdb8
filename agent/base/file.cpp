#include "agent/base/file.h"

#include "platform/site.h"

namespace file {

Path::Path(const char* absolute) { snprintf(path_, sizeof path_, "%s%s", site::root(), absolute); }

Stream open(const Path& path, const char* mode, char* buffer, size_t size) {
  Stream stream(fopen(path.c_str(), mode));
  if (stream != nullptr) setvbuf(stream.get(), buffer, _IOFBF, size);
  return stream;
}

}  // namespace file

int nuvek_read_file(const char* path, char* buf, size_t size) {
  buf[0] = '\0';
  char buffer[64];  // what is longer than that goes straight into `buf`
  const file::Stream stream = file::open(file::Path(path), "r", buffer);
  if (stream == nullptr) return 0;
  const size_t count = fread(buf, 1, size - 1, stream.get());
  buf[count] = '\0';
  return static_cast<int>(count);
}
