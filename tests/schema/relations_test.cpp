// dbCreateRelationItem on the file store: the relation made, enforced and
// kept after reopening, with both tables as they were; a relation the rows
// already break is refused and changes nothing.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class RelationsTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    for (const char* sql : {
             "CREATE TABLE Orders (OrderNo COUNTER, StaffID LONG DEFAULT 3, Amount CURRENCY)",
             "INSERT INTO Orders (StaffID, Amount) VALUES (3, 10)",
             "INSERT INTO Orders (StaffID, Amount) VALUES (9, 20)",
             "CREATE INDEX ByStaff ON Orders (StaffID)",
         }) {
      cn_->Execute(sql);
    }
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    ASSERT_TRUE(obj_->dbCreateIndexItem("Staff"));  // the key the relation refers to
  }
  void Reopen() {
    ASSERT_TRUE(obj_->dbCloseConnect(true));
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  Variant Relations() { return rt::GetProp(Variant(obj_->dbGetConnect(true)), "Relations"); }
  // Both tables' rows and indexes, as text.
  std::vector<std::string> State() {
    std::vector<std::string> out;
    auto cn = Connect();
    for (const char* sql :
         {"SELECT * FROM Staff ORDER BY ID", "SELECT * FROM Orders ORDER BY OrderNo"}) {
      auto rs = Open(cn, sql);
      for (; !rs->AtEOF(); rs->MoveNext()) {
        std::string row;
        for (std::int32_t i = 0; i < rs->fields()->Count(); ++i)
          row += rt::TextOf(rs->fields()->Item(Variant(i))->Value()) + "|";
        out.push_back(row);
      }
    }
    cn->Close();
    for (const char* t : {"Staff", "Orders"}) {
      const rt::SafeArray defs = obj_->dbIndexDefs(t);
      for (const Variant& r : defs.items()) {
        std::string s = t;
        for (const auto& m : r.AsRecord().members()) s += " " + rt::CStr(m.second);
        // The engine's own index for a relation's foreign side is not the table's.
        if (s.find(" StaffOrders ") == std::string::npos) out.push_back(s);
      }
    }
    return out;
  }
  std::int32_t InsertOrder(std::int32_t staff) {
    auto cn = Connect();
    std::int32_t number = 0;
    try {
      cn->Execute("INSERT INTO Orders (StaffID, Amount) VALUES (" + std::to_string(staff) + ", 1)");
    } catch (const rt::PlatformError& e) {
      number = e.number();
    }
    cn->Close();
    return number;
  }
};

TEST_F(RelationsTest, ARelationIsMadeEnforcedAndKept) {
  const auto before = State();
  // The name defaults to table + foreign table, the foreign name to the field.
  ASSERT_TRUE(obj_->dbCreateRelationItem("ID", "Staff", "Orders", 0, "StaffID"));
  Reopen();
  const Variant rel = rt::ItemOf(Relations(), Variant("StaffOrders"));
  EXPECT_EQ(rt::CStr(rt::GetProp(rel, "Table")), "Staff");
  EXPECT_EQ(rt::CStr(rt::GetProp(rel, "ForeignTable")), "Orders");
  const Variant f = rt::ItemOf(rt::GetProp(rel, "Fields"), Variant(0));
  EXPECT_EQ(rt::CStr(rt::GetProp(f, "Name")), "ID");
  EXPECT_EQ(rt::CStr(rt::GetProp(f, "ForeignName")), "StaffID");
  EXPECT_EQ(State(), before);
  EXPECT_EQ(InsertOrder(57), 0);
  EXPECT_NE(InsertOrder(4), 0);  // no such staff member
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(RelationsTest, FailuresChangeNothing) {
  auto cn = Connect();
  cn->Execute("INSERT INTO Orders (StaffID, Amount) VALUES (4, 30)");  // refers to no one
  cn->Close();
  const auto before = State();
  struct Case {
    const char* what;
    std::function<bool()> call;
    std::int32_t error;  // 0: any
  };
  const Case cases[] = {
      {"rows already break it",
       [&] { return obj_->dbCreateRelationItem("ID", "Staff", "Orders", 0, "StaffID"); }, 0},
      {"a field the foreign table lacks",
       [&] { return obj_->dbCreateRelationItem("ID", "Staff", "Orders", 0, "Nope", "R2"); }, 0},
      {"a table the database lacks",
       [&] { return obj_->dbCreateRelationItem("ID", "Nowhere", "Orders", 0, "StaffID"); }, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    EXPECT_FALSE(c.call());
    EXPECT_NE(obj_->dbGetLastError().Number, 0);
  }
  Reopen();
  EXPECT_EQ(rt::CLng(rt::GetProp(Relations(), "Count")), 0);
  EXPECT_EQ(State(), before);

  // Without a default database: False, nothing recorded.
  ASSERT_TRUE(obj_->dbCloseConnect(true));
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbCreateRelationItem("ID", "Staff", "Orders"));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
