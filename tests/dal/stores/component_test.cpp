// The component object's connection, probe, single-value, next-ID,
// working-recordset, field-list and null-normalisation methods on server
// stores: what runs on PostgreSQL, what runs on SQL Server (when a server is
// given), and the statements the library writes for SQL Server, run for real
// by the SQLite ODBC driver registered under a name the SQL Server test
// recognises.
#include "zmdb/frame/component.h"

#include <filesystem>

#include "field_rec_rows.h"
#include "store_fixture.h"
#include "zmdb/connect/dialect.h"
#include "zmdb/dal/ado.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

// A component object whose default connection is the test's database,
// holding a staff table, with the statement log of every connection on.
class ComponentOnServerTest : public ComponentStoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    if (IsSkipped()) return;
    SetStatementLogDefault(true);
    auto cn = Connect();
    cn->Execute("CREATE TABLE staff (id INT, code VARCHAR(6), name VARCHAR(20), note VARCHAR(20))");
    cn->Execute("INSERT INTO staff VALUES (3, '000012', 'Li', 'first')");
    cn->Execute("INSERT INTO staff VALUES (57, '000101', 'Wang', NULL)");
    cn->Execute("INSERT INTO staff VALUES (9, '000099', '张三', 'third')");
    ASSERT_TRUE(obj_.dbSetConnect(connectionString_, false));
    own_ = std::dynamic_pointer_cast<Connection>(obj_.dbGetConnect(false));
    ASSERT_TRUE(own_);
  }
  void TearDown() override {
    if (own_) obj_.dbCloseConnect(false);
    SetStatementLogDefault(false);
    StoreTest::TearDown();
  }
  std::string Last() const { return own_->statementLog().back(); }
  std::int32_t Rows(const std::string& condition) {
    return rt::CLng(Scalar(Connect(), "SELECT COUNT(*) FROM staff WHERE " + condition));
  }

  std::shared_ptr<Connection> own_;
};

TEST_P(ComponentOnServerTest, SingleValuesAndIdentifiers) {
  EXPECT_FALSE(obj_.dbIsSQLConnect(Variant(rt::ObjectRef(own_))));
  std::string value;
  EXPECT_TRUE(obj_.dbGetValue("staff", "name", "id=9", value));
  EXPECT_EQ(value, "张三");
  value = "kept";
  EXPECT_FALSE(obj_.dbGetValue("staff", "note", "id=57", value));  // a Null
  EXPECT_EQ(value, "kept");
  EXPECT_TRUE(obj_.dbIsExist("staff", "name", "Li", 200));
  EXPECT_EQ(Last(), "SELECT * FROM staff WHERE name= 'Li'");
  EXPECT_FALSE(obj_.dbIsExist("staff", "id", "4"));

  EXPECT_FALSE(obj_.dbModifyItem("staff", "note", "'changed'", "id=57"));
  EXPECT_EQ(Rows("note='changed'"), 1);

  EXPECT_EQ(obj_.dbGetMaxID("staff", "id"), "57");
  EXPECT_EQ(obj_.dbGetMaxID("staff", "id", Variant::Missing(), false, 8, false, "id>100"),
            "00000000");
  // PostgreSQL has a format() of its own, which gives back a format text
  // without placeholders unchanged: identifiers already at full width compare.
  EXPECT_EQ(obj_.dbGetMaxID("staff", "code", Variant::Missing(), true, 6), "000101");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

TEST_P(ComponentOnServerTest, JetOnlyStatementsFailByTheirGuardKinds) {
  // "DELETE *", "TOP 1" and [brackets] are not PostgreSQL: each method
  // fails the way its guard kind says, and nothing changes.
  EXPECT_FALSE(obj_.dbDeleteItem("staff", "id=9"));
  EXPECT_EQ(Rows("id=9"), 1);
  const Variant cn{rt::ObjectRef(own_)};
  EXPECT_FALSE(obj_.dbTableExists("staff", cn));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);  // only refusals are recorded
  EXPECT_NE(RaisedNumber([&] { obj_.dbRecordCounts("staff", cn); }), 0);

  // The field list is read with the same one-row query: the unguarded
  // method lets the error out, null normalisation stops before any UPDATE.
  std::string types;
  EXPECT_NE(RaisedNumber([&] { obj_.dbGetFieldsName("staff", cn, "*", types); }), 0);
  EXPECT_EQ(types, "");
  EXPECT_FALSE(obj_.dbSetNullToZero("staff", cn));
  EXPECT_EQ(Rows("note IS NULL"), 1);
  EXPECT_EQ(host_->MousePointer(), rt::kPointerDefault);
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

// On a connection that is not SQL Server a query is a table made from it,
// and its removal drops that table.
TEST_P(ComponentOnServerTest, AQueryIsATableMadeFromItAndDroppedAgain) {
  const Variant cn{rt::ObjectRef(own_)};
  EXPECT_TRUE(
      obj_.dbCreateQueryItem("seniors", "SELECT id, name FROM staff WHERE id > 5", false, cn));
  EXPECT_EQ(rt::CLng(Scalar(Connect(), "SELECT SUM(id) FROM seniors")), 66);
  EXPECT_FALSE(obj_.dbCreateQueryItem("seniors", "SELECT 1 AS x", false, cn));  // exists
  EXPECT_NE(obj_.dbGetLastError().Number, 0);
  obj_.dbClearError();
  EXPECT_TRUE(obj_.dbRemoveQueryItem("seniors", false, cn));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
  EXPECT_FALSE(obj_.dbRemoveQueryItem("seniors", false, cn));  // gone
  EXPECT_NE(obj_.dbGetLastError().Number, 0);
}

INSTANTIATE_TEST_SUITE_P(Servers, ComponentOnServerTest, ::testing::Values(Store::Postgres),
                         StoreParamName);

// The working recordset through ODBC: rows appended on the default
// connection, one column read back through a client-side cursor.
class WorkingRecordsetOnServerTest : public ComponentOnServerTest {};

TEST_P(WorkingRecordsetOnServerTest, RowsGoInAndOneColumnComesOut) {
  using zmdb::testing::FieldRecRow;
  using zmdb::testing::Texts;
  const std::size_t start = own_->statementLog().size();
  EXPECT_TRUE(obj_.dbCreateRecord(FieldRecRow({{"staff", "ID", Variant(100)},
                                               {"staff", "Name", Variant("王五")},
                                               {"staff", "NOTE", Variant::Null()}})));
  EXPECT_EQ(own_->statementLog().at(start), "SELECT ID,Name,NOTE FROM staff");
  EXPECT_TRUE(
      obj_.dbCreateRecord(FieldRecRow({{"", "id", Variant(101)}, {"", "name", Variant("x")}})));
  EXPECT_EQ(Rows("id>=100"), 2);
  EXPECT_EQ(rt::CStr(Scalar(Connect(), "SELECT name FROM staff WHERE id=100")), "王五");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);

  const Variant client{rt::ObjectRef(Connect(ado::adUseClient))};
  std::int32_t count = 0;
  EXPECT_EQ(Texts(obj_.dbGetRecord("", "name", count,
                                   "SELECT name FROM staff WHERE id<100 ORDER BY id", client)),
            (std::vector<std::string>{"Li", "张三", "Wang"}));
  EXPECT_EQ(count, 3);
  // The Null of the last row stops the copy and is recorded.
  EXPECT_EQ(Texts(obj_.dbGetRecord("", "note", count,
                                   "SELECT note FROM staff WHERE id<100 ORDER BY id", client)),
            (std::vector<std::string>{"first", "third", ""}));
  EXPECT_EQ(obj_.dbGetLastError().Number, rt::err::kInvalidUseOfNull);
  // The default connection's forward-only cursor has no count.
  EXPECT_EQ(Texts(obj_.dbGetRecord("staff", "name", count)), (std::vector<std::string>{""}));
  EXPECT_EQ(count, -1);

  // A working recordset from dbSetRecordset is read-only.
  EXPECT_TRUE(obj_.dbCloseRecordset());
  EXPECT_TRUE(
      obj_.dbSetRecordset("SELECT * FROM staff", ado::adOpenDynamic, ado::adLockOptimistic));
  EXPECT_FALSE(obj_.dbCreateRecord(FieldRecRow({{"staff", "id", Variant(102)}})));
  EXPECT_EQ(obj_.dbGetLastError().Number, rt::err::kAdoNotSupported);
  EXPECT_EQ(Rows("id>=100"), 2);
}

INSTANTIATE_TEST_SUITE_P(Servers, WorkingRecordsetOnServerTest,
                         ::testing::Values(Store::Postgres, Store::Sqlite, Store::SqlServer),
                         StoreParamName);

// On SQL Server every statement of these methods is valid.
using ComponentOnSqlServerTest = ComponentOnServerTest;

TEST_P(ComponentOnSqlServerTest, EveryMethodRuns) {
  const Variant cn{rt::ObjectRef(own_)};
  EXPECT_TRUE(obj_.dbIsSQLConnect(cn));
  EXPECT_TRUE(obj_.dbTableExists("staff", cn));
  EXPECT_TRUE(obj_.dbFieldExists("staff", "note", cn));
  EXPECT_FALSE(obj_.dbFieldExists("staff", "age", cn));
  EXPECT_EQ(obj_.dbRecordCounts("staff", cn, "id>5"), 2);
  EXPECT_EQ(obj_.dbGetMaxID("staff", "code", Variant::Missing(), true, 6, true), "000101");
  EXPECT_TRUE(obj_.dbDeleteItem("staff", "id=9"));
  EXPECT_EQ(Last(), obj_.dbCSql("DELETE * FROM staff WHERE id=9"));
  EXPECT_EQ(Rows("id=9"), 0);
  EXPECT_FALSE(obj_.dbQueryExists("no_such_view", Variant::Missing(), true));
  EXPECT_FALSE(obj_.dbIndexExists("staff", "", true));

  EXPECT_EQ(obj_.dbGetFieldsName("staff", cn), "id,code,name,note");
  EXPECT_FALSE(obj_.dbSetNullToZero("staff", cn, "note"));
  EXPECT_EQ(Last(), "UPDATE staff SET note = '0' WHERE note IS NULL OR note ='' ");
  EXPECT_EQ(Rows("note='0'"), 1);
}

INSTANTIATE_TEST_SUITE_P(Servers, ComponentOnSqlServerTest, ::testing::Values(Store::SqlServer),
                         StoreParamName);

// A connection whose string names a driver "SQL Server ..." counts as SQL
// Server, so the library translates what it runs there; the stand-in driver
// runs the translated text on a SQLite file.
using SqlServerStatements = StandInTest;

TEST_F(SqlServerStatements, AreTranslatedAndRun) {
  EXPECT_TRUE(obj_.dbIsSQLConnect(conn()));
  cn_->Execute("CREATE TABLE STAFF (ID INT, NAME VARCHAR(20))");
  cn_->Execute("INSERT INTO STAFF VALUES (1, 'Li')");
  cn_->Execute("INSERT INTO STAFF VALUES (2, 'Wang')");

  EXPECT_TRUE(obj_.dbDeleteItem("Staff", "ID=2"));
  EXPECT_EQ(cn_->statementLog().back(),
            connect::AdaptDialect("DELETE * FROM Staff WHERE ID=2", conn()));
  EXPECT_EQ(rt::CLng(Scalar(cn_, "SELECT COUNT(*) FROM STAFF")), 1);

  // dbGetMaxID translates only when asked to, even on SQL Server.
  EXPECT_EQ(obj_.dbGetMaxID("Staff"), "1");
  EXPECT_EQ(cn_->statementLog().back(), "SELECT MAX(ID) AS MaxID FROM Staff");

  // The working recordset's statements are sent as written, and its rows
  // are written back on a connection that counts as SQL Server.
  const std::size_t start = cn_->statementLog().size();
  EXPECT_TRUE(obj_.dbCreateRecord(zmdb::testing::FieldRecRow(
      {{"Staff", "ID", Variant(7)}, {"Staff", "Name", Variant("李四")}})));
  EXPECT_EQ(cn_->statementLog().at(start), "SELECT ID,Name FROM Staff");
  EXPECT_TRUE(obj_.dbCloseRecordset());
  auto client = Connection::Create();
  client->SetCursorLocation(ado::adUseClient);
  client->Open(standIn_.text);
  std::int32_t count = 0;
  EXPECT_EQ(zmdb::testing::Texts(
                obj_.dbGetRecord("Staff", "Name", count, "", Variant(rt::ObjectRef(client)))),
            (std::vector<std::string>{"Li", "李四"}));
  EXPECT_EQ(count, 2);
  client->Close();

  // The server's catalogue views, stood in for by a view and an attached
  // file, so that the probes' own statements answer for real.
  cn_->Execute("CREATE VIEW sysindexes AS SELECT name FROM sqlite_master WHERE type = 'index'");
  cn_->Execute("CREATE INDEX pk_Staff ON STAFF (ID)");
  cn_->Execute("ATTACH DATABASE '" + (standIn_.dir / "schema.db").string() +
               "' AS INFORMATION_SCHEMA");
  cn_->Execute("CREATE TABLE INFORMATION_SCHEMA.VIEWS (TABLE_NAME VARCHAR(128))");
  cn_->Execute("INSERT INTO INFORMATION_SCHEMA.VIEWS VALUES ('Cheap')");
  EXPECT_TRUE(obj_.dbQueryExists("Cheap", Variant::Missing(), true));
  EXPECT_FALSE(obj_.dbQueryExists("Dear", Variant::Missing(), true));
  EXPECT_TRUE(obj_.dbIndexExists("Staff", "", true));
  // By name over the whole database: the table plays no part.
  EXPECT_TRUE(obj_.dbIndexExists("Orders", "pk_Staff", true));
  EXPECT_FALSE(obj_.dbIndexExists("Orders", "", true));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
  EXPECT_TRUE(obj_.dbCloseConnect(false));
}

}  // namespace
}  // namespace zmdb::dal::testing
