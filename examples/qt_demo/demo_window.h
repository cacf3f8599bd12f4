// The demo's main window: a file-store database shown through the component
// object, with its list filling, backup, restore and export driving real
// widgets and dialogs.
#pragma once

#include <QMainWindow>
#include <string>

#include "zmdb/frame/component.h"
#include "zmdb/runtime/object.h"

class QComboBox;
class QLabel;
class QProgressBar;
class QTableWidget;

namespace zmdb::demo {

class DemoWindow : public QMainWindow {
 public:
  explicit DemoWindow(const std::string& database);

  // Opens a database file (made with a sample table when it does not exist).
  void OpenDatabase(const std::string& path);
  // The export of the current table through the component's dbExport, with
  // its type and file dialogs.
  void Export();
  // The current table's rows to a backup text file, with the progress bar.
  void BackUpTo(const std::string& file);
  const std::string& path() const { return path_; }

 private:
  void ChooseDatabase();
  void ShowTable();
  void FillItems();
  void ShowPicked();
  void BackUp();
  void Restore();
  // Rows of a recordset into the table widget.
  void ShowRows(const rt::Variant& rs);
  // The component's last error as a message box, when there is one.
  void ReportFailure(const std::string& what);
  std::string Table() const;
  std::string SelectAll() const;

  clsZMDBFunc db_;
  rt::Variant cn_;
  std::string path_;

  QLabel* pathLabel_;
  QComboBox* tables_;
  QComboBox* shownField_;
  QComboBox* dataField_;
  QComboBox* items_;
  QLabel* picked_;
  QTableWidget* rows_;
  QProgressBar* progress_;
  QLabel* restoreCount_;
  rt::Variant itemsCtrl_, progressCtrl_, restoreCtrl_;
};

}  // namespace zmdb::demo
