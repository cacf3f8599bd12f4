// Tables on the file store: the creation protocol on the DAO and ADO paths,
// linked-table definitions and the virtual index, selection, removal, and
// renames of tables and fields, each checked after closing and reopening.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/schema/statements.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Rows = std::vector<std::vector<std::string>>;

TEST(TableStatements, AreWrittenAsTheServerAndTheFileStoreExpect) {
  const std::pair<std::string, std::string> cases[] = {
      {schema::VirtualIndexStatement("T", "ID"),
       "CREATE UNIQUE INDEX __uniqueindex ON T(ID) WITH DISALLOW NULL;"},
      // The column list goes in unchanged, the table name unbracketed.
      {schema::VirtualIndexStatement("Pay Roll", "ID, Code"),
       "CREATE UNIQUE INDEX __uniqueindex ON Pay Roll(ID, Code) WITH DISALLOW NULL;"},
      {schema::DropTableStatement("Staff", true), "DROP TABLE dbo.[Staff]"},
      {schema::DropTableStatement("Pay Roll", false), "DROP TABLE [Pay Roll]"},
      {schema::LinkSourceName("Staff"), "dbo.Staff"},
  };
  for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected);
  EXPECT_EQ(schema::TableRenameArguments("Old", "New"),
            (schema::RenameArguments{"dbo.Old", "New", "object"}));
  EXPECT_EQ(schema::ColumnRenameArguments("T", "Old Name", "New"),
            (schema::RenameArguments{"dbo.T.[Old Name]", "New", "column"}));
}

// A component object that shows the state kept between dbCreateTableItem and
// dbCreateTableOver.
class TableState : public clsZMDBFunc {
 public:
  using clsZMDBFunc::pendingTable_;
  using clsZMDBFunc::virtualIndexText_;
};

class TablesTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    obj_ = std::make_unique<TableState>();
    cn_->Execute("CREATE VIEW Cheap AS SELECT * FROM Staff WHERE Kind=1");
  }
  TableState& state() { return static_cast<TableState&>(*obj_); }

  // Opens the file as the default database (the test's connection closed).
  void OpenDefault() {
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  // Closes the default database and opens the file again, as a later session would.
  void Reopen() {
    ASSERT_TRUE(obj_->dbCloseConnect(true));
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  Variant Db() { return Variant(obj_->dbGetConnect(true)); }
  Variant Def(const std::string& table) {
    return rt::ItemOf(rt::GetProp(Db(), "TableDefs"), Variant(table));
  }
  std::vector<std::string> Names(const Variant& collection) {
    return rt::ObjectAs<dal::dao::Collection>(collection)->Names();
  }
  bool HasTable(const std::string& table) {
    for (const auto& n : Names(rt::GetProp(Db(), "TableDefs"))) {
      if (n == table) return true;
    }
    return false;
  }
  Rows Select(const std::string& sql) {
    auto rs = Open(Connect(), sql);
    Rows out;
    for (const auto& row : rs->VisibleRows()) {
      std::vector<std::string> r;
      for (const auto& v : row) r.push_back(rt::TextOf(v));
      out.push_back(std::move(r));
    }
    return out;
  }
  // A field appended to a definition through the DAO objects.
  static void AddField(const Variant& def, const std::string& name, std::int32_t type,
                       std::int32_t size = 0) {
    const Variant f =
        rt::CallMethod(def, "CreateField", {Variant(name), Variant(type), Variant(size)});
    rt::CallMethod(rt::GetProp(def, "Fields"), "Append", {f});
  }
  static std::string Description(const Variant& object) {
    try {
      return rt::TextOf(rt::GetProp(
          rt::ItemOf(rt::GetProp(object, "Properties"), Variant("Description")), "Value"));
    } catch (const rt::PlatformError&) {
      return "(none)";
    }
  }
  // Everything a table is besides its name: description, fields with their
  // properties, indexes, and rows in key order.
  std::vector<std::string> Fingerprint(const std::string& table) {
    const Variant def = Def(table);
    std::vector<std::string> out{"table " + Description(def)};
    const Variant fields = rt::GetProp(def, "Fields");
    for (const auto& name : Names(fields)) {
      const Variant f = rt::ItemOf(fields, Variant(name));
      std::string line = "field " + name;
      for (const char* p : {"Type", "Size", "Attributes", "Required", "AllowZeroLength",
                            "DefaultValue", "OrdinalPosition"}) {
        line += " " + std::string(p) + "=" + rt::TextOf(rt::GetProp(f, p));
      }
      out.push_back(line + " " + Description(f));
    }
    const Variant indexes = rt::GetProp(def, "Indexes");
    for (const auto& name : Names(indexes)) {
      const Variant i = rt::ItemOf(indexes, Variant(name));
      std::string line = "index " + name;
      for (const auto& f : Names(rt::GetProp(i, "Fields"))) line += " " + f;
      for (const char* p : {"Primary", "Unique", "Required", "IgnoreNulls"}) {
        line += " " + std::string(p) + "=" + rt::TextOf(rt::GetProp(i, p));
      }
      out.push_back(line);
    }
    for (const auto& row : Select("SELECT * FROM [" + table + "] ORDER BY 1")) {
      std::string line = "row";
      for (const auto& v : row) line += " " + v;
      out.push_back(line);
    }
    return out;
  }
  // A table with an AutoNumber key whose next number is 4, an index, a
  // default, a Required field and descriptions.
  void MakePerson() {
    for (const char* sql : {
             "CREATE TABLE Person (ID COUNTER CONSTRAINT pk_Person PRIMARY KEY, "
             "Name TEXT(20) NOT NULL, Age SHORT DEFAULT 18, Note MEMO)",
             "CREATE INDEX ByName ON Person (Name)",
             "INSERT INTO Person (Name, Note) VALUES ('Li', 'first')",
             "INSERT INTO Person (Name, Age) VALUES ('Wang', 40)",
             "INSERT INTO Person (Name) VALUES ('Zhao')",
             "DELETE FROM Person WHERE ID = 3",
         }) {
      rt::CallMethod(Db(), "Execute", {Variant(sql)});
    }
    const Variant def = Def("Person");
    const auto describe = [](const Variant& object, const char* text) {
      const Variant p = rt::CallMethod(object, "CreateProperty",
                                       {Variant("Description"), Variant(10), Variant(text)});
      rt::CallMethod(rt::GetProp(object, "Properties"), "Append", {p});
    };
    describe(def, "people");
    describe(rt::ItemOf(rt::GetProp(def, "Fields"), Variant("Name")), "full name");
  }
  std::int32_t LastNumber() { return obj_->dbGetLastError().Number; }
};

TEST_F(TablesTest, WithoutADefaultDatabaseEachMethodAnswersFalseAndRecordsNothing) {
  const std::pair<const char*, std::function<bool()>> cases[] = {
      {"create", [&] { return obj_->dbCreateTableItem("T"); }},
      {"over", [&] { return obj_->dbCreateTableOver("Staff"); }},
      {"set", [&] { return obj_->dbSetTableItem("Staff"); }},
      {"remove", [&] { return obj_->dbRemoveTableItem("Staff"); }},
      {"remove on the server", [&] { return obj_->dbRemoveTableItem("Staff", true); }},
      {"rename", [&] { return obj_->dbModifyTableName(Variant("Staff"), "Crew"); }},
      {"rename field", [&] { return obj_->dbModifyFieldName("Staff", Variant("Name"), "N"); }},
  };
  for (const auto& [what, call] : cases) EXPECT_FALSE(call()) << what;
  EXPECT_TRUE(obj_->dbCloseTable("anything"));
  EXPECT_EQ(LastNumber(), 0);
  EXPECT_EQ(Count(), 3);
}

TEST_F(TablesTest, AConnOfAnotherKindDoesNothingAndAnswersTrue) {
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  const std::size_t before = cn_->statementLog().size();
  EXPECT_TRUE(obj_->dbCreateTableItem("T", "", false, "", recordset));
  EXPECT_TRUE(obj_->dbRemoveTableItem("Staff", true, recordset));
  EXPECT_EQ(obj_->currentTableDef(), nullptr);
  EXPECT_EQ(state().pendingTable_, nullptr);
  EXPECT_EQ(cn_->statementLog().size(), before);
  EXPECT_EQ(Count(), 3);
}

TEST_F(TablesTest, ANewTableIsAppendedOnlyUnderTheExactNameItWasBegunWith) {
  OpenDefault();
  EXPECT_TRUE(obj_->dbCreateTableItem("Dept"));
  const Variant def(obj_->currentTableDef());
  ASSERT_TRUE(def.AsObject());
  AddField(def, "Code", 10, 8);
  EXPECT_FALSE(HasTable("Dept"));  // nothing appended yet
  EXPECT_FALSE(obj_->dbCreateTableOver("dept"));
  EXPECT_FALSE(HasTable("Dept"));
  EXPECT_EQ(LastNumber(), 0);
  EXPECT_TRUE(obj_->dbCreateTableOver("Dept"));
  // The definition stays current after it was appended.
  EXPECT_EQ(obj_->currentTableDef(), def.AsObject());
  Reopen();
  EXPECT_EQ(Names(rt::GetProp(Def("Dept"), "Fields")), std::vector<std::string>{"Code"});
  EXPECT_EQ(rt::CLng(rt::GetProp(rt::ItemOf(rt::GetProp(Def("Dept"), "Fields"), Variant("Code")),
                                 "Size")),
            8);
}

TEST_F(TablesTest, AnExistingTableTakesNewFieldsAndThenRefusesToBeAppendedAgain) {
  OpenDefault();
  EXPECT_TRUE(obj_->dbCreateTableItem("Staff"));
  AddField(Variant(obj_->currentTableDef()), "Age", 3);  // alters the table at once
  EXPECT_FALSE(obj_->dbCreateTableOver("Staff"));
  EXPECT_NE(LastNumber(), 0);
  Reopen();
  EXPECT_EQ(Names(rt::GetProp(Def("Staff"), "Fields")).back(), "Age");
  EXPECT_EQ(Select("SELECT COUNT(*) FROM Staff"), (Rows{{"3"}}));
}

TEST_F(TablesTest, ALinkIsDefinedWithItsSourceInDboAndItsVirtualIndexText) {
  OpenDefault();
  const std::string connect = "ODBC;DRIVER=SQL Server;SERVER=nowhere;DATABASE=hr;UID=sa;PWD=x;";
  struct Case {
    const char* name;
    bool savePassword;
    const char* virtualIndex;
    std::int32_t attributes;
  };
  for (const Case& c : {Case{"Crew", true, "ID", 131072}, Case{"Roster", false, "", 0}}) {
    EXPECT_TRUE(obj_->dbCreateTableItem(c.name, connect, c.savePassword, c.virtualIndex));
    const Variant def(obj_->currentTableDef());
    EXPECT_EQ(rt::CStr(rt::GetProp(def, "Connect")), connect) << c.name;
    EXPECT_EQ(rt::CStr(rt::GetProp(def, "SourceTableName")), "dbo." + std::string(c.name));
    EXPECT_EQ(rt::CLng(rt::GetProp(def, "Attributes")), c.attributes) << c.name;
    EXPECT_EQ(state().virtualIndexText_, c.virtualIndex) << c.name;
  }
  // A plain table leaves the virtual-index text of the last link alone.
  state().virtualIndexText_ = "ID";
  EXPECT_TRUE(obj_->dbCreateTableItem("Plain"));
  EXPECT_EQ(state().virtualIndexText_, "ID");
}

TEST_F(TablesTest, AVirtualIndexThatFailsLeavesTheLinkAppendedAndAnswersFalse) {
  OpenDefault();
  const std::string connect = "ODBC;DRIVER=SQL Server;SERVER=nowhere;DATABASE=hr;";
  EXPECT_TRUE(obj_->dbCreateTableItem("Crew", connect, true, "ID"));
  // The link's source cannot be reached, so its index cannot be made.
  EXPECT_FALSE(obj_->dbCreateTableOver("Crew"));
  EXPECT_NE(LastNumber(), 0);
  EXPECT_EQ(state().virtualIndexText_, "ID");
  Reopen();
  EXPECT_TRUE(HasTable("Crew"));
  EXPECT_EQ(rt::CStr(rt::GetProp(Def("Crew"), "SourceTableName")), "dbo.Crew");
  EXPECT_EQ(rt::CLng(rt::GetProp(Def("Crew"), "Attributes")) & 131072, 131072);
}

TEST_F(TablesTest, OnAConnectionACatalogueTableWaitsWithItsDescription) {
  EXPECT_TRUE(obj_->dbCreateTableItem("Dept", "ignored", true, "ignored", conn()));
  ASSERT_NE(state().pendingTable_, nullptr);
  EXPECT_TRUE(state().virtualIndexText_.empty());
  const Variant table(state().pendingTable_);
  rt::CallMethod(rt::GetProp(table, "Columns"), "Append",
                 {Variant("Code"), Variant(202), Variant(8)});
  EXPECT_TRUE(obj_->dbCreateTableOver("Dept"));
  EXPECT_EQ(Select("SELECT COUNT(*) FROM Dept"), (Rows{{"0"}}));
  cn_->Close();
  ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  EXPECT_EQ(Description(Def("Dept")), "Dept");
  EXPECT_EQ(Names(rt::GetProp(Def("Dept"), "Fields")), std::vector<std::string>{"Code"});
  // The pending table stays: a later dbCreateTableOver appends it again and fails.
  EXPECT_FALSE(obj_->dbCreateTableOver("Dept"));
  EXPECT_NE(LastNumber(), 0);
}

TEST_F(TablesTest, SetAndCloseChooseTheCurrentDefinition) {
  OpenDefault();
  EXPECT_TRUE(obj_->dbSetTableItem("Staff"));
  EXPECT_EQ(rt::CStr(rt::GetProp(Variant(obj_->currentTableDef()), "Name")), "Staff");
  EXPECT_FALSE(obj_->dbSetTableItem("Nowhere"));
  EXPECT_NE(LastNumber(), 0);
  EXPECT_TRUE(obj_->dbCloseTable("whatever"));
  EXPECT_EQ(obj_->currentTableDef(), nullptr);
}

TEST_F(TablesTest, RemoveDropsByPathAndADatabaseConnDeletesTheSavedQuery) {
  cn_->Execute("CREATE TABLE A (X INTEGER)");
  cn_->Execute("CREATE TABLE B (X INTEGER)");
  // Through a Connection: the statement names the table, on dbo for SQL Server.
  EXPECT_TRUE(obj_->dbRemoveTableItem("A", false, conn()));
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE [A]");
  EXPECT_FALSE(obj_->dbRemoveTableItem("B", true, conn()));  // no dbo schema in a file
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE dbo.[B]");
  EXPECT_NE(LastNumber(), 0);
  // Without Conn on SQL Server: the default connection runs the same statement.
  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  auto own = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  EXPECT_FALSE(obj_->dbRemoveTableItem("B", true));
  EXPECT_EQ(LastStatement(*own), "DROP TABLE dbo.[B]");
  obj_->dbCloseConnect(false);

  OpenDefault();
  obj_->dbClearError();
  // A Database in Conn deletes the saved query, never the table.
  EXPECT_TRUE(obj_->dbRemoveTableItem("Cheap", false, Db()));
  EXPECT_FALSE(obj_->dbRemoveTableItem("Staff", false, Db()));
  EXPECT_NE(LastNumber(), 0);
  // Without Conn the default database's table goes.
  EXPECT_TRUE(obj_->dbRemoveTableItem("B"));
  EXPECT_FALSE(obj_->dbRemoveTableItem("B"));
  Reopen();
  EXPECT_EQ(Names(rt::GetProp(Db(), "QueryDefs")), std::vector<std::string>{});
  EXPECT_TRUE(HasTable("Staff"));
  EXPECT_FALSE(HasTable("A"));
  EXPECT_FALSE(HasTable("B"));
}

TEST_F(TablesTest, ARenamedTableKeepsEveryRowAndProperty) {
  OpenDefault();
  MakePerson();
  const auto before = Fingerprint("Person");
  EXPECT_TRUE(obj_->dbModifyTableName(Variant("Person"), "People"));
  EXPECT_EQ(rt::CStr(rt::GetProp(Variant(obj_->currentTableDef()), "Name")), "People");
  Reopen();
  EXPECT_FALSE(HasTable("Person"));
  EXPECT_EQ(Fingerprint("People"), before);
  // The AutoNumber goes on from where it was.
  rt::CallMethod(Db(), "Execute", {Variant("INSERT INTO People (Name) VALUES ('Sun')")});
  EXPECT_EQ(Select("SELECT ID FROM People WHERE Name = 'Sun'"), (Rows{{"4"}}));
  EXPECT_EQ(LastNumber(), 0);
}

TEST_F(TablesTest, RenamingOntoAnExistingNameDropsThatTableFirst) {
  OpenDefault();
  MakePerson();
  rt::CallMethod(Db(), "Execute", {Variant("CREATE TABLE Crew (X INTEGER)")});
  rt::CallMethod(Db(), "Execute", {Variant("INSERT INTO Crew VALUES (1)")});
  const auto person = Fingerprint("Person");
  EXPECT_TRUE(obj_->dbModifyTableName(Variant("Person"), "Crew"));
  Reopen();
  EXPECT_EQ(Fingerprint("Crew"), person);
  EXPECT_FALSE(HasTable("Person"));
  // A missing table to rename is an error; the target is dropped all the same.
  rt::CallMethod(Db(), "Execute", {Variant("CREATE TABLE Gone (X INTEGER)")});
  EXPECT_FALSE(obj_->dbModifyTableName(Variant("Nowhere"), "Gone"));
  EXPECT_NE(LastNumber(), 0);
  EXPECT_FALSE(HasTable("Gone"));
}

TEST_F(TablesTest, RenamingThroughAConnectionDropsByStatementAndRenamesInTheDefaultDatabase) {
  cn_->Execute("CREATE TABLE Crew (X INTEGER)");
  cn_->Execute("INSERT INTO Crew VALUES (1)");
  // No default database: the rename itself has nowhere to happen.
  EXPECT_FALSE(obj_->dbModifyTableName(Variant("Staff"), "Crew", conn()));
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE [Crew]");
  EXPECT_EQ(LastNumber(), rt::err::kObjectNotSet);
  ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  EXPECT_TRUE(obj_->dbModifyTableName(Variant("Staff"), "Crew", conn()));
  EXPECT_EQ(Select("SELECT COUNT(*) FROM Crew"), (Rows{{"3"}}));
}

TEST_F(TablesTest, ARenamedFieldKeepsTheTableAndItsProperties) {
  OpenDefault();
  MakePerson();
  auto before = Fingerprint("Person");
  EXPECT_TRUE(obj_->dbModifyFieldName("Person", Variant("Name"), "FullName"));
  Reopen();
  auto after = Fingerprint("Person");
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    const auto at = before[i].find(" Name ");
    if (at != std::string::npos) before[i].replace(at, 6, " FullName ");
    EXPECT_EQ(after[i], before[i]);
  }
  EXPECT_FALSE(obj_->dbModifyFieldName("Person", Variant("Name"), "Other"));
  EXPECT_NE(LastNumber(), 0);
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbModifyFieldName("Nowhere", Variant("Name"), "Other", Db()));
  EXPECT_NE(LastNumber(), 0);
}

}  // namespace
}  // namespace zmdb::testing
