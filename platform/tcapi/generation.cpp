#include "platform/tcapi/generation.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "platform/tcapi/store_file.h"

namespace tcapi_store {
namespace {

using Word = std::atomic<uint32_t>;
static_assert(Word::is_always_lock_free, "the word is shared by processes that know no common lock");

constexpr uint32_t kChanging = 1;  // the lowest bit

// Beside the signal handler, which knows nothing else.
Word* g_word = nullptr;
volatile sig_atomic_t g_is_cut = 0;
struct sigaction g_former = {};

Word* map_word(void* place, int flags, int fd) {
  void* const word = mmap(place, sizeof(Word), PROT_READ | PROT_WRITE, flags, fd, 0);
  return word != MAP_FAILED ? static_cast<Word*>(word) : nullptr;
}

// Whoever cuts off a mapped file ends the programs that touch the mapping next. The word becomes one of this process's
// own instead, odd, so that the store goes to the file and finds out. A bus error of something else comes back when the
// word is this process's own already, and then is what it was before. (The address that comes with the signal is not
// asked: an emulator gives one of its own world.)
void stand_in_for_cut_word(int, siginfo_t* info, void*) {
  const int error = errno;
  const bool is_sent = info->si_code <= 0;
  const bool may_be_cut = !is_sent && g_word != nullptr && g_is_cut == 0;
  if (may_be_cut && map_word(g_word, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1) == g_word) {
    g_word->store(kChanging, std::memory_order_relaxed);
    g_is_cut = 1;
  } else {
    sigaction(SIGBUS, &g_former, nullptr);
    if (is_sent) raise(SIGBUS);  // otherwise it comes back by itself
  }
  errno = error;
}

// Once in a process's life: two libraries that each take the signal back would hand it to and fro.
void catch_bus_errors() {
  static bool s_is_caught = false;
  if (s_is_caught) return;
  s_is_caught = true;
  struct sigaction ours = {};
  ours.sa_sigaction = stand_in_for_cut_word;
  ours.sa_flags = SA_SIGINFO;
  sigaction(SIGBUS, &ours, &g_former);
}

// Where to begin when nothing is known of what other processes hold: not where any of them may have begun.
uint32_t beginning() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint32_t>(now.tv_sec) * 1000000000U + static_cast<uint32_t>(now.tv_nsec);
}

}  // namespace

bool Generation::is_cut() const {
  if (g_word != nullptr) read();
  return g_is_cut != 0;
}

bool Generation::is_of(const struct stat& lock) const {
  return g_word != nullptr && device_ == lock.st_dev && inode_ == lock.st_ino;
}

bool Generation::map(int lock_fd, const struct stat& lock) {
  if (g_word != nullptr) munmap(g_word, sizeof *g_word);
  g_word = nullptr;
  g_is_cut = 0;
  // Written, not only made longer: a full disk shall be told here and not by a signal at the mapped word.
  const char zero[sizeof(Word)] = {};
  if (lock.st_size < off_t{sizeof zero} && !write_all(lock_fd, {zero, sizeof zero})) return false;
  catch_bus_errors();
  g_word = map_word(nullptr, MAP_SHARED, lock_fd);
  if (g_word == nullptr) return false;
  device_ = lock.st_dev;
  inode_ = lock.st_ino;
  return true;
}

uint32_t Generation::after(uint32_t generation) {
  const uint32_t next = ((generation != 0 ? generation : beginning()) | kChanging) + 1;
  return std::max(next, kChanging + 1);
}

uint32_t Generation::read() const { return g_word->load(std::memory_order_acquire); }

void Generation::write(uint32_t generation) { g_word->store(generation, std::memory_order_release); }

}  // namespace tcapi_store
