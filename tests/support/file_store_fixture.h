// A fresh file-store database per test, and small helpers to reach it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "dal/sqlite/backend_p.h"
#include "raised.h"
#include "temp_folder.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::testing {

class FileStoreTest : public zmdb::testing::TempFolderTest {
 protected:
  void SetUp() override {
    TempFolderTest::SetUp();
    path_ = (dir_ / "test.mdb").string();
    sqlite::OpenDatabase({path_, true, false, 5000})->Close();
  }
  // A connection to the test database, opened through a Jet connection string.
  std::shared_ptr<Connection> Connect(int cursorLocation = 2) {
    auto cn = Connection::Create();
    cn->SetCursorLocation(cursorLocation);
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_ +
             ";Jet OLEDB:Database Password =;");
    return cn;
  }

  std::shared_ptr<Recordset> Open(const std::shared_ptr<Connection>& cn, const std::string& sql,
                                  int cursorType = 3, int lockType = 3) {
    auto rs = Recordset::Create();
    rs->Open(rt::Variant(sql), rt::Variant(rt::ObjectRef(cn)), cursorType, lockType);
    return rs;
  }

  std::string path_;
};

}  // namespace zmdb::dal::testing
