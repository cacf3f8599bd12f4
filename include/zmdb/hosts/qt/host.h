// The Qt Widgets host: the library's host contracts served by real widgets.
// Message boxes are QMessageBoxes, the hourglass is Qt's override cursor, a
// turn of the message loop is processEvents, the export-type dialog is a
// QDialog with a list and two buttons, the file dialog is a QFileDialog and
// the data-source prompt is an input dialog. Every dialog is modal and
// parented to the application's active window.
//
// Install it with rt::SetProcessHost (or rt::ScopedHost) once a QApplication
// exists; it must be used on the thread that runs the QApplication.
#pragma once

#include <QDialog>
#include <QPointer>
#include <QStringList>
#include <memory>
#include <optional>
#include <string>

#include "zmdb/runtime/host.h"

namespace zmdb::hosts::qt {

// A file filter of the form "Description|pattern|Description|pattern..." as
// Qt's name filters, "Description (pattern)". A description that already ends
// with its pattern in parentheses is kept as it is; several patterns joined by
// ";" become Qt's space-separated list; a description without a pattern
// matches every file.
QStringList NameFilters(const std::string& filter);

class QtHost : public rt::Host {
 public:
  struct Options {
    // Let the platform draw the file dialog (a desktop's own dialog) rather
    // than Qt's widget dialog. Scripted runs (tests, screenshots) turn it off
    // so that the dialog is a widget they can find and answer.
    bool nativeFileDialog = true;
  };

  QtHost();
  explicit QtHost(Options options);
  ~QtHost() override;

  int MsgBox(const std::string& prompt, int buttons, const std::string& title) override;
  // 11 (hourglass) shows Qt's wait cursor; any other value takes it away.
  // Setting 11 twice does not stack: one 0 restores the cursor.
  void SetMousePointer(int pointer) override;
  int MousePointer() const override { return pointer_; }
  void DoEvents() override;
  // Destroys the export-type dialog; the next ChooseDataType builds a new one.
  void Unload(rt::Object& form) override;
  int ChooseDataType(const rt::TypeDialogView& view) override;
  std::optional<std::string> ChooseFile(const rt::FileDialogView& view) override;
  std::optional<std::string> PromptDataSource() override;

  // The export-type dialog while it exists (between its first showing and
  // Unload), so a program can style or inspect it.
  QDialog* typeDialog() const { return typeDialog_; }

 private:
  Options options_;
  int pointer_ = rt::kPointerDefault;
  bool overridden_ = false;
  QPointer<QDialog> typeDialog_;
};

}  // namespace zmdb::hosts::qt
