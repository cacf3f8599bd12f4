// The view statements of dbCreateQueryItem and dbRemoveQueryItem on a
// connection that counts as SQL Server (the stand-in driver runs them on a
// SQLite file, with schema dbo attached as a file of its own).
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "store_fixture.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using QueriesOnSqlServer = dal::testing::StandInTest;

TEST_F(QueriesOnSqlServer, ViewStatementsInSchemaDbo) {
  // The stand-in keeps schema dbo in a file of its own.
  cn_->Execute("ATTACH DATABASE '" + (standIn_.dir / "dbo.db").string() + "' AS dbo");
  struct Case {
    std::function<bool()> call;
    std::string statement;
  };
  const Case cases[] = {
      {[&] { return obj_.dbCreateQueryItem("V1", "SELECT 1 AS X", true); },
       "CREATE VIEW dbo.V1 AS SELECT 1 AS X"},
      {[&] { return obj_.dbCreateQueryItem("V2", "SELECT 2 AS X", true, conn()); },
       "CREATE VIEW dbo.V2 AS SELECT 2 AS X"},
      {[&] { return obj_.dbRemoveQueryItem("V1", true); }, "DROP VIEW dbo.V1"},
      {[&] { return obj_.dbRemoveQueryItem("V2", true, conn()); }, "DROP VIEW dbo.V2"},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(c.call()) << c.statement << ": " << obj_.dbGetLastError().Description;
    EXPECT_EQ(cn_->statementLog().back(), c.statement);
  }
  EXPECT_FALSE(obj_.dbRemoveQueryItem("V1", true));  // gone
  EXPECT_TRUE(obj_.dbCloseConnect(false));
  EXPECT_FALSE(obj_.dbCreateQueryItem("V", "SELECT 1 AS X", true));  // no default connection
}

}  // namespace
}  // namespace zmdb::testing
