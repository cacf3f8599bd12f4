// The Qt host's contracts driven as the library drives them, with every
// dialog answered from the test: message boxes of each button group, the
// export-type dialog, the file dialog, the data-source prompt and the mouse
// pointer (also through a method that shows the hourglass).
#include "zmdb/hosts/qt/host.h"

#include <gtest/gtest.h>

#include <QDialog>
#include <QFileDialog>
#include <QGuiApplication>
#include <QInputDialog>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest/QTest>
#include <string>
#include <vector>

#include "component_fixture.h"
#include "modal.h"
#include "temp_folder.h"
#include "zmdb/ui/controls.h"

namespace zmdb::testing {
namespace {

using hosts::qt::QtHost;
using SB = QMessageBox::StandardButton;

std::shared_ptr<QtHost> ScriptedHost() {
  return std::make_shared<QtHost>(QtHost::Options{false});
}

class QtHostTest : public TempFolderTest {
 protected:
  std::shared_ptr<QtHost> host_ = ScriptedHost();
  rt::ScopedHost scope_{host_};
};

TEST_F(QtHostTest, MessageBoxesOfEachButtonGroup) {
  const struct {
    int code;
    QMessageBox::Icon icon;
    std::vector<std::pair<SB, int>> buttons;  // each button and the answer it gives
    SB defaultButton;
  } cases[] = {
      // clang-format off
      {0, QMessageBox::NoIcon, {{SB::Ok, 1}}, SB::Ok},
      {1 + 64, QMessageBox::Information, {{SB::Ok, 1}, {SB::Cancel, 2}}, SB::Ok},
      {2 + 16 + 256, QMessageBox::Critical, {{SB::Abort, 3}, {SB::Retry, 4}, {SB::Ignore, 5}}, SB::Retry},
      {3 + 32 + 512, QMessageBox::Question, {{SB::Yes, 6}, {SB::No, 7}, {SB::Cancel, 2}}, SB::Cancel},
      {4 + 48, QMessageBox::Warning, {{SB::Yes, 6}, {SB::No, 7}}, SB::Yes},
      {5 + 256, QMessageBox::NoIcon, {{SB::Retry, 4}, {SB::Cancel, 2}}, SB::Cancel},
      // OK and Cancel, the question icon and Cancel as default: the
      // table-exists question of the export.
      {289, QMessageBox::Question, {{SB::Ok, 1}, {SB::Cancel, 2}}, SB::Cancel},
      // A default beyond the last button falls back to the first.
      {4 + 512, QMessageBox::NoIcon, {{SB::Yes, 6}, {SB::No, 7}}, SB::Yes},
      // clang-format on
  };
  rt::SetAppTitle("演示程序");
  for (const auto& c : cases) {
    for (const auto& [click, answer] : c.buttons) {
      SCOPED_TRACE(::testing::Message() << "code " << c.code << ", answer " << answer);
      ModalAnswer answering([&](QWidget* modal) {
        auto* box = ModalAnswer::As<QMessageBox>(modal);
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->windowTitle().toStdString(), "演示程序");
        EXPECT_EQ(box->text().toStdString(), "第一行\n<b>second</b> line");
        EXPECT_EQ(box->textFormat(), Qt::PlainText);
        EXPECT_EQ(box->icon(), c.icon);
        std::vector<SB> shown;
        for (QAbstractButton* b : box->buttons()) shown.push_back(box->standardButton(b));
        EXPECT_EQ(shown.size(), c.buttons.size());
        for (const auto& button : c.buttons) EXPECT_NE(box->button(button.first), nullptr);
        EXPECT_EQ(box->defaultButton(), box->button(c.defaultButton));
        box->button(click)->click();
      });
      // No title of its own: the box bears the application title.
      EXPECT_EQ(rt::MsgBox("第一行\r\n<b>second</b> line", c.code), answer);
      EXPECT_EQ(answering.answered(), 1);
    }
  }
  rt::SetAppTitle("ZMDBFuncProj");
}

TEST_F(QtHostTest, EscapeOnABoxWithCancelAnswersCancel) {
  ModalAnswer answering([](QWidget* modal) { QTest::keyClick(modal, Qt::Key_Escape); });
  EXPECT_EQ(rt::MsgBox("Delete?", 1, "Title"), rt::mb::kCancel);
  EXPECT_EQ(answering.answered(), 1);
}

// How the user leaves the type dialog, and the index the host answers.
enum class Leave { Ok, PickThenOk, DoubleClick, Cancel, Escape };

TEST_F(QtHostTest, TypeDialog) {
  rt::TypeDialogView view;
  for (int i = 0; i < 14; ++i) view.items.push_back("类型 " + std::to_string(i));
  view.okCaption = "确定(&O)";
  view.cancelCaption = "取消(&C)";
  const struct {
    int listIndex;
    Leave leave;
    int row;  // the row picked or double-clicked
    int expected;
  } cases[] = {
      {9, Leave::Ok, -1, 9},      {0, Leave::PickThenOk, 12, 12}, {3, Leave::DoubleClick, 5, 5},
      {3, Leave::Cancel, -1, -1}, {13, Leave::Escape, -1, -1},    {-1, Leave::Ok, -1, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "default " << c.listIndex << ", row " << c.row);
    view.listIndex = c.listIndex;
    ModalAnswer answering([&](QWidget* modal) {
      auto* list = modal->findChild<QListWidget*>("lstTypes");
      auto* ok = modal->findChild<QPushButton*>("cmdOK");
      auto* cancel = modal->findChild<QPushButton*>("cmdCancel");
      ASSERT_TRUE(list && ok && cancel);
      EXPECT_EQ(list->count(), 14);
      EXPECT_EQ(list->item(13)->text().toStdString(), "类型 13");
      EXPECT_EQ(list->currentRow(), c.listIndex);
      EXPECT_EQ(ok->text().toStdString(), "确定(&O)");
      EXPECT_EQ(cancel->text().toStdString(), "取消(&C)");
      EXPECT_TRUE(ok->isDefault());
      switch (c.leave) {
        case Leave::PickThenOk:
          list->setCurrentRow(c.row);
          [[fallthrough]];
        case Leave::Ok:
          QTest::mouseClick(ok, Qt::LeftButton);
          break;
        case Leave::DoubleClick: {
          const QPoint at = list->visualItemRect(list->item(c.row)).center();
          QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, at);
          QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, at);
          break;
        }
        case Leave::Cancel:
          cancel->click();
          break;
        case Leave::Escape:
          QTest::keyClick(modal, Qt::Key_Escape);
          break;
      }
    });
    EXPECT_EQ(host_->ChooseDataType(view), c.expected);
    EXPECT_EQ(answering.answered(), 1);
  }

  // The dialog stays loaded between showings until it is unloaded.
  QPointer<QDialog> shown = host_->typeDialog();
  ASSERT_FALSE(shown.isNull());
  auto form = std::make_shared<ui::ProgressControl>("Label");  // any object stands for the form
  host_->Unload(*form);
  EXPECT_TRUE(shown.isNull());
  EXPECT_EQ(host_->typeDialog(), nullptr);
}

TEST(QtNameFilters, FromTheLibraryForm) {
  const struct {
    const char* filter;
    QStringList expected;
  } cases[] = {
      {"Microsoft Access (*.mdb)|*.mdb|所有文件(*.*)|*.*",
       {"Microsoft Access (*.mdb)", "所有文件(*.*)"}},
      {"Btrieve (FILE.DDF)|FILE.DDF", {"Btrieve (FILE.DDF)"}},
      {"Xbase|*.dbf", {"Xbase (*.dbf)"}},
      {"Pictures|*.png;*.jpg", {"Pictures (*.png *.jpg)"}},
      {"Pictures (*.png;*.jpg)|*.png;*.jpg", {"Pictures (*.png;*.jpg) (*.png *.jpg)"}},
      {"Everything", {"Everything (*)"}},
      {"|*.txt", {"*.txt (*.txt)"}},
      {"", {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(hosts::qt::NameFilters(c.filter), c.expected) << c.filter;
  }
}

TEST_F(QtHostTest, FileDialog) {
  rt::FileDialogView view;
  view.title = "请选择导出的数据文件";
  view.filter = "文本文件(*.txt)|*.txt|所有文件(*.*)|*.*";
  view.defaultExt = "txt";
  view.filterIndex = 2;
  view.cancelError = true;
  const QString folder = QString::fromStdString(dir_.string());
  const struct {
    int flags;
    const char* preset;
    const char* typed;  // nullptr: cancel
    std::string expected;
  } cases[] = {
      {6, "", "out", (dir_ / "out.txt").string()},
      {4, "preset.txt", "", (dir_ / "preset.txt").string()},
      {4, "", "data.csv", (dir_ / "data.csv").string()},
      {6, "", nullptr, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "flags " << c.flags << ", preset " << c.preset);
    view.flags = c.flags;
    view.fileName = *c.preset ? (dir_ / c.preset).string() : std::string();
    ModalAnswer answering([&](QWidget* modal) {
      auto* dialog = ModalAnswer::As<QFileDialog>(modal);
      ASSERT_NE(dialog, nullptr);
      EXPECT_EQ(dialog->windowTitle().toStdString(), view.title);
      EXPECT_EQ(dialog->nameFilters(), QStringList({"文本文件(*.txt)", "所有文件(*.*)"}));
      EXPECT_EQ(dialog->selectedNameFilter().toStdString(), "所有文件(*.*)");
      EXPECT_EQ(dialog->defaultSuffix().toStdString(), "txt");
      const bool save = c.flags & 2;
      EXPECT_EQ(dialog->acceptMode(), save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
      EXPECT_EQ(dialog->testOption(QFileDialog::DontConfirmOverwrite), !save);
      if (*c.preset) {
        EXPECT_EQ(dialog->selectedFiles().value(0).toStdString(), view.fileName);
      }
      if (!c.typed) {
        dialog->reject();
        return;
      }
      dialog->setDirectory(folder);
      // selectFile leaves the name box alone while it has the focus, which it
      // gets once the window is activated; how soon that happens depends on the
      // machine's load, so the answer takes the focus away first.
      if (QWidget* focused = dialog->focusWidget()) focused->clearFocus();
      if (*c.typed) dialog->selectFile(c.typed);
      static_cast<QDialog*>(dialog)->accept();
    });
    const std::optional<std::string> chosen = host_->ChooseFile(view);
    EXPECT_EQ(answering.answered(), 1);
    EXPECT_EQ(chosen.value_or(""), c.expected);
    EXPECT_EQ(chosen.has_value(), c.typed != nullptr);
  }
}

TEST_F(QtHostTest, DataSourcePrompt) {
  const struct {
    const char* typed;  // nullptr: cancel
    std::optional<std::string> expected;
  } cases[] = {
      {"DSN=Sales;UID=sa", "DSN=Sales;UID=sa"},
      {"  ", std::nullopt},
      {nullptr, std::nullopt},
  };
  for (const auto& c : cases) {
    ModalAnswer answering([&](QWidget* modal) {
      auto* prompt = ModalAnswer::As<QInputDialog>(modal);
      ASSERT_NE(prompt, nullptr);
      if (!c.typed) {
        prompt->reject();
        return;
      }
      prompt->setTextValue(c.typed);
      prompt->accept();
    });
    EXPECT_EQ(host_->PromptDataSource(), c.expected) << (c.typed ? c.typed : "cancel");
    EXPECT_EQ(answering.answered(), 1);
  }
}

TEST_F(QtHostTest, DoEventsRunsWhatIsPending) {
  bool ran = false;
  QTimer::singleShot(0, [&] { ran = true; });
  rt::DoEvents();
  EXPECT_TRUE(ran);
}

// The override cursor as each pointer change left it.
class PointerWatch : public QtHost {
 public:
  PointerWatch() : QtHost(Options{false}) {}
  void SetMousePointer(int pointer) override {
    QtHost::SetMousePointer(pointer);
    const QCursor* cursor = QGuiApplication::overrideCursor();
    shapes.push_back(cursor ? cursor->shape() : Qt::ArrowCursor);
  }
  std::vector<Qt::CursorShape> shapes;
};

TEST(QtPointer, HourglassIsBalanced) {
  auto host = std::make_shared<PointerWatch>();
  rt::ScopedHost scope(host);
  for (int pointer : {11, 11, 0, 0, 11, 0}) rt::SetMousePointer(pointer);
  using Shapes = std::vector<Qt::CursorShape>;
  EXPECT_EQ(host->shapes, Shapes({Qt::WaitCursor, Qt::WaitCursor, Qt::ArrowCursor, Qt::ArrowCursor,
                                  Qt::WaitCursor, Qt::ArrowCursor}));
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_EQ(host->MousePointer(), 0);
}

class QtPointerComponent : public ComponentTest {
 protected:
  std::shared_ptr<PointerWatch> qt_ = std::make_shared<PointerWatch>();
  rt::ScopedHost qtScope_{qt_};
};

// A method that shows the hourglass while it works puts the cursor back on
// success and on failure alike.
TEST_F(QtPointerComponent, MethodsRestoreTheCursor) {
  for (const char* table : {"Staff", "NoSuchTable"}) {
    SCOPED_TRACE(table);
    qt_->shapes.clear();
    EXPECT_FALSE(obj_->dbSetNullToZero(table, conn()));
    EXPECT_EQ(qt_->shapes.front(), Qt::WaitCursor);
    EXPECT_EQ(qt_->shapes.back(), Qt::ArrowCursor);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  }
  EXPECT_EQ(Count("Note IS NULL"), 0);
}

}  // namespace
}  // namespace zmdb::testing
