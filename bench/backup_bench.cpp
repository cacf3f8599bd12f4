// Backing up and restoring a table through the text backup file against the
// sqlite3 command-line shell in the same run:
//   - BM_BackupVsShellCsv: a static recordset of every row opened and written
//     by dbBackupRecordset, against `sqlite3 -csv FILE "SELECT * FROM T"`;
//   - BM_RestoreVsShellImport: that file read back by dbRestoreRecordset and
//     its rows appended to an empty table by dbCopyRecordset, against the
//     shell's `.import --csv` of its own export into an empty table.
// Each side runs in a child process of its own, so the peak resident memory
// of each (getrusage of the child) is its own: ours_peak_MiB and
// shell_peak_MiB. time_ratio is ours over the shell's. The table has
// 1,000,000 rows; ZMDB_BENCH_SCALE (a factor such as 0.01) makes it smaller.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench_sizes.h"
#include "child_process.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;
using zmdb::bench::BenchFile;
using zmdb::bench::ChildRun;
using zmdb::bench::InChild;
using zmdb::bench::Program;
using zmdb::bench::Scaled;
using zmdb::bench::Sides;

// The sqlite3 shell with `args`, its standard output into `out` when given.
ChildRun Shell(const std::vector<std::string>& args, const std::string& out = "") {
  return Program("sqlite3", args, out);
}

constexpr const char* kColumns =
    "(ID INTEGER, Name VARCHAR(30), Pay DOUBLE, Qty INTEGER, Note VARCHAR(40))";

// The source table, made by the shell so this process stays small.
const std::string& SourceFile(int rows) {
  static const std::string path = [rows] {
    const std::string p = BenchFile("zmdb_bench_backup.db");
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(p + suffix);
    Shell({p, std::string("CREATE TABLE T ") + kColumns +
                  "; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<" +
                  std::to_string(rows) +
                  ") INSERT INTO T SELECT i, 'Name ' || i, i*1.25, i%97, "
                  "CASE WHEN i%3=0 THEN NULL ELSE '备注 ' || i END FROM n;"});
    return p;
  }();
  return path;
}

std::shared_ptr<dal::Connection> Connect(const std::string& path) {
  auto cn = dal::Connection::Create();
  cn->Open(path);
  return cn;
}

void Quiet() {
  auto host = std::make_shared<zmdb::rt::HeadlessHost>();
  host->SetEcho(false);
  zmdb::rt::SetProcessHost(host);
}

// Our backup of the whole table, the recordset's opening included.
ChildRun OurBackup(const std::string& db, const std::string& file) {
  return InChild([&] {
    Quiet();
    auto rs = dal::Recordset::Create();
    rs->Open(Variant("SELECT * FROM T"), Variant(zmdb::rt::ObjectRef(Connect(db))), 3, 1);
    zmdb::clsZMDBFunc obj;
    return obj.dbBackupRecordset(rs, file);
  });
}

ChildRun ShellExport(const std::string& db, const std::string& file) {
  return Shell({"-csv", db, "SELECT * FROM T"}, file);
}

void BM_BackupVsShellCsv(benchmark::State& state) {
  const int rows = Scaled(1'000'000);
  const std::string db = SourceFile(rows);
  Sides sides{"shell"};
  for (auto _ : state) {
    const ChildRun peer = ShellExport(db, BenchFile("zmdb_bench_backup.csv"));
    sides.Add(state, OurBackup(db, BenchFile("zmdb_bench_backup.txt")), peer);
  }
  sides.Report(state, rows);
}

void BM_RestoreVsShellImport(benchmark::State& state) {
  const int rows = Scaled(1'000'000);
  const std::string db = SourceFile(rows);
  const std::string ourFile = BenchFile("zmdb_bench_backup.txt");
  const std::string shellFile = BenchFile("zmdb_bench_backup.csv");
  // Both files as their writers make them.
  if (!OurBackup(db, ourFile).ok || !ShellExport(db, shellFile).ok) {
    state.SkipWithError("the files to read could not be written");
    return;
  }
  Sides sides{"shell"};
  for (auto _ : state) {
    Shell({db, std::string("DROP TABLE IF EXISTS R; DROP TABLE IF EXISTS S; CREATE TABLE R ") +
                   kColumns + "; CREATE TABLE S " + kColumns + ";"});
    const ChildRun peer = Shell({db, ".import --csv " + shellFile + " S"});
    const ChildRun run = InChild([&] {
      Quiet();
      zmdb::clsZMDBFunc obj;
      const auto rs = obj.dbRestoreRecordset(ourFile, ",", true);
      return rs && obj.dbCopyRecordset(rs, "R", Variant(zmdb::rt::ObjectRef(Connect(db))));
    });
    sides.Add(state, run, peer);
  }
  sides.Report(state, rows);
}

}  // namespace

BENCHMARK(BM_BackupVsShellCsv)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_RestoreVsShellImport)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
