// Rows copied from a file-store database to each store and back: Chinese
// text, dates, Nulls and decimals come back equal, and a copy that fails
// part-way leaves the store's table as it was.
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "dal/sqlite/backend_p.h"
#include "store_fixture.h"
#include "zmdb/connect/dialect.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

class CopyRowsTest : public LocalAndStoreTest {
 protected:
  void SetUp() override {
    LocalAndStoreTest::SetUp();
    if (IsSkipped()) return;
    for (const char* table : {"mixed", "mixed_back"}) {
      local_->Execute(std::string("CREATE TABLE ") + table +
                      " (id LONG, name TEXT(20), born DATETIME, amount CURRENCY, note TEXT(20))");
    }
    for (const char* row : {
             "(1, '张三', #2024-02-29 13:45:07#, 1234.5678, NULL)",
             "(2, '李四 and 王五', #1899-12-30#, -0.0001, '备注')",
             "(3, NULL, NULL, NULL, NULL)",
             "(4, '', #1970-01-01 00:00:01#, 0, 'zero')",
         }) {
      local_->Execute(std::string("INSERT INTO mixed VALUES ") + row);
    }
    remote_->Execute("CREATE TABLE mixed (id " + Type(Ddl::Int) + " PRIMARY KEY, name " + Text(20) +
                     ", born " + Type(Ddl::Date) + ", amount " + Type(Ddl::Money) + ", note " +
                     Text(20) + ")");
  }
};

TEST_P(CopyRowsTest, ToTheStoreAndBackComeBackEqual) {
  ASSERT_TRUE(obj_.dbCopyRows("mixed", "mixed", "", Of(local_), Of(remote_)));
  EXPECT_EQ(rt::CStr(Scalar(remote_, "SELECT name FROM mixed WHERE id=1")), "张三");
  EXPECT_EQ(rt::CLng(Scalar(remote_, "SELECT COUNT(*) FROM mixed WHERE note IS NULL")), 2);
  ASSERT_TRUE(obj_.dbCopyRows("mixed", "mixed_back", "", Of(remote_), Of(local_)));
  EXPECT_EQ(Rows(local_, "mixed_back"), Rows(local_, "mixed"));

  // A condition chooses the rows, in the source's own SQL.
  local_->Execute("DELETE FROM mixed_back");
  ASSERT_TRUE(obj_.dbCopyRows("mixed", "mixed_back", "amount < 0", Of(remote_), Of(local_)));
  const auto back = Rows(local_, "mixed_back");
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(rt::CStr(back[0][1]), "李四 and 王五");
  EXPECT_EQ(obj_.dbGetLastError().Number, 0);
}

TEST_P(CopyRowsTest, AFailurePartWayLeavesTheTargetAsItWas) {
  // Row 3 is there already: rows 1 and 2, copied before it, are rolled back.
  remote_->Execute("INSERT INTO mixed (id, name) VALUES (3, 'there')");
  const auto before = Rows(remote_, "mixed");
  EXPECT_FALSE(obj_.dbCopyRows("mixed", "mixed", "", Of(local_), Of(remote_)));
  EXPECT_NE(obj_.dbGetLastError().Number, 0);
  EXPECT_EQ(Rows(remote_, "mixed"), before);
  // A text too long for the target stops the copy the same way; only the
  // fields the tables share are copied.
  local_->Execute("CREATE TABLE wide (id LONG, note TEXT(40), extra LONG)");
  local_->Execute("INSERT INTO wide VALUES (10, 'fits', 1)");
  local_->Execute("INSERT INTO wide VALUES (11, 'a note well over twenty characters', 2)");
  EXPECT_FALSE(obj_.dbCopyRows("wide", "mixed", "", Of(local_), Of(remote_)));
  EXPECT_EQ(Rows(remote_, "mixed"), before);
  // The connection is usable afterwards: the rows that fit go in.
  EXPECT_TRUE(obj_.dbCopyRows("mixed", "mixed", "id<3", Of(local_), Of(remote_)));
  EXPECT_TRUE(obj_.dbCopyRows("wide", "mixed", "id=10", Of(local_), Of(remote_)));
  EXPECT_EQ(Rows(remote_, "mixed").size(), 4u);
  EXPECT_EQ(rt::CStr(Scalar(remote_, "SELECT note FROM mixed WHERE id=10")), "fits");
}

INSTANTIATE_TEST_SUITE_P(Stores, CopyRowsTest, EveryStore(), StoreParamName);

// On a connection that counts as SQL Server both statements are translated
// before they run; the stand-in driver runs them on a SQLite file.
using CopyRowsOnSqlServer = StandInTest;

TEST_F(CopyRowsOnSqlServer, StatementsGoThroughTheDialectAdapter) {
  cn_->Execute("CREATE TABLE STAFF (ID INT, NAME VARCHAR(20))");
  cn_->Execute("CREATE TABLE ARCHIVE (ID INT PRIMARY KEY, NAME VARCHAR(20))");
  cn_->Execute("INSERT INTO STAFF VALUES (1, '张三')");
  cn_->Execute("INSERT INTO STAFF VALUES (2, 'Wang')");

  EXPECT_TRUE(obj_.dbCopyRows("staff", "archive", "id > 1"));
  const auto& log = cn_->statementLog();
  for (const std::string& jet :
       {records::CopySourceStatement("staff", "id > 1"), records::CopyTargetStatement("archive")}) {
    const std::string sent = connect::AdaptDialect(jet, conn());
    EXPECT_NE(sent, jet);
    EXPECT_NE(std::find(log.begin(), log.end(), sent), log.end()) << sent;
  }
  EXPECT_TRUE(obj_.dbCopyRows("staff", "archive", "id = 1"));
  EXPECT_EQ(Scalar(cn_, "SELECT NAME FROM ARCHIVE WHERE ID = 1"), Variant("张三"));
  // Copying every row now collides at row 1: row 2 stays the only copy of it.
  EXPECT_FALSE(obj_.dbCopyRows("staff", "archive"));
  EXPECT_EQ(rt::CLng(Scalar(cn_, "SELECT COUNT(*) FROM ARCHIVE")), 2);
  EXPECT_TRUE(obj_.dbCloseConnect(false));
}

}  // namespace
}  // namespace zmdb::dal::testing
