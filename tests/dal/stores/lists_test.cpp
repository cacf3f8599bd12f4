// Filling a list and a combo box from each store: the same rows skipped
// (Null, empty text) and kept (zero), the same filter and item data, and a
// missing table recorded.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store_fixture.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"
#include "zmdb/ui/controls.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

class ListsOnStoreTest : public ComponentStoreTest {
 protected:
  static const ui::ListControl& List(const Variant& ctrl) {
    return dynamic_cast<const ui::ListControl&>(*ctrl.AsObject());
  }
};

TEST_P(ListsOnStoreTest, FillsFromRowsAndSkipsEmptyValues) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE items (id INT, label " + Text(20) + ", qty INT)");
  for (const char* row :
       {"(1, 'apple', 0)", "(2, NULL, 5)", "(3, '', 7)", "(4, 'pear', NULL)", "(5, '梨子', 2)"}) {
    cn->Execute(std::string("INSERT INTO items VALUES ") + row);
  }
  const Variant conn = Of(cn);
  for (const char* type : {"ListBox", "ComboBox"}) {
    SCOPED_TRACE(type);
    Variant ctrl(ui::NewControl(type));
    rt::CallMethod(ctrl, "AddItem", {Variant("keep")});
    ASSERT_TRUE(obj_.dbAddCtrl(ctrl, "label", "SELECT * FROM items ORDER BY id", conn))
        << obj_.dbGetLastError().Description;
    ASSERT_TRUE(obj_.dbAddCtrl(ctrl, "qty", "SELECT * FROM items ORDER BY id", conn));
    ASSERT_TRUE(obj_.dbAddCtrlEx(ctrl, "items", "label", "id", "id DESC", "id>1", "qty = 2", conn));
    EXPECT_FALSE(obj_.dbAddCtrlEx(ctrl, "items", "label", "id", "", "", "id = 99", conn));
    EXPECT_EQ(List(ctrl).items(), (std::vector<std::string>{"keep", "apple", "pear", "梨子", "0",
                                                            "5", "7", "2", "梨子"}));
    EXPECT_EQ(List(ctrl).itemData(), (std::vector<std::int32_t>{0, 0, 0, 0, 0, 0, 0, 0, 5}));
    EXPECT_EQ(obj_.dbGetLastError().Number, 0);

    EXPECT_FALSE(obj_.dbAddCtrlEx(ctrl, "nowhere", "label", "", "", "", "", conn));
    EXPECT_NE(obj_.dbGetLastError().Number, 0);
    EXPECT_EQ(List(ctrl).items().size(), 9U);
    obj_.dbClearError();
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, ListsOnStoreTest, EveryStore(), StoreParamName);

}  // namespace
}  // namespace zmdb::dal::testing
