// The main of the benchmarks: the library's stores are registered first, as
// for the tests.
#include <benchmark/benchmark.h>

#include "zmdb/dal/stores/builtin.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  zmdb::dal::RegisterBuiltInStores();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
