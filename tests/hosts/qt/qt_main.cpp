// The main of the Qt host's tests: one QApplication for every test, on Qt's
// offscreen platform unless the environment names another (CTest sets it).
#include <gtest/gtest.h>

#include <QApplication>

#include "zmdb/dal/stores/builtin.h"

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  testing::InitGoogleTest(&argc, argv);
  zmdb::dal::RegisterBuiltInStores();
  return RUN_ALL_TESTS();
}
