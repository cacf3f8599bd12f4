// The index methods on the file store (DAO-style objects of the default
// database, checked after closing and reopening the file) and on SQL Server
// (statements as text and the help procedure's rows; the statements sent to
// the stand-in driver are tested in tests/dal/stores/indexes_server_test.cpp).
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "schema_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/schema/server_indexes.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

// The file store with a default database holding Items: an AutoNumber, a
// key-to-be with rows, a default, a Required field, a description and an
// index of its own.
class IndexesTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    for (const char* sql : {
             "CREATE TABLE Items (Num COUNTER, ID LONG, Code TEXT(6) NOT NULL, Qty LONG DEFAULT 5)",
             "INSERT INTO Items (ID, Code) VALUES (20, 'b')",
             "INSERT INTO Items (ID, Code, Qty) VALUES (10, 'a', 7)",
             "INSERT INTO Items (ID, Code) VALUES (30, 'c')",
             "CREATE INDEX ByCode ON Items (Code)",
         }) {
      cn_->Execute(sql);
    }
    cn_->Close();
    Reopen();
    Describe("Items", "Code", "货号");
  }

  std::int32_t NextNumber() {
    auto cn = Connect();
    cn->Execute("INSERT INTO Items (ID, Code) VALUES (99, 'z')");
    auto rs = Open(cn, "SELECT Num FROM Items WHERE ID = 99");
    const std::int32_t n = rt::CLng(rs->fields()->Item(Variant("Num"))->Value());
    rs->Close();
    cn->Execute("DELETE FROM Items WHERE ID = 99");
    cn->Close();
    return n;
  }
};

// Each way of making an index, read back after reopening, with the table's
// rows and every other property as they were.
TEST_F(IndexesTest, CreatedIndexesReadBackAfterReopeningAndKeepTheTable) {
  struct Case {
    const char* what;
    std::function<bool()> create;
    const char* name;
    const char* expected;  // the record's members after Name, joined
  };
  const Case cases[] = {
      {"defaults: a clustered primary key on ID named pk_Items",
       [&] { return obj_->dbCreateIndexItem("Items"); }, "pk_Items",
       "Fields=ID Group= Unique=True Primary=True Required=True Clustered=True IgnoreNulls=False"},
      {"a unique index that is not the key",
       [&] { return obj_->dbCreateIndexItem("Items", "ByID", "ID", false, false, false); }, "ByID",
       "Fields=ID Group= Unique=True Primary=False Required=False Clustered=False "
       "IgnoreNulls=False"},
      {"two key columns, ignoring Nulls",
       [&] {
         return obj_->dbCreateIndexItem("Items", "ByQty", "Qty, ID", false, false, false, false,
                                        true);
       },
       "ByQty",
       "Fields=Qty,ID Group= Unique=False Primary=False Required=False Clustered=False "
       "IgnoreNulls=True"},
  };
  TearDown();  // each case starts from a fresh file
  obj_ = std::make_unique<clsZMDBFunc>();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    SetUp();
    const auto before = Shape("Items", "ID", {"ByCode"});
    obj_->dbClearError();
    ASSERT_TRUE(c.create()) << obj_->dbGetLastError().Description;
    Reopen();
    const rt::Record r = IndexNamed("Items", c.name);
    ASSERT_TRUE(r.Has("Name")) << "no index " << c.name;
    std::string got;
    for (const auto& [name, v] : r.members()) {
      if (name != "Name") got += (got.empty() ? "" : " ") + name + "=" + rt::CStr(v);
    }
    EXPECT_EQ(got, c.expected);
    EXPECT_EQ(Shape("Items", "ID", {"ByCode"}), before);
    EXPECT_EQ(NextNumber(), 4);  // the AutoNumber goes on where it was
    EXPECT_EQ(obj_->dbGetLastError().Number, 0);
    TearDown();
    obj_ = std::make_unique<clsZMDBFunc>();
  }
  SetUp();
}

// A change that fails leaves the table exactly as it was, with the error
// recorded; without a default database nothing is done or recorded.
TEST_F(IndexesTest, FailuresLeaveTheTableAsItWas) {
  auto cn = Connect();
  cn->Execute("INSERT INTO Items (ID, Code) VALUES (10, 'd')");
  cn->Execute("INSERT INTO Items (Code) VALUES ('e')");
  cn->Close();
  const auto before = Shape("Items", "ID", {"ByCode"});
  struct Case {
    const char* what;
    std::function<bool()> call;
    std::int32_t error;
  };
  const Case cases[] = {
      {"primary key over duplicate values", [&] { return obj_->dbCreateIndexItem("Items"); }, 3022},
      {"primary key over a Null key",
       [&] { return obj_->dbCreateIndexItem("Items", "pk", "ID, Code"); }, 3058},
      {"an index name already used",
       [&] { return obj_->dbCreateIndexItem("Items", "ByCode", "Qty", false); }, 3284},
      {"a key column the table lacks",
       [&] { return obj_->dbCreateIndexItem("Items", "ByAge", "Age", false); }, 3265},
      {"a table the database lacks", [&] { return obj_->dbCreateIndexItem("Nowhere"); }, 3265},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    EXPECT_FALSE(c.call());
    EXPECT_EQ(obj_->dbGetLastError().Number, c.error) << obj_->dbGetLastError().Description;
  }
  Reopen();
  EXPECT_EQ(Shape("Items", "ID", {"ByCode"}), before);
  EXPECT_EQ(obj_->dbIndexDefs("Items").size(), 1u);

  ASSERT_TRUE(obj_->dbCloseConnect(true));
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbCreateIndexItem("Items", "ByQty", "Qty", false));
  EXPECT_FALSE(obj_->dbRemoveIndexItem("Items", "ByCode"));
  EXPECT_FALSE(obj_->dbIndexDefs("Items").allocated());
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(IndexesTest, ListingFollowsTheConnArgument) {
  cn_ = Connect();
  cn_->Execute("CREATE TABLE Bare (A LONG)");
  cn_->Close();
  Reopen();
  // A table without indexes: an empty array, not a failure.
  const rt::SafeArray none = obj_->dbIndexDefs("Bare");
  EXPECT_TRUE(none.allocated());
  EXPECT_EQ(none.size(), 0u);
  // A Database argument lists the same as the default database: records
  // named "IndexRec", whose members late-bound callers reach by name.
  const rt::SafeArray defs = obj_->dbIndexDefs("Items", db());
  EXPECT_EQ(defs.items(), obj_->dbIndexDefs("Items").items());
  ASSERT_EQ(defs.size(), 1u);
  EXPECT_EQ(defs.at(0).AsRecord().typeName(), "IndexRec");
  EXPECT_EQ(rt::CStr(defs.at(0).AsRecord()["fields"]), "Code");
  // Another kind of object: no listing, nothing recorded.
  auto rs = dal::Recordset::Create();
  EXPECT_FALSE(obj_->dbIndexDefs("Items", Variant(rt::ObjectRef(rs))).allocated());
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  // A missing table is a recorded failure.
  EXPECT_FALSE(obj_->dbIndexDefs("Nowhere").allocated());
  EXPECT_EQ(obj_->dbGetLastError().Number, 3265);
  // A Connection runs the server's help procedure, which the file store lacks.
  obj_->dbClearError();
  auto cn = Connect();
  EXPECT_FALSE(obj_->dbIndexDefs("Items", Variant(rt::ObjectRef(cn))).allocated());
  EXPECT_EQ(cn->statementLog().back(), "sp_MShelpindex 'dbo.Items', NULL, 1");
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
}

TEST_F(IndexesTest, RemovingAnIndexOnTheFileStore) {
  ASSERT_TRUE(obj_->dbCreateIndexItem("Items"));
  const auto before = Shape("Items", "ID", {"ByCode"});
  EXPECT_TRUE(obj_->dbRemoveIndexItem("Items"));  // pk_Items
  obj_->dbClearError();
  // Missing: False, and nothing recorded or shown.
  EXPECT_FALSE(obj_->dbRemoveIndexItem("Items", "pk_Items"));
  EXPECT_FALSE(obj_->dbRemoveIndexItem("Nowhere", "ByCode"));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->shown().empty());
  Reopen();
  EXPECT_EQ(Shape("Items", "ID", {"ByCode"}), before);
  EXPECT_EQ(obj_->dbIndexDefs("Items").size(), 1u);
  EXPECT_TRUE(obj_->dbRemoveIndexItem("Items", "ByCode"));
  Reopen();
  EXPECT_EQ(obj_->dbIndexDefs("Items").size(), 0u);
}

// The type text of a column as its ADO type is named, read through a
// connection (the Conn given, or the default connection).
TEST_F(IndexesTest, FieldSqlStrNamesTheColumnType) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Typed (N LONG, S TEXT(12), D DATETIME, B BYTE)");
  const Variant conn{rt::ObjectRef(cn)};
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "N", conn), " [Int] ");
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "S", conn), " [VarWChar] (12) ");
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "D", conn), " [DateTime] ");
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "B", conn), " [UnsignedTinyInt] (1) ");
  EXPECT_EQ(cn->statementLog().back(), "SELECT TOP 1 B FROM Typed");
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "Nope", conn), "");
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  // No Conn and no default connection: nothing done, nothing recorded.
  obj_->dbClearError();
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "N"), "");
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  ASSERT_TRUE(obj_->dbSetConnect("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_, false));
  EXPECT_EQ(obj_->dbGetFieldSQLStr("Typed", "S"), " [VarWChar] (12) ");
  cn->Close();
}

// ---------------------------------------------------------------- SQL Server

TEST(ServerIndexStatements, AreBuiltAsText) {
  using namespace schema;
  const std::vector<std::string> idName{"ID", "Name"};
  const struct {
    std::string got, expected;
  } cases[] = {
      {KeyList(KeyColumns(" ID , ,Name,")), "[ID],[Name]"},
      {ColumnTypeText("VarWChar", 20), " [VarWChar] (20) "},
      // The vocabulary writes "TinyInt", which is not the sizeless "Tinyint".
      {ColumnTypeText("TinyInt", 1), " [TinyInt] (1) "},
      {AddPrimaryKeyStatement("T", "k", idName, false, "G2"),
       "ALTER TABLE [dbo].T WITH NOCHECK ADD CONSTRAINT [k] PRIMARY KEY NONCLUSTERED([ID],[Name]) "
       "ON [G2]"},
      {CreateIndexStatement("T", "ix", {"ID"}, false, "PRIMARY"),
       "CREATE INDEX ix ON [dbo].[T] ([ID]) ON [PRIMARY]"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.got, c.expected);
  EXPECT_EQ(
      PrimaryKeyStatements("T", "pk_T", idName, {" [Int] ", " [VarChar] (20) "}, true, "PRIMARY"),
      (std::vector<std::string>{
          "DELETE FROM [dbo].T WHERE ID IS NULL",
          "ALTER TABLE [dbo].T ALTER COLUMN ID [Int]  NOT NULL",
          "DELETE FROM [dbo].T WHERE Name IS NULL",
          "ALTER TABLE [dbo].T ALTER COLUMN Name [VarChar] (20)  NOT NULL",
          "ALTER TABLE [dbo].T WITH NOCHECK ADD CONSTRAINT [pk_T] PRIMARY KEY "
          "CLUSTERED([ID],[Name]) ON [PRIMARY]"}));
}

// Rows shaped as sp_MShelpindex returns them, on a recordset made here.
TEST(ServerIndexStatements, HelpRowsBecomeIndexRecords) {
  auto rs = dal::Recordset::Create();
  rs->fields()->Append("Name", 202, 128);
  rs->fields()->Append("Status", 3, 4);
  rs->fields()->Append("SegName", 202, 128);
  for (int n = 1; n <= 16; ++n) rs->fields()->Append("IndCol" + std::to_string(n), 202, 128);
  rs->SetCursorType(dal::ado::adOpenStatic);
  rs->SetLockType(dal::ado::adLockOptimistic);
  rs->Open(Variant::Missing(), Variant::Missing(), -1, -1, -1);
  const struct {
    const char* name;
    std::int32_t status;
    std::vector<std::string> cols;  // IndCol1.. in order; "" leaves one empty
    const char* expected;
  } cases[] = {
      {"pk_T", 2048 | 16 | 2, {"ID"}, "pk_T ID PRIMARY True True False True False"},
      {"ix3", 0, {"A", "B", "C"}, "ix3 A,B,C PRIMARY False False False False False"},
      {"ixU", 2, {"A", "", "C"}, "ixU A,C PRIMARY True False False False False"},
      {"ixC", 16, {}, "ixC  PRIMARY False False False True False"},
  };
  for (const auto& c : cases) {
    rs->AddNew();
    rs->fields()->Item(Variant("Name"))->SetValue(Variant(c.name));
    rs->fields()->Item(Variant("Status"))->SetValue(Variant(c.status));
    rs->fields()->Item(Variant("SegName"))->SetValue(Variant("PRIMARY"));
    for (std::size_t i = 0; i < c.cols.size(); ++i) {
      rs->fields()->Item(Variant("IndCol" + std::to_string(i + 1)))->SetValue(Variant(c.cols[i]));
    }
    rs->Update();
    const rt::Record r = schema::IndexRecordFromHelpRow(Variant(rt::ObjectRef(rs)));
    std::string got;
    for (const auto& m : r.members()) got += (got.empty() ? "" : " ") + rt::CStr(m.second);
    EXPECT_EQ(got, c.expected);
  }
}

}  // namespace
}  // namespace zmdb::testing
