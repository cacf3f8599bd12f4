// Filling list and combo boxes from a file-store database: which rows become
// items, where ItemData lands, that nothing is cleared first, and the
// failure value and recorded error of each way the fill can go wrong.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "component_fixture.h"
#include "zmdb/ui/controls.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Items = std::vector<std::string>;
using Data = std::vector<std::int32_t>;

constexpr std::int32_t kItemNotFound = -2146825023;  // 0x800A0CC1, a missing field
constexpr std::int32_t kNoSuchTable = -2147217865;   // 0x80040E37

// Items: a text column with a Null and an empty text, a number column with a
// zero and a Null, and a Chinese label.
class ListFillTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    for (const char* sql : {
             "CREATE TABLE Items (ID INTEGER, Label TEXT(20), Qty INTEGER, Price DOUBLE)",
             "INSERT INTO Items VALUES (1, 'apple', 0, 1.5)",
             "INSERT INTO Items VALUES (2, NULL, 5, 2)",
             "INSERT INTO Items VALUES (3, '', 7, 0)",
             "INSERT INTO Items VALUES (4, 'pear', NULL, 3)",
             "INSERT INTO Items VALUES (5, '梨子', 2, 0.25)",
         }) {
      cn_->Execute(sql);
    }
  }

  // A list or combo box already holding one item ("keep", ItemData 99).
  static Variant Control(const char* type, bool sorted = false) {
    Variant ctrl(ui::NewControl(type));
    rt::SetProp(ctrl, "Sorted", Variant(sorted));
    rt::CallMethod(ctrl, "AddItem", {Variant("keep")});
    rt::SetProp(ctrl, "ItemData", Variant(std::int32_t{99}), {Variant(std::int32_t{0})});
    return ctrl;
  }
  static const ui::ListControl& List(const Variant& ctrl) {
    return dynamic_cast<const ui::ListControl&>(*ctrl.AsObject());
  }
  // "keep" followed by `added`.
  static Items Kept(Items added) {
    added.insert(added.begin(), "keep");
    return added;
  }
  static Data Kept(Data added) {
    added.insert(added.begin(), 99);
    return added;
  }
  std::int32_t LastError() const { return obj_->dbGetLastError().Number; }
};

TEST_F(ListFillTest, AddCtrlTakesEachNonEmptyValue) {
  const struct {
    const char* what;
    const char* field;
    const char* sql;
    bool result;
    Items added;
    std::int32_t error;  // 0: nothing recorded
  } cases[] = {
      // clang-format off
      {"Null and empty text are skipped", "Label", "SELECT * FROM Items ORDER BY ID", true,
       {"apple", "pear", "梨子"}, 0},
      {"a zero is added, a Null is not", "Qty", "SELECT * FROM Items ORDER BY ID", true,
       {"0", "5", "7", "2"}, 0},
      {"fractions and zero of a double", "Price", "SELECT * FROM Items ORDER BY ID", true,
       {"1.5", "2", "0", "3", "0.25"}, 0},
      {"the field name in another case", "label", "SELECT * FROM Items WHERE ID<3", true, {"apple"},
       0},
      {"no rows: False, nothing recorded", "Label", "SELECT * FROM Items WHERE ID>99", false, {},
       0},
      {"only Nulls and empty texts: True, nothing added", "Label",
       "SELECT * FROM Items WHERE ID IN (2,3)", true, {}, 0},
      {"a field the rows lack", "Nope", "SELECT * FROM Items", false, {}, kItemNotFound},
      {"a missing table", "Label", "SELECT * FROM NoSuchTable", false, {}, kNoSuchTable},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    Variant ctrl = Control("ListBox");
    EXPECT_EQ(obj_->dbAddCtrl(ctrl, c.field, c.sql, conn()), c.result);
    EXPECT_EQ(List(ctrl).items(), Kept(c.added));
    EXPECT_EQ(LastError(), c.error);
  }
}

TEST_F(ListFillTest, AddCtrlExReadsTheTableWithItsOptions) {
  const struct {
    const char* what;
    const char *field, *itemData, *sort, *condition, *filter;
    bool result;
    Items added;
    Data data;
    const char* statement;
  } cases[] = {
      // clang-format off
      {"the whole table", "Label", "", "", "", "", true, {"apple", "pear", "梨子"}, {0, 0, 0},
       "SELECT * FROM Items"},
      {"item data from another field", "Label", "ID", "", "", "", true, {"apple", "pear", "梨子"},
       {1, 4, 5}, "SELECT * FROM Items"},
      {"sorted", "Label", "ID", "ID DESC", "", "", true, {"梨子", "pear", "apple"}, {5, 4, 1},
       "SELECT * FROM Items ORDER BY ID DESC"},
      {"a condition", "Label", "ID", "", "Qty>1", "", true, {"梨子"}, {5},
       "SELECT * FROM Items WHERE Qty>1"},
      {"a condition and a sort", "Qty", "ID", "ID DESC", "ID>1", "", true, {"2", "7", "5"},
       {5, 3, 2}, "SELECT * FROM Items WHERE ID>1 ORDER BY ID DESC"},
      {"a zero shown, its item data kept", "Qty", "Price", "", "", "", true, {"0", "5", "7", "2"},
       {2, 2, 0, 0}, "SELECT * FROM Items"},
      {"a filter", "Label", "ID", "", "", "Qty = 0 OR Label = '梨子'", true, {"apple", "梨子"}, {1, 5},
       "SELECT * FROM Items"},
      {"a filter after a condition", "Label", "ID", "ID DESC", "ID>1", "Price > 1", true, {"pear"},
       {4}, "SELECT * FROM Items WHERE ID>1 ORDER BY ID DESC"},
      {"a filter that matches nothing", "Label", "ID", "", "", "ID = 99", false, {}, {},
       "SELECT * FROM Items"},
      {"a condition that matches nothing", "Label", "ID", "", "1=0", "", false, {}, {},
       "SELECT * FROM Items WHERE 1=0"},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Variant ctrl = Control("ComboBox");
    EXPECT_EQ(obj_->dbAddCtrlEx(ctrl, "Items", c.field, c.itemData, c.sort, c.condition, c.filter,
                                conn()),
              c.result);
    EXPECT_EQ(List(ctrl).items(), Kept(c.added));
    EXPECT_EQ(List(ctrl).itemData(), Kept(c.data));
    EXPECT_EQ(LastStatement(*cn_), c.statement);
    EXPECT_EQ(LastError(), 0);
  }
}

// Each failure answers False, records the error and keeps what was added
// before it struck.
TEST_F(ListFillTest, AddCtrlExFailuresAreRecorded) {
  const struct {
    const char* what;
    const char *table, *field, *itemData;
    Items added;
    Data data;
    std::int32_t error;
  } cases[] = {
      // clang-format off
      {"a missing table", "NoSuchTable", "Label", "", {}, {}, kNoSuchTable},
      {"a missing display field", "Items", "Nope", "", {}, {}, kItemNotFound},
      {"a missing item-data field, after the first item", "Items", "Label", "Nope", {"apple"}, {0},
       kItemNotFound},
      {"a Null item data, after the items before it", "Items", "Label", "Qty", {"apple", "pear"},
       {0, 0}, rt::err::kInvalidUseOfNull},
      {"an item data that is not a number", "Items", "ID", "Label", {"1"}, {0},
       rt::err::kTypeMismatch},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    Variant ctrl = Control("ComboBox");
    EXPECT_FALSE(obj_->dbAddCtrlEx(ctrl, c.table, c.field, c.itemData, "ID", "", "", conn()));
    EXPECT_EQ(List(ctrl).items(), Kept(c.added));
    EXPECT_EQ(List(ctrl).itemData(), Kept(c.data));
    EXPECT_EQ(LastError(), c.error);
  }
  EXPECT_NE(obj_->dbGetLastError().Description, "");
}

// Filling twice appends twice; ItemData goes to the last position even when a
// sorted list put the new item elsewhere.
TEST_F(ListFillTest, AppendsAndWritesItemDataAtTheLastPosition) {
  Variant list = Control("ListBox");
  ASSERT_TRUE(obj_->dbAddCtrlEx(list, "Items", "Label", "ID", "", "ID<5", "", conn()));
  ASSERT_TRUE(obj_->dbAddCtrl(list, "Label", "SELECT * FROM Items WHERE ID<5", conn()));
  EXPECT_EQ(List(list).items(), (Items{"keep", "apple", "pear", "apple", "pear"}));
  EXPECT_EQ(List(list).itemData(), (Data{99, 1, 4, 0, 0}));

  // Rows come 梨子 (5), pear (4), apple (1); a sorted combo places each by its
  // text, while each number is written to whatever item is last.
  Variant sorted(ui::NewControl("ComboBox"));
  rt::SetProp(sorted, "Sorted", Variant(true));
  ASSERT_TRUE(obj_->dbAddCtrlEx(sorted, "Items", "Label", "ID", "ID DESC", "", "", conn()));
  EXPECT_EQ(List(sorted).items(), (Items{"apple", "pear", "梨子"}));
  EXPECT_EQ(List(sorted).itemData(), (Data{0, 0, 1}));
}

// Which connection is used, and what a wrong Conn or Ctrl gives.
TEST_F(ListFillTest, ConnectionAndControlArguments) {
  ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  const Variant database(frame::Library().defaultDatabase);
  const Variant notAControl(std::string("List1"));
  const Variant progress(ui::NewControl("ProgressBar"));
  const struct {
    const char* what;
    bool defaultConnection;
    Variant conn;
    std::optional<Variant> ctrl;  // none: a list holding "keep"
    bool result;
    std::int32_t error;
  } cases[] = {
      // clang-format off
      {"no Conn, no default connection", false, Variant::Missing(), {}, false, 0},
      {"no Conn: the default connection", true, Variant::Missing(), {}, true, 0},
      {"a Database as Conn", true, database, {}, false, rt::err::kTypeMismatch},
      {"a text as Ctrl", false, conn(), notAControl, false, rt::err::kObjectRequired},
      {"a progress bar as Ctrl", false, conn(), progress, false, rt::err::kNotSupported},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    if (c.defaultConnection) {
      ASSERT_TRUE(
          obj_->dbSetConnect("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ + ";", false));
    } else {
      obj_->dbCloseConnect(false);
    }
    Variant a = c.ctrl ? *c.ctrl : Control("ListBox");
    Variant b = c.ctrl ? *c.ctrl : Control("ListBox");
    EXPECT_EQ(obj_->dbAddCtrl(a, "Label", "SELECT * FROM Items", c.conn), c.result);
    EXPECT_EQ(LastError(), c.error);
    obj_->dbClearError();
    EXPECT_EQ(obj_->dbAddCtrlEx(b, "Items", "Label", "ID", "", "", "", c.conn), c.result);
    EXPECT_EQ(LastError(), c.error);
    if (!c.ctrl) {
      const Items expected = c.result ? Kept({"apple", "pear", "梨子"}) : Items{"keep"};
      EXPECT_EQ(List(a).items(), expected);
      EXPECT_EQ(List(b).items(), expected);
    }
  }
}

TEST_F(ListFillTest, AddFieldsNameIsAlwaysFalse) {
  auto withFields = Open(cn_, "SELECT * FROM Items");
  auto noRows = Open(cn_, "SELECT * FROM Items WHERE 1=0");
  const struct {
    const char* what;
    rt::ObjectRef rs;
    std::int32_t error;
  } cases[] = {
      // clang-format off
      {"a recordset with fields: a type mismatch", withFields, rt::err::kTypeMismatch},
      {"fields but no rows: the same", noRows, rt::err::kTypeMismatch},
      {"a recordset without fields: nothing at all", dal::Recordset::Create(), 0},
      {"no recordset", nullptr, rt::err::kObjectRequired},
      {"not a recordset", ui::NewControl("ListBox"), rt::err::kTypeMismatch},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    obj_->dbClearError();
    Variant ctrl = Control("ListBox");
    EXPECT_FALSE(obj_->dbAddFieldsName(ctrl, c.rs));
    EXPECT_EQ(List(ctrl).items(), Items{"keep"});
    EXPECT_EQ(LastError(), c.error);
  }
}

}  // namespace
}  // namespace zmdb::testing
