// The existence probes and the default database through the DAO-style
// objects of the file store, and the default database shared by every
// component object on a thread.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class DaoProbesTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute("CREATE INDEX ByName ON Staff (Name)");
    cn_->Execute(
        "CREATE TABLE Orders (OrderID INTEGER, CONSTRAINT pk_Orders PRIMARY KEY (OrderID))");
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    db_ = Variant(obj_->dbGetConnect(true));
    rt::CallMethod(db_, "Execute", {Variant("CREATE VIEW Cheap AS SELECT * FROM Staff")});
  }
  Variant db_;
};

TEST_F(DaoProbesTest, ThroughTheDefaultDatabaseAndADatabaseArgument) {
  struct Case {
    const char* what;
    std::function<bool(const Variant&)> probe;
    bool expected;
  };
  const Case cases[] = {
      {"table", [&](const Variant& c) { return obj_->dbTableExists("Staff", c); }, true},
      {"no table", [&](const Variant& c) { return obj_->dbTableExists("Nowhere", c); }, false},
      {"field", [&](const Variant& c) { return obj_->dbFieldExists("Staff", "Note", c); }, true},
      {"no field", [&](const Variant& c) { return obj_->dbFieldExists("Staff", "Age", c); }, false},
      {"field of no table",
       [&](const Variant& c) { return obj_->dbFieldExists("Nowhere", "ID", c); }, false},
      {"query", [&](const Variant& c) { return obj_->dbQueryExists("Cheap", c); }, true},
      {"no query", [&](const Variant& c) { return obj_->dbQueryExists("Staff", c); }, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.probe(Variant::Missing()), c.expected) << c.what << " (default database)";
    EXPECT_EQ(c.probe(db_), c.expected) << c.what << " (Database argument)";
  }
  // The index probe has no Conn: it works on the default database only.
  EXPECT_TRUE(obj_->dbIndexExists("Staff", "ByName"));
  EXPECT_FALSE(obj_->dbIndexExists("Staff", "ByCode"));
  EXPECT_TRUE(obj_->dbIndexExists("Orders"));  // pk_Orders
  EXPECT_FALSE(obj_->dbIndexExists("Staff"));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(DaoProbesTest, TheDefaultDatabaseIsSharedOnTheThread) {
  clsZMDBFunc other;
  EXPECT_EQ(other.dbGetConnect(true), obj_->dbGetConnect(true));
  EXPECT_TRUE(other.dbTableExists("Staff"));
  EXPECT_EQ(other.dbGetConnString(true), rt::CStr(rt::GetProp(db_, "Connect")));
  EXPECT_FALSE(obj_->dbIsSQLConnect(db_));

  // A missing file keeps the database open before, and records nothing.
  obj_->dbClearError();
  EXPECT_FALSE(other.dbOpenDateBase((dir_ / "missing.mdb").string(), ""));
  EXPECT_EQ(obj_->dbGetConnect(true), db_.AsObject());
  EXPECT_EQ(other.dbGetLastError().Number, 0);

  // Any object's teardown drops the shared default database.
  obj_.reset();
  EXPECT_EQ(other.dbGetConnect(true), nullptr);
  EXPECT_FALSE(other.dbTableExists("Staff"));
}

TEST_F(DaoProbesTest, SetConnectAndCloseConnectOnTheDaoPath) {
  // An ODBC database described by a connect string whose data source does
  // not exist: the failure is recorded and the default dropped.
  EXPECT_FALSE(obj_->dbSetConnect("ODBC;DSN=nowhere", true));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  EXPECT_EQ(obj_->dbGetConnect(true), nullptr);
  // Adopting a Database object stores it as the default database.
  ASSERT_TRUE(obj_->dbSetConnect("", false, 0, db_));
  EXPECT_EQ(obj_->dbGetConnect(true), db_.AsObject());
  // Closing it closes the object the caller kept, which refuses further work.
  EXPECT_TRUE(obj_->dbCloseConnect(true));
  EXPECT_EQ(obj_->dbGetConnect(true), nullptr);
  EXPECT_NE(dal::testing::RaisedNumber([&] { rt::GetProp(db_, "TableDefs"); }), 0);
}

}  // namespace
}  // namespace zmdb::testing
