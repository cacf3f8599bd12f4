// The Qt controls behind the late-bound control contracts: filled and moved
// by the real methods on a real file store, mirroring the headless controls'
// values and errors, and following the user's pick.
#include "zmdb/hosts/qt/controls.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <functional>
#include <string>
#include <vector>

#include "component_fixture.h"
#include "zmdb/hosts/qt/host.h"
#include "zmdb/ui/controls.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
namespace qt = hosts::qt;

struct Shown {
  std::vector<std::string> texts;
  std::vector<int> data;
  bool operator==(const Shown&) const = default;
};

Shown Of(const QComboBox& combo) {
  Shown s;
  for (int i = 0; i < combo.count(); ++i) {
    s.texts.push_back(combo.itemText(i).toStdString());
    s.data.push_back(combo.itemData(i).toInt());
  }
  return s;
}

Shown Of(const QListWidget& list) {
  Shown s;
  for (int i = 0; i < list.count(); ++i) {
    s.texts.push_back(list.item(i)->text().toStdString());
    s.data.push_back(list.item(i)->data(Qt::UserRole).toInt());
  }
  return s;
}

class QtControlsTest : public ComponentTest {
 protected:
  std::shared_ptr<qt::QtHost> qtHost_ = std::make_shared<qt::QtHost>(qt::QtHost::Options{false});
  rt::ScopedHost qtScope_{qtHost_};
};

TEST_F(QtControlsTest, ComboFilledWithItemData) {
  QComboBox combo;
  Variant ctrl(qt::ComboBoxControl(&combo));
  ASSERT_TRUE(obj_->dbAddCtrlEx(ctrl, "Staff", "Name", "ID", "Name", "", "", conn()));
  EXPECT_EQ(Of(combo), (Shown{{"Li", "Wang", "Zhao"}, {3, 57, 9}}));
  // Nothing is selected until the user picks; the pick is the control's ListIndex.
  EXPECT_EQ(combo.currentIndex(), -1);
  EXPECT_EQ(rt::CLng(rt::GetProp(ctrl, "ListIndex")), -1);
  combo.setCurrentIndex(1);
  EXPECT_EQ(rt::CLng(rt::GetProp(ctrl, "ListIndex")), 1);
  EXPECT_EQ(rt::CStr(rt::GetProp(ctrl, "Text")), "Wang");
  EXPECT_EQ(rt::CLng(rt::GetProp(ctrl, "ItemData", {Variant(1)})), 57);
  // The library selecting an item selects it on screen; a second fill appends.
  rt::SetProp(ctrl, "ListIndex", Variant(2));
  EXPECT_EQ(combo.currentText().toStdString(), "Zhao");
  ASSERT_TRUE(obj_->dbAddCtrlEx(ctrl, "Staff", "Code", "", "", "ID > 5", "", conn()));
  EXPECT_EQ(Of(combo), (Shown{{"Li", "Wang", "Zhao", "000101", "000099"}, {3, 57, 9, 0, 0}}));
  EXPECT_EQ(combo.currentText().toStdString(), "Zhao");
  rt::CallMethod(ctrl, "Clear");
  EXPECT_EQ(combo.count(), 0);
  EXPECT_EQ(rt::CLng(rt::GetProp(ctrl, "ListCount")), 0);
}

// A sorted list puts each item where the headless list would; ItemData lands
// on the last row, whichever item that is, as the fill method writes it.
TEST_F(QtControlsTest, SortedListBoxMirrorsTheHeadlessList) {
  QListWidget list;
  Variant shown(qt::ListBoxControl(&list));
  Variant headless(ui::NewControl("ListBox"));
  for (const Variant& ctrl : {shown, headless}) {
    rt::SetProp(ctrl, "Sorted", Variant(true));
    ASSERT_TRUE(obj_->dbAddCtrlEx(const_cast<Variant&>(ctrl), "Staff", "Name", "ID", "ID DESC", "",
                                  "", conn()));
    ASSERT_TRUE(
        obj_->dbAddCtrl(const_cast<Variant&>(ctrl), "Code", "SELECT Code FROM Staff", conn()));
  }
  Shown expected;
  auto model = std::dynamic_pointer_cast<ui::ListControl>(headless.AsObject());
  expected.texts = model->items();
  expected.data.assign(model->itemData().begin(), model->itemData().end());
  EXPECT_EQ(Of(list), expected);
  EXPECT_EQ(list.count(), 6);
  EXPECT_EQ(list.item(0)->text().toStdString(), "000012");
  EXPECT_EQ(rt::CLng(rt::GetProp(shown, "NewIndex")), rt::CLng(rt::GetProp(headless, "NewIndex")));
  list.setCurrentRow(4);
  EXPECT_EQ(rt::CStr(rt::GetProp(shown, "Text")), expected.texts[4]);
}

// The same member on a Qt control and on its headless counterpart gives the
// same value or the same error.
TEST_F(QtControlsTest, SameContractAsTheHeadlessControls) {
  using Step = std::function<Variant(const Variant&)>;
  const struct {
    const char* type;
    const char* what;
    Step step;
  } cases[] = {
      {"ComboBox", "ItemData of an empty list",
       [](const Variant& c) { return rt::GetProp(c, "ItemData", {Variant(0)}); }},
      {"ListBox", "ListIndex beyond the list",
       [](const Variant& c) {
         rt::SetProp(c, "ListIndex", Variant(0));
         return Variant();
       }},
      {"ListBox", "AddItem without an item",
       [](const Variant& c) { return rt::CallMethod(c, "AddItem"); }},
      {"ListBox", "sorting a filled list",
       [](const Variant& c) {
         rt::CallMethod(c, "AddItem", {Variant("b")});
         rt::SetProp(c, "Sorted", Variant(true));
         return Variant();
       }},
      {"ComboBox", "a number as an item",
       [](const Variant& c) {
         rt::CallMethod(c, "AddItem", {Variant(2.5)});
         return rt::GetProp(c, "List", {Variant(0)});
       }},
      {"ComboBox", "an unknown member", [](const Variant& c) { return rt::GetProp(c, "Columns"); }},
      {"ProgressBar", "Value above Max",
       [](const Variant& c) {
         rt::SetProp(c, "Value", Variant(101));
         return Variant();
       }},
      {"ProgressBar", "Max at Min",
       [](const Variant& c) {
         rt::SetProp(c, "Max", Variant(0));
         return Variant();
       }},
      {"ProgressBar", "Value read back",
       [](const Variant& c) {
         rt::SetProp(c, "Value", Variant(42));
         return rt::GetProp(c, "Value");
       }},
      {"Label", "a label has no Value",
       [](const Variant& c) {
         rt::SetProp(c, "Value", Variant(1));
         return Variant();
       }},
      {"Label", "Caption of a number",
       [](const Variant& c) {
         rt::SetProp(c, "Caption", Variant(7));
         return rt::GetProp(c, "Caption");
       }},
  };
  QListWidget list;
  QComboBox combo;
  QProgressBar bar;
  QLabel label;
  auto qtControl = [&](std::string_view type) -> Variant {
    if (type == "ListBox") return Variant(qt::ListBoxControl(&list));
    if (type == "ComboBox") return Variant(qt::ComboBoxControl(&combo));
    if (type == "ProgressBar") return Variant(qt::ProgressBarControl(&bar));
    return Variant(qt::LabelControl(&label));
  };
  auto outcome = [](const Step& step, const Variant& c) {
    try {
      return rt::CStr(step(c));
    } catch (const rt::PlatformError& e) {
      return "error " + std::to_string(e.number());
    }
  };
  for (const auto& c : cases) {
    list.clear();
    combo.clear();
    const Variant mine = qtControl(c.type);
    EXPECT_EQ(rt::TypeName(mine), c.type);
    EXPECT_EQ(outcome(c.step, mine), outcome(c.step, Variant(ui::NewControl(c.type)))) << c.what;
  }
}

// The backup moves a progress bar on screen; the restore counts its lines in a label.
TEST_F(QtControlsTest, BackupAndRestoreMoveTheWidgets) {
  QProgressBar bar;
  bar.setRange(0, 1000);
  bar.hide();
  QLabel label;
  label.hide();
  auto rs = Open(cn_, "SELECT * FROM Staff ORDER BY ID");
  const std::string file = (dir_ / "staff.txt").string();
  ASSERT_TRUE(
      obj_->dbBackupRecordset(rs, file, ",", "", false, "", Variant(qt::ProgressBarControl(&bar))));
  EXPECT_FALSE(bar.isHidden());
  EXPECT_EQ(bar.maximum(), 3);
  EXPECT_EQ(bar.value(), 3);

  const Variant labelCtrl(qt::LabelControl(&label));
  EXPECT_TRUE(obj_->dbRestoreRecordset(file, ",", true, "", "", "", labelCtrl));
  EXPECT_FALSE(label.isHidden());
  EXPECT_EQ(label.text().toStdString(), "3");
  EXPECT_EQ(rt::CStr(rt::GetProp(labelCtrl, "Caption")), "3");
}

// A control whose widget is gone goes on answering from its model.
TEST_F(QtControlsTest, OutlivesItsWidget) {
  auto* combo = new QComboBox;
  Variant ctrl(qt::ComboBoxControl(combo));
  rt::CallMethod(ctrl, "AddItem", {Variant("a")});
  delete combo;
  ASSERT_TRUE(obj_->dbAddCtrl(ctrl, "Name", "SELECT Name FROM Staff", conn()));
  EXPECT_EQ(rt::CLng(rt::GetProp(ctrl, "ListCount")), 4);
}

}  // namespace
}  // namespace zmdb::testing
