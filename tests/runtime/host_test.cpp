// The headless host: default answers, scripted answers, dialogs, pointer.
#include "zmdb/runtime/host.h"

#include <gtest/gtest.h>

#include "zmdb/runtime/error.h"

namespace zmdb::rt {
namespace {

TEST(Host, DefaultButtonFollowsTheButtonCode) {
  const std::pair<int, int> cases[] = {
      {0, mb::kOK},           {1, mb::kOK},    {16, mb::kOK},      {305, mb::kCancel},
      {289, mb::kCancel},     {4, mb::kYes},   {4 + 256, mb::kNo}, {3 + 512, mb::kCancel},
      {2 + 512, mb::kIgnore}, {5, mb::kRetry}, {0 + 256, mb::kOK},  // no second button
  };
  for (const auto& [buttons, answer] : cases) EXPECT_EQ(DefaultAnswer(buttons), answer) << buttons;
}

TEST(Host, ScriptedAnswersComeFirstThenDefaults) {
  auto host = std::make_shared<HeadlessHost>();
  host->SetEcho(false);
  ScopedHost scope(host);
  host->ScriptAnswers({mb::kOK, mb::kNo});
  EXPECT_EQ(MsgBox("one", 305), mb::kOK);
  EXPECT_EQ(MsgBox("two", 4, "T"), mb::kNo);
  EXPECT_EQ(MsgBox("three", 305), mb::kCancel);
  ASSERT_EQ(host->shown().size(), 3u);
  EXPECT_EQ(host->shown()[1].title, "T");
  EXPECT_EQ(host->shown()[2].answer, mb::kCancel);
}

// Each dialog under a script: unscripted defaults, fitting answers, cancels,
// and an answer meant for another kind of dialog.
TEST(Host, DialogsFollowTheirScriptThenTheirDefaults) {
  using K = DialogScript::Kind;
  const TypeDialogView types{{"A", "B", "C"}, 1, "OK", "Cancel"};
  FileDialogView preset;
  preset.fileName = "/tmp/x.dbf";
  const FileDialogView empty;
  struct Case {
    std::vector<DialogScript> script;
    int choice;                       // the type dialog's answer
    std::optional<std::string> file;  // then the file dialog's, with `preset` or `empty`
    bool presetName;
  };
  const Case cases[] = {
      {{}, 1, "/tmp/x.dbf", true},
      {{}, 1, std::nullopt, false},
      {{{K::Choose, 2, ""}, {K::File, 0, "/y.xls"}}, 2, "/y.xls", true},
      {{{K::Cancel, 0, ""}, {K::Cancel, 0, ""}}, -1, std::nullopt, true},
  };
  for (const Case& c : cases) {
    HeadlessHost host;
    host.ScriptDialogs(c.script);
    EXPECT_EQ(host.ChooseDataType(types), c.choice);
    EXPECT_EQ(host.ChooseFile(c.presetName ? preset : empty), c.file);
    ASSERT_EQ(host.dialogs().size(), 2u);
    EXPECT_EQ(host.dialogs()[0].kind, "DataType");
    EXPECT_EQ(host.dialogs()[1].cancelled, !c.file.has_value());
  }
  HeadlessHost host;
  EXPECT_EQ(host.PromptDataSource(), std::nullopt);
  host.ScriptDialogs({{K::DataSource, 0, "DSN=x"}, {K::File, 0, "/z"}});
  EXPECT_EQ(host.PromptDataSource(), "DSN=x");
  EXPECT_THROW(host.ChooseDataType(types), PlatformError);
}

TEST(Host, ScopedHostRestoresThePreviousHost) {
  auto outer = std::make_shared<HeadlessHost>();
  outer->SetEcho(false);
  ScopedHost a(outer);
  {
    auto inner = std::make_shared<HeadlessHost>();
    inner->SetEcho(false);
    ScopedHost b(inner);
    SetMousePointer(kPointerHourglass);
    EXPECT_EQ(&CurrentHost(), inner.get());
  }
  SetMousePointer(kPointerDefault);
  EXPECT_EQ(&CurrentHost(), outer.get());
  EXPECT_EQ(outer->pointerHistory(), std::vector<int>{kPointerDefault});
}

}  // namespace
}  // namespace zmdb::rt
