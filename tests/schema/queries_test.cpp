// Saved queries and views: QueryDefs in the default database and the table
// form on a file-store connection (without a default database and for other
// objects: tables_test.cpp; the view statements of SQL Server:
// tests/dal/stores/views_test.cpp).
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class QueriesTest : public ComponentTest {};

TEST_F(QueriesTest, SavedQueriesInTheDefaultDatabase) {
  ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  const Variant db(obj_->dbGetConnect(true));
  EXPECT_TRUE(obj_->dbCreateQueryItem("Cheap", "SELECT * FROM Staff WHERE Kind=1"));
  // A Database in Conn saves in the default database.
  EXPECT_TRUE(obj_->dbCreateQueryItem("Dear", "SELECT * FROM Staff WHERE Kind=2", false, db));
  EXPECT_TRUE(obj_->dbQueryExists("Cheap"));
  EXPECT_TRUE(obj_->dbQueryExists("Dear", db));
  auto rs = Open(cn_, "SELECT * FROM Dear");
  EXPECT_EQ(rs->VisibleRows().size(), 2u);
  // A name in use, and removing a missing query, are recorded failures.
  EXPECT_FALSE(obj_->dbCreateQueryItem("Cheap", "SELECT 1"));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(obj_->dbRemoveQueryItem("Cheap"));
  EXPECT_TRUE(obj_->dbRemoveQueryItem("Dear", false, db));
  EXPECT_FALSE(obj_->dbQueryExists("Cheap"));
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbRemoveQueryItem("Cheap"));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
}

TEST_F(QueriesTest, TableFormThroughAFileStoreConnection) {
  EXPECT_TRUE(
      obj_->dbCreateQueryItem("Kind2", "SELECT ID, Name FROM Staff WHERE Kind=2", false, conn()));
  EXPECT_EQ(LastStatement(*cn_), "CREATE TABLE Kind2 AS SELECT ID, Name FROM Staff WHERE Kind=2");
  EXPECT_EQ(Open(cn_, "SELECT * FROM Kind2")->VisibleRows().size(), 2u);
  EXPECT_TRUE(obj_->dbTableExists("Kind2", conn()));
  EXPECT_TRUE(obj_->dbRemoveQueryItem("Kind2", false, conn()));
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE Kind2");
  EXPECT_FALSE(obj_->dbTableExists("Kind2", conn()));
  // Names are not bracketed: a name with a space fails.
  EXPECT_FALSE(obj_->dbCreateQueryItem("Two Words", "SELECT 1 AS X", false, conn()));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
