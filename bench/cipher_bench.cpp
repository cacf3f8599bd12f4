// Encrypted file databases against plain ones in the same run:
//   - a static recordset over every row of a table (1,000,000 rows unless
//     ZMDB_BENCH_CIPHER_ROWS says otherwise), timed after the connection is
//     open; opening (the key derivation) is reported apart as open_s;
//   - rows added one statement at a time, each its own commit.
// The ratios encrypted / plain are the counters time_ratio.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;
using Clock = std::chrono::steady_clock;

constexpr const char* kPassword = "bench password";

int Rows() {
  const char* set = std::getenv("ZMDB_BENCH_CIPHER_ROWS");
  const int n = set ? std::atoi(set) : 0;
  return n > 0 ? n : 1'000'000;
}

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string ConnectionString(const std::string& path, bool encrypted) {
  return "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path +
         ";Jet OLEDB:Database Password =" + (encrypted ? kPassword : "") + ";";
}

// A new empty database, encrypted or not, made through the catalogue.
std::string NewFile(const char* name, bool encrypted) {
  const std::string path = (std::filesystem::temp_directory_path() /
                            (std::string(name) + (encrypted ? "_enc.mdb" : "_plain.mdb")))
                               .string();
  for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
  auto cat = dal::adox::Catalog::Make();
  cat->Create(ConnectionString(path, encrypted));
  return path;
}

// `rows` rows of (ID, Name, Pay, Hired), made by doubling one row.
std::string FilledFile(bool encrypted, int rows) {
  const std::string path = NewFile("zmdb_bench_cipher_big", encrypted);
  auto cn = dal::Connection::Create();
  cn->Open(ConnectionString(path, encrypted));
  cn->Execute("CREATE TABLE Staff (ID LONG, Name TEXT(20), Pay DOUBLE, Hired DATETIME)");
  cn->Execute("INSERT INTO Staff VALUES (0, 'Name0', 1000, #2004-08-30#)");
  for (int have = 1; have < rows; have *= 2) {
    cn->Execute("INSERT INTO Staff SELECT ID + " + std::to_string(have) + ", 'Name' & ((ID + " +
                std::to_string(have) + ") Mod 9973), Pay + 1, Hired FROM Staff WHERE ID + " +
                std::to_string(have) + " < " + std::to_string(rows));
  }
  cn->Close();
  return path;
}

void BM_EncryptedVsPlainStaticRecordset(benchmark::State& state) {
  const int rows = Rows();
  static const std::string plain = FilledFile(false, rows);
  static const std::string encrypted = FilledFile(true, rows);
  double seconds[2] = {0, 0};
  double open = 0;
  for (auto _ : state) {
    for (const bool enc : {false, true}) {
      auto cn = dal::Connection::Create();
      const auto opening = Clock::now();
      cn->Open(ConnectionString(enc ? encrypted : plain, enc));
      if (enc) open += Since(opening);
      const auto start = Clock::now();
      auto rs = dal::Recordset::Create();
      rs->Open(Variant("SELECT * FROM Staff"), Variant(zmdb::rt::ObjectRef(cn)),
               dal::ado::adOpenStatic, dal::ado::adLockReadOnly);
      if (rs->RecordCount() != rows) state.SkipWithError("wrong row count");
      const double t = Since(start);
      seconds[enc] += t;
      if (enc) state.SetIterationTime(t);
    }
  }
  const auto n = static_cast<double>(state.iterations());
  state.counters["time_ratio"] = seconds[1] / seconds[0];
  state.counters["plain_s"] = seconds[0] / n;
  state.counters["encrypted_s"] = seconds[1] / n;
  state.counters["open_s"] = open / n;
  state.counters["rows"] = rows;
}
BENCHMARK(BM_EncryptedVsPlainStaticRecordset)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseManualTime();

void BM_EncryptedVsPlainCommitPerRow(benchmark::State& state) {
  const int commits = std::min(Rows(), 2000);
  double seconds[2] = {0, 0};
  for (auto _ : state) {
    for (const bool enc : {false, true}) {
      const std::string path = NewFile("zmdb_bench_cipher_commits", enc);
      auto cn = dal::Connection::Create();
      cn->Open(ConnectionString(path, enc));
      cn->Execute("CREATE TABLE T (ID LONG, Name TEXT(20), Pay DOUBLE)");
      const auto start = Clock::now();
      for (int i = 0; i < commits; ++i) {
        cn->Execute("INSERT INTO T VALUES (" + std::to_string(i) + ", 'N" + std::to_string(i) +
                    "', " + std::to_string(i * 1.5) + ")");
      }
      const double t = Since(start);
      seconds[enc] += t;
      if (enc) state.SetIterationTime(t);
      cn->Close();
    }
  }
  const auto n = static_cast<double>(state.iterations());
  state.counters["time_ratio"] = seconds[1] / seconds[0];
  state.counters["plain_s"] = seconds[0] / n;
  state.counters["encrypted_s"] = seconds[1] / n;
  state.counters["commits"] = commits;
}
BENCHMARK(BM_EncryptedVsPlainCommitPerRow)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2)
    ->UseManualTime();

}  // namespace
