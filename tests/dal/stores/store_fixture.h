// The same tests on every store: the file store, PostgreSQL through
// psqlODBC, SQLite through the SQLite ODBC driver, and SQL Server through
// FreeTDS when ZMDB_TEST_MSSQL holds a connection string. Each test gets a
// database of its own (a file, or a database made on the server and
// dropped afterwards).
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pg_server.h"
#include "raised.h"
#include "temp_folder.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {

enum class Store { File, Postgres, Sqlite, SqlServer };

// The name a store goes by in test names and messages.
std::string StoreName(Store store);

// Every store, and its name as a test's, for INSTANTIATE_TEST_SUITE_P.
inline auto EveryStore() {
  return ::testing::Values(Store::File, Store::Postgres, Store::Sqlite, Store::SqlServer);
}
inline std::string StoreParamName(const ::testing::TestParamInfo<Store>& param) {
  return StoreName(param.param);
}

// Column types written the way each store's DDL spells them.
enum class Ddl { Int, Short, Double, Money, Date, Bool, Memo, Blob, AutoKey };

// The PostgreSQL server the tests share (nullptr when none could be had),
// and why there is none.
testsupport::PgServer* SharedPostgres();
const std::string& PostgresUnavailable();

class StoreTest : public ::testing::TestWithParam<Store> {
 protected:
  void SetUp() override;
  void TearDown() override;

  Store store() const { return GetParam(); }
  // A new connection to the test's database.
  std::shared_ptr<Connection> Connect(int cursorLocation = 2);
  std::shared_ptr<Recordset> Open(const std::shared_ptr<Connection>& cn, const std::string& sql,
                                  int cursorType = 3, int lockType = 3);
  // A column type in the store's DDL; Text(n) for sized text.
  std::string Type(Ddl type) const;
  std::string Text(int size) const;
  // Whether the store's errors carry the kind of failure (the SQLite ODBC
  // driver reports every failure as HY000).
  bool PreciseErrors() const { return store() != Store::Sqlite; }
  // Whether one Execute may run several statements and return several results.
  bool MultipleResults() const { return store() == Store::Postgres || store() == Store::SqlServer; }

  std::string connectionString_;

 private:
  std::string database_;  // made on a server for this test
  std::string adminString_;
  std::optional<zmdb::testing::TempFolder> folder_;  // of a file-based store
  std::vector<std::weak_ptr<Connection>> opened_;
};

// A store's test with the component and a headless host that does not echo
// its boxes.
class ComponentStoreTest : public StoreTest {
 protected:
  ComponentStoreTest() { host_->SetEcho(false); }
  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
  clsZMDBFunc obj_;
};

// A connection as a method's Conn argument.
rt::Variant Of(const std::shared_ptr<Connection>& cn);

// A new file-store database, local.mdb in `dir` (made when missing), open.
std::shared_ptr<Connection> OpenLocalFile(const std::filesystem::path& dir);

// A store's test with a file-store database of its own beside the store
// (`local_`, in `dir_`), a connection to the store (`remote_`) and the
// component, for methods that work between the two.
class LocalAndStoreTest : public ComponentStoreTest {
 protected:
  void SetUp() override;
  void TearDown() override;
  // Every row of `table` on `cn`, in the order of its id.
  std::vector<std::vector<rt::Variant>> Rows(const std::shared_ptr<Connection>& cn,
                                             const std::string& table) {
    return Open(cn, "SELECT * FROM " + table + " ORDER BY id")->VisibleRows();
  }

  std::filesystem::path dir_;
  std::shared_ptr<Connection> local_;
  std::optional<zmdb::testing::TempFolder> localFolder_;
  std::shared_ptr<Connection> remote_;
};

// A directory of its own for a test on the "SQL Server SQLite stand-in"
// driver (which runs what it is sent on a SQLite file), removed afterwards;
// `text` is the connection string to its database file.
struct StandInDirectory {
  explicit StandInDirectory(const std::string& tag);
  zmdb::testing::TempFolder folder;
  std::filesystem::path dir;
  std::string text;
};

// The component whose default connection is a database of the test's own
// on the stand-in driver (`cn_`, its statement log on), with a headless host
// that does not echo its boxes.
class StandInTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  rt::Variant conn() const { return rt::Variant(rt::ObjectRef(cn_)); }

  StandInDirectory standIn_{
      "standin_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name())};
  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
  clsZMDBFunc obj_;
  std::shared_ptr<Connection> cn_;
};

// The first value of the first row of a statement's rows, read statically.
rt::Variant Scalar(const std::shared_ptr<Connection>& cn, const std::string& sql);

}  // namespace zmdb::dal::testing
