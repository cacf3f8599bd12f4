// A table's structure copied from the file store to a server and back, with
// its rows: the fields come back with equal types, sizes and keys, and the
// rows (Chinese text, dates, Nulls) equal. On SQL Server, as the statements
// the stand-in driver receives.
#include "zmdb/schema/structure.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "dal/sqlite/backend_p.h"
#include "store_fixture.h"
#include "zmdb/connect/dialect.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

// A file-store database given one table of the types every server holds
// as they are, with a primary key and a unique index.
void AddStaff(const std::shared_ptr<Connection>& cn) {
  cn->Execute(
      "CREATE TABLE Staff (ID LONG NOT NULL, Name TEXT(20) NOT NULL, Note MEMO, Qty SHORT, "
      "Price CURRENCY, Amount DOUBLE, Born DATETIME, Active BIT, Exact DECIMAL(12,3), "
      "CONSTRAINT PrimaryKey PRIMARY KEY (ID))");
  cn->Execute("CREATE UNIQUE INDEX ByName ON Staff (Name)");
  for (const char* row : {
           "(1, '张三', '备注：第一行', 3, 1234.5678, 0.5, #2024-02-29 13:45:07#, True, 12.345)",
           "(2, '李四 and 王五', NULL, -1, -0.0001, NULL, #1899-12-30#, False, NULL)",
           "(3, 'Li', '', NULL, NULL, 1e10, NULL, False, -7)",
       }) {
    cn->Execute(std::string("INSERT INTO Staff VALUES ") + row);
  }
}

class StructureCopyTest : public LocalAndStoreTest {
 protected:
  void SetUp() override {
    LocalAndStoreTest::SetUp();
    if (IsSkipped()) return;
    AddStaff(local_);
  }
  // What a copy must keep of each field: its name (servers may fold its
  // case), type, size, Required and counter attribute.
  // `conn` missing: the default database.
  std::vector<std::string> Fields(const Variant& conn, const std::string& t) {
    std::vector<std::string> out;
    const rt::SafeArray records = obj_.dbGetTblStruct(t, conn);
    for (const Variant& r : records.items()) {
      const zmdb::schema::FieldStructure f = zmdb::schema::FromRecord(r.AsRecord());
      out.push_back(rt::AsciiUpper(f.name) + " " + std::to_string(f.type) + " " +
                    std::to_string(f.definedSize) + " " + std::to_string(f.required) + " " +
                    std::to_string(f.attributes & 0x10));
    }
    return out;
  }
  // Whether the server has table `t` (asked in its own SQL).
  bool Exists(const std::string& t) {
    try {
      remote_->Execute("SELECT * FROM " + t + " WHERE 1=0");
      return true;
    } catch (const rt::PlatformError&) {
      return false;
    }
  }
};

TEST_P(StructureCopyTest, ToTheServerAndBackKeepsStructureAndRows) {
  ASSERT_TRUE(obj_.dbCopyTblStruct("Staff", "staff", Of(local_), Of(remote_)))
      << obj_.dbGetLastError().Description;
  EXPECT_EQ(obj_.dbGetTblStruct("staff", Of(remote_)).size(), 9u);
  ASSERT_TRUE(obj_.dbCopyRows("Staff", "staff", "", Of(local_), Of(remote_)))
      << obj_.dbGetLastError().Description;
  // The unique index is there: a second Li is refused.
  EXPECT_THROW(remote_->Execute("INSERT INTO staff (ID, Name) VALUES (9, 'Li')"),
               rt::PlatformError);
  EXPECT_THROW(remote_->Execute("INSERT INTO staff (ID, Name) VALUES (1, 'Other')"),
               rt::PlatformError);

  // On the server itself: structure and rows by one statement.
  ASSERT_TRUE(obj_.dbCopyTblStruct("staff", "staff_copy", Of(remote_), Of(remote_)))
      << obj_.dbGetLastError().Description;
  ASSERT_TRUE(obj_.dbCopyTblData("staff", "staff_copy", "ID > 1", Of(remote_)))
      << obj_.dbGetLastError().Description;
  EXPECT_EQ(rt::CLng(Scalar(remote_, "SELECT COUNT(*) FROM staff_copy")), 2);

  ASSERT_TRUE(obj_.dbCopyTblStruct("staff", "StaffBack", Of(remote_), Of(local_)))
      << obj_.dbGetLastError().Description;
  ASSERT_TRUE(obj_.dbCopyRows("staff", "StaffBack", "", Of(remote_), Of(local_)))
      << obj_.dbGetLastError().Description;
  const auto fields = Fields(Of(local_), "Staff");
  ASSERT_EQ(fields.size(), 9u);
  EXPECT_EQ(fields[1], "NAME 202 20 1 0");
  EXPECT_EQ(Fields(Of(local_), "StaffBack"), fields);
  ASSERT_EQ(Rows(local_, "Staff").size(), 3u);
  EXPECT_EQ(Rows(local_, "StaffBack"), Rows(local_, "Staff"));
  // The primary key came back.
  EXPECT_THROW(local_->Execute("INSERT INTO StaffBack (ID, Name) VALUES (1, 'Other')"),
               rt::PlatformError);
}

// The same copy to and from a DAO-style database opened on the server as
// the default database (no Conn): the same structure as through a Connection.
TEST_P(StructureCopyTest, ThroughADaoDatabaseOnTheServer) {
  ASSERT_TRUE(obj_.dbCopyTblStruct("Staff", "staff", Of(local_), Of(remote_)))
      << obj_.dbGetLastError().Description;
  ASSERT_TRUE(obj_.dbSetConnect("ODBC;" + connectionString_, true))
      << obj_.dbGetLastError().Description;
  ASSERT_TRUE(obj_.dbCopyTblStruct("Staff", "staff_dao", Of(local_)))
      << obj_.dbGetLastError().Description;
  const auto viaConnection = Fields(Of(remote_), "staff");
  ASSERT_EQ(viaConnection.size(), 9u);
  EXPECT_EQ(Fields(Variant::Missing(), "staff_dao"), viaConnection);
  ASSERT_TRUE(obj_.dbCopyTblStruct("staff_dao", "StaffBack", Variant::Missing(), Of(local_)))
      << obj_.dbGetLastError().Description;
  EXPECT_EQ(Fields(Of(local_), "StaffBack"), Fields(Of(local_), "Staff"));
  // The unique index came along both ways.
  EXPECT_TRUE(obj_.dbIndexExists("staff_dao", "ByName"));
  local_->Execute("INSERT INTO StaffBack (ID, Name) VALUES (1, 'Li')");
  EXPECT_THROW(local_->Execute("INSERT INTO StaffBack (ID, Name) VALUES (2, 'Li')"),
               rt::PlatformError);
  EXPECT_TRUE(obj_.dbCloseConnect(true));
}

TEST_P(StructureCopyTest, AnIndexTheServerRefusesTakesTheNewTableWithIt) {
  if (store() != Store::Postgres) GTEST_SKIP() << "only PostgreSQL names indexes schema-wide";
  // A table already bears the name the index would take.
  remote_->Execute("CREATE TABLE second__byname (x INTEGER)");
  EXPECT_FALSE(obj_.dbCopyTblStruct("Staff", "second", Of(local_), Of(remote_)));
  EXPECT_NE(obj_.dbGetLastError().Number, 0);
  EXPECT_FALSE(Exists("second"));
}

INSTANTIATE_TEST_SUITE_P(Servers, StructureCopyTest,
                         ::testing::Values(Store::Postgres, Store::SqlServer), StoreParamName);

// On SQL Server the table is built by the store's SQL Server DDL, which the
// stand-in driver runs (and keeps) on a SQLite file with a "dbo" database
// attached, and rows are copied through the dialect adapter.
using StructureOnSqlServer = StandInTest;

TEST_F(StructureOnSqlServer, StatementsAsSent) {
  auto local = OpenLocalFile(standIn_.dir / "local");
  AddStaff(local);
  local->Execute("DROP INDEX ByName ON Staff");
  cn_->Execute("ATTACH DATABASE '" + (standIn_.dir / "dbo.db").string() + "' AS dbo");

  // Memo has no form the stand-in takes (NVARCHAR(MAX)): the copy leaves it.
  local->Execute("ALTER TABLE Staff DROP COLUMN Note");
  ASSERT_TRUE(obj_.dbCopyTblStruct("Staff", "Staff", Of(local), conn()))
      << obj_.dbGetLastError().Description;
  // The stand-in keeps each CREATE TABLE as it was sent.
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT sql FROM sqlite_master WHERE name = 'Staff'")),
            "CREATE TABLE \"Staff\" (\"ID\" int NOT NULL, \"Name\" nvarchar(20) NOT NULL, "
            "\"Qty\" smallint, \"Price\" money, \"Amount\" float, \"Born\" datetime, "
            "\"Active\" bit, \"Exact\" decimal(12,3), "
            "CONSTRAINT \"Staff__PrimaryKey\" PRIMARY KEY (\"ID\"))");
  EXPECT_EQ(obj_.dbGetTblStruct("Staff", conn()).size(), 8u);
  cn_->Execute("INSERT INTO Staff (ID, Name) VALUES (1, 'a')");
  EXPECT_THROW(cn_->Execute("INSERT INTO Staff (ID, Name) VALUES (1, 'b')"), rt::PlatformError);
  cn_->Execute("DELETE FROM Staff");
  ASSERT_TRUE(obj_.dbCopyTblStruct("Staff", "Archive", Of(local), conn()));
  ASSERT_TRUE(obj_.dbCopyRows("Staff", "Staff", "", Of(local), conn()));

  const std::string jet =
      zmdb::schema::CopyTableDataStatement("Staff", "Archive", "Born < #2000-1-1#");
  EXPECT_TRUE(obj_.dbCopyTblData("Staff", "Archive", "Born < #2000-1-1#"))
      << obj_.dbGetLastError().Description;
  const std::string sent = connect::AdaptDialect(jet, conn());
  EXPECT_NE(sent, jet);
  EXPECT_EQ(cn_->statementLog().back(), sent);
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT Name FROM Archive")), "李四 and 王五");
  EXPECT_TRUE(obj_.dbCloseConnect(false));
  local->Close();
}

}  // namespace
}  // namespace zmdb::dal::testing
