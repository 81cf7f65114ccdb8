// Owns files: every path goes through the site's root here, and an open file closes itself.
#ifndef NUVEK_AGENT_BASE_FILE_H
#define NUVEK_AGENT_BASE_FILE_H

#include <cstddef>
#include <cstdio>
#include <memory>

namespace file {

// An absolute path under the site's root folder.
class Path {
 public:
  explicit Path(const char* absolute);
  const char* c_str() const { return path_; }

 private:
  char path_[256];
};

struct Close {
  void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, Close>;

// Opens a file as fopen does; empty on failure.
Stream open(const Path& path, const char* mode);

}  // namespace file

// Reads at most size - 1 bytes of a file (an absolute path, under the site's root) into `buf` and terminates them.
// Returns their number; 0 and an empty text when the file cannot be opened.
int nuvek_read_file(const char* path, char* buf, size_t size);

#endif
