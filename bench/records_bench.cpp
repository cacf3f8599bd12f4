// The record methods on the file store against plain SQLite in the same run:
//   - rows added one call at a time by dbCreateRecord (each call commits its
//     row) against prepared INSERTs committed one per row on a file in the
//     same journal mode, and against the same INSERTs in one transaction;
//   - one column of every row copied into an array by dbGetRecord against a
//     sqlite3_step loop copying the same column into strings;
//   - every row of a table copied to another file by dbCopyRows against
//     INSERT INTO ... SELECT over the source file attached.
// Each reports time_ratio (ours over the peer) and the seconds of both sides.
// The sizes are 100,000 added rows and 1,000,000 read or copied rows;
// ZMDB_BENCH_SCALE (a factor such as 0.1) makes them smaller for a quick run.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_sizes.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;
using zmdb::bench::Clock;

using zmdb::bench::BenchFile;
using zmdb::bench::Scaled;
using zmdb::bench::SecondsSince;

void Exec(sqlite3* db, const std::string& sql) {
  char* msg = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &msg) != SQLITE_OK) {
    std::string text = msg ? msg : "failed";
    sqlite3_free(msg);
    throw std::runtime_error(text + " in " + sql);
  }
}

// A fresh file holding `ddl`, in write-ahead logging as the file store keeps
// its files.
void MakeFile(const std::string& path, const std::string& ddl) {
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  Exec(db, "PRAGMA journal_mode=WAL");
  Exec(db, ddl);
  sqlite3_close(db);
}

std::int64_t CountRows(const std::string& path, const char* table) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, (std::string("SELECT COUNT(*) FROM ") + table).c_str(), -1, &st, nullptr);
  const std::int64_t n = sqlite3_step(st) == SQLITE_ROW ? sqlite3_column_int64(st, 0) : -1;
  sqlite3_finalize(st);
  sqlite3_close(db);
  return n;
}

std::shared_ptr<dal::Connection> Connect(const std::string& path) {
  auto cn = dal::Connection::Create();
  cn->Open(path);
  return cn;
}

// The component's messages go nowhere while the benchmarks run.
struct QuietHost {
  QuietHost() { host->SetEcho(false); }
  std::shared_ptr<zmdb::rt::HeadlessHost> host = std::make_shared<zmdb::rt::HeadlessHost>();
  zmdb::rt::ScopedHost scope{host};
};

void ReportRatio(benchmark::State& state, const char* peerName, double ours, double peer) {
  const double n = static_cast<double>(state.iterations());
  state.counters["time_ratio"] = ours / peer;
  state.counters["ours_s"] = ours / n;
  state.counters[peerName] = peer / n;
}

// ---- Adding rows one call at a time ----

constexpr const char* kAddTable =
    "CREATE TABLE T (ID INTEGER PRIMARY KEY AUTOINCREMENT, Name VARCHAR(20) COLLATE NOCASE, "
    "Pay DOUBLE)";

// The row arrays dbCreateRecord takes, made before the clock starts.
std::vector<zmdb::rt::SafeArray> RowArrays(int rows) {
  std::vector<zmdb::rt::SafeArray> arrays;
  arrays.reserve(static_cast<std::size_t>(rows));
  for (int i = 0; i < rows; ++i) {
    std::vector<Variant> items;
    for (auto [field, value] :
         {std::pair<const char*, Variant>{"Name", Variant("N" + std::to_string(i))},
          {"Pay", Variant(i * 1.5)}}) {
      zmdb::FieldRec r;
      r.TableName = "T";
      r.FieldName = field;
      r.FieldVal = value;
      items.emplace_back(r.ToRecord());
    }
    arrays.emplace_back(zmdb::rt::VarType::Record, 0, std::move(items));
  }
  return arrays;
}

// Prepared INSERTs into T of the rows of `names` from `from` up to `to` on
// `db`, each row committed on its own unless `oneTransaction`. The file keeps
// the journal mode it was made with; the caller sets synchronous=NORMAL, as
// the file store does.
double RawInserts(sqlite3* db, const std::vector<std::string>& names, std::size_t from,
                  std::size_t to, bool oneTransaction) {
  const auto start = Clock::now();
  if (oneTransaction) Exec(db, "BEGIN");
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "INSERT INTO T (Name, Pay) VALUES (?, ?)", -1, &st, nullptr);
  for (std::size_t i = from; i < to; ++i) {
    sqlite3_bind_text(st, 1, names[i].c_str(), -1, SQLITE_STATIC);
    sqlite3_bind_double(st, 2, static_cast<double>(i) * 1.5);
    sqlite3_step(st);
    sqlite3_reset(st);
  }
  sqlite3_finalize(st);
  if (oneTransaction) Exec(db, "COMMIT");
  return SecondsSince(start);
}

void BM_CreateRecordVsPerRowCommits(benchmark::State& state) {
  const int rows = Scaled(100'000);
  // The two per-row sides take turns in blocks of rows, so that a change in
  // the disk's load during the run reaches both alike.
  constexpr std::size_t kBlock = 1'000;
  QuietHost quiet;
  const auto arrays = RowArrays(rows);
  std::vector<std::string> names;
  for (int i = 0; i < rows; ++i) names.push_back("N" + std::to_string(i));
  const std::string ourPath = BenchFile("zmdb_bench_create_ours.db");
  const std::string rowPath = BenchFile("zmdb_bench_create_row.db");
  const std::string txPath = BenchFile("zmdb_bench_create_tx.db");
  double ours = 0, perRow = 0, oneTx = 0;
  for (auto _ : state) {
    for (const auto& p : {ourPath, rowPath, txPath}) MakeFile(p, kAddTable);
    sqlite3* db = nullptr;
    sqlite3_open(txPath.c_str(), &db);
    Exec(db, "PRAGMA synchronous=NORMAL");
    oneTx += RawInserts(db, names, 0, names.size(), true);
    sqlite3_close(db);
    sqlite3_open(rowPath.c_str(), &db);
    Exec(db, "PRAGMA synchronous=NORMAL");
    auto cn = Connect(ourPath);
    double t = 0;
    {
      zmdb::clsZMDBFunc obj;
      const Variant conn{zmdb::rt::ObjectRef(cn)};
      for (std::size_t from = 0; from < arrays.size(); from += kBlock) {
        const std::size_t to = std::min(arrays.size(), from + kBlock);
        perRow += RawInserts(db, names, from, to, false);
        const auto start = Clock::now();
        for (std::size_t i = from; i < to; ++i) {
          if (!obj.dbCreateRecord(arrays[i], conn)) state.SkipWithError("dbCreateRecord failed");
        }
        t += SecondsSince(start);
      }
      const auto start = Clock::now();
      obj.dbCloseRecordset();
      t += SecondsSince(start);
    }
    sqlite3_close(db);
    ours += t;
    state.SetIterationTime(t);
    if (CountRows(ourPath, "T") != rows || CountRows(rowPath, "T") != rows) {
      state.SkipWithError("wrong row count");
    }
  }
  ReportRatio(state, "per_row_s", ours, perRow);
  state.counters["one_tx_ratio"] = ours / oneTx;
  state.counters["one_tx_s"] = oneTx / static_cast<double>(state.iterations());
  state.counters["rows"] = rows;
}
BENCHMARK(BM_CreateRecordVsPerRowCommits)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->UseManualTime();

// ---- A table of many rows, read and copied ----

constexpr const char* kStaffTable =
    "CREATE TABLE Staff (ID INTEGER, Name VARCHAR(20) COLLATE NOCASE, Pay DOUBLE, "
    "Hired DATETIME)";

// A file with the scaled 1,000,000 rows of (ID, Name, Pay, Hired), made once per run.
const std::string& BigFile() {
  static const std::string path = [] {
    const std::string p = BenchFile("zmdb_bench_records_big.db");
    MakeFile(p, kStaffTable);
    sqlite3* db = nullptr;
    sqlite3_open(p.c_str(), &db);
    Exec(db,
         "INSERT INTO Staff WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE "
         "i + 1 < " +
             std::to_string(Scaled(1'000'000)) +
             ") SELECT i, 'Name' || (i % 9973), 1000.0 + i % 500, '2004-08-30 00:00:00' FROM n");
    sqlite3_close(db);
    return p;
  }();
  return path;
}

// The Name of every row copied into strings by a sqlite3_step loop.
double StepLoop(const std::string& path, std::size_t& copied) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  const auto start = Clock::now();
  sqlite3_stmt* st = nullptr;
  sqlite3_prepare_v2(db, "SELECT Name FROM Staff", -1, &st, nullptr);
  std::vector<std::string> names;
  while (sqlite3_step(st) == SQLITE_ROW) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    names.emplace_back(text, static_cast<std::size_t>(sqlite3_column_bytes(st, 0)));
  }
  sqlite3_finalize(st);
  const double t = SecondsSince(start);
  copied = names.size();
  benchmark::DoNotOptimize(names.data());
  sqlite3_close(db);
  return t;
}

void BM_GetRecordVsStepLoop(benchmark::State& state) {
  const std::string& path = BigFile();
  const auto rows = static_cast<std::size_t>(Scaled(1'000'000));
  QuietHost quiet;
  double ours = 0, raw = 0;
  for (auto _ : state) {
    std::size_t copied = 0;
    raw += StepLoop(path, copied);
    // A client-side cursor knows its count; a server-side forward-only one
    // reports -1 and dbGetRecord copies nothing.
    auto cn = Connect(path);
    cn->SetCursorLocation(dal::ado::adUseClient);
    zmdb::clsZMDBFunc obj;
    std::int32_t count = 0;
    const auto start = Clock::now();
    const auto names =
        obj.dbGetRecord("Staff", "Name", count, "", Variant(zmdb::rt::ObjectRef(cn)));
    const double t = SecondsSince(start);
    ours += t;
    state.SetIterationTime(t);
    if (copied != rows || static_cast<std::size_t>(count) != rows || names.items().size() != rows) {
      state.SkipWithError("wrong row count");
    }
  }
  ReportRatio(state, "step_loop_s", ours, raw);
}
BENCHMARK(BM_GetRecordVsStepLoop)->Unit(benchmark::kMillisecond)->Iterations(2)->UseManualTime();

void BM_CopyRowsVsInsertSelect(benchmark::State& state) {
  const std::string& source = BigFile();
  const auto rows = static_cast<std::int64_t>(Scaled(1'000'000));
  const std::string ourPath = BenchFile("zmdb_bench_copy_ours.db");
  const std::string rawPath = BenchFile("zmdb_bench_copy_raw.db");
  QuietHost quiet;
  double ours = 0, raw = 0;
  for (auto _ : state) {
    for (const auto& p : {ourPath, rawPath}) MakeFile(p, kStaffTable);
    {
      sqlite3* db = nullptr;
      sqlite3_open(rawPath.c_str(), &db);
      const auto start = Clock::now();
      Exec(db, "ATTACH DATABASE '" + source + "' AS src");
      Exec(db, "INSERT INTO Staff SELECT * FROM src.Staff");
      raw += SecondsSince(start);
      sqlite3_close(db);
    }
    {
      auto from = Connect(source);
      auto to = Connect(ourPath);
      zmdb::clsZMDBFunc obj;
      const auto start = Clock::now();
      if (!obj.dbCopyRows("Staff", "Staff", "", Variant(zmdb::rt::ObjectRef(from)),
                          Variant(zmdb::rt::ObjectRef(to)))) {
        state.SkipWithError("dbCopyRows failed");
      }
      const double t = SecondsSince(start);
      ours += t;
      state.SetIterationTime(t);
    }
    if (CountRows(ourPath, "Staff") != rows || CountRows(rawPath, "Staff") != rows) {
      state.SkipWithError("wrong row count");
    }
  }
  ReportRatio(state, "insert_select_s", ours, raw);
}
BENCHMARK(BM_CopyRowsVsInsertSelect)->Unit(benchmark::kMillisecond)->Iterations(1)->UseManualTime();

}  // namespace
