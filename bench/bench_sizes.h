// What the benchmarks share: their sizes, scaled for a quick run, and where
// their files go.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace zmdb::bench {

using Clock = std::chrono::steady_clock;

// `n` scaled by ZMDB_BENCH_SCALE when it is set, at least 1.
inline int Scaled(int n) {
  const char* scale = std::getenv("ZMDB_BENCH_SCALE");
  if (!scale) return n;
  const double factor = std::atof(scale);
  return factor > 0 ? std::max(1, static_cast<int>(n * factor)) : n;
}

inline double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A file of the temporary directory.
inline std::string BenchFile(const char* name) {
  return (std::filesystem::temp_directory_path() / name).string();
}

}  // namespace zmdb::bench
