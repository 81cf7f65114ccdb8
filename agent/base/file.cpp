#include "agent/base/file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agent/base/text.h"
#include "platform/site.h"

namespace file {

namespace {

constexpr mode_t kFileMode = 0666;  // less the process's mask, as the C library makes files

// Whether a file can be opened for writing there, or nothing is there yet.
bool is_writable(const Path& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd == -1) return errno == ENOENT;
  close(fd);
  return true;
}

bool write_all(int fd, const char* text) {
  for (size_t left = strlen(text); left != 0;) {
    const ssize_t written = write(fd, text, left);
    if (written < 1) return false;
    text += written;
    left -= static_cast<size_t>(written);
  }
  return true;
}

}  // namespace

Path::Path(const char* absolute) {
  text::copy(path_, site::root());
  const size_t length = strlen(path_);
  text::copy(path_ + length, sizeof path_ - length, absolute);
}

__attribute__((noinline)) bool exists(const char* absolute) { return access(Path(absolute).c_str(), F_OK) == 0; }

Reader::Reader(const Path& path) : stream_(fopen(path.c_str(), "re")) {
  if (stream_ != nullptr) setvbuf(stream_, buffer_, _IOFBF, sizeof buffer_);
}

Reader::~Reader() {
  if (stream_ != nullptr) fclose(stream_);
}

Replacement::Replacement(const Path& path, const Path& beside) : path_(path), beside_(beside), fd_(-1) {
  if (is_writable(path)) fd_ = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
}

bool Replacement::finish(const char* text) {
  bool good = write_all(fd_, text) && fsync(fd_) == 0;
  good = close(fd_) == 0 && good && rename(beside_.c_str(), path_.c_str()) == 0;
  if (!good) unlink(beside_.c_str());
  return good;
}

}  // namespace file

int nuvek_read_file(const char* path, char* buf, size_t size) {
  buf[0] = '\0';
  const file::Path place(path);
  const file::Reader file(place);
  if (!file.is_open()) return 0;
  const size_t count = fread(buf, 1, size - 1, file.stream());
  buf[count] = '\0';
  return static_cast<int>(count);
}
