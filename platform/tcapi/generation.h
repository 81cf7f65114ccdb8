// The generation of the live level: a word in the lock file, mapped by all processes, by which each knows without a
// system call that the level changed. Even while the level stands still, and odd from just before a new level takes the
// old one's name until just after: a writer that dies in between leaves it odd, and then every process reads the level
// anew. One for each process.
#ifndef NUVEK_PLATFORM_TCAPI_GENERATION_H
#define NUVEK_PLATFORM_TCAPI_GENERATION_H

#include <sys/stat.h>

#include <cstdint>

namespace tcapi_store {

class Generation {
 public:
  // Whether somebody cut the mapped file off. The word is an odd one of this process's own from then on, until map().
  bool is_cut() const;

  // Whether the word of this lock file is mapped.
  bool is_of(const struct stat& lock) const;

  // Maps the word of a lock file, which is made when it is missing. Returns false, with the reason in errno.
  bool map(int lock_fd, const struct stat& lock);

  uint32_t read() const;
  void write(uint32_t generation);

  // A generation of a level that stands still, which no process holds yet: what follows this one, or, after 0, which is
  // a word that nobody has written, a beginning of its own. Never 0.
  static uint32_t after(uint32_t generation);

 private:
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace tcapi_store

#endif
