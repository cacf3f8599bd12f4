// The DAO-style model on real file databases: every change goes through the
// objects, and what it made is checked after closing and reopening the file.
#include <sys/wait.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "dao_fixture.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/engine_errors.h"

namespace zmdb::dal::testing {
namespace {

using Json = nlohmann::json;
using rt::Variant;

// A pending field with the properties of one case of field_cases.json.
std::shared_ptr<dao::Field> FieldFromCase(dao::TableDef& t, const std::string& name,
                                          const Json& set) {
  auto f = t.CreateField(name, set.at("Type").get<int>(), set.value("Size", 0));
  for (const auto& [key, value] : set.items()) {
    if (key == "Type" || key == "Size") continue;
    if (key == "Description") {
      std::vector<Variant> args{Variant("Description"), Variant(10),
                                Variant(value.get<std::string>())};
      Variant prop = f->Call("CreateProperty", args);
      f->Properties()->Append(prop);
      continue;
    }
    const Variant v = value.is_boolean()  ? Variant(value.get<bool>())
                      : value.is_number() ? Variant(value.get<int>())
                                          : Variant(value.get<std::string>());
    f->SetProperty(key, v, {});
  }
  return f;
}

// Checks every expected property of a field against what it reads back.
void ExpectField(dao::Field& f, const Json& expect, const std::string& where) {
  for (const auto& [key, value] : expect.items()) {
    const Variant got = key == "Description"
                            ? f.Properties()->Item(Variant("Description"))->DefaultValue()
                            : f.GetProperty(key, {});
    if (value.is_boolean()) {
      EXPECT_EQ(rt::CBool(got), value.get<bool>()) << where << " " << key;
    } else if (value.is_number()) {
      EXPECT_EQ(rt::CLng(got), value.get<int>()) << where << " " << key;
    } else {
      EXPECT_EQ(rt::TextOf(got), value.get<std::string>()) << where << " " << key;
    }
  }
}

Json FieldCases() {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/dao/field_cases.json");
  return Json::parse(in);
}

// Every case on a new table and as fields added to a table that has rows.
TEST_F(DaoTest, FieldPropertiesRoundTripThroughReopen) {
  const Json cases = FieldCases();
  Sql("CREATE TABLE Rows (ID LONG)");
  Sql("INSERT INTO Rows (ID) VALUES (1)");
  Sql("INSERT INTO Rows (ID) VALUES (2)");
  auto fresh = db_->CreateTableDef("Fresh");
  auto rows = Table("Rows");
  for (const auto& t : {fresh, rows}) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      t->Fields()->Append(
          Variant(rt::ObjectRef(FieldFromCase(*t, "F" + std::to_string(i), cases[i].at("set")))));
    }
  }
  db_->TableDefs()->Append(Variant(rt::ObjectRef(fresh)));
  Reopen();
  for (const char* table : {"Fresh", "Rows"}) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      ExpectField(*FieldOf(table, "F" + std::to_string(i)), cases[i].at("expect"),
                  std::string(table) + " " + cases[i].at("name").get<std::string>());
    }
  }
  // The AutoNumber added to the table numbered the rows already there.
  EXPECT_EQ(Rows("SELECT ID, F5 FROM Rows ORDER BY ID"),
            (std::vector<std::vector<std::string>>{{"1", "1"}, {"2", "2"}}));
}

TEST_F(DaoTest, ANewTableHasItsFieldsIndexesAndDates) {
  auto t = db_->CreateTableDef("Staff");
  auto id = t->CreateField("ID", 4);
  id->SetProperty("Attributes", Variant(17), {});
  t->Fields()->Append(Variant(rt::ObjectRef(id)));
  t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("Name", 10, 30))));
  auto pk = t->CreateIndex("PrimaryKey");
  pk->Fields()->Append(Variant(rt::ObjectRef(pk->CreateField("ID"))));
  pk->SetProperty("Primary", Variant(true), {});
  t->Indexes()->Append(Variant(rt::ObjectRef(pk)));
  auto byName = t->CreateIndex("ByName");
  byName->SetProperty("Fields", Variant("-Name"), {});
  byName->SetProperty("Clustered", Variant(true), {});
  byName->SetProperty("IgnoreNulls", Variant(true), {});
  t->Indexes()->Append(Variant(rt::ObjectRef(byName)));
  db_->TableDefs()->Append(Variant(rt::ObjectRef(t)));
  // The appended object is bound: it reads the store.
  EXPECT_EQ(t->Fields()->Count(), 2);
  Reopen();

  auto staff = Table("Staff");
  EXPECT_FALSE(Get(staff, "DateCreated").IsNull());
  EXPECT_EQ(staff->Indexes()->Names(), (std::vector<std::string>{"PrimaryKey", "ByName"}));
  auto p = IndexOf("Staff", "PrimaryKey");
  EXPECT_TRUE(rt::CBool(Get(p, "Primary")));
  EXPECT_TRUE(rt::CBool(Get(p, "Unique")));
  EXPECT_EQ(p->Fields()->Names(), std::vector<std::string>{"ID"});
  auto n = IndexOf("Staff", "ByName");
  EXPECT_FALSE(rt::CBool(Get(n, "Primary")));
  EXPECT_TRUE(rt::CBool(Get(n, "Clustered")));
  EXPECT_TRUE(rt::CBool(Get(n, "IgnoreNulls")));
  EXPECT_EQ(rt::CLng(Get(rt::ObjectRef(n->Fields()->Item(Variant("Name"))), "Attributes")), 1);
  // The AutoNumber numbers rows; the key refuses duplicates.
  Sql("INSERT INTO Staff (Name) VALUES ('a')");
  Sql("INSERT INTO Staff (Name) VALUES ('b')");
  EXPECT_EQ(Rows("SELECT ID, Name FROM Staff ORDER BY ID"),
            (std::vector<std::vector<std::string>>{{"1", "a"}, {"2", "b"}}));
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO Staff (ID, Name) VALUES (1, 'c')"); }), 0);
}

TEST_F(DaoTest, TwoTablesMayEachHaveAnIndexOfTheSameName) {
  for (const char* name : {"A", "B"}) {
    Sql(std::string("CREATE TABLE ") + name + " (K LONG, V TEXT(10))");
    auto i = Table(name)->CreateIndex("ByV");
    i->SetProperty("Fields", Variant("V"), {});
    Table(name)->Indexes()->Append(Variant(rt::ObjectRef(i)));
  }
  Reopen();
  EXPECT_EQ(Table("A")->Indexes()->Names(), std::vector<std::string>{"ByV"});
  EXPECT_EQ(Table("B")->Indexes()->Names(), std::vector<std::string>{"ByV"});
  Table("A")->Indexes()->Delete("ByV");
  EXPECT_EQ(Table("A")->Indexes()->Count(), 0);
  EXPECT_EQ(Table("B")->Indexes()->Names(), std::vector<std::string>{"ByV"});
}

TEST_F(DaoTest, RebuildsKeepRowsIndexesConstraintsAndTriggers) {
  Sql("CREATE TABLE T (ID LONG, Code TEXT(10), N COUNTER, Y LONG, CONSTRAINT uq UNIQUE (Code))");
  Sql("CREATE INDEX ByCode ON T (Code)");
  for (int i = 1; i <= 3; ++i) {
    Sql("INSERT INTO T (ID, Code) VALUES (" + std::to_string(i) + ", 'c" + std::to_string(i) +
        "')");
  }
  Table("T")->Properties()->Append(
      Variant(rt::ObjectRef(Table("T")->CreateProperty("Description", 10, Variant("the table")))));
  // Dropping a field and adding one rebuild the table too.
  Table("T")->Fields()->Delete("Y");
  Table("T")->Fields()->Append(Variant(rt::ObjectRef(Table("T")->CreateField("Z", 4))));
  auto pk = Table("T")->CreateIndex("pk_T");
  pk->SetProperty("Fields", Variant("ID"), {});
  pk->SetProperty("Primary", Variant(true), {});
  Table("T")->Indexes()->Append(Variant(rt::ObjectRef(pk)));
  Reopen();
  // The key first, then the unique constraint's index and ByCode.
  const auto indexes = Table("T")->Indexes()->Names();
  EXPECT_EQ(indexes.size(), 3u);
  EXPECT_EQ(indexes.front(), "pk_T");
  EXPECT_EQ(indexes.back(), "ByCode");
  EXPECT_EQ(IndexOf("T", "pk_T")->Fields()->Names(), std::vector<std::string>{"ID"});
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO T (ID, Code) VALUES (9, 'c1')"); }), 0);
  EXPECT_TRUE(rt::CBool(Get(IndexOf("T", "pk_T"), "Primary")));
  EXPECT_EQ(Rows("SELECT ID, Code, N, Z FROM T ORDER BY ID"),
            (std::vector<std::vector<std::string>>{
                {"1", "c1", "1", ""}, {"2", "c2", "2", ""}, {"3", "c3", "3", ""}}));
  EXPECT_EQ(rt::CStr(Table("T")->Properties()->Item(Variant("Description"))->DefaultValue()),
            "the table");
  // The AutoNumber still numbers new rows after the rebuild.
  Sql("INSERT INTO T (ID, Code) VALUES (4, 'c4')");
  EXPECT_EQ(Rows("SELECT N FROM T WHERE ID = 4"), (std::vector<std::vector<std::string>>{{"4"}}));
}

TEST_F(DaoTest, AFailedRebuildLeavesTheTableExactlyAsItWas) {
  Sql("CREATE TABLE T (ID LONG, Code TEXT(10) NOT NULL)");
  Sql("CREATE UNIQUE INDEX ByCode ON T (Code)");
  Sql("INSERT INTO T (ID, Code) VALUES (1, 'a')");
  Sql("INSERT INTO T (ID, Code) VALUES (1, 'b')");  // a duplicate key for ID
  const auto catalogue = Rows("SELECT type, name, sql FROM sqlite_master ORDER BY name");
  const auto rows = Rows("SELECT ID, Code FROM T ORDER BY Code");
  auto pk = Table("T")->CreateIndex("PrimaryKey");
  pk->SetProperty("Fields", Variant("ID"), {});
  pk->SetProperty("Primary", Variant(true), {});
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Indexes()->Append(Variant(rt::ObjectRef(pk))); }),
            rt::err::kDuplicateValues);
  EXPECT_EQ(Rows("SELECT type, name, sql FROM sqlite_master ORDER BY name"), catalogue);
  EXPECT_EQ(Rows("SELECT ID, Code FROM T ORDER BY Code"), rows);
  EXPECT_EQ(Table("T")->Indexes()->Names(), std::vector<std::string>{"ByCode"});
  // Nulls in a new key are refused the same way.
  Sql("UPDATE T SET ID = NULL WHERE Code = 'b'");
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Indexes()->Append(Variant(rt::ObjectRef(pk))); }),
            rt::err::kNullInIndex);
  EXPECT_EQ(Table("T")->Indexes()->Names(), std::vector<std::string>{"ByCode"});
}

TEST_F(DaoTest, DeletingAFieldDropsTheColumnButNotAnIndexedOne) {
  Sql("CREATE TABLE T (A LONG, B TEXT(5), C DOUBLE)");
  Sql("CREATE INDEX ByA ON T (A)");
  Sql("INSERT INTO T VALUES (1, 'x', 2.5)");
  Table("T")->Fields()->Delete("B");
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Fields()->Delete("A"); }), rt::err::kFieldInIndex);
  Reopen();
  EXPECT_EQ(Table("T")->Fields()->Names(), (std::vector<std::string>{"A", "C"}));
  EXPECT_EQ(Table("T")->Indexes()->Names(), std::vector<std::string>{"ByA"});
  EXPECT_EQ(Rows("SELECT A, C FROM T"), (std::vector<std::vector<std::string>>{{"1", "2.5"}}));
}

TEST_F(DaoTest, RequiredAndAllowZeroLengthAreEnforcedOnAddedFields) {
  Sql("CREATE TABLE T (ID LONG)");
  Sql("INSERT INTO T (ID) VALUES (1)");  // a row from before: its new field stays Null
  auto t = Table("T");
  auto name = t->CreateField("Name", 10, 10);
  name->SetProperty("Required", Variant(true), {});
  t->Fields()->Append(Variant(rt::ObjectRef(name)));
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO T (ID) VALUES (2)"); }), 0);
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO T (ID, Name) VALUES (2, '')"); }), 0);
  Sql("INSERT INTO T (ID, Name) VALUES (2, 'ok')");
  // Relaxing the rules lets the same rows in.
  FieldOf("T", "Name")->SetProperty("AllowZeroLength", Variant(true), {});
  FieldOf("T", "Name")->SetProperty("Required", Variant(false), {});
  Sql("INSERT INTO T (ID, Name) VALUES (3, '')");
  Sql("INSERT INTO T (ID) VALUES (4)");
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM T"), (std::vector<std::vector<std::string>>{{"4"}}));
}

TEST_F(DaoTest, CollectionsRaiseTheEnginesErrors) {
  Sql("CREATE TABLE T (A LONG)");
  auto tds = db_->TableDefs();
  EXPECT_EQ(RaisedNumber([&] { tds->Item(Variant("Nope")); }), rt::err::kItemNotFound);
  EXPECT_EQ(RaisedNumber([&] { tds->Item(Variant(5)); }), rt::err::kItemNotFound);
  EXPECT_EQ(RaisedNumber([&] { tds->Delete("Nope"); }), rt::err::kItemNotFound);
  auto again = db_->CreateTableDef("t");
  again->Fields()->Append(Variant(rt::ObjectRef(again->CreateField("X", 4))));
  EXPECT_EQ(RaisedNumber([&] { tds->Append(Variant(rt::ObjectRef(again))); }),
            rt::err::kTableExists);
  EXPECT_EQ(RaisedNumber([&] {
              Table("T")->Fields()->Append(Variant(rt::ObjectRef(Table("T")->CreateField("a", 4))));
            }),
            rt::err::kFieldExists);
  auto i1 = Table("T")->CreateIndex("I");
  i1->SetProperty("Fields", Variant("A"), {});
  Table("T")->Indexes()->Append(Variant(rt::ObjectRef(i1)));
  auto i2 = Table("T")->CreateIndex("i");
  i2->SetProperty("Fields", Variant("A"), {});
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Indexes()->Append(Variant(rt::ObjectRef(i2))); }),
            rt::err::kIndexExists);
  db_->CreateQueryDef("Q", "SELECT * FROM T");
  EXPECT_EQ(RaisedNumber([&] { db_->CreateQueryDef("q", "SELECT 1"); }), rt::err::kObjectExists);
  EXPECT_EQ(RaisedNumber([&] { FieldOf("T", "Missing"); }), rt::err::kItemNotFound);
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Properties()->Item(Variant("Description")); }),
            rt::err::kPropertyNotFound);
  auto empty = db_->CreateTableDef("Empty");
  EXPECT_EQ(RaisedNumber([&] { tds->Append(Variant(rt::ObjectRef(empty))); }), rt::err::kNoFields);
}

TEST_F(DaoTest, OpeningAndClosing) {
  {
    std::ofstream jet(dir_ / "old.mdb", std::ios::binary);
    jet << std::string(4, '\0') << "Standard Jet DB" << std::string(100, '\0');
  }
  const struct {
    std::string path, connect;
    std::int32_t number;
  } refused[] = {
      {(dir_ / "none.mdb").string(), "", rt::err::kCouldNotFindFile},
      // The driver manager's refusal: no such data source.
      {"", "ODBC;DSN=x;UID=sa", rt::err::kUnspecified},
      {path_, "Lotus WK3;", rt::err::kInstallableIsam},
      // A folder driver's database is a folder, not a file.
      {path_, "dBase IV;", rt::err::kNotValidPath},
      {(dir_ / "old.mdb").string(), "", rt::err::kUnrecognizedFormat},
  };
  for (const auto& c : refused) {
    EXPECT_EQ(RaisedNumber([&] {
                engine_.OpenDatabase({c.path, false, c.connect});
              }),
              c.number)
        << c.path << " " << c.connect;
  }
  EXPECT_EQ(RaisedNumber([&] { engine_.CreateDatabase(path_, ""); }), rt::err::kDatabaseExists);
  auto ws = rt::ObjectAs<dao::Workspace>(Variant(engine_.Workspaces()->Item(Variant(0))));
  auto second = ws->OpenDatabase({path_, false, ";PWD=secret"});
  EXPECT_EQ(second->Connect(), ";PWD=secret");
  auto tds = second->TableDefs();
  second->Close();
  EXPECT_EQ(RaisedNumber([&] { tds->Count(); }), rt::err::kObjectInvalid);
  EXPECT_EQ(RaisedNumber([&] { second->Close(); }), rt::err::kObjectInvalid);
}

// A table made by plain SQL is seen with its fields, key and dates; the
// system table the model keeps is in no listing.
TEST_F(DaoTest, ListingsShowPlainSqlTablesButNotTheSystemTable) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Plain (ID COUNTER PRIMARY KEY, Name TEXT(20) NOT NULL)");
  // A description is kept in the system table.
  Table("Plain")->Properties()->Append(
      Variant(rt::ObjectRef(Table("Plain")->CreateProperty("Description", 10, Variant("d")))));
  EXPECT_EQ(db_->TableDefs()->Names(), std::vector<std::string>{"Plain"});
  EXPECT_EQ(Table("Plain")->Fields()->Names(), (std::vector<std::string>{"ID", "Name"}));
  EXPECT_EQ(rt::CLng(Get(FieldOf("Plain", "ID"), "Attributes")), 17);
  EXPECT_TRUE(rt::CBool(Get(FieldOf("Plain", "Name"), "Required")));
  EXPECT_EQ(Table("Plain")->Indexes()->Names(), std::vector<std::string>{"PrimaryKey"});
  const auto rows = cn->OpenSchema(20)->VisibleRows();
  // The counter's sequence table is the store's own, and listed as such.
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rt::CStr(rows[0][2]) + " " + rt::CStr(rows[0][3]), "Plain TABLE");
  EXPECT_EQ(rt::CStr(rows[1][2]) + " " + rt::CStr(rows[1][3]), "sqlite_sequence SYSTEM TABLE");
  EXPECT_EQ(rows[0][7].Type(), rt::VarType::Date);
  EXPECT_EQ(rows[0][8].Type(), rt::VarType::Date);
  auto cat = adox::Catalog::Make();
  cat->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  EXPECT_EQ(cat->Tables()->Names(), std::vector<std::string>{"Plain"});
}

TEST_F(DaoTest, ASecondProcessSeesTheNewSchema) {
  Sql("CREATE TABLE T (A LONG)");
  auto f = Table("T")->CreateField("Added", 10, 12);
  Table("T")->Fields()->Append(Variant(rt::ObjectRef(f)));
  const pid_t child = ::fork();
  if (child == 0) {
    int code = 1;
    try {
      dao::DBEngine engine;
      auto db = engine.OpenDatabase({path_, true, ""});
      auto t = rt::ObjectAs<dao::TableDef>(Variant(db->TableDefs()->Item(Variant("T"))));
      auto added = rt::ObjectAs<dao::Field>(Variant(t->Fields()->Item(Variant("Added"))));
      code = rt::CLng(added->GetProperty("Size", {})) == 12 ? 0 : 2;
    } catch (...) {
      code = 3;
    }
    ::_exit(code);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(DaoTest, SavedQueriesAreUsableByNameAndActionQueriesRun) {
  Sql("CREATE TABLE T (A LONG, B TEXT(10))");
  Sql("INSERT INTO T VALUES (1, 'one')");
  Sql("INSERT INTO T VALUES (2, 'two')");
  db_->CreateQueryDef("Big", "SELECT TOP 1 A, B & '!' AS C FROM T WHERE A > 1");
  db_->CreateQueryDef("Bump", "UPDATE T SET A = A + 10");
  auto pending = db_->CreateQueryDef("", "SELECT * FROM T");
  db_->QueryDefs()->Append(Variant(rt::ObjectRef(
      std::make_shared<dao::QueryDef>("Later", "DELETE * FROM T WHERE A > 100", db_->core()))));
  (void)pending;
  Reopen();
  EXPECT_EQ(db_->QueryDefs()->Names(), (std::vector<std::string>{"Big", "Bump", "Later"}));
  EXPECT_EQ(Rows("SELECT * FROM Big"), (std::vector<std::vector<std::string>>{{"2", "two!"}}));
  auto bump = rt::ObjectAs<dao::QueryDef>(Variant(db_->QueryDefs()->Item(Variant("Bump"))));
  EXPECT_EQ(rt::CStr(Get(bump, "SQL")), "UPDATE T SET A = A + 10");
  EXPECT_EQ(rt::CLng(Get(bump, "Type")), schema::kQUpdate);
  EXPECT_EQ(bump->Execute(), 2);
  auto big = rt::ObjectAs<dao::QueryDef>(Variant(db_->QueryDefs()->Item(Variant("Big"))));
  EXPECT_EQ(RaisedNumber([&] { big->Execute(); }), rt::err::kSelectNotExecutable);
  big->SetProperty("Name", Variant("Small"), {});
  big->SetProperty("SQL", Variant("SELECT A FROM T WHERE A < 12"), {});
  EXPECT_EQ(Rows("SELECT * FROM Small"), (std::vector<std::vector<std::string>>{{"11"}}));
  db_->QueryDefs()->Delete("Small");
  db_->QueryDefs()->Delete("Bump");
  EXPECT_EQ(db_->QueryDefs()->Names(), std::vector<std::string>{"Later"});
  EXPECT_EQ(db_->TableDefs()->Names(), std::vector<std::string>{"T"});
}

TEST_F(DaoTest, RelationsCreateEnforcedForeignKeys) {
  Sql("CREATE TABLE Dept (ID LONG CONSTRAINT pk PRIMARY KEY, Name TEXT(10))");
  Sql("CREATE TABLE Staff (ID LONG, Dept LONG)");
  Sql("INSERT INTO Dept VALUES (1, 'a')");
  Sql("INSERT INTO Staff VALUES (1, 1)");
  auto r = db_->CreateRelation("DeptStaff", "Dept", "Staff", schema::kRelationDeleteCascade);
  auto f = r->CreateField("ID");
  f->SetProperty("ForeignName", Variant("Dept"), {});
  r->Fields()->Append(Variant(rt::ObjectRef(f)));
  db_->Relations()->Append(Variant(rt::ObjectRef(r)));
  Reopen();
  auto rel = rt::ObjectAs<dao::Relation>(Variant(db_->Relations()->Item(Variant("DeptStaff"))));
  EXPECT_EQ(rt::CStr(Get(rel, "Table")), "Dept");
  EXPECT_EQ(rt::CStr(Get(rel, "ForeignTable")), "Staff");
  EXPECT_EQ(rt::CLng(Get(rel, "Attributes")), schema::kRelationDeleteCascade);
  auto key = rel->Fields()->Item(Variant("ID"));
  EXPECT_EQ(rt::CStr(key->GetProperty("ForeignName", {})), "Dept");
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO Staff VALUES (2, 9)"); }), 0);
  Sql("DELETE FROM Dept WHERE ID = 1");
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM Staff"), (std::vector<std::vector<std::string>>{{"0"}}));
  db_->Relations()->Delete("DeptStaff");
  Sql("INSERT INTO Staff VALUES (2, 9)");
  EXPECT_EQ(db_->Relations()->Count(), 0);
  // A relation needs a unique index on the primary table's fields.
  auto bad = db_->CreateRelation("Bad", "Staff", "Dept", 0);
  bad->Fields()->Append(Variant(rt::ObjectRef(bad->CreateField("ID"))));
  EXPECT_EQ(RaisedNumber([&] { db_->Relations()->Append(Variant(rt::ObjectRef(bad))); }),
            rt::err::kNoUniqueIndex);
}

TEST_F(DaoTest, LinksToAnotherFileAreReadableAndUnreachableSourcesAreRefused) {
  const std::string source = (dir_ / "source.mdb").string();
  {
    auto other = engine_.CreateDatabase(source, "");
    other->Execute("CREATE TABLE Remote (A LONG, B TEXT(5))");
    other->Execute("INSERT INTO Remote VALUES (7, 'seven')");
    other->Close();
  }
  auto link = db_->CreateTableDef("Local", schema::kAttachSavePwd, "Remote", ";DATABASE=" + source);
  db_->TableDefs()->Append(Variant(rt::ObjectRef(link)));
  auto odbc = db_->CreateTableDef("Far");
  odbc->SetProperty("Connect", Variant("ODBC;DRIVER=SQL SERVER;SERVER=s;DATABASE=d"), {});
  odbc->SetProperty("SourceTableName", Variant("dbo.Far"), {});
  // A link learns its fields from its source when it is appended: a source
  // that cannot be reached refuses the link, and nothing is recorded.
  EXPECT_NE(RaisedNumber([&] { db_->TableDefs()->Append(Variant(rt::ObjectRef(odbc))); }), 0);
  Reopen();
  auto local = Table("Local");
  EXPECT_EQ(rt::CStr(Get(local, "SourceTableName")), "Remote");
  EXPECT_EQ(rt::CLng(Get(local, "Attributes")), schema::kAttachSavePwd | schema::kAttachedTable);
  EXPECT_EQ(local->Fields()->Names(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(rt::CLng(Get(local, "RecordCount")), 1);
  EXPECT_EQ(Rows("SELECT B FROM Local"), (std::vector<std::vector<std::string>>{{"seven"}}));
  auto rs = Connect()->OpenSchema(20);
  std::vector<std::string> types;
  for (const auto& row : rs->VisibleRows()) types.push_back(rt::CStr(row[3]));
  EXPECT_EQ(types, (std::vector<std::string>{"LINK"}));
  EXPECT_EQ(db_->TableDefs()->Names(), std::vector<std::string>{"Local"});
}

TEST_F(DaoTest, TypeNamesAndLateBoundAccess) {
  Sql("CREATE TABLE T (A LONG)");
  const Variant db{rt::ObjectRef(db_)};
  const Variant t = rt::GetProp(db, "tabledefs", {Variant("t")});
  const Variant engine(rt::ObjectRef(std::make_shared<dao::DBEngine>()));
  const Variant ws = rt::GetProp(engine, "Workspaces", {Variant(0)});
  const Variant opened = rt::CallMethod(
      ws, "OpenDatabase", {Variant(path_), Variant(false), Variant(false), Variant("")});
  const std::pair<Variant, const char*> cases[] = {
      {rt::GetProp(db, "TableDefs"), "TableDefs"},
      {t, "TableDef"},
      {rt::CallMethod(rt::GetProp(t, "Fields"), "Item", {Variant("A")}), "Field"},
      {rt::GetProp(t, "Indexes"), "Indexes"},
      {rt::GetProp(t, "Properties"), "Properties"},
      {rt::GetProp(db, "QueryDefs"), "QueryDefs"},
      {rt::GetProp(db, "Relations"), "Relations"},
      {rt::CallMethod(t, "CreateIndex", {Variant("x")}), "Index"},
      {rt::CallMethod(db, "CreateQueryDef"), "QueryDef"},
      {rt::CallMethod(db, "CreateRelation"), "Relation"},
      {rt::CallMethod(t, "CreateProperty", {Variant("D"), Variant(10), Variant("x")}), "Property"},
      {engine, "DBEngine"},
      {ws, "Workspace"},
      {opened, "Database"},
  };
  for (const auto& [object, name] : cases) EXPECT_EQ(rt::TypeName(object), name);
  EXPECT_EQ(rt::CStr(rt::GetProp(opened, "Name")), path_);
  // Setting Name late-bound renames the table.
  rt::SetProp(t, "Name", Variant("U"));
  EXPECT_EQ(db_->TableDefs()->Names(), std::vector<std::string>{"U"});
}

using Table_ = std::vector<std::vector<std::string>>;

TEST_F(DaoTest, RebuildsKeepAutoNumberNumbering) {
  // A rowid AutoNumber goes on after the highest number it gave, even when
  // that row was deleted, and an empty table keeps its seed.
  Sql("CREATE TABLE R (ID COUNTER PRIMARY KEY, X TEXT(5), Y LONG)");
  Sql("CREATE TABLE E (ID COUNTER(50, 1) PRIMARY KEY, X TEXT(5), Y LONG)");
  for (int i = 0; i < 3; ++i) Sql("INSERT INTO R (X) VALUES ('a')");
  Sql("DELETE FROM R WHERE ID = 3");
  // An AutoNumber numbered by a trigger keeps its seed and step.
  Sql("CREATE TABLE S (K LONG, N COUNTER(100, 5), Y LONG)");
  for (const char* t : {"R", "E", "S"}) Table(t)->Fields()->Delete("Y");
  Reopen();
  Sql("INSERT INTO R (X) VALUES ('b')");
  Sql("INSERT INTO E (X) VALUES ('b')");
  Sql("INSERT INTO S (K) VALUES (1)");
  Sql("INSERT INTO S (K) VALUES (2)");
  EXPECT_EQ(Rows("SELECT ID FROM R WHERE X = 'b'"), (Table_{{"4"}}));
  EXPECT_EQ(Rows("SELECT ID FROM E"), (Table_{{"50"}}));
  EXPECT_EQ(Rows("SELECT N FROM S ORDER BY K"), (Table_{{"100"}, {"105"}}));
}

TEST_F(DaoTest, RenamingAFieldKeepsWhatTheTriggersEnforce) {
  Sql("CREATE TABLE T (A LONG, B LONG, N COUNTER(10, 10))");
  Sql("CREATE INDEX ByA ON T (A) WITH DISALLOW NULL");
  FieldOf("T", "B")->SetProperty("Name", Variant("C"), {});
  FieldOf("T", "N")->SetProperty("Name", Variant("Num"), {});
  EXPECT_TRUE(rt::CBool(Get(IndexOf("T", "ByA"), "Required")));
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO T (A, C) VALUES (NULL, 1)"); }), 0);
  Sql("INSERT INTO T (A, C) VALUES (1, 1)");
  Sql("INSERT INTO T (A, C) VALUES (2, 1)");
  EXPECT_EQ(Rows("SELECT Num FROM T ORDER BY A"), (Table_{{"10"}, {"20"}}));
}

TEST_F(DaoTest, RebuildingAParentKeepsItsChildrenAndViews) {
  Sql("CREATE TABLE P (ID LONG CONSTRAINT pk PRIMARY KEY, Y LONG)");
  Sql("CREATE TABLE C (ID LONG, P LONG, CONSTRAINT fk FOREIGN KEY (P) REFERENCES P (ID) ON "
      "DELETE CASCADE)");
  Sql("INSERT INTO P VALUES (1, 1)");
  Sql("INSERT INTO C VALUES (1, 1)");
  db_->CreateQueryDef("V", "SELECT ID FROM P");
  Table("P")->Fields()->Delete("Y");
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM C"), (Table_{{"1"}}));
  EXPECT_EQ(Rows("SELECT ID FROM V"), (Table_{{"1"}}));
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO C VALUES (2, 9)"); }), 0);
  Sql("DELETE FROM P");
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM C"), (Table_{{"0"}}));
}

TEST_F(DaoTest, SavedQueriesFollowARenamedTable) {
  Sql("CREATE TABLE T (A LONG, Tx TEXT(5))");
  Sql("INSERT INTO T VALUES (1, 'T')");
  db_->CreateQueryDef("Q", "SELECT T.A, [T].Tx, 'T' AS L FROM T WHERE Tx = \"T\"");
  db_->CreateQueryDef("Clear", "DELETE FROM [T] WHERE A > 5");
  Table("T")->SetProperty("Name", Variant("New Name"), {});
  Reopen();
  auto q = rt::ObjectAs<dao::QueryDef>(Variant(db_->QueryDefs()->Item(Variant("Q"))));
  EXPECT_EQ(rt::CStr(Get(q, "SQL")),
            "SELECT [New Name].A, [New Name].Tx, 'T' AS L FROM [New Name] WHERE Tx = \"T\"");
  auto clear = rt::ObjectAs<dao::QueryDef>(Variant(db_->QueryDefs()->Item(Variant("Clear"))));
  EXPECT_EQ(clear->Execute(), 0);
  // Renaming the query makes its view again from the recorded text.
  q->SetProperty("Name", Variant("Q2"), {});
  EXPECT_EQ(Rows("SELECT * FROM Q2"), (Table_{{"1", "T", "T"}}));
}

TEST_F(DaoTest, NamesNeedingQuotesSurviveChangesAndRebuilds) {
  Sql("CREATE TABLE [员工 表] ([编 号] COUNTER PRIMARY KEY, [名'字] TEXT(10), [x\"y] LONG)");
  Sql("INSERT INTO [员工 表] ([名'字]) VALUES ('a')");
  FieldOf("员工 表", "名'字")->SetProperty("Required", Variant(true), {});
  auto i = Table("员工 表")->CreateIndex("索 引");
  i->SetProperty("Fields", Variant("名'字"), {});
  i->SetProperty("Required", Variant(true), {});
  Table("员工 表")->Indexes()->Append(Variant(rt::ObjectRef(i)));
  Table("员工 表")->Fields()->Delete("x\"y");
  Table("员工 表")->SetProperty("Name", Variant("员工表"), {});
  Reopen();
  EXPECT_EQ(Table("员工表")->Indexes()->Names(), (std::vector<std::string>{"PrimaryKey", "索 引"}));
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO 员工表 ([名'字]) VALUES (NULL)"); }), 0);
  EXPECT_EQ(Rows("SELECT [编 号], [名'字] FROM 员工表"), (Table_{{"1", "a"}}));
}

}  // namespace
}  // namespace zmdb::dal::testing
