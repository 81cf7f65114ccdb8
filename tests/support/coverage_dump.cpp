// Keeps the coverage of a program that ends by a signal, as the daemon and the store's watcher do: without this, only a
// program that returns from main() writes its counts. Linked into programs of the coverage build alone.
#include <csignal>

extern "C" void __gcov_dump(void);

namespace {

// Not a function that a handler may call by the book. The programs are idle when the tests end them, and a lost count
// costs a line in a report.
void dump_and_end(int number) {
  __gcov_dump();
  signal(number, SIG_DFL);
  raise(number);
}

__attribute__((constructor)) void arm() { signal(SIGTERM, dump_and_end); }

}  // namespace
