// A desktop program on the component object, under the Qt Widgets host: it
// opens a file database (a sample made on first run unless one is named),
// fills a combo box with item data, shows rows, backs up with a progress bar,
// restores, and exports through the library's dialogs.
//
//   zmdb_qt_demo [database.mdb] [--export] [--grab DIR]
//
// --export opens the export after start-up. --grab DIR backs the table up
// beside the database (the progress bar fills), saves PNG pictures of the
// main window and of each dialog the export shows (the type dialog is
// answered with its default, any other dialog is cancelled), then quits.
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>
#include <QTimer>

#include "demo_window.h"
#include "zmdb/hosts/qt/host.h"

namespace {

// The picture's name for a dialog the export shows: the file dialog, or the
// first one (the type dialog, or the box of a build without the export).
QString PictureName(const QWidget& modal) {
  if (modal.inherits("QFileDialog")) return QStringLiteral("qt_demo_export_file");
  return QStringLiteral("qt_demo_export");
}

// Saves each modal dialog as it shows, then answers it: OK for the type
// dialog, a cancel for anything else.
void GrabDialogs(const QString& dir) {
  auto* timer = new QTimer(qApp);
  QObject::connect(timer, &QTimer::timeout, [dir, seen = QPointer<QWidget>()]() mutable {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible() || modal == seen) return;
    seen = modal;
    QTimer::singleShot(300, modal, [dir, modal] {
      modal->grab().save(QDir(dir).filePath(PictureName(*modal) + QStringLiteral(".png")));
      if (auto* dialog = qobject_cast<QDialog*>(modal)) {
        if (modal->objectName() == QStringLiteral("typeDialog")) {
          dialog->accept();
        } else {
          dialog->reject();
        }
      }
      if (modal->isVisible()) modal->hide();
    });
  });
  timer->start(50);
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("zmdb_qt_demo"));
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral("ZMDBFunc on a file database, in Qt Widgets"));
  parser.addHelpOption();
  parser.addPositionalArgument(QStringLiteral("database"),
                               QStringLiteral("a file database (default: the sample)"));
  const QCommandLineOption exportOption(QStringLiteral("export"),
                                        QStringLiteral("Open the export after start-up."));
  const QCommandLineOption grabOption(
      QStringLiteral("grab"),
      QStringLiteral("Save pictures of the window and the export's dialogs."),
      QStringLiteral("dir"));
  parser.addOption(exportOption);
  parser.addOption(grabOption);
  parser.process(app);

  QString database = parser.positionalArguments().value(0);
  if (database.isEmpty()) {
    database = QDir(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation))
                   .filePath(QStringLiteral("sample.mdb"));
  }
  const QString grabDir = parser.value(grabOption);
  const bool grabbing = !grabDir.isEmpty();

  // Pictures need widget dialogs; a desktop session gets its own file dialog.
  zmdb::rt::SetProcessHost(
      std::make_shared<zmdb::hosts::qt::QtHost>(zmdb::hosts::qt::QtHost::Options{!grabbing}));
  zmdb::demo::DemoWindow window(database.toStdString());
  window.show();

  if (grabbing) {
    QDir().mkpath(grabDir);
    GrabDialogs(grabDir);
    QTimer::singleShot(500, &window, [&window, grabDir] {
      window.BackUpTo(QFileInfo(QString::fromStdString(window.path()))
                          .absoluteDir()
                          .filePath(QStringLiteral("Staff.txt"))
                          .toStdString());
      window.grab().save(QDir(grabDir).filePath(QStringLiteral("qt_demo_main.png")));
      window.Export();
      QApplication::quit();
    });
  } else if (parser.isSet(exportOption)) {
    QTimer::singleShot(0, &window, [&window] { window.Export(); });
  }
  const int status = QApplication::exec();
  zmdb::rt::SetProcessHost(nullptr);
  return status;
}
