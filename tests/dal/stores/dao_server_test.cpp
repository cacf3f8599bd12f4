// The DAO-style database on every store: on the file store opened by its
// file, on the servers by an "ODBC;..." connect string. The same cases run
// on each, through the objects and through the component's two-store
// methods called without Conn.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "store_fixture.h"
#include "temp_folder.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"
#include "zmdb/runtime/text_encoding.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;
namespace daot = typecodes::dao;

class DaoOnStoreTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    if (::testing::Test::IsSkipped()) return;
    dao::OpenArgs args;
    if (store() == Store::File) {
      args.name = connectionString_.substr(connectionString_.find("Source=") + 7);
      args.name = args.name.substr(0, args.name.find(';'));
    } else {
      args.connect = "ODBC;" + connectionString_;
    }
    db_ = engine_.OpenDatabase(args);
  }
  void TearDown() override {
    if (db_) db_->Close();
    StoreTest::TearDown();
  }
  std::vector<std::string> Names(const std::shared_ptr<dao::Collection>& c) { return c->Names(); }
  std::shared_ptr<dao::TableDef> Def(const std::string& name) {
    return rt::ObjectAs<dao::TableDef>(Variant(db_->TableDefs()->Item(Variant(name))));
  }

  dao::DBEngine engine_;
  std::shared_ptr<dao::Database> db_;
};

// A table made by a caller's DDL reads back through TableDefs, Fields and Indexes.
TEST_P(DaoOnStoreTest, ReadsATableMadeByDdl) {
  db_->Execute("CREATE TABLE staff (id INTEGER NOT NULL, name " + Text(30) + ", note " +
               Type(Ddl::Memo) + ", born " + Type(Ddl::Date) + ", pay " + Type(Ddl::Double) +
               ", CONSTRAINT pk_staff PRIMARY KEY (id))");
  db_->Execute("CREATE INDEX ix_name ON staff (name)");
  EXPECT_EQ(Names(db_->TableDefs()), std::vector<std::string>{"staff"});
  // Found without regard to case; each field as name, type, size (text only).
  const schema::TableDef d = Def("STAFF")->Def();
  std::vector<std::string> fields;
  for (const auto& f : d.fields) {
    fields.push_back(rt::AsciiUpper(f.name) + " " + std::to_string(f.type) +
                     (f.type == daot::dbText ? " " + std::to_string(f.size) : ""));
  }
  EXPECT_EQ(fields, (std::vector<std::string>{"ID 4", "NAME 10 30", "NOTE 12", "BORN 8", "PAY 7"}));
  EXPECT_TRUE(d.fields[0].required);
  const auto pk = std::find_if(d.indexes.begin(), d.indexes.end(),
                               [](const schema::IndexDef& ix) { return ix.primary; });
  ASSERT_NE(pk, d.indexes.end());
  ASSERT_EQ(pk->fields.size(), 1u);
  EXPECT_TRUE(rt::NameEquals(pk->fields[0].name, "id"));
  const auto ix = std::find_if(d.indexes.begin(), d.indexes.end(),
                               [](const auto& i) { return rt::NameEquals(i.name, "ix_name"); });
  ASSERT_NE(ix, d.indexes.end());
  EXPECT_FALSE(ix->unique);
}

// CreateTableDef, Fields.Append, an index with Primary, TableDefs.Append:
// the table is made on the store and takes rows; then renamed, given a
// field and an index, and deleted.
TEST_P(DaoOnStoreTest, AppendsRenamesAndDeletes) {
  auto t = db_->CreateTableDef("Orders");
  auto id = t->CreateField("ID", daot::dbLong);
  id->SetProperty("Attributes", Variant(schema::kAutoIncrField), {});
  t->Fields()->Append(Variant(rt::ObjectRef(id)));
  t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("Item", daot::dbText, 40))));
  t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("Qty", daot::dbInteger))));
  auto pk = t->CreateIndex("pk_Orders");
  pk->SetProperty("Primary", Variant(true), {});
  pk->Fields()->Append(Variant(rt::ObjectRef(pk->CreateField("ID"))));
  t->Indexes()->Append(Variant(rt::ObjectRef(pk)));
  db_->TableDefs()->Append(Variant(rt::ObjectRef(t)));

  auto cn = Connect();
  cn->Execute("INSERT INTO orders (item, qty) VALUES ('茶', 2)");
  cn->Execute("INSERT INTO orders (item, qty) VALUES ('tea', 3)");
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT MAX(id) FROM orders")), 2);  // a counter
  const schema::TableDef d = Def("orders")->Def();
  ASSERT_EQ(d.fields.size(), 3u);
  // The SQLite driver's catalogue names neither counters nor key constraints.
  const bool namesKeys = store() != Store::Sqlite;
  EXPECT_EQ(d.fields[0].attributes & schema::kAutoIncrField,
            namesKeys ? schema::kAutoIncrField : 0);
  EXPECT_EQ(d.fields[1].size, 40);
  EXPECT_EQ(d.fields[2].type, daot::dbInteger);
  ASSERT_FALSE(d.indexes.empty());
  EXPECT_TRUE(std::any_of(d.indexes.begin(), d.indexes.end(), [&](const auto& i) {
    return i.primary && (!namesKeys || rt::NameEquals(i.name, "pk_Orders"));
  }));
  EXPECT_EQ(RaisedNumber([&] {
              auto again = db_->CreateTableDef("ORDERS");
              again->Fields()->Append(Variant(rt::ObjectRef(again->CreateField("x", 4))));
              db_->TableDefs()->Append(Variant(rt::ObjectRef(again)));
            }),
            3010);

  // A server keeps a column's definition to itself: changing it is refused.
  auto qty = rt::ObjectAs<dao::Field>(Variant(Def("orders")->Fields()->Item(Variant("qty"))));
  EXPECT_EQ(RaisedNumber([&] { qty->SetProperty("Required", Variant(true), {}); }),
            store() == Store::File ? 0 : 3251);

  auto orders = Def("Orders");
  orders->Fields()->Append(Variant(rt::ObjectRef(orders->CreateField("Price", daot::dbDouble))));
  auto byItem = orders->CreateIndex("ix_item");
  byItem->SetProperty("Unique", Variant(true), {});
  byItem->Fields()->Append(Variant(rt::ObjectRef(byItem->CreateField("Item"))));
  orders->Indexes()->Append(Variant(rt::ObjectRef(byItem)));
  EXPECT_EQ(Def("orders")->Def().fields.size(), 4u);
  const auto indexes = Def("orders")->Def().indexes;
  EXPECT_EQ(
      std::count_if(indexes.begin(), indexes.end(),
                    [](const auto& i) { return rt::NameEquals(i.name, "ix_item") && i.unique; }),
      1);
  Def("orders")->SetName("Sales");
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM sales")), 2);
  db_->TableDefs()->Delete("SALES");
  EXPECT_TRUE(Names(db_->TableDefs()).empty());
}

// A Description is kept where the store keeps comments (PostgreSQL's
// COMMENT ON) and refused clearly elsewhere; views are the saved queries.
TEST_P(DaoOnStoreTest, DescriptionsAndViews) {
  db_->Execute("CREATE TABLE staff (id INTEGER, name " + Text(20) + ")");
  auto describe = [&] {
    auto t = Def("Staff");
    t->Properties()->Append(
        Variant(rt::ObjectRef(t->CreateProperty("Description", 10, Variant("员工's list")))));
  };
  if (store() == Store::Sqlite || store() == Store::SqlServer) {
    EXPECT_EQ(RaisedNumber(describe), 3251);
    // Refused before anything is made.
    auto t = db_->CreateTableDef("Other");
    t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("id", daot::dbLong))));
    t->Properties()->Append(
        Variant(rt::ObjectRef(t->CreateProperty("Description", 10, Variant("x")))));
    EXPECT_EQ(RaisedNumber([&] { db_->TableDefs()->Append(Variant(rt::ObjectRef(t))); }), 3251);
    EXPECT_EQ(Names(db_->TableDefs()), std::vector<std::string>{"staff"});
  } else {
    describe();
    EXPECT_EQ(rt::CStr(Def("staff")->Properties()->Item(Variant("Description"))->DefaultValue()),
              "员工's list");
    auto name = rt::ObjectAs<dao::Field>(Variant(Def("staff")->Fields()->Item(Variant("NAME"))));
    name->Properties()->Append(Variant(
        rt::ObjectRef(std::make_shared<dao::Property>("Description", 10, Variant("姓名")))));
    name = rt::ObjectAs<dao::Field>(Variant(Def("staff")->Fields()->Item(Variant("name"))));
    EXPECT_EQ(rt::CStr(name->Properties()->Item(Variant("Description"))->DefaultValue()), "姓名");
  }

  db_->CreateQueryDef("Named", "SELECT name FROM staff WHERE id > 1");
  EXPECT_EQ(Names(db_->QueryDefs()),
            std::vector<std::string>{store() == Store::Postgres ? "named" : "Named"});
  auto cn = Connect();
  cn->Execute("INSERT INTO staff VALUES (2, '李')");
  EXPECT_EQ(rt::CStr(Scalar(cn, "SELECT name FROM named")), "李");
  auto q = rt::ObjectAs<dao::QueryDef>(Variant(db_->QueryDefs()->Item(Variant("NAMED"))));
  if (store() != Store::Sqlite) {
    EXPECT_NE(rt::AsciiUpper(q->Sql()).find("FROM STAFF"), std::string::npos) << q->Sql();
  }
  // Action queries are no views.
  EXPECT_EQ(RaisedNumber([&] { db_->CreateQueryDef("Purge", "DELETE FROM staff"); }),
            store() == Store::File ? 0 : 3251);
  db_->QueryDefs()->Delete("Named");
  const std::vector<std::string> left = db_->QueryDefs()->Names();
  EXPECT_TRUE(std::none_of(left.begin(), left.end(),
                           [](const std::string& n) { return rt::NameEquals(n, "named"); }));
}

// SELECT ... INTO a text file streams the store's rows (a server's too)
// into the file; the file store's own tables are not involved.
TEST_P(DaoOnStoreTest, SelectIntoATextFileWritesTheStoresRows) {
  db_->Execute("CREATE TABLE goods (id INTEGER NOT NULL, name " + Text(20) + ", pay " +
               Type(Ddl::Double) + ")");
  auto cn = Connect();
  cn->Execute("INSERT INTO goods (id, name, pay) VALUES (1, '墨水', 2.5)");
  cn->Execute("INSERT INTO goods (id) VALUES (2)");
  const zmdb::testing::TempFolder dir;
  EXPECT_EQ(db_->Execute("SELECT id, name, pay INTO [Text;database=" + dir.path().string() +
                         "].goods FROM goods ORDER BY id"),
            2);
  std::ifstream in(dir / "goods.txt", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_EQ(rt::GbkToUtf8(text), "\"id\",\"name\",\"pay\"\r\n1,\"墨水\",2.5\r\n2,,\r\n");
}

INSTANTIATE_TEST_SUITE_P(Stores, DaoOnStoreTest, EveryStore(), StoreParamName);

// The two-store methods without Conn, on the default database: a file
// opened by dbOpenDateBase, a server by dbSetConnect with IsDAO True. (The
// listings and structure copies on such a database are in listings_test and
// structure_test.)
using TwoStoreMethodsTest = ComponentStoreTest;

TEST_P(TwoStoreMethodsTest, RunOnTheDefaultDatabase) {
  if (store() == Store::File) {
    std::string path = connectionString_.substr(connectionString_.find("Source=") + 7);
    ASSERT_TRUE(obj_.dbOpenDateBase(path.substr(0, path.find(';')), ""));
  } else {
    ASSERT_TRUE(obj_.dbSetConnect("ODBC;" + connectionString_, true))
        << obj_.dbGetLastError().Description;
    EXPECT_EQ(rt::TypeName(Variant(obj_.dbGetConnect(true))), "Database");
  }
  struct Case {
    const char* what;
    std::function<bool()> call;
    bool result;
  };
  const Case cases[] = {
      {"a missing table", [&] { return obj_.dbTableExists("staff"); }, false},
      {"make a table", [&] { return obj_.dbCreateTableItem("staff"); }, true},
      {"its counter", [&] { return obj_.dbCreateFieldItem("", "ID", 4, 0, 16); }, true},
      {"a text field", [&] { return obj_.dbCreateFieldItem("", "Name", 10, 20); }, true},
      {"append it", [&] { return obj_.dbCreateTableOver("staff"); }, true},
      {"no such field", [&] { return obj_.dbFieldExists("staff", "age"); }, false},
      {"no index yet", [&] { return obj_.dbIndexExists("staff", "ix_name"); }, false},
      {"an index",
       [&] {
         return obj_.dbCreateIndexItem("staff", "ix_name", "Name", false, false, false, false);
       },
       true},
      {"the index", [&] { return obj_.dbIndexExists("staff", "ix_name"); }, true},
      {"the primary key", [&] { return obj_.dbCreateIndexItem("staff", "", "ID"); }, true},
      {"rename the table", [&] { return obj_.dbModifyTableName(Variant("staff"), "crew"); }, true},
      {"the new name", [&] { return obj_.dbTableExists("crew"); }, true},
      {"rename a field", [&] { return obj_.dbModifyFieldName("crew", Variant("Name"), "Alias"); },
       true},
      {"the renamed field", [&] { return obj_.dbFieldExists("crew", "alias"); }, true},
      {"a field added later", [&] { return obj_.dbCreateFieldItem("crew", "Note", 10, 50); }, true},
      {"the added field", [&] { return obj_.dbFieldExists("crew", "NOTE"); }, true},
      {"drop it", [&] { return obj_.dbRemoveFieldItem("crew", "Note"); }, true},
      {"the dropped field", [&] { return obj_.dbFieldExists("crew", "note"); }, false},
      {"remove the table", [&] { return obj_.dbRemoveTableItem("crew"); }, true},
      {"the removed table", [&] { return obj_.dbTableExists("crew"); }, false},
  };
  for (const Case& c : cases) {
    obj_.dbClearError();
    EXPECT_EQ(c.call(), c.result) << c.what << ": " << obj_.dbGetLastError().Description;
  }
  EXPECT_TRUE(obj_.dbCloseConnect(true));
}

INSTANTIATE_TEST_SUITE_P(Stores, TwoStoreMethodsTest,
                         ::testing::Values(Store::File, Store::Postgres, Store::SqlServer),
                         StoreParamName);

// A DAO database on a driver named "SQL Server ..." gets SQL Server's DDL;
// the stand-in driver keeps each CREATE TABLE as it was sent.
using DaoOnSqlServer = StandInTest;

TEST_F(DaoOnSqlServer, TablesAreMadeWithSqlServerDdl) {
  ASSERT_TRUE(obj_.dbSetConnect("ODBC;" + standIn_.text, true))
      << obj_.dbGetLastError().Description;
  const Variant db(obj_.dbGetConnect(true));
  EXPECT_TRUE(obj_.dbIsSQLConnect(db));
  ASSERT_TRUE(obj_.dbCreateTableItem("Staff"));
  ASSERT_TRUE(obj_.dbCreateFieldItem("", "ID", 4, 0, 16));
  ASSERT_TRUE(obj_.dbCreateFieldItem("", "Name", 10, 20));
  ASSERT_TRUE(obj_.dbCreateFieldItem("", "Born", 8));
  ASSERT_TRUE(obj_.dbCreateTableOver("Staff")) << obj_.dbGetLastError().Description;
  EXPECT_EQ(rt::CStr(Scalar(cn_, "SELECT sql FROM sqlite_master WHERE name = 'Staff'")),
            "CREATE TABLE \"Staff\" (\"ID\" int IDENTITY(1,1), \"Name\" nvarchar(20), "
            "\"Born\" datetime)");
  // Read back through the catalogue: the counter is known by its type.
  EXPECT_TRUE(obj_.dbFieldExists("Staff", "born"));
  auto t = rt::ObjectAs<dao::TableDef>(rt::ItemOf(rt::GetProp(db, "TableDefs"), Variant("staff")));
  EXPECT_NE(t->Def().fields.at(0).attributes & schema::kAutoIncrField, 0);
  EXPECT_TRUE(obj_.dbCloseConnect(true));
}

}  // namespace
}  // namespace zmdb::dal::testing
