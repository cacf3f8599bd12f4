// Throughput of TranslateJetToSql on long select lists full of IIF and FORMAT,
// the constructs that drive its repeated rewrite pass (one of each per pass).
#include <benchmark/benchmark.h>

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

}  // namespace
