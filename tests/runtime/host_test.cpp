// The headless host: default answers, scripted answers, titles, pointer.
#include "zmdb/runtime/host.h"

#include <gtest/gtest.h>

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

TEST(Host, BoxesWithoutTitleBearTheApplicationTitle) {
  auto host = std::make_shared<HeadlessHost>();
  host->SetEcho(false);
  ScopedHost scope(host);
  EXPECT_EQ(AppTitle(), "ZMDBFuncProj");
  SetAppTitle("库存");
  MsgBox("x");
  EXPECT_EQ(host->shown().back().title, "库存");
  SetAppTitle("ZMDBFuncProj");
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
