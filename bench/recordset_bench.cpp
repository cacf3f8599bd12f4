// Recordsets on the file store against plain SQLite in the same run:
//   - opening a static recordset over 1,000,000 rows against a sqlite3_step
//     loop that reads every value (time), and the recordset's memory against
//     the size of the raw values;
//   - 100,000 rows added through AddNew/Update against prepared INSERTs, both
//     in one transaction.
// The ratios are reported as counters (time_ratio, memory_ratio).
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;

constexpr int kRows = 1'000'000;

std::string BenchFile(const char* name) {
  return (std::filesystem::temp_directory_path() / name).string();
}

// A file with kRows rows of (ID, Name, Pay, Hired), made once per run.
const std::string& BigFile() {
  static const std::string path = [] {
    const std::string p = BenchFile("zmdb_bench_big.db");
    std::filesystem::remove(p);
    sqlite3* db = nullptr;
    sqlite3_open(p.c_str(), &db);
    sqlite3_exec(db,
                 "CREATE TABLE Staff (ID INTEGER, Name VARCHAR(20) COLLATE NOCASE, Pay DOUBLE, "
                 "Hired DATETIME)",
                 nullptr, nullptr, nullptr);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO Staff VALUES (?, ?, ?, ?)", -1, &st, nullptr);
    for (int i = 0; i < kRows; ++i) {
      const std::string name = "Name" + std::to_string(i % 9973);
      sqlite3_bind_int(st, 1, i);
      sqlite3_bind_text(st, 2, name.c_str(), -1, SQLITE_TRANSIENT);
      sqlite3_bind_double(st, 3, 1000.0 + i % 500);
      sqlite3_bind_text(st, 4, "2004-08-30 00:00:00", -1, SQLITE_STATIC);
      sqlite3_step(st);
      sqlite3_reset(st);
    }
    sqlite3_finalize(st);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    return p;
  }();
  return path;
}

// Every value of every row read with sqlite3_step; returns the raw bytes seen
// (4 per integer, 8 per double, the text's bytes) and the time taken.
std::pair<std::size_t, double> RawLoop(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  const auto start = std::chrono::steady_clock::now();
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "SELECT * FROM Staff", -1, &st, nullptr);
  std::size_t bytes = 0;
  std::int64_t sum = 0;
  while (sqlite3_step(st) == SQLITE_ROW) {
    sum += sqlite3_column_int(st, 0);
    bytes += 4 + static_cast<std::size_t>(sqlite3_column_bytes(st, 1)) + 8 +
             static_cast<std::size_t>(sqlite3_column_bytes(st, 3));
    benchmark::DoNotOptimize(sqlite3_column_text(st, 1));
    benchmark::DoNotOptimize(sqlite3_column_double(st, 2));
    benchmark::DoNotOptimize(sqlite3_column_text(st, 3));
  }
  sqlite3_finalize(st);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  benchmark::DoNotOptimize(sum);
  sqlite3_close(db);
  return {bytes, seconds};
}

void BM_StaticRecordsetVsStepLoop(benchmark::State& state) {
  const std::string& path = BigFile();
  double raw = 0, ours = 0;
  std::size_t rawBytes = 0, memory = 0;
  for (auto _ : state) {
    const auto [bytes, seconds] = RawLoop(path);
    raw += seconds;
    rawBytes = bytes;
    auto cn = dal::Connection::Create();
    cn->Open(path);
    const auto start = std::chrono::steady_clock::now();
    auto rs = dal::Recordset::Create();
    rs->Open(Variant("SELECT * FROM Staff"), Variant(zmdb::rt::ObjectRef(cn)),
             dal::ado::adOpenStatic, dal::ado::adLockReadOnly);
    const double t =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ours += t;
    state.SetIterationTime(t);
    if (rs->RecordCount() != kRows) state.SkipWithError("wrong row count");
    memory = rs->MemoryUsed();
  }
  state.counters["time_ratio"] = ours / raw;
  state.counters["memory_ratio"] = static_cast<double>(memory) / static_cast<double>(rawBytes);
  state.counters["raw_s"] = raw / static_cast<double>(state.iterations());
  state.counters["recordset_s"] = ours / static_cast<double>(state.iterations());
  state.counters["raw_MB"] = static_cast<double>(rawBytes) / 1e6;
  state.counters["recordset_MB"] = static_cast<double>(memory) / 1e6;
}
BENCHMARK(BM_StaticRecordsetVsStepLoop)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseManualTime();

constexpr int kAdds = 100'000;

void BM_AddNewVsPreparedInsert(benchmark::State& state) {
  double raw = 0, ours = 0;
  for (auto _ : state) {
    const std::string rawPath = BenchFile("zmdb_bench_raw.db");
    const std::string ourPath = BenchFile("zmdb_bench_ours.db");
    for (const std::string& p : {rawPath, ourPath}) {
      std::filesystem::remove(p);
      sqlite3* db = nullptr;
      sqlite3_open(p.c_str(), &db);
      sqlite3_exec(db,
                   "PRAGMA journal_mode=WAL; CREATE TABLE T (ID INTEGER PRIMARY KEY AUTOINCREMENT, "
                   "Name VARCHAR(20) COLLATE NOCASE, Pay DOUBLE)",
                   nullptr, nullptr, nullptr);
      sqlite3_close(db);
    }
    {
      sqlite3* db = nullptr;
      sqlite3_open(rawPath.c_str(), &db);
      const auto start = std::chrono::steady_clock::now();
      sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
      sqlite3_stmt* st = nullptr;
      sqlite3_prepare_v2(db, "INSERT INTO T (Name, Pay) VALUES (?, ?)", -1, &st, nullptr);
      for (int i = 0; i < kAdds; ++i) {
        const std::string name = "N" + std::to_string(i);
        sqlite3_bind_text(st, 1, name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(st, 2, i * 1.5);
        sqlite3_step(st);
        sqlite3_reset(st);
      }
      sqlite3_finalize(st);
      sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
      raw += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      sqlite3_close(db);
    }
    {
      auto cn = dal::Connection::Create();
      cn->Open(ourPath);
      const auto start = std::chrono::steady_clock::now();
      cn->BeginTrans();
      auto rs = dal::Recordset::Create();
      rs->Open(Variant("SELECT * FROM T"), Variant(zmdb::rt::ObjectRef(cn)), dal::ado::adOpenStatic,
               dal::ado::adLockOptimistic);
      auto name = rs->fields()->Item(Variant("Name"));
      auto pay = rs->fields()->Item(Variant("Pay"));
      for (int i = 0; i < kAdds; ++i) {
        rs->AddNew();
        name->SetValue(Variant("N" + std::to_string(i)));
        pay->SetValue(Variant(i * 1.5));
        rs->Update();
      }
      cn->CommitTrans();
      const double t =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      ours += t;
      state.SetIterationTime(t);
    }
  }
  state.counters["time_ratio"] = ours / raw;
  state.counters["raw_s"] = raw / static_cast<double>(state.iterations());
  state.counters["addnew_s"] = ours / static_cast<double>(state.iterations());
}
BENCHMARK(BM_AddNewVsPreparedInsert)->Unit(benchmark::kMillisecond)->Iterations(2)->UseManualTime();

}  // namespace

namespace {

// Small transactions (one INSERT each, as a caller running statements one
// by one makes them) in write-ahead logging against the rollback journal, to
// choose the file store's default. Both run on plain SQLite.
void BM_JournalMode(benchmark::State& state) {
  const bool wal = state.range(0) == 1;
  constexpr int kCommits = 500;
  double seconds = 0;
  for (auto _ : state) {
    const std::string path = BenchFile(wal ? "zmdb_bench_wal.db" : "zmdb_bench_delete.db");
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_exec(db, wal ? "PRAGMA journal_mode=WAL" : "PRAGMA journal_mode=DELETE", nullptr,
                 nullptr, nullptr);
    sqlite3_exec(db, "CREATE TABLE T (ID INTEGER, Name VARCHAR(20))", nullptr, nullptr, nullptr);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kCommits; ++i) {
      const std::string sql = "INSERT INTO T VALUES (" + std::to_string(i) + ", 'x')";
      sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
    }
    const double t =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    sqlite3_close(db);
    seconds += t;
    state.SetIterationTime(t);
  }
  state.counters["commits_per_s"] = kCommits * static_cast<double>(state.iterations()) / seconds;
}
BENCHMARK(BM_JournalMode)
    ->Arg(1)
    ->Arg(0)
    ->ArgName("wal")
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
