// The view statements of dbCreateQueryItem and dbRemoveQueryItem on a
// connection that counts as SQL Server (the stand-in driver runs them on a
// SQLite file, with schema dbo attached as a file of its own).
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "store_fixture.h"
#include "zmdb/dal/connection.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {
namespace {

using dal::testing::StandInDirectory;
using rt::Variant;

TEST(QueriesOnSqlServer, ViewStatementsInSchemaDbo) {
  const StandInDirectory standIn("views");
  const std::filesystem::path& dir = standIn.dir;
  const std::string& text = standIn.text;
  {
    auto host = std::make_shared<rt::HeadlessHost>();
    rt::ScopedHost scope(host);
    clsZMDBFunc obj;
    EXPECT_FALSE(obj.dbCreateQueryItem("V", "SELECT 1 AS X", true));  // no default connection
    ASSERT_TRUE(obj.dbSetConnect(text, false)) << obj.dbGetLastError().Description;
    auto cn = std::dynamic_pointer_cast<dal::Connection>(obj.dbGetConnect(false));
    cn->EnableStatementLog(true);
    // The stand-in keeps schema dbo in a file of its own.
    cn->Execute("ATTACH DATABASE '" + (dir / "dbo.db").string() + "' AS dbo");
    const Variant conn{rt::ObjectRef(cn)};
    struct Case {
      std::function<bool()> call;
      std::string statement;
    };
    const Case cases[] = {
        {[&] { return obj.dbCreateQueryItem("V1", "SELECT 1 AS X", true); },
         "CREATE VIEW dbo.V1 AS SELECT 1 AS X"},
        {[&] { return obj.dbCreateQueryItem("V2", "SELECT 2 AS X", true, conn); },
         "CREATE VIEW dbo.V2 AS SELECT 2 AS X"},
        {[&] { return obj.dbRemoveQueryItem("V1", true); }, "DROP VIEW dbo.V1"},
        {[&] { return obj.dbRemoveQueryItem("V2", true, conn); }, "DROP VIEW dbo.V2"},
    };
    for (const auto& c : cases) {
      EXPECT_TRUE(c.call()) << c.statement << ": " << obj.dbGetLastError().Description;
      EXPECT_EQ(cn->statementLog().back(), c.statement);
    }
    EXPECT_FALSE(obj.dbRemoveQueryItem("V1", true));  // gone
    EXPECT_TRUE(obj.dbCloseConnect(false));
  }
}

}  // namespace
}  // namespace zmdb::testing
