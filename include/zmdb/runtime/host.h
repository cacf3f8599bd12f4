// Host contracts: what the library asks of the application that hosts it: a
// modal message box, the screen's mouse pointer, a turn of the message loop,
// unloading a form, and the process-wide application title. A headless host
// serves programs without a screen; a Qt Widgets host serves desktop programs.
#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zmdb::rt {

class Object;

// Message box button codes: the low bits choose the buttons, then the icon and
// the default button.
namespace mb {
inline constexpr int kOKOnly = 0;
inline constexpr int kOKCancel = 1;
inline constexpr int kAbortRetryIgnore = 2;
inline constexpr int kYesNoCancel = 3;
inline constexpr int kYesNo = 4;
inline constexpr int kRetryCancel = 5;
inline constexpr int kCritical = 16;
inline constexpr int kQuestion = 32;
inline constexpr int kExclamation = 48;
inline constexpr int kInformation = 64;
inline constexpr int kDefaultButton2 = 256;
inline constexpr int kDefaultButton3 = 512;
// Answers.
inline constexpr int kOK = 1;
inline constexpr int kCancel = 2;
inline constexpr int kAbort = 3;
inline constexpr int kRetry = 4;
inline constexpr int kIgnore = 5;
inline constexpr int kYes = 6;
inline constexpr int kNo = 7;
}  // namespace mb

// Mouse pointer values the library uses.
inline constexpr int kPointerDefault = 0;
inline constexpr int kPointerHourglass = 11;

// The answers a button code offers, in button order (OK/Cancel gives {1, 2}).
std::vector<int> ButtonAnswers(int buttons);
// The answer of the default button of a button code (OK for 0 and 1, Cancel for 305).
int DefaultAnswer(int buttons);

// The export-type dialog as the library's form shows it: the list of target
// types (list index = type value), the entry selected when it opens, and the
// captions of its two buttons.
struct TypeDialogView {
  std::vector<std::string> items;
  int listIndex = -1;
  std::string okCaption;
  std::string cancelCaption;
};

// The file dialog's settings, as a common file dialog takes them. `filter` is
// "Description|pattern|Description|pattern..."; `flags` 4 hides the read-only
// option and 2 adds an overwrite prompt; `cancelError` makes a cancel raise an
// error in the caller (the host only reports the cancel).
struct FileDialogView {
  std::string title;
  std::string filter;
  int flags = 0;
  std::string defaultExt;
  int filterIndex = 1;
  std::string fileName;  // the preset name
  bool cancelError = false;
};

class Host {
 public:
  virtual ~Host() = default;
  // Show a modal box and return the answer (one of mb::kOK ...). `title` is
  // already resolved: the caller's title or the application title.
  virtual int MsgBox(const std::string& prompt, int buttons, const std::string& title) = 0;
  virtual void SetMousePointer(int pointer) = 0;
  virtual int MousePointer() const = 0;
  // Let the host process pending events.
  virtual void DoEvents() = 0;
  // Unload a form of the library (the export-type dialog).
  virtual void Unload(Object& form) = 0;

  // Shows the export-type dialog modally. Returns the list index chosen with
  // OK or a double-click on the list, or -1 for Cancel (or closing it).
  // Without a screen: OK on the entry selected when it opened.
  virtual int ChooseDataType(const TypeDialogView& view);
  // Shows the file dialog modally. Returns the chosen file, or nothing when
  // the user cancelled. Without a screen: the preset name, or a cancel when
  // there is none.
  virtual std::optional<std::string> ChooseFile(const FileDialogView& view);
  // The ODBC driver manager's prompt for a data source. Returns a connection
  // string, or nothing when the user cancelled. Without a screen: a cancel.
  virtual std::optional<std::string> PromptDataSource();
};

// A scripted answer to the next dialog the headless host shows: pick a list
// entry of the type dialog, name a file in the file dialog, give a connection
// string at the data-source prompt, or cancel whichever dialog comes.
struct DialogScript {
  enum class Kind { Choose, File, DataSource, Cancel };
  Kind kind = Kind::Cancel;
  int choice = 0;
  std::string text;
};

// One dialog as the headless host saw it: its kind ("DataType", "File" or
// "DataSource"), what it showed, and how it was answered.
struct ShownDialog {
  std::string kind;
  TypeDialogView type;  // for "DataType"
  FileDialogView file;  // for "File"
  bool cancelled = false;
  int choice = -1;     // "DataType": the index chosen
  std::string answer;  // "File": the file; "DataSource": the connection string
};

// One box as the headless host saw it.
struct ShownBox {
  std::string prompt;
  int buttons = 0;
  std::string title;
  int answer = 0;
};

// The host for programs without a screen. It records every box, writes it to
// stderr unless told not to, and answers with scripted answers in order, then
// with each box's default button. It records every mouse pointer change.
class HeadlessHost : public Host {
 public:
  int MsgBox(const std::string& prompt, int buttons, const std::string& title) override;
  void SetMousePointer(int pointer) override;
  int MousePointer() const override { return pointer_; }
  void DoEvents() override { ++doEvents_; }
  void Unload(Object& form) override;
  int ChooseDataType(const TypeDialogView& view) override;
  std::optional<std::string> ChooseFile(const FileDialogView& view) override;
  std::optional<std::string> PromptDataSource() override;

  void ScriptAnswers(std::vector<int> answers);
  // Answers for the dialogs to come, in order; after them each dialog gets
  // the unscripted answer. An answer that does not fit the dialog shown (a
  // file for the type dialog, say) raises error 5 naming both.
  void ScriptDialogs(std::vector<DialogScript> answers);
  const std::vector<ShownDialog>& dialogs() const { return dialogs_; }
  void SetEcho(bool toStderr) { echo_ = toStderr; }
  const std::vector<ShownBox>& shown() const { return shown_; }
  const std::vector<int>& pointerHistory() const { return pointers_; }
  int doEventsCount() const { return doEvents_; }
  int unloadCount() const { return unloads_; }
  // Forget what was shown (boxes and dialogs) and the pointer history
  // (scripted answers stay).
  void ClearRecord();

 private:
  // The next scripted answer when there is one and it fits `kind`.
  std::optional<DialogScript> NextScript(const char* kind, DialogScript::Kind fits);

  std::deque<int> answers_;
  std::deque<DialogScript> dialogAnswers_;
  std::vector<ShownDialog> dialogs_;
  std::vector<ShownBox> shown_;
  std::vector<int> pointers_;
  int pointer_ = kPointerDefault;
  int doEvents_ = 0;
  int unloads_ = 0;
  bool echo_ = true;
};

// The host in force on this thread: the one installed by a ScopedHost, else the
// process-wide host (a HeadlessHost writing to stderr until SetProcessHost).
Host& CurrentHost();
void SetProcessHost(std::shared_ptr<Host> host);

// Installs a host for the current thread for the lifetime of the guard.
class ScopedHost {
 public:
  explicit ScopedHost(std::shared_ptr<Host> host);
  ~ScopedHost();
  ScopedHost(const ScopedHost&) = delete;
  ScopedHost& operator=(const ScopedHost&) = delete;

 private:
  std::shared_ptr<Host> host_;
  Host* previous_;
};

// The application title: process-wide, shared by every object of the library.
// Before anyone sets it, it is the library's project title "ZMDBFuncProj".
std::string AppTitle();
void SetAppTitle(std::string title);

// The platform's MsgBox: a box without a title of its own bears the application title.
int MsgBox(const std::string& prompt, int buttons = mb::kOKOnly);
int MsgBox(const std::string& prompt, int buttons, const std::string& title);
// Screen.MousePointer and DoEvents on the current host.
void SetMousePointer(int pointer);
void DoEvents();

}  // namespace zmdb::rt
