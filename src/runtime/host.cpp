#include "zmdb/runtime/host.h"

#include <iostream>

#include "zmdb/runtime/error.h"

namespace zmdb::rt {

// Answers of each button group in button order; unknown groups behave as OK only.
std::vector<int> ButtonAnswers(int buttons) {
  switch (buttons & 0x7) {
    case mb::kOKCancel:
      return {mb::kOK, mb::kCancel};
    case mb::kAbortRetryIgnore:
      return {mb::kAbort, mb::kRetry, mb::kIgnore};
    case mb::kYesNoCancel:
      return {mb::kYes, mb::kNo, mb::kCancel};
    case mb::kYesNo:
      return {mb::kYes, mb::kNo};
    case mb::kRetryCancel:
      return {mb::kRetry, mb::kCancel};
    default:
      return {mb::kOK};
  }
}

// The default-button bits (0x300) pick the first, second or third button; a
// pick beyond the last button falls back to the first, as a dialog would.
int DefaultAnswer(int buttons) {
  const std::vector<int> answers = ButtonAnswers(buttons);
  const std::size_t pick = static_cast<std::size_t>((buttons & 0x300) >> 8);
  return pick < answers.size() ? answers[pick] : answers.front();
}

int Host::ChooseDataType(const TypeDialogView& view) {
  return view.listIndex;
}

std::optional<std::string> Host::ChooseFile(const FileDialogView& view) {
  if (view.fileName.empty()) return std::nullopt;
  return view.fileName;
}

std::optional<std::string> Host::PromptDataSource() {
  return std::nullopt;
}

namespace {
const char* ScriptName(DialogScript::Kind kind) {
  switch (kind) {
    case DialogScript::Kind::Choose:
      return "choose";
    case DialogScript::Kind::File:
      return "file";
    case DialogScript::Kind::DataSource:
      return "odbc";
    case DialogScript::Kind::Cancel:
      break;
  }
  return "cancel";
}
}  // namespace

std::optional<DialogScript> HeadlessHost::NextScript(const char* kind, DialogScript::Kind fits) {
  if (dialogAnswers_.empty()) return std::nullopt;
  DialogScript next = dialogAnswers_.front();
  dialogAnswers_.pop_front();
  if (next.kind != fits && next.kind != DialogScript::Kind::Cancel) {
    RaiseDetailed(err::kInvalidProcCall, std::string("the scripted answer \"") +
                                             ScriptName(next.kind) + "\" does not fit the " + kind +
                                             " dialog");
  }
  return next;
}

int HeadlessHost::ChooseDataType(const TypeDialogView& view) {
  ShownDialog shown{"DataType", view, {}, false, view.listIndex, {}};
  if (auto script = NextScript("DataType", DialogScript::Kind::Choose)) {
    shown.choice = script->kind == DialogScript::Kind::Cancel ? -1 : script->choice;
  }
  shown.cancelled = shown.choice < 0;
  dialogs_.push_back(shown);
  return shown.choice;
}

std::optional<std::string> HeadlessHost::ChooseFile(const FileDialogView& view) {
  ShownDialog shown{"File", {}, view, view.fileName.empty(), -1, view.fileName};
  if (auto script = NextScript("File", DialogScript::Kind::File)) {
    shown.cancelled = script->kind == DialogScript::Kind::Cancel;
    shown.answer = shown.cancelled ? std::string() : script->text;
  }
  dialogs_.push_back(shown);
  if (shown.cancelled) return std::nullopt;
  return shown.answer;
}

std::optional<std::string> HeadlessHost::PromptDataSource() {
  ShownDialog shown{"DataSource", {}, {}, true, -1, {}};
  if (auto script = NextScript("DataSource", DialogScript::Kind::DataSource)) {
    shown.cancelled = script->kind == DialogScript::Kind::Cancel;
    if (!shown.cancelled) shown.answer = script->text;
  }
  dialogs_.push_back(shown);
  if (shown.cancelled) return std::nullopt;
  return shown.answer;
}

void HeadlessHost::ScriptDialogs(std::vector<DialogScript> answers) {
  dialogAnswers_.assign(answers.begin(), answers.end());
}

int HeadlessHost::MsgBox(const std::string& prompt, int buttons, const std::string& title) {
  int answer = DefaultAnswer(buttons);
  if (!answers_.empty()) {
    answer = answers_.front();
    answers_.pop_front();
  }
  shown_.push_back({prompt, buttons, title, answer});
  if (echo_) {
    std::cerr << "[" << title << "] " << prompt << " (buttons " << buttons << ", answer " << answer
              << ")\n";
  }
  return answer;
}

void HeadlessHost::SetMousePointer(int pointer) {
  pointer_ = pointer;
  pointers_.push_back(pointer);
}

void HeadlessHost::Unload(Object&) {
  ++unloads_;
}

void HeadlessHost::ScriptAnswers(std::vector<int> answers) {
  answers_.assign(answers.begin(), answers.end());
}

void HeadlessHost::ClearRecord() {
  shown_.clear();
  dialogs_.clear();
  pointers_.clear();
  doEvents_ = 0;
  unloads_ = 0;
}

namespace {
std::mutex gHostMutex;
std::shared_ptr<Host> gProcessHost;
thread_local Host* tThreadHost = nullptr;

std::mutex gTitleMutex;
std::string gAppTitle = "ZMDBFuncProj";
}  // namespace

Host& CurrentHost() {
  if (tThreadHost) return *tThreadHost;
  std::lock_guard lock(gHostMutex);
  if (!gProcessHost) gProcessHost = std::make_shared<HeadlessHost>();
  return *gProcessHost;
}

void SetProcessHost(std::shared_ptr<Host> host) {
  std::lock_guard lock(gHostMutex);
  gProcessHost = std::move(host);
}

ScopedHost::ScopedHost(std::shared_ptr<Host> host)
    : host_(std::move(host)), previous_(tThreadHost) {
  tThreadHost = host_.get();
}

ScopedHost::~ScopedHost() {
  tThreadHost = previous_;
}

std::string AppTitle() {
  std::lock_guard lock(gTitleMutex);
  return gAppTitle;
}

void SetAppTitle(std::string title) {
  std::lock_guard lock(gTitleMutex);
  gAppTitle = std::move(title);
}

int MsgBox(const std::string& prompt, int buttons) {
  return CurrentHost().MsgBox(prompt, buttons, AppTitle());
}

int MsgBox(const std::string& prompt, int buttons, const std::string& title) {
  return CurrentHost().MsgBox(prompt, buttons, title);
}

void SetMousePointer(int pointer) {
  CurrentHost().SetMousePointer(pointer);
}

void DoEvents() {
  CurrentHost().DoEvents();
}

}  // namespace zmdb::rt
