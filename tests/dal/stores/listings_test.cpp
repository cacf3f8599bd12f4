// The catalogue listings through a Connection on every store (and on a
// server through a DAO-style database on it too): the file store
// through its catalogue, the servers through their table rowsets, views
// listed as the saved queries of a server; and the statements sent to SQL
// Server, on the stand-in driver.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "listing_texts.h"
#include "store_fixture.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;
using zmdb::testing::Texts;

// "Name=Value" of each property record whose name is in `names`.
std::vector<std::string> Props(const rt::SafeArray& a, const std::vector<std::string>& names) {
  std::vector<std::string> out;
  for (const Variant& v : a.items()) {
    const rt::Record& r = v.AsRecord();
    const std::string name = rt::CStr(r["Name"]);
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      out.push_back(name + "=" + rt::TextOf(r["Value"]));
    }
  }
  return out;
}

using ListingsOnStoreTest = ComponentStoreTest;

TEST_P(ListingsOnStoreTest, TablesViewsFieldsAndProperties) {
  if (store() == Store::SqlServer) GTEST_SKIP() << "SQL Server: see the stand-in test below";
  auto cn = Connect();
  cn->Execute("CREATE TABLE zeta (id INT NOT NULL, name " + Text(12) + ", note " + Text(30) + ")");
  cn->Execute("CREATE TABLE alpha (a INT)");
  cn->Execute("INSERT INTO zeta VALUES (1, '张三', NULL)");
  cn->Execute("INSERT INTO zeta VALUES (2, 'Li', 'x')");
  cn->Execute("CREATE VIEW zview AS SELECT id FROM zeta");
  std::vector<std::pair<std::string, Variant>> conns = {{"Connection", Variant(rt::ObjectRef(cn))}};
  // On a server, the same listings through a DAO-style database on it.
  if (store() != Store::File) {
    ASSERT_TRUE(obj_.dbSetConnect("ODBC;" + connectionString_, true))
        << obj_.dbGetLastError().Description;
    conns.emplace_back("Database", Variant(obj_.dbGetConnect(true)));
  }
  for (const auto& [what, conn] : conns) {
    SCOPED_TRACE(what);
    EXPECT_EQ(Texts(obj_.dbTableDefs(conn)), (std::vector<std::string>{"alpha", "zeta"}));
    EXPECT_EQ(Texts(obj_.dbQueryDefs(conn)), std::vector<std::string>{"zview"});
    EXPECT_EQ(Texts(obj_.dbFields("zeta", conn)), (std::vector<std::string>{"id", "name", "note"}));
    EXPECT_EQ(Props(obj_.dbProperties("zeta", "", conn), {"Name", "RecordCount", "Connect"}),
              (std::vector<std::string>{"Name=zeta", "Connect=", "RecordCount=2"}));
    EXPECT_EQ(
        Props(obj_.dbProperties("zeta", "name", conn), {"Name", "Type", "Size", "OrdinalPosition"}),
        (std::vector<std::string>{"Name=name", "Type=10", "Size=12", "OrdinalPosition=1"}));
    const std::vector<std::string> required = {"Required"};
    // The SQLite ODBC driver reports every column as nullable.
    if (store() != Store::Sqlite) {
      EXPECT_EQ(Props(obj_.dbProperties("zeta", "id", conn), required),
                std::vector<std::string>{"Required=True"});
    }
    EXPECT_EQ(Props(obj_.dbProperties("zeta", "note", conn), required),
              std::vector<std::string>{"Required=False"});
    EXPECT_EQ(obj_.dbGetLastError().Number, 0) << obj_.dbGetLastError().Description;

    // A missing table is a recorded failure.
    EXPECT_FALSE(obj_.dbFields("nowhere", conn).allocated());
    EXPECT_NE(obj_.dbGetLastError().Number, 0);
    obj_.dbClearError();
  }
  if (conns.size() > 1) {
    EXPECT_TRUE(obj_.dbCloseConnect(true));
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, ListingsOnStoreTest, EveryStore(), StoreParamName);

// SQL Server: the statements of the field and property listings, on the
// stand-in driver (which lists its tables through the table rowset too).
using ListingsOnSqlServer = StandInTest;

TEST_F(ListingsOnSqlServer, StatementsOnTheStandIn) {
  cn_->Execute("CREATE TABLE Staff (ID INT, Name VARCHAR(20))");
  cn_->Execute("CREATE VIEW Named AS SELECT Name FROM Staff");
  // The statements the listings sent, after the two above.
  const auto sent = [&] {
    return std::vector<std::string>(cn_->statementLog().begin() + 2, cn_->statementLog().end());
  };
  EXPECT_EQ(Texts(obj_.dbTableDefs(conn())), std::vector<std::string>{"Staff"});
  EXPECT_EQ(Texts(obj_.dbQueryDefs(conn())), std::vector<std::string>{"Named"});
  EXPECT_TRUE(sent().empty());  // read from the rowset, no statement
  EXPECT_EQ(Texts(obj_.dbFields("Staff", conn())), (std::vector<std::string>{"ID", "Name"}));
  EXPECT_EQ(sent(), std::vector<std::string>{"SELECT * FROM Staff WHERE 1=0"});
  EXPECT_TRUE(obj_.dbProperties("Staff", "", conn()).allocated());
  EXPECT_EQ(sent(), (std::vector<std::string>{"SELECT * FROM Staff WHERE 1=0",
                                              "SELECT * FROM Staff WHERE 1=0",
                                              "SELECT COUNT(*) FROM Staff"}));
  EXPECT_EQ(obj_.dbGetLastError().Number, 0) << obj_.dbGetLastError().Description;
}

}  // namespace
}  // namespace zmdb::dal::testing
