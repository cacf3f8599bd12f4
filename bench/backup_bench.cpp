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
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench_sizes.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;
using zmdb::bench::BenchFile;
using zmdb::bench::Clock;
using zmdb::bench::Scaled;
using zmdb::bench::SecondsSince;

// What one child process cost: its wall time and its peak resident memory.
struct ChildRun {
  double seconds = 0;
  double peakMiB = 0;
  bool ok = false;
};

ChildRun Wait(pid_t pid, Clock::time_point start) {
  ChildRun run;
  int status = 0;
  rusage usage{};
  if (pid > 0 && wait4(pid, &status, 0, &usage) == pid) {
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    run.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
  }
  run.seconds = SecondsSince(start);
  return run;
}

// `work` in a child process; the child's exit code is 0 when it answers true.
ChildRun InChild(const std::function<bool()>& work) {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) _exit(work() ? 0 : 1);
  return Wait(pid, start);
}

// The sqlite3 shell with `args`, its standard output into `out` when given.
ChildRun Shell(const std::vector<std::string>& args, const std::string& out = "") {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    if (!out.empty()) {
      const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(fd, STDOUT_FILENO);
      close(fd);
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>("sqlite3"));
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execvp("sqlite3", argv.data());
    _exit(127);
  }
  return Wait(pid, start);
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

// Both sides of a benchmark: the time and the highest peak of each.
struct Sides {
  double ours = 0, shell = 0, oursPeak = 0, shellPeak = 0;

  // One iteration: ours timed by hand, the shell's beside it.
  void Add(benchmark::State& state, const ChildRun& run, const ChildRun& peer) {
    if (!run.ok || !peer.ok) state.SkipWithError("a side failed");
    state.SetIterationTime(run.seconds);
    ours += run.seconds;
    shell += peer.seconds;
    oursPeak = std::max(oursPeak, run.peakMiB);
    shellPeak = std::max(shellPeak, peer.peakMiB);
  }
  void Report(benchmark::State& state, int rows) const {
    const double n = static_cast<double>(state.iterations());
    state.counters["time_ratio"] = ours / shell;
    state.counters["ours_s"] = ours / n;
    state.counters["shell_s"] = shell / n;
    state.counters["ours_peak_MiB"] = oursPeak;
    state.counters["shell_peak_MiB"] = shellPeak;
    state.counters["rows"] = rows;
  }
};

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
  Sides sides;
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
  Sides sides;
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
