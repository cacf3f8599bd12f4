// Exporting a table through SELECT ... INTO a foreign target against ogr2ogr
// writing the same table from the same file, in the same run:
//   - BM_ExportDbfVsOgr:  INTO [dBase IV;database=...]  vs ogr2ogr -f "ESRI Shapefile"
//     (a .dbf for a table without geometry);
//   - BM_ExportXlsxVsOgr: INTO [Excel 5.0;database=....xlsx] vs ogr2ogr -f XLSX;
//   - BM_ExportTextVsOgr: INTO [Text;database=...] vs ogr2ogr -f CSV.
// Ours opens the file through the data engine and runs the one statement,
// in a child process; ogr2ogr is the other child. time_ratio is ours over
// ogr2ogr's; ours_peak_MiB and ogr_peak_MiB the peak resident memory of
// each. The table has 1,000,000 rows; ZMDB_BENCH_SCALE (a factor such as
// 0.01) makes it smaller.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench_sizes.h"
#include "child_process.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/runtime/error.h"

namespace {

using zmdb::bench::BenchFile;
using zmdb::bench::ChildRun;
using zmdb::bench::InChild;
using zmdb::bench::Program;
using zmdb::bench::Scaled;
using zmdb::bench::Sides;
namespace fs = std::filesystem;

// The source table, made by the sqlite3 shell so this process stays small.
const std::string& SourceFile(int rows) {
  static const std::string path = [rows] {
    const std::string p = BenchFile("zmdb_bench_export.db");
    for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(p + suffix);
    Program("sqlite3", {p,
                        "CREATE TABLE T (ID INTEGER, Name VARCHAR(30), Pay DOUBLE, Qty INTEGER, "
                        "Note VARCHAR(40)); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 "
                        "FROM n WHERE i<" +
                            std::to_string(rows) +
                            ") INSERT INTO T SELECT i, 'Name ' || i, i*1.25, i%97, "
                            "CASE WHEN i%3=0 THEN NULL ELSE '备注 ' || i END FROM n;"});
    return p;
  }();
  return path;
}

// A fresh, empty folder of the temporary directory.
std::string Folder(const char* name) {
  const std::string dir = BenchFile(name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

// One target: our statement's INTO target (database=, then the table) and
// ogr2ogr's format and output file, each in a folder of its own.
struct Target {
  const char* driver;
  const char* ourFile;  // "" for a folder driver
  const char* table;
  const char* ogrFormat;
  const char* ogrFile;
};

void Export(benchmark::State& state, const Target& t) {
  const int rows = Scaled(1'000'000);
  const std::string db = SourceFile(rows);
  Sides sides{"ogr"};
  for (auto _ : state) {
    const std::string ours = Folder("zmdb_bench_export_ours");
    const std::string theirs = Folder("zmdb_bench_export_ogr");
    const std::string database = *t.ourFile ? ours + "/" + t.ourFile : ours;
    const ChildRun peer =
        Program("ogr2ogr", {"-f", t.ogrFormat, theirs + "/" + t.ogrFile, db, "T"}, "", true);
    const ChildRun run = InChild([&] {
      try {
        zmdb::dal::dao::DBEngine engine;
        auto source = engine.OpenDatabase({db, false, ""});
        return source->Execute(std::string("SELECT * INTO [") + t.driver + ";database=" + database +
                               "]." + t.table + " FROM T") == rows;
      } catch (const zmdb::rt::PlatformError&) {
        return false;
      }
    });
    sides.Add(state, run, peer);
  }
  sides.Report(state, rows);
}

void BM_ExportDbfVsOgr(benchmark::State& state) {
  Export(state, {"dBase IV", "", "T", "ESRI Shapefile", "T.dbf"});
}
void BM_ExportXlsxVsOgr(benchmark::State& state) {
  Export(state, {"Excel 5.0", "T.xlsx", "T", "XLSX", "T.xlsx"});
}
void BM_ExportTextVsOgr(benchmark::State& state) {
  Export(state, {"Text", "", "T", "CSV", "T.csv"});
}

}  // namespace

BENCHMARK(BM_ExportDbfVsOgr)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ExportXlsxVsOgr)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ExportTextVsOgr)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
