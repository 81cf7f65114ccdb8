// The store's files: its folder with the lock that writers and loading readers take in turn, reading a whole file and
// replacing one as a whole. Failures are left in errno; the caller tells them.
#ifndef NUVEK_PLATFORM_TCAPI_STORE_FILE_H
#define NUVEK_PLATFORM_TCAPI_STORE_FILE_H

#include <sys/stat.h>

#include <cstddef>
#include <string_view>

#include "platform/tcapi/folder_name.h"

namespace tcapi_store {

// Names below the store's folder.
constexpr char kLockFile[] = "lock";
constexpr char kFlashFile[] = "flash";
constexpr char kNewFlashFile[] = "flash.new";
constexpr char kLiveFolder[] = "live";
constexpr char kLevelFile[] = "live/level";
constexpr char kNewLevelFile[] = "live/level.new";

// A descriptor that is closed with its owner.
class Fd {
 public:
  explicit Fd(int fd) : fd_(fd) {}
  ~Fd() { close(); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  // Returns whether the system took the file's last bytes.
  bool close();

 private:
  int fd_;
};

// The store's folder, made when it is missing, with its lock held until the owner goes. The lock dies with the process.
class LockedFolder {
 public:
  explicit LockedFolder(const char* path);
  ~LockedFolder();
  bool is_held() const { return held_; }
  int fd() const { return folder_.get(); }
  int lock_fd() const { return lock_.get(); }

 private:
  Fd folder_;
  Fd lock_;
  bool held_;
};

// What tells one state of a file from the next without reading it.
struct FileId {
  ino_t inode;
  off_t size;
  timespec changed;
};
FileId id_of(const struct stat& status);
bool operator==(const FileId& a, const FileId& b);

// The whole content of a file, kept in one piece of memory that is used again for the next file.
class FileText {
 public:
  // Reads a file of at most `limit` bytes. Returns null, or why it was not read.
  const char* read(const Fd& file, size_t limit);
  // Sets the content without a file.
  const char* assign(std::string_view first, std::string_view second);
  std::string_view view() const { return {bytes_, size_}; }
  const FileId& id() const { return id_; }

 private:
  bool reserve(size_t size);
  char* bytes_ = nullptr;  // never given back: the store lives as long as its process
  size_t capacity_ = 0;
  size_t size_ = 0;
  FileId id_{};
};

// A text in three parts, as one change makes it: what was ahead, what is new, what follows.
struct Parts {
  std::string_view head;
  std::string_view middle;
  std::string_view tail;
};

// Writes a new file in the folder, to the disk itself when `to_disk`. Removes what it began when it fails.
bool write_file(int folder, const char* name, const Parts& parts, bool to_disk);

// Writes bytes to a descriptor until all are taken.
bool write_all(int fd, std::string_view bytes);

}  // namespace tcapi_store

#endif
