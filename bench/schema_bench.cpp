// Adding a primary key to a 1,000,000-row table: through the component's
// dbCreateIndexItem on the default database (the DAO-style Indexes.Append of
// a primary index, which rebuilds the table in one transaction) against the
// bare SQL an expert would write for the same rebuild (create the new table
// with its key, copy, drop, rename, recreate the other index, in one
// transaction), in the same run. The ratio of the two is reported as the
// counter time_ratio of the component's benchmark. ZMDB_BENCH_SCALE (a
// factor such as 0.1) makes the table smaller for a quick run.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"

namespace {

// `n` scaled by ZMDB_BENCH_SCALE when it is set, at least 1.
int Scaled(int n) {
  const char* scale = std::getenv("ZMDB_BENCH_SCALE");
  if (!scale) return n;
  const double factor = std::atof(scale);
  return factor > 0 ? std::max(1, static_cast<int>(n * factor)) : n;
}

const int kRows = Scaled(1'000'000);

// The table both sides start from, as the file store declares it.
constexpr const char* kTable =
    "CREATE TABLE T (ID INTEGER, Code VARCHAR(10) COLLATE NOCASE CHECK (length(Code) <= 10), "
    "V DOUBLE)";

std::string BenchFile() {
  return (std::filesystem::temp_directory_path() / "zmdb_bench_schema.db").string();
}

void Exec(sqlite3* db, const char* sql) {
  char* msg = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &msg) != SQLITE_OK) {
    std::string text = msg ? msg : "failed";
    sqlite3_free(msg);
    throw std::runtime_error(text + " in " + sql);
  }
}

// A fresh file with kRows rows and an index on Code, in write-ahead logging
// as the file store opens files.
void MakeFile(const std::string& path) {
  std::filesystem::remove(path);
  std::filesystem::remove(path + "-wal");
  std::filesystem::remove(path + "-shm");
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  Exec(db, "PRAGMA journal_mode=WAL");
  Exec(db, kTable);
  const std::string fill =
      "INSERT INTO T (ID, Code, V) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM "
      "n WHERE i < " +
      std::to_string(kRows) + ") SELECT i, 'c' || (i % 100000), i * 0.5 FROM n";
  Exec(db, fill.c_str());
  Exec(db, "CREATE INDEX ByCode ON T (Code)");
  sqlite3_close(db);
}

// Mean seconds per rebuild of each side, for the ratio.
double g_componentSeconds = 0, g_sqlSeconds = 0;

void BM_AddPrimaryKey_Component(benchmark::State& state) {
  const std::string path = BenchFile();
  double total = 0;
  for (auto _ : state) {
    state.PauseTiming();
    MakeFile(path);
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    {
      zmdb::clsZMDBFunc obj;
      if (!obj.dbOpenDateBase(path, "") || !obj.dbCreateIndexItem("T") ||
          !obj.dbCloseConnect(true)) {
        state.SkipWithError(
            ("dbCreateIndexItem failed: " + obj.dbGetLastError().Description).c_str());
        break;
      }
    }
    total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  g_componentSeconds = total / static_cast<double>(state.iterations());
  if (g_sqlSeconds > 0) state.counters["time_ratio"] = g_componentSeconds / g_sqlSeconds;
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kRows);
}

void BM_AddPrimaryKey_BareSql(benchmark::State& state) {
  const std::string path = BenchFile();
  double total = 0;
  for (auto _ : state) {
    state.PauseTiming();
    MakeFile(path);
    state.ResumeTiming();
    const auto start = std::chrono::steady_clock::now();
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    Exec(db, "BEGIN");
    Exec(db,
         "CREATE TABLE T_new (ID INT NOT NULL, Code VARCHAR(10) COLLATE NOCASE CHECK (length(Code) "
         "<= 10), V DOUBLE, PRIMARY KEY (ID))");
    Exec(db, "INSERT INTO T_new (ID, Code, V) SELECT ID, Code, V FROM T");
    Exec(db, "DROP TABLE T");
    Exec(db, "ALTER TABLE T_new RENAME TO T");
    Exec(db, "CREATE INDEX ByCode ON T (Code)");
    Exec(db, "COMMIT");
    sqlite3_close(db);
    total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  g_sqlSeconds = total / static_cast<double>(state.iterations());
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kRows);
}

}  // namespace

// The bare SQL runs first so the component's benchmark can report the ratio.
BENCHMARK(BM_AddPrimaryKey_BareSql)->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddPrimaryKey_Component)->Iterations(3)->Unit(benchmark::kMillisecond);
