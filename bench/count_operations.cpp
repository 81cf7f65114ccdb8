// Under callgrind: dumps the instructions of 100 runs of each operation, and of 1000 ticks of the timer thread, each
// dump named SUBJECT/BY/RUNS.
#include <valgrind/callgrind.h>

#include "bench/operations.h"

namespace {

constexpr int kRuns = 100;
constexpr int kTicks = 1000;

void dump(const std::string& name, int runs) {
  const std::string label = name + "/" + std::to_string(runs);
  CALLGRIND_DUMP_STATS_AT(label.c_str());
}

}  // namespace

int main() {
  make_world();
  std::vector<Operation> operations;
  add_md5(operations);
  add_json(operations);
  add_messages(operations);
  for (const Operation& operation : operations) {
    operation.run();  // what only the first run does is not counted
    CALLGRIND_ZERO_STATS;
    for (int k = 0; k < kRuns; ++k) operation.run();
    dump(operation.subject + "/" + operation.by, kRuns);
  }
  run_ticks(
      kTicks, [] { CALLGRIND_ZERO_STATS; }, [] { dump("idle tick of the timer/nuvek", kTicks); });
}
