// Stands in for the calls on files that are no sockets: each does what it always does, unless the walk is at it.
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "walk.h"
#include "world.h"

using walk::fails_with_errno;
using walk::kFiles;

extern "C" {

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
