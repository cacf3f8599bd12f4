// A fresh file database per test, opened through the data engine, and small
// helpers to look into it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "raised.h"
#include "temp_folder.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::testing {

class DaoTest : public zmdb::testing::TempFolderTest {
 protected:
  void SetUp() override {
    TempFolderTest::SetUp();
    path_ = (dir_ / "test.mdb").string();
    db_ = engine_.CreateDatabase(path_, ";LANGID=0x0804;CP=936;COUNTRY=0");
  }
  void TearDown() override {
    db_.reset();
    TempFolderTest::TearDown();
  }

  // Close the database and open it again, as a later session would.
  void Reopen() {
    db_->Close();
    db_ = engine_.OpenDatabase({path_, false, ""});
  }

  // An ADO connection on the same file.
  std::shared_ptr<Connection> Connect() {
    auto cn = Connection::Create();
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path_);
    return cn;
  }

  // Every row of a statement run through an ADO connection, as text.
  std::vector<std::vector<std::string>> Rows(const std::string& sql) {
    auto cn = Connect();
    auto rs = cn->Execute(sql, nullptr, -1, 3);
    std::vector<std::vector<std::string>> out;
    for (const auto& row : rs->VisibleRows()) {
      std::vector<std::string> r;
      for (const auto& v : row) r.push_back(rt::TextOf(v));
      out.push_back(std::move(r));
    }
    return out;
  }

  // Make table `name` through SQL (Jet DDL), with its rows.
  void Sql(const std::string& statement) { db_->Execute(statement); }

  std::shared_ptr<dao::TableDef> Table(const std::string& name) {
    return rt::ObjectAs<dao::TableDef>(rt::Variant(db_->TableDefs()->Item(rt::Variant(name))));
  }
  std::shared_ptr<dao::Field> FieldOf(const std::string& table, const std::string& field) {
    return rt::ObjectAs<dao::Field>(rt::Variant(Table(table)->Fields()->Item(rt::Variant(field))));
  }
  std::shared_ptr<dao::Index> IndexOf(const std::string& table, const std::string& index) {
    return rt::ObjectAs<dao::Index>(rt::Variant(Table(table)->Indexes()->Item(rt::Variant(index))));
  }

  dao::DBEngine engine_;
  std::string path_;
  std::shared_ptr<dao::Database> db_;
};

// A late-bound property read.
inline rt::Variant Get(const rt::ObjectRef& o, const char* name) {
  return o->GetProperty(name, {});
}

}  // namespace zmdb::dal::testing
