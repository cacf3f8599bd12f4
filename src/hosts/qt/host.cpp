#include "zmdb/hosts/qt/host.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>
#include <utility>

namespace zmdb::hosts::qt {

namespace {

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}

// The box's standard button for each of the library's answers.
constexpr std::pair<int, QMessageBox::StandardButton> kButtons[] = {
    {rt::mb::kOK, QMessageBox::Ok},         {rt::mb::kCancel, QMessageBox::Cancel},
    {rt::mb::kAbort, QMessageBox::Abort},   {rt::mb::kRetry, QMessageBox::Retry},
    {rt::mb::kIgnore, QMessageBox::Ignore}, {rt::mb::kYes, QMessageBox::Yes},
    {rt::mb::kNo, QMessageBox::No},
};

QMessageBox::StandardButton ButtonFor(int answer) {
  for (const auto& [code, button] : kButtons) {
    if (code == answer) return button;
  }
  return QMessageBox::Ok;
}

int AnswerFor(QMessageBox::StandardButton clicked) {
  for (const auto& [code, button] : kButtons) {
    if (button == clicked) return code;
  }
  return 0;
}

// The icon bits (16, 32, 48, 64) of a button code.
QMessageBox::Icon IconFor(int buttons) {
  switch (buttons & 0x70) {
    case rt::mb::kCritical:
      return QMessageBox::Critical;
    case rt::mb::kQuestion:
      return QMessageBox::Question;
    case rt::mb::kExclamation:
      return QMessageBox::Warning;
    case rt::mb::kInformation:
      return QMessageBox::Information;
    default:
      return QMessageBox::NoIcon;
  }
}

QWidget* DialogParent() {
  return QApplication::activeWindow();
}

}  // namespace

QStringList NameFilters(const std::string& filter) {
  QStringList filters;
  if (filter.empty()) return filters;
  const QStringList parts = Q(filter).split(QLatin1Char('|'));
  for (qsizetype i = 0; i < parts.size(); i += 2) {
    QString description = parts[i].trimmed();
    QString pattern = i + 1 < parts.size() ? parts[i + 1].trimmed() : QString();
    if (description.isEmpty() && pattern.isEmpty()) continue;
    if (pattern.isEmpty()) pattern = QStringLiteral("*");
    QString patterns = pattern;
    patterns.replace(QLatin1Char(';'), QLatin1Char(' '));
    patterns = patterns.simplified();
    if (description.isEmpty()) description = patterns;
    const QString own = QLatin1Char('(') + patterns + QLatin1Char(')');
    filters << (description.endsWith(own) ? description : description + QLatin1Char(' ') + own);
  }
  return filters;
}

QtHost::QtHost() : QtHost(Options{}) {}

QtHost::QtHost(Options options) : options_(options) {}

QtHost::~QtHost() {
  if (overridden_) QGuiApplication::restoreOverrideCursor();
  delete typeDialog_;
}

int QtHost::MsgBox(const std::string& prompt, int buttons, const std::string& title) {
  QMessageBox box(DialogParent());
  box.setWindowTitle(Q(title));
  // The prompt is plain text with the platform's CR LF line breaks.
  box.setTextFormat(Qt::PlainText);
  box.setText(Q(prompt).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
  box.setIcon(IconFor(buttons));
  const std::vector<int> answers = rt::ButtonAnswers(buttons);
  for (int answer : answers) box.addButton(ButtonFor(answer));
  box.setDefaultButton(ButtonFor(rt::DefaultAnswer(buttons)));
  box.exec();
  if (QAbstractButton* clicked = box.clickedButton()) {
    if (const int answer = AnswerFor(box.standardButton(clicked))) return answer;
  }
  // Closed without a button: Cancel when the box offers it, else its default.
  for (int answer : answers) {
    if (answer == rt::mb::kCancel) return answer;
  }
  return rt::DefaultAnswer(buttons);
}

void QtHost::SetMousePointer(int pointer) {
  pointer_ = pointer;
  const bool wait = pointer == rt::kPointerHourglass;
  if (wait && !overridden_) {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    overridden_ = true;
  } else if (!wait && overridden_) {
    QGuiApplication::restoreOverrideCursor();
    overridden_ = false;
  }
}

void QtHost::DoEvents() {
  QCoreApplication::processEvents();
}

void QtHost::Unload(rt::Object&) {
  delete typeDialog_;
}

// The dialog is built on first use and kept (hidden) until Unload, as a form
// of the library stays loaded between showings.
int QtHost::ChooseDataType(const rt::TypeDialogView& view) {
  if (!typeDialog_) {
    auto* dialog = new QDialog(DialogParent());
    dialog->setObjectName(QStringLiteral("typeDialog"));
    auto* list = new QListWidget(dialog);
    list->setObjectName(QStringLiteral("lstTypes"));
    auto* ok = new QPushButton(dialog);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(dialog);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(list);
    layout->addLayout(buttons);
    QObject::connect(ok, &QPushButton::clicked, dialog, &QDialog::accept);
    QObject::connect(cancel, &QPushButton::clicked, dialog, &QDialog::reject);
    QObject::connect(list, &QListWidget::itemDoubleClicked, dialog, &QDialog::accept);
    typeDialog_ = dialog;
  }
  QDialog* dialog = typeDialog_;
  auto* list = dialog->findChild<QListWidget*>(QStringLiteral("lstTypes"));
  dialog->findChild<QPushButton*>(QStringLiteral("cmdOK"))->setText(Q(view.okCaption));
  dialog->findChild<QPushButton*>(QStringLiteral("cmdCancel"))->setText(Q(view.cancelCaption));
  dialog->setWindowTitle(Q(rt::AppTitle()));
  list->clear();
  for (const std::string& item : view.items) list->addItem(Q(item));
  // Tall enough to show every type without scrolling.
  if (list->count() > 0) {
    list->setMinimumHeight(list->sizeHintForRow(0) * list->count() + 2 * list->frameWidth());
  }
  const bool inList = view.listIndex >= 0 && view.listIndex < list->count();
  list->setCurrentRow(inList ? view.listIndex : -1);
  // A list view taking the focus makes its first row current when none is;
  // with nothing selected the focus starts on OK, so the selection stays empty.
  if (inList) {
    list->setFocus();
  } else {
    dialog->findChild<QPushButton*>(QStringLiteral("cmdOK"))->setFocus();
  }
  const int result = dialog->exec();
  // Unloaded while it was showing: nothing was chosen.
  if (!typeDialog_ || result != QDialog::Accepted) return -1;
  return list->currentRow();
}

// Flags 2 (the overwrite prompt) make it a save dialog, which asks before
// replacing a file; otherwise it is an open dialog that also takes the name
// of a file still to be made, as an open dialog without the must-exist flag.
std::optional<std::string> QtHost::ChooseFile(const rt::FileDialogView& view) {
  QFileDialog dialog(DialogParent(), Q(view.title));
  dialog.setOption(QFileDialog::DontUseNativeDialog, !options_.nativeFileDialog);
  const QStringList filters = NameFilters(view.filter);
  if (!filters.isEmpty()) {
    dialog.setNameFilters(filters);
    const qsizetype pick = view.filterIndex - 1;
    dialog.selectNameFilter(filters[pick >= 0 && pick < filters.size() ? pick : 0]);
  }
  const bool save = (view.flags & 2) != 0;
  dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog.setFileMode(QFileDialog::AnyFile);
  dialog.setOption(QFileDialog::DontConfirmOverwrite, !save);
  if (!view.defaultExt.empty()) dialog.setDefaultSuffix(Q(view.defaultExt));
  if (!view.fileName.empty()) dialog.selectFile(Q(view.fileName));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const QStringList chosen = dialog.selectedFiles();
  if (chosen.isEmpty() || chosen.front().isEmpty()) return std::nullopt;
  return chosen.front().toStdString();
}

// An empty answer is no connection string: it counts as a cancel.
std::optional<std::string> QtHost::PromptDataSource() {
  QInputDialog dialog(DialogParent());
  dialog.setObjectName(QStringLiteral("dataSourcePrompt"));
  dialog.setWindowTitle(Q(rt::AppTitle()));
  dialog.setInputMode(QInputDialog::TextInput);
  dialog.setLabelText(QStringLiteral("ODBC connection string (DSN=...;UID=...;PWD=...):"));
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const QString text = dialog.textValue().trimmed();
  if (text.isEmpty()) return std::nullopt;
  return text.toStdString();
}

}  // namespace zmdb::hosts::qt
