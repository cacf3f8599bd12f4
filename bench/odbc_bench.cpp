// A static recordset over 1,000,000 rows of PostgreSQL (through psqlODBC)
// against a plain loop of SQLFetch over bound columns reading the same
// query on the same server, in the same run. The benchmark starts its own
// throwaway server. The ratio is reported as a counter (time_ratio; the
// goal is at most 1.3).
#include <benchmark/benchmark.h>
#include <sql.h>
#include <sqlext.h>

#include <chrono>
#include <memory>
#include <string>

#include "pg_server.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"

namespace {

using zmdb::rt::Variant;
namespace dal = zmdb::dal;

constexpr int kRows = 1'000'000;
constexpr const char* kQuery = "SELECT id, name, amount, stamp FROM big";

// The server with a table of kRows rows (id, name, amount, stamp), made
// once per run; nullptr (and the reason) when PostgreSQL cannot be had.
zmdb::testsupport::PgServer* Server(std::string* whyNot) {
  static std::string reason;
  static const std::unique_ptr<zmdb::testsupport::PgServer> server = [] {
    zmdb::testsupport::UsePrivateOdbcDrivers(ZMDB_SCRIPTS_DIR);
    auto s = zmdb::testsupport::PgServer::Start(&reason);
    if (!s) return s;
    auto cn = dal::Connection::Create();
    cn->Open(s->ConnectionString("postgres"));
    cn->Execute(
        "CREATE TABLE big AS SELECT g AS id, CAST('name ' || g AS varchar(20)) AS name, "
        "CAST((g % 1000) * 1.25 AS numeric(10,2)) AS amount, "
        "timestamp '2020-01-01' + g * interval '1 second' AS stamp "
        "FROM generate_series(1, " +
        std::to_string(kRows) + ") g");
    cn->Execute("VACUUM ANALYZE big");
    return s;
  }();
  *whyNot = reason;
  return server.get();
}

// Every row of the query read with SQLFetch into bound columns, one row a
// call, as a plain ODBC program does; the time taken.
double RawLoop(const std::string& connectionString) {
  SQLHENV env;
  SQLHDBC dbc;
  SQLHSTMT st;
  SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env);
  SQLSetEnvAttr(env, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc);
  std::string cs = connectionString;
  SQLDriverConnect(dbc, nullptr, reinterpret_cast<SQLCHAR*>(cs.data()), SQL_NTS, nullptr, 0,
                   nullptr, SQL_DRIVER_NOPROMPT);
  SQLAllocHandle(SQL_HANDLE_STMT, dbc, &st);
  const auto start = std::chrono::steady_clock::now();
  std::u16string query(kQuery, kQuery + std::char_traits<char>::length(kQuery));
  SQLExecDirectW(st, reinterpret_cast<SQLWCHAR*>(query.data()), SQL_NTS);
  SQLINTEGER id = 0;
  SQLWCHAR name[21];
  double amount = 0;
  SQL_TIMESTAMP_STRUCT stamp{};
  SQLLEN ind[4];
  SQLBindCol(st, 1, SQL_C_SLONG, &id, 0, &ind[0]);
  SQLBindCol(st, 2, SQL_C_WCHAR, name, sizeof name, &ind[1]);
  SQLBindCol(st, 3, SQL_C_DOUBLE, &amount, 0, &ind[2]);
  SQLBindCol(st, 4, SQL_C_TYPE_TIMESTAMP, &stamp, 0, &ind[3]);
  long rows = 0;
  double sum = 0;
  while (SQL_SUCCEEDED(SQLFetch(st))) {
    ++rows;
    sum += id + amount + stamp.second + name[0];
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  benchmark::DoNotOptimize(sum);
  SQLFreeHandle(SQL_HANDLE_STMT, st);
  SQLDisconnect(dbc);
  SQLFreeHandle(SQL_HANDLE_DBC, dbc);
  SQLFreeHandle(SQL_HANDLE_ENV, env);
  return rows == kRows ? seconds : -1;
}

void BM_ServerStaticRecordsetVsFetchLoop(benchmark::State& state) {
  std::string whyNot;
  const auto* server = Server(&whyNot);
  if (!server) {
    state.SkipWithError(("no PostgreSQL: " + whyNot).c_str());
    return;
  }
  const std::string cs = server->ConnectionString("postgres");
  double raw = 0, ours = 0;
  for (auto _ : state) {
    const double r = RawLoop(cs);
    if (r < 0) state.SkipWithError("the fetch loop read the wrong number of rows");
    raw += r;
    auto cn = dal::Connection::Create();
    cn->SetCursorLocation(dal::ado::adUseClient);
    cn->Open(cs);
    const auto start = std::chrono::steady_clock::now();
    auto rs = dal::Recordset::Create();
    rs->Open(Variant(kQuery), Variant(zmdb::rt::ObjectRef(cn)), dal::ado::adOpenStatic,
             dal::ado::adLockReadOnly);
    const double t =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ours += t;
    state.SetIterationTime(t);
    if (rs->RecordCount() != kRows) state.SkipWithError("wrong row count");
  }
  state.counters["time_ratio"] = ours / raw;
  state.counters["fetch_loop_s"] = raw / static_cast<double>(state.iterations());
  state.counters["recordset_s"] = ours / static_cast<double>(state.iterations());
}
BENCHMARK(BM_ServerStaticRecordsetVsFetchLoop)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseManualTime();

}  // namespace
