// Stands in for the calls on files, and for those on any descriptor. Each does what it always does, unless a fault
// strikes or the walk is at it.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "faults.h"
#include "socket_calls.h"
#include "step.h"
#include "walk.h"
#include "world.h"
#include "year.h"

namespace {

using walk::fails_with_errno;
using walk::kFiles;

std::array<bool, 1024> g_new_files;  // by descriptor

bool in_step() { return world::is(world::Kind::step); }

}  // namespace

extern "C" {

// A file that the agent makes is remembered: on a full disk it is made, and takes nothing.
int open(const char* path, int flags, ...) {
  static const auto real = world::behind(&open, "open");
  if (fails_with_errno(kFiles, "open", {EACCES, EMFILE, ENFILE, ENOSPC, EROFS, EIO})) return -1;
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = static_cast<mode_t>(va_arg(arguments, unsigned));
    va_end(arguments);
  }
  uint32_t draw = 0;
  if (faults::strikes(faults::open, &draw)) {
    errno = draw % 2 == 0 ? EACCES : EMFILE;
    return -1;
  }
  const int fd = real(path, flags, mode);
  if (fd >= 0 && static_cast<size_t>(fd) < g_new_files.size()) {
    g_new_files[static_cast<size_t>(fd)] = (flags & O_CREAT) != 0 && world::is_played() && !faults::is_aside();
  }
  return fd;
}

ssize_t write(int fd, const void* data, size_t size) {
  static const auto real = world::behind(&write, "write");
  if (fails_with_errno(kFiles, "write", {ENOSPC, EIO, EINTR})) return -1;
  const size_t index = static_cast<size_t>(fd);
  if (fd < 0 || index >= g_new_files.size() || !g_new_files[index]) return real(fd, data, size);
  if (in_step()) step::pass("write " + std::to_string(fd));
  if (!faults::strikes(faults::full_disk)) return real(fd, data, size);
  errno = ENOSPC;
  return -1;
}

// On a full disk a file is opened, and emptied, all the same; what is written to it is lost.
FILE* fopen(const char* __restrict path, const char* __restrict mode) {
  static const auto real = world::behind(&fopen, "fopen");
  if (world::is(world::Kind::year)) year::witness_open(path);
  if (in_step()) {
    const faults::Aside aside;
    step::pass(std::string("open ") + path);
  }
  if (fails_with_errno(kFiles, "fopen", {EACCES, EMFILE, ENFILE, ENOMEM, EIO})) return nullptr;
  uint32_t draw = 0;
  if (faults::strikes(faults::open, &draw)) {
    errno = draw % 2 == 0 ? EACCES : EMFILE;
    return nullptr;
  }
  FILE* const file = real(path, mode);
  if (file == nullptr || mode[0] != 'w' || !faults::strikes(faults::full_disk)) return file;
  fclose(file);
  return real("/dev/full", mode);
}

int close(int fd) {
  static const auto real = world::behind(&close, "close");
  if (world::is(world::Kind::year)) year::witness_close(fd);
  if (fd >= 0 && static_cast<size_t>(fd) < g_new_files.size()) g_new_files[static_cast<size_t>(fd)] = false;
  sockets::end_connection(fd);
  const int result = real(fd);
  return fails_with_errno(kFiles, "close", {EIO, EINTR}) ? -1 : result;
}

ssize_t read(int fd, void* data, size_t size) {
  static const auto real = world::behind(&read, "read");
  return fails_with_errno(kFiles, "read", {EIO, EINTR}) ? -1 : real(fd, data, size);
}

int poll(pollfd* list, nfds_t count, int timeout_ms) {
  static const auto real = world::behind(&poll, "poll");
  return fails_with_errno(kFiles, "poll", {EINTR, ENOMEM}) ? -1 : real(list, count, timeout_ms);
}

int fsync(int fd) {
  static const auto real = world::behind(&fsync, "fsync");
  return fails_with_errno(kFiles, "fsync", {EIO, ENOSPC, EROFS}) ? -1 : real(fd);
}

int rename(const char* from, const char* to) noexcept {
  static const auto real = world::behind(&rename, "rename");
  return fails_with_errno(kFiles, "rename", {EIO, ENOSPC, EROFS, EACCES}) ? -1 : real(from, to);
}

int unlink(const char* path) noexcept {
  static const auto real = world::behind(&unlink, "unlink");
  return fails_with_errno(kFiles, "unlink", {EIO, EROFS, EACCES}) ? -1 : real(path);
}

int access(const char* path, int mode) noexcept {
  static const auto real = world::behind(&access, "access");
  return fails_with_errno(kFiles, "access", {EIO, EACCES, ENOMEM}) ? -1 : real(path, mode);
}

// A read of a file that fails ends like the file; nothing tells them apart for those who do not ask.
size_t fread(void* __restrict data, size_t size, size_t count, FILE* __restrict file) {
  static const auto real = world::behind(&fread, "fread");
  return fails_with_errno(kFiles, "fread", {EIO}) ? 0 : real(data, size, count, file);
}

char* fgets(char* __restrict text, int size, FILE* __restrict file) {
  static const auto real = world::behind(&fgets, "fgets");
  return fails_with_errno(kFiles, "fgets", {EIO}) ? nullptr : real(text, size, file);
}
}
