// dbExport's dialogs and failures with the headless host: which dialogs show
// and how they are set up, cancels, refused arguments and sources. Exports
// that write a target are in export_targets_test.cpp.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/files/export_dialog.h"
#include "zmdb/files/export_plan.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::testing {
namespace {

using rt::DialogScript;
using rt::Variant;

class ExportTest : public ComponentTest {
 protected:
  bool Export(const std::string& file, bool noFileDialog, bool noTypeSelect, std::int32_t type,
              const Variant& source) {
    return obj_->dbExport("SELECT * FROM Staff", source, file, noFileDialog, noTypeSelect, type);
  }
  bool Export(const std::string& file, bool noFileDialog, bool noTypeSelect, std::int32_t type) {
    return Export(file, noFileDialog, noTypeSelect, type, conn());
  }
  std::vector<std::string> Kinds() const {
    std::vector<std::string> kinds;
    for (const auto& d : host_->dialogs()) kinds.push_back(d.kind);
    return kinds;
  }
  std::string Out(const std::string& name) const { return (dir_ / name).string(); }
};

TEST_F(ExportTest, TypeDialogShowsTheTypesAndCancelEndsBeforeTheFileDialog) {
  host_->ScriptDialogs({{DialogScript::Kind::Cancel, 0, {}}});
  EXPECT_FALSE(Export(Out("a.dbf"), false, false, 3));
  ASSERT_EQ(Kinds(), std::vector<std::string>{"DataType"});
  const rt::TypeDialogView& view = host_->dialogs()[0].type;
  EXPECT_EQ(view.items, files::DataTypeListTexts());
  EXPECT_EQ(view.listIndex, 3);
  EXPECT_EQ(view.okCaption, "确定(&O)");
  EXPECT_EQ(view.cancelCaption, "取消(&C)");
  EXPECT_EQ(frame::Library().selectedType, -1);
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->pointerHistory().empty());
}

// The dialog's settings per type are checked in export_plan_test.cpp; here,
// that the export shows the settings of the chosen type with the preset file.
TEST_F(ExportTest, ChosenTypeSetsUpTheFileDialogAndItsCancelGivesFalseQuietly) {
  struct Case {
    std::vector<DialogScript> script;
    std::string preset;
    std::int32_t type;  // the type the file dialog is set up for
    std::string filter;
  };
  const std::vector<Case> cases{
      // The default answer takes the default type; a preset file then
      // answers the file dialog, so it is cancelled by script here.
      {{{DialogScript::Kind::Choose, 2, {}}, {DialogScript::Kind::Cancel, 0, {}}},
       Out("s.dbf"),
       2,
       "Xbase (*.dbf)|*.dbf"},
      // Without a preset the headless file dialog cancels by itself.
      {{}, "", 9, "Excel (*.xls)|*.xls"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    host_->ClearRecord();
    host_->ScriptDialogs(c.script);
    EXPECT_FALSE(Export(c.preset, false, false, 9));
    ASSERT_EQ(Kinds(), (std::vector<std::string>{"DataType", "File"}));
    const rt::ShownDialog& file = host_->dialogs()[1];
    EXPECT_TRUE(file.cancelled);
    EXPECT_EQ(file.file.filter, c.filter);
    EXPECT_EQ(file.file.flags, 4);  // the export's own flags, not the plain dialog's
    EXPECT_EQ(file.file.fileName, c.preset);
    EXPECT_EQ(frame::Library().selectedType, c.type);
    EXPECT_EQ(frame::Library().selectedTypeText, host_->dialogs()[0].type.items[c.type]);
    EXPECT_EQ(obj_->dbGetLastError().Number, 0);  // a cancel is not an error
  }
}

TEST_F(ExportTest, FormIsFilledOncePerInstanceAndRefilledAfterTeardown) {
  host_->ScriptDialogs({{DialogScript::Kind::Cancel, 0, {}}, {DialogScript::Kind::Cancel, 0, {}}});
  EXPECT_FALSE(Export("", false, false, 5));
  EXPECT_FALSE(Export("", false, false, 7));
  ASSERT_EQ(host_->dialogs().size(), 2u);
  EXPECT_EQ(host_->dialogs()[1].type.items.size(), 14u);  // not filled twice
  EXPECT_EQ(host_->dialogs()[1].type.listIndex, 7);
  const auto form = files::ExportTypeDialog();
  EXPECT_EQ(form->tag, "LOADED");
  EXPECT_EQ(rt::CStr(form->GetProperty("Text", {})), "Paradox 3.X");

  // Teardown unloads the form and drops it; the next export makes a new one.
  obj_.reset();
  EXPECT_EQ(host_->unloadCount(), 1);
  EXPECT_EQ(frame::Library().exportDialog, nullptr);
  obj_ = std::make_unique<clsZMDBFunc>();
  host_->ScriptDialogs({{DialogScript::Kind::Cancel, 0, {}}});
  EXPECT_FALSE(Export("", false, false, 1));
  EXPECT_NE(files::ExportTypeDialog(), form);
  EXPECT_EQ(host_->dialogs().back().type.items.size(), 14u);
}

TEST_F(ExportTest, RefusedArgumentsAndSourcesGiveFalseWithTheErrorRecorded) {
  const auto dao = dal::dao::Database::Open({path_, false, ""});
  struct Case {
    const char* what;
    bool noTypeSelect;
    std::int32_t type;
    Variant source;
    std::int32_t error;
    std::vector<int> pointers;
    bool noFile = false;
  };
  const std::vector<Case> cases{
      {"a type outside the list", true, 42, conn(), rt::err::kInvalidProcCall, {}},
      {"a default type the list cannot select",
       false,
       42,
       conn(),
       rt::err::kInvalidPropertyValue,
       {}},
      // DAO databases are not export sources; the hourglass is taken back.
      {"a DAO database as source",
       true,
       0,
       Variant(rt::ObjectRef(dao)),
       rt::err::kTypeMismatch,
       {rt::kPointerHourglass, rt::kPointerDefault}},
      {"no source at all",
       true,
       0,
       Variant(),
       rt::err::kTypeMismatch,
       {rt::kPointerHourglass, rt::kPointerDefault}},
      // No file to write: nothing is done and nothing is an error.
      {"no file", true, 1, conn(), 0, {}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    host_->ClearRecord();
    obj_->dbClearError();
    EXPECT_FALSE(Export(c.noFile ? "" : Out("new.mdb"), true, c.noTypeSelect, c.type, c.source));
    EXPECT_EQ(obj_->dbGetLastError().Number, c.error);
    EXPECT_TRUE(host_->dialogs().empty());
    EXPECT_EQ(host_->pointerHistory(), c.pointers);
  }
  EXPECT_FALSE(std::filesystem::exists(Out("new.mdb")));
}

}  // namespace
}  // namespace zmdb::testing
