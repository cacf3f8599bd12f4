// dbCreateRelationItem on the file store: the relation made, enforced and
// kept after reopening, with both tables as they were; a relation the rows
// already break is refused and changes nothing.
#include <gtest/gtest.h>

#include "schema_fixture.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class RelationsTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    for (const char* sql : {
             "CREATE TABLE Orders (OrderNo COUNTER, StaffID LONG DEFAULT 3, Amount CURRENCY)",
             "INSERT INTO Orders (StaffID, Amount) VALUES (3, 10)",
             "INSERT INTO Orders (StaffID, Amount) VALUES (9, 20)",
             "CREATE INDEX ByStaff ON Orders (StaffID)",
         }) {
      cn_->Execute(sql);
    }
    cn_->Close();
    Reopen();
    ASSERT_TRUE(obj_->dbCreateIndexItem("Staff"));  // the key the relation refers to
    Describe("Orders", "Amount", "金额");
  }
  Variant Relations() { return rt::GetProp(db(), "Relations"); }
  // Both tables as a relation between them must keep them.
  std::vector<std::string> State() {
    auto out = Shape("Staff", "ID", {"pk_Staff"});
    for (auto& line : Shape("Orders", "OrderNo", {"ByStaff"})) out.push_back(std::move(line));
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
  {  // The AutoNumber goes on where it was.
    auto cn = Connect();
    auto rs = Open(cn, "SELECT OrderNo FROM Orders WHERE StaffID = 57");
    EXPECT_EQ(rt::CLng(rs->fields()->Item(Variant("OrderNo"))->Value()), 3);
    rs->Close();
    cn->Close();
  }
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
