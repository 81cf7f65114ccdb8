#include "platform/tcapi/store_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tcapi_store {
namespace {

constexpr mode_t kFolderMode = 0777;  // less the umask
constexpr mode_t kFileMode = 0666;
// A level grows line by line: with room for some more it stays in its place, and leaves no hole in the heap.
constexpr size_t kStepBytes = 1024;

// Makes the folder and those above it. What cannot be made is told by the open that follows.
void make_folders(const char* path) {
  char part[kPathMaxBytes];
  const size_t length = strnlen(path, sizeof part - 1);
  memcpy(part, path, length);
  part[length] = '\0';
  for (size_t i = 1; i <= length; ++i) {
    if (part[i] != '/' && part[i] != '\0') continue;
    const char end = part[i];
    part[i] = '\0';
    mkdir(part, kFolderMode);
    part[i] = end;
  }
}

int open_folder(const char* path) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  const int fd = open(path, kFlags);
  if (fd >= 0 || errno != ENOENT) return fd;
  make_folders(path);
  return open(path, kFlags);
}

int open_lock(const Fd& folder) {
  return folder.is_open() ? openat(folder.get(), kLockFile, O_RDWR | O_CREAT | O_CLOEXEC, kFileMode) : -1;
}

bool wait_for_lock(int fd) {
  while (flock(fd, LOCK_EX) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

}  // namespace

bool Fd::close() {
  const int fd = fd_;
  fd_ = -1;
  return fd < 0 || ::close(fd) == 0;
}

LockedFolder::LockedFolder(const char* path)
    : folder_(open_folder(path)), lock_(open_lock(folder_)), held_(lock_.is_open() && wait_for_lock(lock_.get())) {}

LockedFolder::~LockedFolder() {
  // Not left to the close: a child that was forked meanwhile may still hold a copy of the descriptor.
  if (held_) flock(lock_.get(), LOCK_UN);
}

FileId id_of(const struct stat& status) { return {status.st_ino, status.st_size, status.st_mtim}; }

bool operator==(const FileId& a, const FileId& b) {
  return a.inode == b.inode && a.size == b.size && a.changed.tv_sec == b.changed.tv_sec &&
         a.changed.tv_nsec == b.changed.tv_nsec;
}

const char* FileText::read(const Fd& file, size_t limit) {
  struct stat status;
  if (!file.is_open() || fstat(file.get(), &status) != 0) return strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a plain file";
  if (static_cast<uintmax_t>(status.st_size) > limit) return "larger than a store may be (1 MiB)";
  if (!reserve(static_cast<size_t>(status.st_size))) return strerror(ENOMEM);
  id_ = id_of(status);
  size_ = 0;
  const auto wanted = static_cast<size_t>(status.st_size);
  while (size_ < wanted) {
    const ssize_t got = ::read(file.get(), bytes_ + size_, wanted - size_);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return strerror(errno);
    if (got == 0) break;  // cut while it was read: the missing last line tells
    size_ += static_cast<size_t>(got);
  }
  return nullptr;
}

const char* FileText::assign(std::string_view first, std::string_view second) {
  if (!reserve(first.size() + second.size())) return strerror(ENOMEM);
  memcpy(bytes_, first.data(), first.size());
  memcpy(bytes_ + first.size(), second.data(), second.size());
  size_ = first.size() + second.size();
  return nullptr;
}

bool FileText::reserve(size_t size) {
  if (size <= capacity_) return true;
  const size_t capacity = (size / kStepBytes + 1) * kStepBytes;
  auto* const bytes = static_cast<char*>(realloc(bytes_, capacity));
  if (bytes == nullptr) return false;
  bytes_ = bytes;
  capacity_ = capacity;
  return true;
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t taken = write(fd, bytes.data(), bytes.size());
    if (taken < 0 && errno != EINTR) return false;
    if (taken > 0) bytes.remove_prefix(static_cast<size_t>(taken));
  }
  return true;
}

bool write_file(int folder, const char* name, const Parts& parts, bool to_disk) {
  Fd file(openat(folder, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
  if (!file.is_open()) return false;
  const bool written = write_all(file.get(), parts.head) && write_all(file.get(), parts.middle) &&
                       write_all(file.get(), parts.tail) && (!to_disk || fsync(file.get()) == 0);
  if (written && file.close()) return true;
  const int reason = errno;
  unlinkat(folder, name, 0);
  errno = reason;
  return false;
}

}  // namespace tcapi_store
