// The catalogue listings on the file store, through each way of naming it:
// the default database, a Database in Conn and a Connection in Conn (the
// catalogue). The server stores: tests/dal/stores/listings_test.cpp.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "listing_texts.h"
#include "schema_fixture.h"
#include "zmdb/dal/dao/dao.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

// "Name=Value:Type" of each property record.
std::vector<std::string> Props(const rt::SafeArray& a) {
  std::vector<std::string> out;
  for (const Variant& v : a.items()) {
    const rt::Record& r = v.AsRecord();
    out.push_back(rt::CStr(r["Name"]) + "=" + rt::TextOf(r["Value"]) + ":" + rt::CStr(r["Type"]));
  }
  return out;
}

class ListingsTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    for (const char* sql :
         {"CREATE TABLE alpha (A TEXT(5) NOT NULL DEFAULT 'x', B LONG)",
          "CREATE TABLE 员工 (编号 LONG, 姓名 TEXT(10))", "CREATE TABLE MSysNotes (N LONG)"}) {
      cn_->Execute(sql);
    }
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    // A link to a table of this same file under another name.
    const Variant link = rt::CallMethod(
        db(), "CreateTableDef",
        {Variant("Outside"), Variant(0), Variant("alpha"), Variant(";DATABASE=" + path_)});
    rt::CallMethod(rt::GetProp(db(), "TableDefs"), "Append", {link});
    ASSERT_TRUE(obj_->dbCreateQueryItem("Cheap", "SELECT * FROM Staff WHERE Kind=1"));
    const Variant staff = Table("Staff");
    for (const auto& [name, value] : {std::pair{"Description", "职员"}, {"Owner", "hr"}}) {
      rt::CallMethod(
          rt::GetProp(staff, "Properties"), "Append",
          {rt::CallMethod(staff, "CreateProperty", {Variant(name), Variant(10), Variant(value)})});
    }
    Describe("Staff", "Name", "姓名");
  }

  // The three ways of naming the file store.
  struct Way {
    const char* what;
    std::function<Variant()> conn;
    std::int32_t notFound;  // the error a missing table or field raises
  };
  std::vector<Way> Ways() {
    return {{"the default database", [] { return Variant::Missing(); }, rt::err::kItemNotFound},
            {"a Database", [this] { return db(); }, rt::err::kItemNotFound},
            {"a Connection (the catalogue)", [this] { return conn(); }, rt::err::kAdoItemNotFound}};
  }
};

TEST_F(ListingsTest, ListsTablesQueriesAndFieldsEveryWay) {
  for (const Way& w : Ways()) {
    SCOPED_TRACE(w.what);
    // Sorted without regard to case; the link included; MSys only with fbSystem.
    EXPECT_EQ(Texts(obj_->dbTableDefs(w.conn())),
              (std::vector<std::string>{"alpha", "Outside", "Staff", "员工"}));
    EXPECT_EQ(Texts(obj_->dbTableDefs(w.conn(), true)),
              (std::vector<std::string>{"alpha", "MSysNotes", "Outside", "Staff", "员工"}));
    EXPECT_EQ(Texts(obj_->dbQueryDefs(w.conn())), std::vector<std::string>{"Cheap"});
    EXPECT_EQ(Texts(obj_->dbFields("Staff", w.conn())),
              (std::vector<std::string>{"ID", "Code", "Name", "Kind", "Note"}));
    EXPECT_EQ(Texts(obj_->dbFields("员工", w.conn())), (std::vector<std::string>{"编号", "姓名"}));
    EXPECT_EQ(obj_->dbTableDefs(w.conn()).LBound(), 1);
    EXPECT_EQ(obj_->dbGetLastError().Number, 0) << obj_->dbGetLastError().Description;
  }
}

TEST_F(ListingsTest, PropertiesOfTablesAndFieldsEveryWay) {
  for (const Way& w : Ways()) {
    SCOPED_TRACE(w.what);
    std::vector<std::string> table = Props(obj_->dbProperties("Staff", "", w.conn()));
    ASSERT_EQ(table.size(), 8u);
    EXPECT_EQ(table[0], "Name=Staff:10");
    EXPECT_TRUE(table[1].starts_with("DateCreated=") && table[1].ends_with(":8")) << table[1];
    EXPECT_TRUE(table[2].starts_with("LastUpdated=") && table[2].ends_with(":8")) << table[2];
    EXPECT_EQ((std::vector<std::string>{table.begin() + 3, table.end()}),
              (std::vector<std::string>{"Connect=:10", "SourceTableName=:10", "RecordCount=3:4",
                                        "Description=职员:10", "Owner=hr:10"}));
    // A link names its source; an undescribed table has no Description.
    table = Props(obj_->dbProperties("Outside", "", w.conn()));
    ASSERT_EQ(table.size(), 6u);
    EXPECT_EQ(table[3], "Connect=;DATABASE=" + path_ + ":10");
    EXPECT_EQ(table[4], "SourceTableName=alpha:10");

    struct FieldCase {
      const char* table;
      const char* field;
      std::vector<std::string> expected;
    };
    const FieldCase fields[] = {
        {"Staff",
         "name",
         {"Name=Name:10", "Type=10:3", "Size=20:4", "Required=False:1", "AllowZeroLength=True:1",
          "DefaultValue=:10", "OrdinalPosition=2:3", "Description=姓名:10"}},
        {"alpha",
         "A",
         {"Name=A:10", "Type=10:3", "Size=5:4", "Required=True:1", "AllowZeroLength=True:1",
          "DefaultValue='x':10", "OrdinalPosition=0:3"}},
        {"员工",
         "姓名",
         {"Name=姓名:10", "Type=10:3", "Size=10:4", "Required=False:1", "AllowZeroLength=True:1",
          "DefaultValue=:10", "OrdinalPosition=1:3"}},
    };
    for (const FieldCase& c : fields) {
      SCOPED_TRACE(std::string(c.table) + "." + c.field);
      EXPECT_EQ(Props(obj_->dbProperties(c.table, c.field, w.conn())), c.expected);
    }
    EXPECT_EQ(obj_->dbGetLastError().Number, 0) << obj_->dbGetLastError().Description;
  }
}

TEST_F(ListingsTest, MissingObjectsAreRecordedFailures) {
  for (const Way& w : Ways()) {
    SCOPED_TRACE(w.what);
    const std::function<rt::SafeArray()> calls[] = {
        [&] { return obj_->dbFields("Nowhere", w.conn()); },
        [&] { return obj_->dbProperties("Nowhere", "", w.conn()); },
        [&] { return obj_->dbProperties("Staff", "Nothing", w.conn()); },
    };
    for (const auto& call : calls) {
      obj_->dbClearError();
      EXPECT_FALSE(call().allocated());
      EXPECT_EQ(obj_->dbGetLastError().Number, w.notFound);
    }
  }
}

TEST_F(ListingsTest, NothingToListOrNoStore) {
  // Another kind of value in Conn: nothing listed, nothing recorded.
  EXPECT_FALSE(obj_->dbTableDefs(Variant("text")).allocated());
  // An empty database lists nothing: unallocated arrays.
  const std::string empty = (std::filesystem::path(path_).parent_path() / "empty.mdb").string();
  const Variant emptyDb(rt::ObjectRef(dal::dao::Database::Create(empty, "")));
  EXPECT_FALSE(obj_->dbTableDefs(emptyDb, true).allocated());
  EXPECT_FALSE(obj_->dbQueryDefs(emptyDb).allocated());
  rt::CallMethod(emptyDb, "Close", {});
  // No default database and no Conn: nothing done, nothing recorded.
  ASSERT_TRUE(obj_->dbCloseConnect(true));
  EXPECT_FALSE(obj_->dbTableDefs().allocated());
  EXPECT_FALSE(obj_->dbFields("Staff").allocated());
  EXPECT_FALSE(obj_->dbProperties("Staff").allocated());
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
