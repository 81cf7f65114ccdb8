// The desk's stand-in for the gateway's configuration store: the contract of platform/tcapi.h over files.
//
// The folder is named by the environment variable TCAPI_STORE; without it it is $NUVEK_ROOT/var/lib/tcapi, and without
// that too /var/lib/tcapi. It is made when it is missing. In it stand
//
//   flash       the level that survives a power cut; only tcapi_save writes it, as a whole and through to the disk
//   live/level  the level that tcapi_get reads and tcapi_set changes; when it is missing, flash is loaded to make it
//   lock        taken by writers and by processes that load; it also holds the word that tells every process that the
//               live level changed, so it must not be written by hand; cut off, it is told and made anew
//
// A power cut is "rm -r live". A process that runs on through it sees flash with its next write, or as soon as any
// other process uses the store.
//
// Both levels are texts, to be read and (flash) to be written by hand:
//
//   # tcapi store 1
//   [nuvek_Common]
//   UUID=4f9d2c1e
//   Note=first line\nsecond line
//   # end
//
// The first and the last line must stand just so, each line ending with a newline: what lacks its last line is torn.
// Other lines that begin with # and empty lines are comments, and stay where they are. A name has 1 to 63 visible ASCII
// characters without = # [ ]. A value is all that follows the =, blanks too, 1,023 characters at most, with \\, \n and
// \r for backslash, newline and carriage return; every other byte but NUL stands for itself. Of two equal attributes of
// a node the first one counts. A file that breaks these rules or is larger than 1 MiB is refused and never overwritten:
// the reason goes to standard error once, and every call answers -1 until somebody mends or removes the file.

// Only the contract's own functions are seen outside the library. Ahead of every header that includes the contract too.
#pragma GCC visibility push(default)
#include "platform/tcapi.h"
#pragma GCC visibility pop

#include <pthread.h>

#include <cstdarg>
#include <cstdio>

#include "platform/tcapi/store.h"

namespace {

constexpr int kDone = 0;
constexpr int kRefused = -1;

tcapi_store::Store g_store;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;

void lock() { pthread_mutex_lock(&g_mutex); }
void unlock() { pthread_mutex_unlock(&g_mutex); }

class Guard {
 public:
  Guard() { lock(); }
  ~Guard() { unlock(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
};

// A child is born with no call under way: a thread that held the mutex would not exist there to give it back.
__attribute__((constructor)) void register_fork_handlers() { pthread_atfork(lock, unlock, unlock); }

}  // namespace

int tcapi_get(const char* node, const char* attr, char* value) {
  if (node == nullptr || attr == nullptr || value == nullptr) return kRefused;
  const Guard guard;
  if (!g_store.refresh()) return kRefused;
  const tcapi_store::Place place = g_store.find(node, attr);
  if (!place.has_attr) return kRefused;
  tcapi_store::unescape(place.value, value);
  return kDone;
}

int tcapi_set(const char* node, const char* attr, const char* value) {
  const Guard guard;
  return g_store.change(node, attr, value) ? kDone : kRefused;
}

// Nothing listens on a desk, so this only answers.
int tcapi_commit(const char* node) {
  if (node == nullptr) return kRefused;
  const Guard guard;
  return g_store.refresh() && g_store.find(node, {}).has_node ? kDone : kRefused;
}

int tcapi_save(void) {
  const Guard guard;
  return g_store.save() ? kDone : kRefused;
}

// The desk's console is standard error.
int tcdbg_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int printed = vfprintf(stderr, format, arguments);
  va_end(arguments);
  return printed;
}
