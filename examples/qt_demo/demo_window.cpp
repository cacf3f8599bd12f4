#include "demo_window.h"

#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTableWidget>
#include <QVBoxLayout>
#include <optional>

#include "zmdb/dal/recordset.h"
#include "zmdb/frame/methods.h"
#include "zmdb/frame/state.h"
#include "zmdb/hosts/qt/controls.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/host.h"

namespace zmdb::demo {

namespace {

using rt::Variant;

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}

// A new file database holding the sample tables.
void MakeSample(const std::string& path) {
  QDir().mkpath(QFileInfo(Q(path)).absolutePath());
  rt::CallMethod(Variant(frame::Engine()), "CreateDatabase",
                 {Variant(path), Variant(";LANGID=0x0804;CP=936;COUNTRY=0")});
  clsZMDBFunc db;
  if (!db.dbSetConnect(db.dbGetJetConnect(path, "", false, "4.0"), false)) return;
  const Variant cn(db.dbGetConnect(false));
  for (const char* sql : {
           "CREATE TABLE Staff (ID INTEGER PRIMARY KEY, Code TEXT(6), Name TEXT(20), "
           "Dept TEXT(20), Salary CURRENCY, Hired DATETIME)",
           "INSERT INTO Staff VALUES (1, '000101', '李明', '销售部', 4800, #2019-03-01#)",
           "INSERT INTO Staff VALUES (2, '000102', 'Wang Fang', '销售部', 5100, #2020-07-15#)",
           "INSERT INTO Staff VALUES (3, '000117', 'Zhao Lei', '财务部', 6200, #2016-11-30#)",
           "INSERT INTO Staff VALUES (4, '000120', '陈静', '财务部', NULL, #2023-01-09#)",
           "INSERT INTO Staff VALUES (5, '000131', 'Liu Yang', '研发部', 7300, #2018-05-21#)",
           "INSERT INTO Staff VALUES (6, '000142', '周敏', '研发部', 6900, #2021-09-01#)",
           "INSERT INTO Staff VALUES (7, '000150', 'Sun Hao', '研发部', 5600, #2024-02-19#)",
           "CREATE TABLE Dept (ID INTEGER PRIMARY KEY, Name TEXT(20))",
           "INSERT INTO Dept VALUES (10, '销售部')",
           "INSERT INTO Dept VALUES (20, '财务部')",
           "INSERT INTO Dept VALUES (30, '研发部')",
       }) {
    rt::CallMethod(cn, "Execute", {Variant(sql)});
  }
  db.dbCloseConnect(false);
}

std::string Text(const Variant& v) {
  return v.IsNull() || v.IsEmpty() ? std::string() : rt::CStr(v);
}

QStringList Strings(const rt::SafeArray& names) {
  QStringList out;
  for (const Variant& v : names.items()) out << Q(rt::CStr(v));
  return out;
}

}  // namespace

DemoWindow::DemoWindow(const std::string& database) {
  setWindowTitle(QStringLiteral("ZMDBFunc Qt demo"));
  db_.dbSetAppTitle("ZMDBFunc Qt demo");
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);

  auto* fileRow = new QHBoxLayout;
  pathLabel_ = new QLabel(central);
  pathLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* open = new QPushButton(QStringLiteral("Open..."), central);
  fileRow->addWidget(new QLabel(QStringLiteral("Database:"), central));
  fileRow->addWidget(pathLabel_, 1);
  fileRow->addWidget(open);
  layout->addLayout(fileRow);

  auto* form = new QFormLayout;
  tables_ = new QComboBox(central);
  form->addRow(QStringLiteral("Table:"), tables_);
  auto* fieldRow = new QHBoxLayout;
  shownField_ = new QComboBox(central);
  dataField_ = new QComboBox(central);
  fieldRow->addWidget(shownField_, 1);
  fieldRow->addWidget(new QLabel(QStringLiteral("ItemData from:"), central));
  fieldRow->addWidget(dataField_, 1);
  form->addRow(QStringLiteral("List field:"), fieldRow);
  auto* itemRow = new QHBoxLayout;
  items_ = new QComboBox(central);
  items_->setObjectName(QStringLiteral("items"));
  picked_ = new QLabel(central);
  itemRow->addWidget(items_, 1);
  itemRow->addWidget(picked_, 1);
  form->addRow(QStringLiteral("Items (dbAddCtrlEx):"), itemRow);
  layout->addLayout(form);

  rows_ = new QTableWidget(central);
  rows_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  rows_->setSelectionBehavior(QAbstractItemView::SelectRows);
  rows_->horizontalHeader()->setStretchLastSection(true);
  layout->addWidget(rows_, 1);

  auto* actions = new QHBoxLayout;
  auto* backUp = new QPushButton(QStringLiteral("Back up..."), central);
  auto* restore = new QPushButton(QStringLiteral("Restore..."), central);
  auto* exportButton = new QPushButton(QStringLiteral("Export..."), central);
  progress_ = new QProgressBar(central);
  progress_->hide();
  restoreCount_ = new QLabel(central);
  restoreCount_->hide();
  actions->addWidget(backUp);
  actions->addWidget(restore);
  actions->addWidget(exportButton);
  actions->addWidget(progress_, 1);
  actions->addWidget(restoreCount_);
  actions->addStretch();
  layout->addLayout(actions);
  setCentralWidget(central);
  statusBar();
  resize(780, 520);

  // The widgets the component fills and moves, behind the control contracts.
  itemsCtrl_ = Variant(hosts::qt::ComboBoxControl(items_));
  progressCtrl_ = Variant(hosts::qt::ProgressBarControl(progress_));
  restoreCtrl_ = Variant(hosts::qt::LabelControl(restoreCount_));

  connect(open, &QPushButton::clicked, this, [this] { ChooseDatabase(); });
  connect(tables_, &QComboBox::currentIndexChanged, this, [this] { ShowTable(); });
  connect(shownField_, &QComboBox::currentIndexChanged, this, [this] { FillItems(); });
  connect(dataField_, &QComboBox::currentIndexChanged, this, [this] { FillItems(); });
  connect(items_, &QComboBox::currentIndexChanged, this, [this] { ShowPicked(); });
  connect(backUp, &QPushButton::clicked, this, [this] { BackUp(); });
  connect(restore, &QPushButton::clicked, this, [this] { Restore(); });
  connect(exportButton, &QPushButton::clicked, this, [this] { Export(); });

  OpenDatabase(database);
}

void DemoWindow::OpenDatabase(const std::string& path) {
  if (!QFileInfo::exists(Q(path))) MakeSample(path);
  db_.dbCloseConnect(false);
  db_.dbCloseConnect(true);
  // The default database (for the export's data engine) and the default
  // connection, with client-side cursors so that every recordset counts its rows.
  db_.dbOpenDateBase(path, "");
  if (!db_.dbSetConnect(db_.dbGetJetConnect(path, "", false, "4.0"), false, 3)) {
    ReportFailure("Opening " + path);
    return;
  }
  path_ = path;
  cn_ = Variant(db_.dbGetConnect(false));
  // The file's name, with its whole path in the tooltip.
  pathLabel_->setText(QFileInfo(Q(path)).fileName());
  pathLabel_->setToolTip(Q(path));
  QSignalBlocker block(tables_);
  tables_->clear();
  tables_->addItems(Strings(db_.dbTableDefs(cn_)));
  const int staff = tables_->findText(QStringLiteral("Staff"));
  if (staff >= 0) tables_->setCurrentIndex(staff);
  block.unblock();
  ShowTable();
}

void DemoWindow::ChooseDatabase() {
  const QString file = QFileDialog::getOpenFileName(
      this, QStringLiteral("Open a file database"), QFileInfo(Q(path_)).absolutePath(),
      QStringLiteral("File databases (*.mdb);;All files (*)"));
  if (!file.isEmpty()) OpenDatabase(file.toStdString());
}

std::string DemoWindow::Table() const {
  return tables_->currentText().toStdString();
}

std::string DemoWindow::SelectAll() const {
  const std::string table = Table();
  return "SELECT * FROM " + (table.find(' ') == std::string::npos ? table : "[" + table + "]");
}

// The table's rows, and its fields offered for the item list: the list shows
// a "Name" field (else the second) and keeps the first as ItemData.
void DemoWindow::ShowTable() {
  if (Table().empty()) return;
  const QStringList fields = Strings(db_.dbFields(Table(), cn_));
  {
    const QSignalBlocker a(shownField_), b(dataField_);
    shownField_->clear();
    shownField_->addItems(fields);
    dataField_->clear();
    dataField_->addItem(QStringLiteral("(none)"));
    dataField_->addItems(fields);
    const int name = static_cast<int>(fields.indexOf(QStringLiteral("Name")));
    shownField_->setCurrentIndex(name >= 0 ? name : (fields.size() > 1 ? 1 : 0));
    dataField_->setCurrentIndex(fields.isEmpty() ? 0 : 1);
  }
  auto rs = dal::Recordset::Create();
  try {
    rs->Open(Variant(SelectAll()), cn_, 3, 1);
    ShowRows(Variant(rt::ObjectRef(rs)));
  } catch (const rt::PlatformError& e) {
    rt::MsgBox(e.what(), rt::mb::kCritical);
  }
  FillItems();
}

void DemoWindow::FillItems() {
  rt::CallMethod(itemsCtrl_, "Clear");
  const std::string dataField =
      dataField_->currentIndex() > 0 ? dataField_->currentText().toStdString() : "";
  db_.dbClearError();
  if (!db_.dbAddCtrlEx(itemsCtrl_, Table(), shownField_->currentText().toStdString(), dataField,
                       shownField_->currentText().toStdString())) {
    ReportFailure("Filling the list");
  }
  // The library's side of the selection: ListIndex set through the control
  // selects the item on screen (a pick in the combo comes back the same way).
  const std::int32_t count = rt::CLng(rt::GetProp(itemsCtrl_, "ListCount"));
  if (count > 0) rt::SetProp(itemsCtrl_, "ListIndex", Variant(std::int32_t{0}));
  statusBar()->showMessage(QStringLiteral("%1 items in the list").arg(count));
  ShowPicked();
}

// The picked item's ItemData, and its row selected in the table.
void DemoWindow::ShowPicked() {
  const int index = rt::CLng(rt::GetProp(itemsCtrl_, "ListIndex"));
  if (index < 0) {
    picked_->setText(QStringLiteral("(pick an item)"));
    return;
  }
  const int itemData = rt::CLng(rt::GetProp(itemsCtrl_, "ItemData", {Variant(index)}));
  picked_->setText(QStringLiteral("ItemData = %1").arg(itemData));
  for (int row = 0; row < rows_->rowCount(); ++row) {
    const QTableWidgetItem* first = rows_->item(row, 0);
    if (first && first->text() == QString::number(itemData)) rows_->selectRow(row);
  }
}

void DemoWindow::ShowRows(const Variant& rs) {
  const Variant fields = rt::GetProp(rs, "Fields");
  const int count = rt::CLng(rt::GetProp(fields, "Count"));
  rows_->clear();
  rows_->setRowCount(0);
  rows_->setColumnCount(count);
  QStringList headers;
  for (int i = 0; i < count; ++i) {
    headers << Q(rt::CStr(rt::GetProp(rt::ItemOf(fields, Variant(i)), "Name")));
  }
  rows_->setHorizontalHeaderLabels(headers);
  if (!rt::CBool(rt::GetProp(rs, "BOF")) || !rt::CBool(rt::GetProp(rs, "EOF"))) {
    rt::CallMethod(rs, "MoveFirst");
  }
  for (int row = 0; !rt::CBool(rt::GetProp(rs, "EOF")); ++row) {
    rows_->insertRow(row);
    for (int i = 0; i < count; ++i) {
      const Variant value = rt::GetProp(rt::ItemOf(fields, Variant(i)), "Value");
      rows_->setItem(row, i, new QTableWidgetItem(Q(Text(value))));
    }
    rt::CallMethod(rs, "MoveNext");
  }
  rows_->resizeColumnsToContents();
}

void DemoWindow::ReportFailure(const std::string& what) {
  const ErrStruct e = db_.dbGetLastError();
  if (e.Number == 0) return;
  rt::MsgBox(what + " failed:\r\n" + e.Description + " (" + std::to_string(e.Number) + ")",
             rt::mb::kCritical);
}

// The table's rows to a text backup file, the progress bar following the rows.
void DemoWindow::BackUp() {
  const QString file = QFileDialog::getSaveFileName(
      this, QStringLiteral("Back up the table"),
      QFileInfo(Q(path_)).absoluteDir().filePath(Q(Table()) + QStringLiteral(".txt")),
      QStringLiteral("Backup text (*.txt)"));
  if (!file.isEmpty()) BackUpTo(file.toStdString());
}

void DemoWindow::BackUpTo(const std::string& file) {
  auto rs = dal::Recordset::Create();
  rs->Open(Variant(SelectAll()), cn_, 3, 1);
  db_.dbClearError();
  if (db_.dbBackupRecordset(rs, file, ",", "", false, "yyyy-mm-dd", progressCtrl_)) {
    statusBar()->showMessage(QStringLiteral("Backed up %1 rows to %2")
                                 .arg(rt::CLng(rt::GetProp(progressCtrl_, "Value")))
                                 .arg(QFileInfo(Q(file)).fileName()));
  } else {
    ReportFailure("The backup");
  }
}

// A backup file read back into a recordset, shown in the table; a label
// counts its lines.
void DemoWindow::Restore() {
  const QString file = QFileDialog::getOpenFileName(
      this, QStringLiteral("Restore a backup"), QFileInfo(Q(path_)).absolutePath(),
      QStringLiteral("Backup text (*.txt);;All files (*)"));
  if (file.isEmpty()) return;
  db_.dbClearError();
  const rt::ObjectRef rs =
      db_.dbRestoreRecordset(file.toStdString(), ",", true, "", "", "", restoreCtrl_);
  if (!rs) {
    ReportFailure("The restore");
    return;
  }
  ShowRows(Variant(rs));
  statusBar()->showMessage(
      QStringLiteral("Restored from %1 (not written to the database)").arg(file));
}

// dbExport is reached by name, as a script would call it: a build whose
// export is not there yet answers that it is not available, which the demo
// shows in a box.
void DemoWindow::Export() {
  const frame::MethodSpec* spec = frame::FindMethod("dbExport");
  if (!spec || Table().empty()) return;
  std::vector<std::optional<Variant>> given(spec->args.size());
  given[0] = Variant(SelectAll());
  given[1] = cn_;
  db_.dbClearError();
  try {
    std::vector<Variant> args = frame::PrepareArguments(*spec, given);
    if (rt::CBool(frame::Invoke(db_, *spec, args))) {
      statusBar()->showMessage(QStringLiteral("Exported %1").arg(Q(Table())));
    } else if (db_.dbGetLastError().Number != 0) {
      ReportFailure("The export");
    } else {
      statusBar()->showMessage(QStringLiteral("Export cancelled"));
    }
  } catch (const rt::PlatformError& e) {
    rt::MsgBox(e.what(), rt::mb::kExclamation);
  }
}

}  // namespace zmdb::demo
