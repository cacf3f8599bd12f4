// Links from a file database to server tables, made through the component:
// rows read and written by the link's name and checked on the server
// itself, a server that has gone refused cleanly, the password kept in the
// file only when the link saves it, and the statements a link sends a
// source reached through a driver registered as "SQL Server ...".
#include <filesystem>
#include <optional>

#include "dal/sqlite/backend_p.h"
#include "store_fixture.h"
#include "temp_folder.h"
#include "zmdb/dal/sqlite/store.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

// A file database open as the component's default database and default
// connection, and a keyed table "roster" on the server.
class LinkToServerTest : public ComponentStoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    if (IsSkipped()) return;
    MakeRoster(Connect());
    folder_.emplace();
    file_ = *folder_ / "front.mdb";
    sqlite::OpenDatabase({file_, true, false, 5000})->Close();
    ASSERT_TRUE(obj_.dbOpenDateBase(file_, ""));
    Run("CREATE TABLE kept (id LONG, name TEXT(20), born DATETIME, note TEXT(20))");
    Run("INSERT INTO kept (id, name) VALUES (9, 'Kept')");
    ASSERT_TRUE(obj_.dbSetConnect(FileString(), false));
  }
  void TearDown() override {
    if (!file_.empty()) {
      obj_.dbCloseConnect(false);
      obj_.dbCloseConnect(true);
      frame::Library() = frame::LibraryState();
      folder_.reset();
    }
    StoreTest::TearDown();
  }
  void MakeRoster(const std::shared_ptr<Connection>& cn) {
    cn->Execute("CREATE TABLE roster (id " + Type(Ddl::Int) + " PRIMARY KEY, name " + Text(20) +
                ", born " + Type(Ddl::Date) + ", note " + Text(20) + ")");
    cn->Execute("INSERT INTO roster VALUES (1, 'Li', '2001-02-03', 'first')");
  }
  std::string FileString() const {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + file_ + ";";
  }
  Variant Db() { return Variant(obj_.dbGetConnect(true)); }
  void Run(const std::string& sql) { rt::CallMethod(Db(), "Execute", {Variant(sql)}); }
  std::string Kept(const std::string& link) {
    return rt::CStr(
        rt::GetProp(rt::ItemOf(rt::GetProp(Db(), "TableDefs"), Variant(link)), "Connect"));
  }
  // Makes the link through the component; its error text when it fails.
  ::testing::AssertionResult MakeLink(const std::string& connect, bool savePassword) {
    if (obj_.dbCreateTableItem("roster", connect, savePassword) &&
        obj_.dbCreateTableOver("roster")) {
      return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << obj_.dbGetLastError().Description;
  }

  std::optional<zmdb::testing::TempFolder> folder_;
  std::string file_;
};

TEST_P(LinkToServerTest, IsReadAndWrittenByItsNameAndTheServerHoldsTheRows) {
  ASSERT_TRUE(MakeLink("ODBC;" + connectionString_, true));
  EXPECT_EQ(Kept("roster"), "ODBC;" + connectionString_);
  Run("INSERT INTO roster (id, name, born, note) VALUES (2, '张三', #2024-02-29#, Null)");
  Run("INSERT INTO roster (id, name) VALUES (3, 'gone')");
  // Another connection to the file changes and removes rows through the link.
  auto other = Connection::Create();
  other->Open(FileString());
  other->Execute("UPDATE roster SET name = '李四', born = #1999-12-31# WHERE id = 1");
  other->Execute("DELETE FROM roster WHERE id = 3");
  std::string value;
  EXPECT_TRUE(obj_.dbGetValue("roster", "name", "born = #2024-02-29# AND note IS NULL", value));
  EXPECT_EQ(value, "张三");
  other->Close();
  auto server = Connect();
  EXPECT_EQ(rt::CLng(Scalar(server, "SELECT COUNT(*) FROM roster")), 2);
  EXPECT_EQ(rt::CStr(Scalar(server,
                            "SELECT name FROM roster WHERE id = 1 AND note = 'first' "
                            "AND born = '1999-12-31'")),
            "李四");
  EXPECT_EQ(rt::CStr(Scalar(server,
                            "SELECT name FROM roster WHERE id = 2 AND note IS NULL "
                            "AND born = '2024-02-29'")),
            "张三");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

INSTANTIATE_TEST_SUITE_P(Servers, LinkToServerTest,
                         ::testing::Values(Store::Postgres, Store::SqlServer), StoreParamName);

// PostgreSQL only: the tests' server asks for a password over TCP and none
// on its socket, and a private server can be stopped without disturbing
// the other tests.
class LinkToPostgresTest : public LinkToServerTest {};

TEST_P(LinkToPostgresTest, APasswordNotSavedIsNotKeptAndIsThenMissing) {
  ASSERT_TRUE(MakeLink("ODBC;" + connectionString_, false));
  const std::string kept = Kept("roster");
  EXPECT_EQ(kept.find("PWD"), std::string::npos) << kept;
  EXPECT_NE(kept.find("UID=zmdb"), std::string::npos) << kept;
  EXPECT_FALSE(obj_.dbCopyRows("roster", "kept"));
  EXPECT_NE(obj_.dbGetLastError().Description.find("password"), std::string::npos)
      << obj_.dbGetLastError().Description;
  // A connect string that reaches the server without a password (its socket) works.
  obj_.dbClearError();
  ASSERT_TRUE(obj_.dbRemoveTableItem("roster"));
  const std::string socket =
      "ODBC;DRIVER={PostgreSQL Unicode};SERVER=" + SharedPostgres()->directory() +
      ";PORT=" + std::to_string(SharedPostgres()->port()) +
      connectionString_.substr(connectionString_.find(";DATABASE="));
  ASSERT_TRUE(MakeLink(socket, false));
  std::string value;
  EXPECT_TRUE(obj_.dbGetValue("roster", "name", "id = 1", value));
  EXPECT_EQ(value, "Li");
}

TEST_P(LinkToPostgresTest, AStoppedServerIsRefusedCleanlyThroughTheComponent) {
  std::string whyNot;
  auto own = testsupport::PgServer::Start(&whyNot);
  if (!own) GTEST_SKIP() << "no private PostgreSQL server: " << whyNot;
  auto cn = Connection::Create();
  cn->Open(own->ConnectionString());
  MakeRoster(cn);
  cn->Close();
  ASSERT_TRUE(MakeLink("ODBC;" + own->ConnectionString(), true));
  std::string value;
  ASSERT_TRUE(obj_.dbGetValue("roster", "name", "id = 1", value));
  own->Stop();
  const auto started = std::chrono::steady_clock::now();
  const std::pair<const char*, std::function<bool()>> calls[] = {
      {"read", [&] { return obj_.dbCopyRows("roster", "kept"); }},
      {"write", [&] { return obj_.dbCopyRows("kept", "roster"); }},
  };
  for (const auto& [what, call] : calls) {
    obj_.dbClearError();
    EXPECT_FALSE(call()) << what;
    EXPECT_NE(obj_.dbGetLastError().Number, 0) << what;
    EXPECT_FALSE(obj_.dbGetLastError().Description.empty()) << what;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
}

INSTANTIATE_TEST_SUITE_P(Servers, LinkToPostgresTest, ::testing::Values(Store::Postgres),
                         StoreParamName);

// A source reached through a driver registered as "SQL Server ..." is named
// as SQL Server names it, under dbo first; the stand-in driver runs the
// statements on a SQLite file, which answers to the name without dbo.
using LinkToSqlServer = StandInTest;

TEST_F(LinkToSqlServer, SendsItsStatementsAsTheServerWritesThem) {
  cn_->Execute("CREATE TABLE Staff (ID INT PRIMARY KEY, Name VARCHAR(20))");
  cn_->Execute("INSERT INTO Staff VALUES (1, 'Li')");
  const std::string file = (standIn_.dir / "front.mdb").string();
  sqlite::OpenDatabase({file, true, false, 5000})->Close();
  std::vector<std::string> sent;
  sqlite::SetLinkStatementHook([&](std::string_view s) { sent.emplace_back(s); });
  ASSERT_TRUE(obj_.dbOpenDateBase(file, ""));
  EXPECT_TRUE(obj_.dbCreateTableItem("Staff", "ODBC;" + standIn_.text, true));
  EXPECT_TRUE(obj_.dbCreateTableOver("Staff")) << obj_.dbGetLastError().Description;
  const Variant db(obj_.dbGetConnect(true));
  for (const char* sql :
       {"INSERT INTO Staff (ID, Name) VALUES (2, '张三')",
        "UPDATE Staff SET Name = 'Wang' WHERE ID = 1", "DELETE FROM Staff WHERE ID = 2"}) {
    rt::CallMethod(db, "Execute", {Variant(sql)});
  }
  obj_.dbCloseConnect(true);
  frame::Library() = frame::LibraryState();
  sqlite::SetLinkStatementHook({});
  // The driver quotes names with double quotes, as SQL Server's does; a
  // server with the table under dbo answers the first statement.
  EXPECT_EQ(sent, (std::vector<std::string>{
                      R"(SELECT * FROM "dbo"."Staff" WHERE 1 = 0)",
                      R"(SELECT * FROM "Staff" WHERE 1 = 0)",
                      R"(INSERT INTO "Staff" ("ID", "Name") VALUES (?, ?))",
                      R"(SELECT "ID", "Name" FROM "Staff")",
                      R"(UPDATE "Staff" SET "Name" = ? WHERE "ID" = ?)",
                      R"(SELECT "ID", "Name" FROM "Staff")",
                      R"(DELETE FROM "Staff" WHERE "ID" = ?)",
                  }));
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT group_concat(ID || Name) FROM Staff")), "1Wang");
}

}  // namespace
}  // namespace zmdb::dal::testing
