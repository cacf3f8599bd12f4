// Tables on the file store: the creation protocol on the DAO and ADO paths,
// linked-table definitions, removal, and renames of tables and fields, each
// checked after closing and reopening the file.
#include <gtest/gtest.h>

#include "schema_fixture.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/schema/statements.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Lines = std::vector<std::string>;

TEST(TableStatements, AreWrittenAsTheStoresExpect) {
  EXPECT_EQ(schema::VirtualIndexStatement("Pay Roll", "ID, Code"),
            "CREATE UNIQUE INDEX __uniqueindex ON Pay Roll(ID, Code) WITH DISALLOW NULL;");
  EXPECT_EQ(schema::ColumnRenameArguments("T", "Old Name", "New"),
            (schema::RenameArguments{"dbo.T.[Old Name]", "New", "column"}));
}

// Shows the state kept between dbCreateTableItem and dbCreateTableOver.
class TableState : public clsZMDBFunc {
 public:
  using clsZMDBFunc::pendingTable_;
  using clsZMDBFunc::virtualIndexText_;
};

class TablesTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    obj_ = std::make_unique<TableState>();
    cn_->Execute("CREATE VIEW Cheap AS SELECT * FROM Staff WHERE Kind=1");
  }
  TableState& state() { return static_cast<TableState&>(*obj_); }
  void OpenDefault() {
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  void Run(const std::string& sql) { rt::CallMethod(db(), "Execute", {Variant(sql)}); }
  static Lines Names(const Variant& collection) {
    return rt::ObjectAs<dal::dao::Collection>(collection)->Names();
  }
  bool HasTable(const std::string& table) {
    const Lines names = Names(rt::GetProp(db(), "TableDefs"));
    return std::find(names.begin(), names.end(), table) != names.end();
  }
  // " Name=Value" of each property named.
  static std::string Props(const Variant& object, std::initializer_list<const char*> names) {
    std::string out;
    for (const char* p : names)
      out += std::string(" ") + p + "=" + rt::TextOf(rt::GetProp(object, p));
    return out;
  }
  // An AutoNumber key whose next number is 4, an index, a default, a
  // Required field, a field refusing empty text and descriptions.
  void MakePerson() {
    for (const char* sql :
         {"CREATE TABLE Person (ID COUNTER CONSTRAINT pk_Person PRIMARY KEY, "
          "Name TEXT(20) NOT NULL, Age SHORT DEFAULT 18, Note MEMO)",
          "CREATE INDEX ByName ON Person (Name)",
          "INSERT INTO Person (Name, Note) VALUES ('Li', 'first')",
          "INSERT INTO Person (Name, Age) VALUES ('Wang', 40)",
          "INSERT INTO Person (Name) VALUES ('Zhao')", "DELETE FROM Person WHERE ID = 3"}) {
      Run(sql);
    }
    const Variant person = Table("Person");
    rt::CallMethod(rt::GetProp(person, "Properties"), "Append",
                   {rt::CallMethod(person, "CreateProperty",
                                   {Variant("Description"), Variant(10), Variant("described")})});
    Describe("Person", "Name", "described");
    // A rule away from its default, which renaming the field must not reset.
    rt::SetProp(Field("Person", "Name"), "AllowZeroLength", Variant(false));
  }
  std::int32_t LastNumber() { return obj_->dbGetLastError().Number; }
};

TEST_F(TablesTest, WithoutADefaultDatabaseFalseAndWithAnotherConnTrueBothDoingNothing) {
  const std::pair<const char*, std::function<bool()>> cases[] = {
      {"create", [&] { return obj_->dbCreateTableItem("T"); }},
      {"over", [&] { return obj_->dbCreateTableOver("Staff"); }},
      {"set", [&] { return obj_->dbSetTableItem("Staff"); }},
      {"remove", [&] { return obj_->dbRemoveTableItem("Staff"); }},
      {"remove on the server", [&] { return obj_->dbRemoveTableItem("Staff", true); }},
      {"rename", [&] { return obj_->dbModifyTableName(Variant("Staff"), "Crew"); }},
      {"rename field", [&] { return obj_->dbModifyFieldName("Staff", Variant("Name"), "N"); }},
      {"field", [&] { return obj_->dbCreateFieldItem("", "X"); }},
      {"query", [&] { return obj_->dbCreateQueryItem("Q", "SELECT 1"); }},
      {"remove query", [&] { return obj_->dbRemoveQueryItem("Cheap"); }},
  };
  for (const auto& [what, call] : cases) EXPECT_FALSE(call()) << what;
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  EXPECT_TRUE(obj_->dbCreateTableItem("T", "", false, "", recordset));
  EXPECT_TRUE(obj_->dbRemoveTableItem("Staff", true, recordset));
  EXPECT_TRUE(obj_->dbCreateQueryItem("Q", "SELECT 1", false, recordset));
  EXPECT_TRUE(obj_->dbRemoveQueryItem("Cheap", true, recordset));
  EXPECT_EQ(state().pendingTable_, nullptr);
  EXPECT_EQ(LastNumber(), 0);
  EXPECT_EQ(Count(), 3);
}

TEST_F(TablesTest, ADaoDefinitionIsAppendedOnlyUnderItsExactNameAndAnExistingOneNever) {
  OpenDefault();
  EXPECT_TRUE(obj_->dbCreateTableItem("Dept"));
  EXPECT_TRUE(obj_->dbCreateFieldItem("", "ID", 4, 0, 16));  // AutoNumber
  EXPECT_TRUE(obj_->dbCreateFieldItem("", "Code", 10));
  EXPECT_FALSE(obj_->dbCreateTableOver("dept"));
  EXPECT_FALSE(HasTable("Dept"));
  EXPECT_EQ(LastNumber(), 0);
  EXPECT_TRUE(obj_->dbCreateTableOver("Dept"));
  // An existing table becomes the definition: a field added alters it at
  // once, and appending it again is an error.
  EXPECT_TRUE(obj_->dbCreateTableItem("Staff"));
  EXPECT_TRUE(obj_->dbCreateFieldItem("", "Age", 3));
  EXPECT_FALSE(obj_->dbCreateTableOver("Staff"));
  EXPECT_NE(LastNumber(), 0);
  Reopen();
  Run("INSERT INTO Dept (Code) VALUES ('a')");
  Run("INSERT INTO Dept (Code) VALUES ('b')");
  EXPECT_EQ(Shape("Dept", "ID", {}).at(1), "2|b|");
  EXPECT_EQ(rt::CLng(rt::GetProp(Field("Dept", "Code"), "Size")), 20);
  EXPECT_EQ(Names(rt::GetProp(Table("Staff"), "Fields")).back(), "Age");
  EXPECT_EQ(Open(Connect(), "SELECT * FROM Staff")->VisibleRows().size(), 3u);
}

// Links to another file whose tables T, U and V have no key of their own.
class TableLinksTest : public TablesTest {
 protected:
  void SetUp() override {
    TablesTest::SetUp();
    source_ = (dir_ / "source.mdb").string();
    dal::sqlite::OpenDatabase({source_, true, false, 5000})->Close();
    auto src = SourceConnection();
    for (const char* t : {"T", "U", "V"}) {
      src->Execute(std::string("CREATE TABLE ") + t + " (ID LONG, Name TEXT(20))");
      src->Execute(std::string("INSERT INTO ") + t + " VALUES (1, 'Li')");
    }
    OpenDefault();
  }
  std::shared_ptr<dal::Connection> SourceConnection() {
    auto cn = dal::Connection::Create();
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + source_ + ";");
    return cn;
  }
  // "ID Name;..." of a table read through `cn`.
  std::string Rows(const std::shared_ptr<dal::Connection>& cn, const std::string& table) {
    std::string out;
    for (const auto& row :
         Open(cn, "SELECT ID, Name FROM " + table + " ORDER BY ID")->VisibleRows())
      out += rt::TextOf(row[0]) + " " + rt::TextOf(row[1]) + ";";
    return out;
  }
  // The error number a statement on the default database raises (0: none).
  std::int32_t Refused(const std::string& sql) {
    return dal::testing::RaisedNumber([&] { Run(sql); });
  }
  std::string Link() const { return ";DATABASE=" + source_; }
  std::string source_;
};

TEST_F(TableLinksTest, AVirtualIndexMakesAKeylessLinkWritableFromEveryConnection) {
  auto before = Connect();
  EXPECT_TRUE(obj_->dbCreateTableItem("T", Link(), true, "ID"));
  EXPECT_EQ(state().virtualIndexText_, "ID");
  EXPECT_TRUE(obj_->dbCreateTableOver("T"));
  EXPECT_EQ(state().virtualIndexText_, "");
  EXPECT_EQ(rt::CStr(rt::GetProp(Table("T"), "SourceTableName")), "dbo.T");
  Run("UPDATE T SET Name = '张' WHERE ID = 1");
  before->Execute("INSERT INTO T (ID, Name) VALUES (2, 'Wang')");
  Reopen();
  auto other = Connect();
  other->Execute("UPDATE T SET Name = 'Zhao' WHERE ID = 2");
  Run("INSERT INTO T (ID, Name) VALUES (3, 'Sun')");
  Run("DELETE FROM T WHERE ID = 3");
  EXPECT_EQ(Rows(other, "T"), "1 张;2 Zhao;");
  EXPECT_EQ(Rows(SourceConnection(), "T"), "1 张;2 Zhao;");
  EXPECT_EQ(LastNumber(), 0);
}

TEST_F(TableLinksTest, AFailedVirtualIndexKeepsAReadOnlyLinkAndAnUnreachableSourceIsNotAppended) {
  struct Case {
    const char* table;
    std::string connect, index;
    std::int32_t error;
    bool appended;
  };
  for (const Case& c : std::vector<Case>{
           {"V", Link(), "Nope", rt::err::kItemNotFound, true},
           {"W", ";DATABASE=" + (dir_ / "nowhere.mdb").string(), "ID", rt::err::kCouldNotFindFile,
            false},
       }) {
    obj_->dbClearError();
    EXPECT_TRUE(obj_->dbCreateTableItem(c.table, c.connect, false, c.index)) << c.table;
    EXPECT_FALSE(obj_->dbCreateTableOver(c.table)) << c.table;
    EXPECT_EQ(LastNumber(), c.error) << c.table;
    Reopen();
    EXPECT_EQ(HasTable(c.table), c.appended) << c.table;
  }
  EXPECT_EQ(Rows(Connect(), "V"), "1 Li;");
  EXPECT_EQ(Refused("UPDATE V SET Name = 'x'"), rt::err::kLinkNotUpdatable);
}

// The ADO path end to end: dbCreateTableItem on a Connection, fields of
// several types on the pending table, dbCreateTableOver; read back after
// reopening, and the rules enforced on rows.
TEST_F(TablesTest, OnAConnectionTheCatalogueTableIsMadeWithItsColumnsAndRules) {
  struct Case {
    const char* name;
    std::int32_t type, size;
    bool allowZero, required;
    const char* read;  // Type, Size and Required as read back
  };
  // Text is 20 wide; Integer and Long both go as ADO's 32-bit integer, a Long.
  const Case cases[] = {
      {"Code", 10, 0, true, false, " Type=10 Size=20 Required=False"},
      {"Tag", 10, 6, false, true, " Type=10 Size=6 Required=True"},
      {"Qty", 3, 0, true, true, " Type=4 Size=4 Required=True"},
      {"Price", 5, 0, true, false, " Type=5 Size=8 Required=False"},
      {"Since", 8, 0, true, false, " Type=8 Size=8 Required=False"},
      {"Done", 1, 0, true, false, " Type=1 Size=1 Required=False"},
      {"Memo", 12, 0, false, false, " Type=12 Size=0 Required=False"},
  };
  EXPECT_TRUE(obj_->dbCreateTableItem("Made", "ignored", true, "ignored", conn()));
  EXPECT_TRUE(state().virtualIndexText_.empty());
  for (const auto& c : cases) {
    EXPECT_TRUE(
        obj_->dbCreateFieldItem("", c.name, c.type, c.size, 0, "", 0, c.allowZero, c.required))
        << c.name;
  }
  EXPECT_FALSE(obj_->dbCreateFieldItem("", "Code", 10));  // already pending
  ASSERT_TRUE(obj_->dbCreateTableOver("Made")) << obj_->dbGetLastError().Description;
  EXPECT_FALSE(obj_->dbCreateTableOver("Made"));  // appended again
  EXPECT_NE(LastNumber(), 0);
  OpenDefault();
  const Variant fields = rt::GetProp(Table("Made"), "Fields");
  EXPECT_EQ(Description(Table("Made")), "Made");
  for (const auto& c : cases) {
    EXPECT_EQ(Props(rt::ItemOf(fields, Variant(c.name)), {"Type", "Size", "Required"}), c.read)
        << c.name;
  }
  // A Required column refuses a Null, a text column without Allow Zero
  // Length an empty string (one with it takes one); a Long holds more than 16 bits.
  for (const char* bad :
       {"INSERT INTO Made (Tag) VALUES ('t')", "INSERT INTO Made (Qty) VALUES (1)",
        "INSERT INTO Made (Tag, Qty, Memo) VALUES ('t', 1, '')",
        "INSERT INTO Made (Tag, Qty) VALUES ('', 1)"}) {
    EXPECT_THROW(Run(bad), rt::PlatformError) << bad;
  }
  Run("INSERT INTO Made (Code, Tag, Qty) VALUES ('', 't', 100000)");
  EXPECT_EQ(Open(Connect(), "SELECT Qty FROM Made")->VisibleRows(),
            (std::vector<std::vector<Variant>>{{Variant(100000)}}));
}

TEST_F(TablesTest, RemoveDropsByPathAndADatabaseConnDeletesTheSavedQuery) {
  cn_->Execute("CREATE TABLE A (X INTEGER)");
  cn_->Execute("CREATE TABLE B (X INTEGER)");
  EXPECT_TRUE(obj_->dbRemoveTableItem("A", false, conn()));
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE [A]");
  EXPECT_FALSE(obj_->dbRemoveTableItem("B", true, conn()));  // no dbo schema in a file
  EXPECT_EQ(LastStatement(*cn_), "DROP TABLE dbo.[B]");
  EXPECT_NE(LastNumber(), 0);
  OpenDefault();
  EXPECT_TRUE(obj_->dbRemoveTableItem("Cheap", false, db()));
  EXPECT_FALSE(obj_->dbRemoveTableItem("Staff", false, db()));  // not a saved query
  EXPECT_TRUE(obj_->dbRemoveTableItem("B"));
  EXPECT_FALSE(obj_->dbRemoveTableItem("B"));
  Reopen();
  EXPECT_EQ(Names(rt::GetProp(db(), "QueryDefs")), Lines{});
  EXPECT_TRUE(HasTable("Staff"));
  EXPECT_FALSE(HasTable("A") || HasTable("B"));
}

TEST_F(TablesTest, RenamesKeepEveryRowAndPropertyAndReplaceATableOfTheNewName) {
  OpenDefault();
  MakePerson();
  Run("CREATE TABLE Crew (X INTEGER)");
  // A saved query and a view on the table of the new name read the renamed one after.
  ASSERT_TRUE(obj_->dbCreateQueryItem("Olds", "SELECT * FROM Crew WHERE Age > 20"));
  Run("CREATE VIEW Roll AS SELECT Name FROM Crew");
  Run("CREATE VIEW Lost AS SELECT * FROM Absent");  // stays as it is through both renames
  const Lines indexes{"pk_Person", "ByName"};
  Lines before = Shape("Person", "ID", indexes);
  ASSERT_EQ(before.at(2), "described described");
  EXPECT_TRUE(obj_->dbModifyTableName(Variant("Person"), "Crew"));
  EXPECT_EQ(rt::CStr(rt::GetProp(Variant(obj_->currentTableDef()), "Name")), "Crew");
  EXPECT_TRUE(obj_->dbModifyFieldName("Crew", Variant("Name"), "FullName"));
  Reopen();
  EXPECT_FALSE(HasTable("Person"));
  for (auto& line : before) {
    if (line.starts_with("Name ")) line.replace(0, 4, "FullName");
    if (const auto at = line.find("Fields=Name "); at != std::string::npos)
      line.replace(at, 11, "Fields=FullName");
  }
  EXPECT_EQ(Shape("Crew", "ID", indexes), before);
  EXPECT_EQ(Open(Connect(), "SELECT * FROM Olds")->VisibleRows().size(), 1u);
  EXPECT_EQ(Open(Connect(), "SELECT * FROM Roll")->VisibleRows().size(), 2u);
  Run("CREATE TABLE Absent (X INTEGER)");
  EXPECT_EQ(Open(Connect(), "SELECT * FROM Lost")->VisibleRows().size(), 0u);
  Run("INSERT INTO Crew (FullName) VALUES ('Sun')");  // the AutoNumber goes on
  EXPECT_EQ(Shape("Crew", "ID", {}).at(2), "4|Sun|18||");
  EXPECT_EQ(LastNumber(), 0);
  // A missing table or field is an error; a table of the target name is dropped all the same.
  Run("CREATE TABLE Gone (X INTEGER)");
  EXPECT_FALSE(obj_->dbModifyTableName(Variant("Nowhere"), "Gone"));
  EXPECT_NE(LastNumber(), 0);
  EXPECT_FALSE(HasTable("Gone"));
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbModifyFieldName("Crew", Variant("Name"), "Other", db()));
  EXPECT_NE(LastNumber(), 0);
}

}  // namespace
}  // namespace zmdb::testing
