// Throughput of TranslateJetToSql on long select lists full of IIF and FORMAT,
// the constructs that drive its repeated rewrite pass (one of each per pass).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "zmdb/sqlconv/translator.h"

namespace {

// A statement of at least `bytes` characters: SELECT, a select list of
// repeated `item`s, FROM T.
std::string BuildStatement(std::size_t bytes, const char* item) {
  std::string s = "SELECT ";
  while (s.size() < bytes) s += item;
  s += "X FROM T";
  return s;
}

// Translates one statement of state.range(0) bytes made of `item`s per
// iteration; reports bytes per second and the input size.
void RunTranslate(benchmark::State& state, const char* item) {
  const std::string statement = BuildStatement(static_cast<std::size_t>(state.range(0)), item);
  for (auto _ : state) {
    std::string out = zmdb::sqlconv::TranslateJetToSql(statement);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(statement.size()));
  state.counters["input_bytes"] = static_cast<double>(statement.size());
}

// One IIF and one FORMAT per item: each pass rewrites one of each.
void BM_TranslateIifFormat(benchmark::State& state) {
  RunTranslate(state, "IIF(A>0,'Y','N'),FORMAT(D,'yyyy/mm/dd'),");
}

// FORMAT only: the IIF search of every pass finds nothing.
void BM_TranslateFormatOnly(benchmark::State& state) {
  RunTranslate(state, "FORMAT(D,'yyyy/mm/dd'),FORMAT(N,'000000'),");
}

BENCHMARK(BM_TranslateIifFormat)
    ->Arg(100 << 10)
    ->Arg(250 << 10)
    ->Arg(500 << 10)
    ->Arg(1 << 20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TranslateFormatOnly)->Arg(100 << 10)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

// IIF nested in its own condition, IIF(IIF(...A,1,2),1,2), grown to `bytes`:
// every pass rewrites the outermost remaining IIF( whose condition holds all
// the rest, so this measures whether a pass costs what it changes or what its
// arguments hold.
std::string NestedIif(std::size_t bytes) {
  const std::size_t levels = (bytes - 15) / 10;
  std::string s = "SELECT ";
  for (std::size_t i = 0; i < levels; ++i) s += "IIF(";
  s += "A";
  for (std::size_t i = 0; i < levels; ++i) s += ",1,2)";
  return s + " FROM T";
}

// Nested IIF of state.range(0) bytes, with the flat IIF/FORMAT statement of
// the same size translated once beforehand: "vs_flat" is the nested time per
// byte over the flat time per byte (near 1 when nesting costs nothing extra).
void BM_TranslateNestedIif(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  const std::string flat = BuildStatement(bytes, "IIF(A>0,'Y','N'),FORMAT(D,'yyyy/mm/dd'),");
  const std::string nested = NestedIif(bytes);
  const auto per_byte = [](const std::string& statement) {
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(zmdb::sqlconv::TranslateJetToSql(statement).data());
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    return took.count() / static_cast<double>(statement.size());
  };
  const double flat_per_byte = per_byte(flat);
  double nested_seconds = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    std::string out = zmdb::sqlconv::TranslateJetToSql(nested);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
    nested_seconds +=
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(nested.size()));
  state.counters["input_bytes"] = static_cast<double>(nested.size());
  state.counters["vs_flat"] = nested_seconds / static_cast<double>(state.iterations()) /
                              static_cast<double>(nested.size()) / flat_per_byte;
}

BENCHMARK(BM_TranslateNestedIif)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TranslateIifFormat)
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
