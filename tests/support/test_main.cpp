// The main of every test program: the library's stores are registered as an
// application's first component object would register them, so tests that
// open connections or databases directly find them.
#include <gtest/gtest.h>

#include "zmdb/dal/stores/builtin.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  zmdb::dal::RegisterBuiltInStores();
  return RUN_ALL_TESTS();
}
