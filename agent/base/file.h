// Owns files: every path goes through the site's root here, and an open file closes itself.
#ifndef NUVEK_AGENT_BASE_FILE_H
#define NUVEK_AGENT_BASE_FILE_H

#include <cstddef>
#include <cstdio>

namespace file {

// An absolute path under the site's root folder.
class Path {
 public:
  explicit Path(const char* absolute);
  const char* c_str() const { return path_; }

 private:
  char path_[256];
};

// Whether a file is there. Its path stands on the stack for as long as that takes, and in nobody's frame.
bool exists(const char* absolute);

// A file that is read; it closes itself. It has a buffer of its own in place of the page of heap that the C library
// would take, and helper programs do not inherit it.
class Reader {
 public:
  explicit Reader(const Path& path);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  bool is_open() const { return stream_ != nullptr; }
  FILE* stream() const { return stream_; }

 private:
  FILE* stream_;
  char buffer_[512];
};

// A file that is written beside the one that it is to replace, and put in its place whole. Once it is open, finish() is
// called.
class Replacement {
 public:
  Replacement(const Path& path, const Path& beside);
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  bool is_open() const { return fd_ != -1; }

  // Writes the text, has it on the disk, and puts it in place. Returns false when a step failed: the old file stays,
  // and nothing beside it.
  bool finish(const char* text);

 private:
  const Path& path_;
  const Path& beside_;
  int fd_;
};

}  // namespace file

// Reads at most size - 1 bytes of a file (an absolute path, under the site's root) into `buf` and terminates them.
// Returns their number; 0 and an empty text when the file cannot be opened.
int nuvek_read_file(const char* path, char* buf, size_t size);

#endif
