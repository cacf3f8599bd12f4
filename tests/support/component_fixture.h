// A component object over a fresh file-store database holding a small staff
// table, with every connection's statement log on.
#pragma once

#include <memory>
#include <string>

#include "file_store_fixture.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/host.h"

namespace zmdb::testing {

class ComponentTest : public dal::testing::FileStoreTest {
 protected:
  void SetUp() override {
    FileStoreTest::SetUp();
    dal::SetStatementLogDefault(true);
    host_->SetEcho(false);
    cn_ = Connect();
    for (const char* sql : {
             "CREATE TABLE Staff (ID INTEGER, Code TEXT(6), Name TEXT(20), Kind INTEGER, "
             "Note TEXT(40))",
             "INSERT INTO Staff VALUES (3, '000012', 'Li', 1, 'first')",
             "INSERT INTO Staff VALUES (57, '000101', 'Wang', 2, NULL)",
             "INSERT INTO Staff VALUES (9, '000099', 'Zhao', 2, 'third')",
         }) {
      cn_->Execute(sql);
    }
  }
  void TearDown() override {
    obj_.reset();
    frame::Library() = frame::LibraryState();
    dal::SetStatementLogDefault(false);
    FileStoreTest::TearDown();
  }

  rt::Variant conn() const { return rt::Variant(rt::ObjectRef(cn_)); }
  // The statement `cn` ran last ("" when none).
  static std::string LastStatement(const dal::Connection& cn) {
    return cn.statementLog().empty() ? std::string() : cn.statementLog().back();
  }
  // Rows of Staff matching `condition`, counted through the test's own connection.
  std::int32_t Count(const std::string& condition = "1=1") {
    auto rs = Open(cn_, "SELECT COUNT(*) AS N FROM Staff WHERE " + condition);
    return rt::CLng(rs->fields()->Item(rt::Variant("N"))->Value());
  }

  std::shared_ptr<rt::HeadlessHost> host_ = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope_{host_};
  std::shared_ptr<dal::Connection> cn_;
  std::unique_ptr<clsZMDBFunc> obj_ = std::make_unique<clsZMDBFunc>();
};

}  // namespace zmdb::testing
