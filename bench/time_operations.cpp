// Times the operations with Google Benchmark; its options apply, e.g. --benchmark_format=json.
#include <benchmark/benchmark.h>

#include "bench/operations.h"

int main(int argc, char** argv) {
  make_world();
  std::vector<Operation> operations;
  add_md5(operations);
  add_json(operations);
  add_messages(operations);
  for (const Operation& operation : operations) {
    benchmark::RegisterBenchmark((operation.subject + "/" + operation.by).c_str(),
                                 [&operation](benchmark::State& state) {
                                   for (auto _ : state) operation.run();
                                 });
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
