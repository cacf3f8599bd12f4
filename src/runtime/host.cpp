#include "zmdb/runtime/host.h"

#include <iostream>

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
