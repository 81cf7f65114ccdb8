#include "control.h"

#include <endian.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kSize = control::kWords * sizeof(uint32_t);

[[noreturn]] void give_up(const char* what) {
  fprintf(stderr, "gateway world: %s\n", what);
  _exit(125);
}

uint32_t* map() {
  const int fd = open(control::file("control").c_str(), O_RDWR | O_CLOEXEC);
  if (fd == -1) give_up("no control file");
  void* place = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (place == MAP_FAILED) give_up("control file not mapped");
  close(fd);
  return static_cast<uint32_t*>(place);
}

uint32_t* g_own;  // the words of this process alone

uint32_t* words() {
  if (g_own != nullptr) return g_own;
  static uint32_t* const place = map();
  return place;
}

}  // namespace

namespace control {

void begin_here() {
  static uint32_t s_words[kWords];
  memset(s_words, 0, sizeof s_words);
  g_own = s_words;
}

uint32_t read(Word word) { return be32toh(__atomic_load_n(words() + word, __ATOMIC_RELAXED)); }

void write(Word word, uint32_t value) { __atomic_store_n(words() + word, htobe32(value), __ATOMIC_RELAXED); }

void count(Word word) { write(word, read(word) + 1); }

std::string file(const char* name) {
  const char* folder = getenv("NUVEK_WORLD_FOLDER");
  if (folder == nullptr) give_up("NUVEK_WORLD_FOLDER names no folder");
  return std::string(folder) + "/" + name;
}

}  // namespace control
