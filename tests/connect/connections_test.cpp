// Opening, adopting, handing out and closing the default connection and the
// default database, and the SQL Server test on connection objects.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class ConnectionsTest : public ComponentTest {};

TEST_F(ConnectionsTest, SetConnectOpensAndCloseConnectCloses) {
  const std::string text = cn_->ConnectionString();
  ASSERT_TRUE(obj_->dbSetConnect(text, false));
  auto own = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  ASSERT_TRUE(own);
  EXPECT_EQ(own->State(), 1);
  EXPECT_EQ(obj_->dbGetConnString(false), text);

  // Opening again replaces the reference without closing the first object.
  ASSERT_TRUE(obj_->dbSetConnect(text, false, 3));
  EXPECT_EQ(own->State(), 1);
  EXPECT_NE(obj_->dbGetConnect(false), own);
  EXPECT_EQ(rt::CLng(rt::GetProp(Variant(obj_->dbGetConnect(false)), "CursorLocation")), 3);

  auto second = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  EXPECT_TRUE(obj_->dbCloseConnect(false));
  EXPECT_EQ(second->State(), 0);
  EXPECT_EQ(obj_->dbGetConnect(false), nullptr);
  // Nothing left to close: still True, for either kind.
  EXPECT_TRUE(obj_->dbCloseConnect(false));
  EXPECT_TRUE(obj_->dbCloseConnect(true));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(ConnectionsTest, AFailedOpenLeavesNoDefaultConnection) {
  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  struct Case {
    std::string text;
    std::int32_t cursorLocation;
  };
  for (const Case& c :
       {Case{"PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + (dir_ / "missing.mdb").string(), 0},
        Case{cn_->ConnectionString(), 7}, Case{"", 0}}) {
    obj_->dbClearError();
    EXPECT_FALSE(obj_->dbSetConnect(c.text, false, c.cursorLocation)) << c.text;
    EXPECT_EQ(obj_->dbGetConnect(false), nullptr);
    EXPECT_NE(obj_->dbGetLastError().Number, 0);
    EXPECT_FALSE(obj_->dbGetLastError().Description.empty());
  }
}

TEST_F(ConnectionsTest, SetConnectAdoptsOnlyConnectionsAndDatabases) {
  // A recordset is not adopted, and the answer is True all the same.
  ASSERT_TRUE(obj_->dbSetConnect("", false, 0, Variant(rt::ObjectRef(dal::Recordset::Create()))));
  EXPECT_EQ(obj_->dbGetConnect(false), nullptr);
  EXPECT_EQ(obj_->dbGetConnect(true), nullptr);

  ASSERT_TRUE(obj_->dbSetConnect("ignored", true, 0, conn()));
  EXPECT_EQ(obj_->dbGetConnect(false), cn_);
  EXPECT_EQ(obj_->dbGetConnect(true), nullptr);
}

TEST_F(ConnectionsTest, IsSqlConnectReadsTheConnectionsString) {
  auto server = dal::Connection::Create();
  server->SetConnectionString(obj_->dbGetSQLConnect("sa", "Sales", "secret", "db1", false, "", 3));
  EXPECT_TRUE(obj_->dbIsSQLConnect(Variant(rt::ObjectRef(server))));
  server->SetConnectionString(obj_->dbGetSQLConnect("sa", "Sales", "", "", false, "dsn1", 2));
  EXPECT_FALSE(obj_->dbIsSQLConnect(Variant(rt::ObjectRef(server))));
  EXPECT_FALSE(obj_->dbIsSQLConnect(conn()));
  // Unguarded: an object without the property, or no object, fails the call.
  EXPECT_NE(dal::testing::RaisedNumber(
                [&] { obj_->dbIsSQLConnect(Variant(rt::ObjectRef(dal::Recordset::Create()))); }),
            0);
  EXPECT_NE(dal::testing::RaisedNumber([&] { obj_->dbIsSQLConnect(Variant("text")); }), 0);
}

}  // namespace
}  // namespace zmdb::testing
