// The server catalogue, rights and clock methods: table listings on every
// store, with and without user tables; databases, rights and the clock for
// real on PostgreSQL; and what SQL Server is sent, on the stand-in driver.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "listing_texts.h"
#include "store_fixture.h"
#include "temp_folder.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;
using zmdb::testing::Texts;

// A user data-source file of this process (ODBCINI) naming the shared
// PostgreSQL's "postgres" database zmdb_pg, and a stand-in file (when given)
// zmdb_standin, for the methods that take a server name.
struct DataSources {
  explicit DataSources(const std::filesystem::path& standInFile = {}) {
    std::ofstream out(file);
    if (SharedPostgres()) {
      out << "[zmdb_pg]\nDriver=PostgreSQL Unicode\nServername=127.0.0.1\nPort="
          << SharedPostgres()->port() << "\nDatabase=postgres\n";
    }
    if (!standInFile.empty()) {
      out << "[zmdb_standin]\nDriver=SQL Server SQLite stand-in\nDatabase=" << standInFile.string()
          << "\n";
    }
    ::setenv("ODBCINI", file.c_str(), 1);
  }
  ~DataSources() { ::unsetenv("ODBCINI"); }
  const zmdb::testing::TempFolder folder{"dsn"};
  const std::string file = folder / "odbc.ini";
};

class ServerMethodsTest : public ComponentStoreTest {
 protected:
  Variant Conn() { return Variant(rt::ObjectRef(Connect())); }
};

// ---- Table listings, on every store ----

using TableListingsTest = ServerMethodsTest;

// No user tables: one empty name and one empty date entry; the closing step
// that fails on purpose is recorded all the same, and shows its debug box
// once the debug flag is on. IsAll adds every kind of table.
TEST_P(TableListingsTest, UserTablesOrOneEmptyElementAndEveryKindWithIsAll) {
  auto cn = Connect();
  const Variant conn{rt::ObjectRef(cn)};
  Variant dates;
  const rt::SafeArray none = obj_.dbListSQLTables(dates, conn);
  EXPECT_EQ(none.LBound(), 1);
  EXPECT_EQ(Texts(none), std::vector<std::string>{""});
  ASSERT_TRUE(dates.IsArray());
  EXPECT_EQ(dates.AsArray().LBound(), 1);
  EXPECT_EQ(Texts(dates.AsArray()), std::vector<std::string>{""});
  EXPECT_EQ(obj_.dbGetLastError().Number, rt::err::kObjectClosed);
  EXPECT_TRUE(host_->shown().empty());  // the debug flag is off

  cn->Execute("CREATE TABLE zeta (id INT)");
  cn->Execute("CREATE TABLE alpha (a INT)");
  cn->Execute("CREATE VIEW zview AS SELECT id FROM zeta");
  obj_.dbSetDebug(true);
  std::vector<std::string> names = Texts(obj_.dbListSQLTables(dates, conn));
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"alpha", "zeta"}));
  ASSERT_EQ(dates.AsArray().size(), 2u);
  ASSERT_EQ(host_->shown().size(), 1u);
  EXPECT_EQ(host_->shown()[0].title, "DebugMode");
  const std::vector<std::string> all = Texts(obj_.dbListSQLTables(dates, conn, true));
  EXPECT_NE(std::find(all.begin(), all.end(), "zview"), all.end());
  EXPECT_EQ(dates.AsArray().size(), all.size());
}

INSTANTIATE_TEST_SUITE_P(Stores, TableListingsTest, EveryStore(), StoreParamName);

// A file-store database with a table T1, and the component.
class FileStoreServerTest : public ::testing::Test {
 protected:
  void SetUp() override { cn_->Execute("CREATE TABLE T1 (a INT)"); }
  void TearDown() override { cn_->Close(); }
  Variant conn() const { return Variant(rt::ObjectRef(cn_)); }
  const zmdb::testing::TempFolder dir_;
  std::shared_ptr<Connection> cn_ = OpenLocalFile(dir_.path());
  rt::ScopedHost scope_{std::make_shared<rt::HeadlessHost>()};
  clsZMDBFunc obj_;
};

// The file store keeps creation and change dates: an entry is the creation
// date as text, then "," and the change date only when the table has one.
TEST_F(FileStoreServerTest, TableEntriesAreDatesAsText) {
  Variant dates;
  EXPECT_EQ(Texts(obj_.dbListSQLTables(dates, conn())), std::vector<std::string>{"T1"});
  const std::string entry = rt::CStr(dates.AsArray().at(1));
  const auto comma = entry.find(',');
  EXPECT_TRUE(rt::IsDate(Variant(entry.substr(0, comma)))) << entry;
  if (comma != std::string::npos) {
    EXPECT_TRUE(rt::IsDate(Variant(entry.substr(comma + 1)))) << entry;
  }
}

// No clock and no rights: the clock's refusal says why and reaches the
// caller; the grant answers False silently.
TEST_F(FileStoreServerTest, ClockAndRightsAreRefused) {
  const rt::ErrorInfo e = RaisedError([&] { obj_.dbGetServerDate(conn()); });
  EXPECT_EQ(e.Number, rt::err::kAdoNotSupported);
  EXPECT_NE(e.Description.find("no server clock"), std::string::npos) << e.Description;
  EXPECT_FALSE(obj_.dbSetSQLDBRight(rt::ObjectRef(cn_), "T1", 1));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

// ---- PostgreSQL for real ----

using PostgresServerTest = ServerMethodsTest;

TEST_P(PostgresServerTest, DatabasesAndExistenceWithoutRegardToCase) {
  const DataSources sources;
  const std::string db = rt::CStr(Scalar(Connect(), "SELECT current_database()"));
  const std::string user = testsupport::PgServer::kUser, pwd = testsupport::PgServer::kPassword;
  const std::vector<std::string> names =
      Texts(obj_.dbListSQLDBase("zmdb_pg", user, pwd, "MSDASQL"));
  EXPECT_NE(std::find(names.begin(), names.end(), "postgres"), names.end());
  EXPECT_NE(std::find(names.begin(), names.end(), db), names.end());
  EXPECT_EQ(std::find(names.begin(), names.end(), "template0"), names.end());
  const std::string upper = rt::AsciiUpper(db);
  const struct {
    std::string name, server, pwd;
    bool exists;
  } cases[] = {
      {upper, "zmdb_pg", pwd, true},
      {"Postgres", "zmdb_pg", pwd, true},
      {db + "x", "zmdb_pg", pwd, false},
      {db, "zmdb_pg", "wrong", false},  // no connection
  };
  for (const auto& c : cases) {
    obj_.dbClearError();
    EXPECT_EQ(obj_.dbSQLTblExists(c.name, c.server, user, c.pwd, "MSDASQL"), c.exists)
        << c.name << " on " << c.server;
    // A listing that failed recorded its error; the existence test adds none.
    EXPECT_EQ(obj_.dbGetLastError().Number != 0, c.pwd == "wrong");
  }
}

TEST_P(PostgresServerTest, ServerDateIsTheServersClock) {
  const double before = rt::Now().serial;
  const rt::Date server = obj_.dbGetServerDate(Conn());
  const double after = rt::Now().serial;
  // Whole seconds locally, fractions on the server; a minute allows for a
  // slow machine without letting a wrong zone or a fixed value pass.
  constexpr double kTolerance = 60.0 / 86400;
  EXPECT_GT(server.serial, before - kTolerance) << rt::DateToText(server);
  EXPECT_LT(server.serial, after + kTolerance) << rt::DateToText(server);
}

TEST_P(PostgresServerTest, RightsAreGrantedToAUserOrPublic) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (id INT)");
  cn->Execute(
      "DO $$ BEGIN IF NOT EXISTS (SELECT 1 FROM pg_roles WHERE rolname = 'zmdb_clerk') "
      "THEN CREATE ROLE zmdb_clerk; END IF; END $$");
  const rt::ObjectRef conn(cn);
  auto has = [&](const std::string& who, const std::string& right) {
    return rt::CBool(
        Scalar(cn, "SELECT has_table_privilege('" + who + "', 'staff', '" + right + "')"));
  };
  EXPECT_TRUE(obj_.dbSetSQLDBRight(conn, "Staff", 5, "zmdb_clerk"));
  EXPECT_TRUE(has("zmdb_clerk", "SELECT") && has("zmdb_clerk", "DELETE"));
  EXPECT_FALSE(has("zmdb_clerk", "INSERT") || has("zmdb_clerk", "UPDATE"));
  EXPECT_TRUE(obj_.dbSetSQLDBRight(conn, "staff", 8));  // the default grantee Public
  EXPECT_TRUE(rt::CBool(
      Scalar(cn,
             "SELECT COUNT(*) > 0 FROM information_schema.role_table_grants WHERE "
             "grantee = 'PUBLIC' AND table_name = 'staff' AND privilege_type = 'UPDATE'")));
  // No rights, no such table, no such grantee: False, and nothing recorded.
  EXPECT_FALSE(obj_.dbSetSQLDBRight(conn, "Staff", 0));
  EXPECT_FALSE(obj_.dbSetSQLDBRight(conn, "Staff", 1, "zmdb_nobody"));
  EXPECT_FALSE(obj_.dbSetSQLDBRight(nullptr, "Staff", 1));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->shown().empty());
}

INSTANTIATE_TEST_SUITE_P(Servers, PostgresServerTest, ::testing::Values(Store::Postgres),
                         StoreParamName);

// ---- SQL Server, as sent to the stand-in driver ----

class ServerMethodsOnStandInTest : public StandInTest {
 protected:
  void SetUp() override {
    StandInTest::SetUp();
    cn_->Execute("CREATE TABLE T1 (ID INT)");
  }
};

// SQLite has no GRANT: the call answers False silently, after sending the
// SQL Server statement (even one that grants nothing).
TEST_F(ServerMethodsOnStandInTest, RightsStatementsAsSent) {
  EXPECT_FALSE(obj_.dbSetSQLDBRight(rt::ObjectRef(cn_), "T1", 15, "sales"));
  EXPECT_EQ(cn_->statementLog().back(),
            "GRANT SELECT,INSERT,DELETE,UPDATE ON [dbo].[T1] TO [sales]");
  EXPECT_FALSE(obj_.dbSetSQLDBRight(rt::ObjectRef(cn_), "T1", 0));
  EXPECT_EQ(cn_->statementLog().back(), "GRANT  ON [dbo].[T1] TO [Public]");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->shown().empty());
}

// The clock statement goes as written; SQLite's refusal reaches the caller.
TEST_F(ServerMethodsOnStandInTest, ServerDateIsUnguarded) {
  EXPECT_NE(RaisedNumber([&] { obj_.dbGetServerDate(Variant(rt::ObjectRef(cn_))); }), 0);
  EXPECT_EQ(cn_->statementLog().back(), "SELECT GETDATE()");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

TEST_F(ServerMethodsOnStandInTest, DatabasesThroughADataSource) {
  const DataSources sources(standIn_.dir / "t.db");
  const rt::SafeArray names = obj_.dbListSQLDBase("zmdb_standin", "", "", "MSDASQL");
  EXPECT_EQ(names.LBound(), 1);
  EXPECT_EQ(names.size(), 1u) << obj_.dbGetLastError().Description;
  // The stand-in names its one database by its file; any case matches it.
  const std::string name = rt::CStr(names.at(1));
  const std::string upper = rt::AsciiUpper(name);
  EXPECT_TRUE(obj_.dbSQLTblExists(upper, "zmdb_standin", "", "", "MSDASQL")) << name;
  // The SQL Server provider's default reaches no server here: recorded, False.
  EXPECT_FALSE(obj_.dbSQLTblExists(name, "127.0.0.1,1", "sa", ""));
  EXPECT_NE(obj_.dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::dal::testing
