// The schema store below the objects: index properties and what they
// enforce (a data-driven table), the engine a
// thread gets, and changes that must keep data and recorded properties.
#include <fstream>
#include <nlohmann/json.hpp>

#include "dal/sqlite/backend_p.h"
#include "dal/sqlite/sysprops_p.h"
#include "dao_fixture.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/frame/state.h"

namespace zmdb::dal::testing {
namespace {

using Json = nlohmann::json;
using rt::Variant;

// The key list of an index as "A;-B".
std::string KeyList(dao::Index& index) {
  std::string out;
  auto fields = index.Fields();
  for (const std::string& n : fields->Names()) {
    const bool desc = rt::CLng(fields->Item(Variant(n))->GetProperty("Attributes", {})) & 1;
    out += (out.empty() ? "" : ";") + std::string(desc ? "-" : "") + n;
  }
  return out;
}

TEST_F(DaoTest, IndexPropertiesRoundTripAndAreEnforced) {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/dao/index_cases.json");
  const Json cases = Json::parse(in);
  int n = 0;
  for (const Json& c : cases) {
    SCOPED_TRACE(c.at("name").get<std::string>());
    const std::string table = "T" + std::to_string(++n);
    Sql("CREATE TABLE " + table + " (ID COUNTER, K LONG, L LONG)");
    auto index = Table(table)->CreateIndex("Ix");
    for (const auto& [key, value] : c.at("set").items()) {
      index->SetProperty(
          key, value.is_boolean() ? Variant(value.get<bool>()) : Variant(value.get<std::string>()),
          {});
    }
    Table(table)->Indexes()->Append(Variant(rt::ObjectRef(index)));
    Reopen();
    auto read = IndexOf(table, "Ix");
    for (const auto& [key, value] : c.at("expect").items()) {
      if (key == "KeyList") {
        EXPECT_EQ(KeyList(*read), value.get<std::string>());
      } else {
        EXPECT_EQ(rt::CBool(read->GetProperty(key, {})), value.get<bool>()) << key;
      }
    }
    for (const Json& insert : c.at("inserts")) {
      const std::string k = insert[0].get<std::string>();
      const int err =
          RaisedNumber([&] { Sql("INSERT INTO " + table + " (K, L) VALUES (" + k + ", 1)"); });
      EXPECT_EQ(err == 0, insert[1].get<bool>()) << "insert " << k;
    }
  }
}

TEST_F(DaoTest, EachThreadGetsTheDataEngineOnFirstUse) {
  frame::Library().engine.reset();
  const Variant engine(frame::Engine());
  EXPECT_EQ(rt::TypeName(engine), "DBEngine");
  EXPECT_EQ(frame::Engine(), engine.AsObject());
  const Variant db = rt::CallMethod(engine, "OpenDatabase",
                                    {Variant(path_), Variant(false), Variant(0), Variant("")});
  EXPECT_EQ(rt::CStr(rt::GetProp(db, "Connect")), "");
  rt::CallMethod(db, "Close");
  frame::Library().engine.reset();
}

TEST_F(DaoTest, AppendedFieldsKeepTheirTypeAndTakeNewDefaults) {
  Sql("CREATE TABLE T (ID LONG, Qty LONG)");
  Sql("INSERT INTO T (ID, Qty) VALUES (1, 5)");
  auto qty = FieldOf("T", "Qty");
  EXPECT_EQ(RaisedNumber([&] { qty->SetProperty("Type", Variant(10), {}); }),
            rt::err::kInvalidOperation);
  EXPECT_EQ(RaisedNumber([&] { qty->SetProperty("Attributes", Variant(17), {}); }),
            rt::err::kInvalidOperation);
  qty->SetProperty("DefaultValue", Variant("7"), {});
  Sql("INSERT INTO T (ID) VALUES (2)");
  EXPECT_EQ(Rows("SELECT ID, Qty FROM T ORDER BY ID"),
            (std::vector<std::vector<std::string>>{{"1", "5"}, {"2", "7"}}));
  Reopen();
  EXPECT_EQ(rt::CStr(FieldOf("T", "Qty")->GetProperty("DefaultValue", {})), "7");
}

TEST_F(DaoTest, ATableDroppedAndMadeAgainStartsWithoutOldProperties) {
  Sql("CREATE TABLE T (A TEXT(5))");
  FieldOf("T", "A")->SetProperty("AllowZeroLength", Variant(false), {});
  auto t = Table("T");
  t->Properties()->Append(
      Variant(rt::ObjectRef(t->CreateProperty("Description", 10, Variant("x")))));
  db_->TableDefs()->Delete("T");
  Connect()->Execute("CREATE TABLE T (A TEXT(5))");
  EXPECT_TRUE(rt::CBool(FieldOf("T", "A")->GetProperty("AllowZeroLength", {})));
  EXPECT_EQ(RaisedNumber([&] { Table("T")->Properties()->Item(Variant("Description")); }),
            rt::err::kPropertyNotFound);
  Sql("INSERT INTO T (A) VALUES ('')");
  // A table dropped through plain SQL forgets its properties too.
  FieldOf("T", "A")->SetProperty("Required", Variant(true), {});
  Connect()->Execute("DROP TABLE T");
  Connect()->Execute("CREATE TABLE T (A TEXT(5))");
  EXPECT_FALSE(rt::CBool(FieldOf("T", "A")->GetProperty("Required", {})));
}

TEST_F(DaoTest, RenamingAKeyFieldKeepsIndexesAndRelations) {
  Sql("CREATE TABLE P (ID LONG CONSTRAINT pk PRIMARY KEY)");
  Sql("CREATE TABLE C (ID LONG, PID LONG)");
  Sql("CREATE INDEX ByPID ON C (PID)");
  auto r = db_->CreateRelation("PC", "P", "C", 0);
  auto f = r->CreateField("ID");
  f->SetProperty("ForeignName", Variant("PID"), {});
  r->Fields()->Append(Variant(rt::ObjectRef(f)));
  db_->Relations()->Append(Variant(rt::ObjectRef(r)));
  FieldOf("C", "PID")->SetProperty("Name", Variant("ParentID"), {});
  Reopen();
  auto byPid = IndexOf("C", "ByPID");
  EXPECT_EQ(byPid->Fields()->Names(), std::vector<std::string>{"ParentID"});
  auto rel = db_->Relations()->Item(Variant("PC"));
  auto key = rt::ObjectAs<dao::Relation>(Variant(rel))->Fields()->Item(Variant("ID"));
  EXPECT_EQ(rt::CStr(key->GetProperty("ForeignName", {})), "ParentID");
  Sql("INSERT INTO P VALUES (1)");
  Sql("INSERT INTO C VALUES (1, 1)");
  EXPECT_NE(RaisedNumber([&] { Sql("INSERT INTO C VALUES (2, 5)"); }), 0);
  // A field in a relation cannot be deleted.
  EXPECT_NE(RaisedNumber([&] { Table("C")->Fields()->Delete("ParentID"); }), 0);
}

TEST_F(DaoTest, PendingDefinitionsRefuseDuplicatesBeforeAppend) {
  auto t = db_->CreateTableDef("T");
  t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("A", 4))));
  EXPECT_EQ(
      RaisedNumber([&] { t->Fields()->Append(Variant(rt::ObjectRef(t->CreateField("a", 4)))); }),
      rt::err::kFieldExists);
  auto i = t->CreateIndex("I");
  i->SetProperty("Fields", Variant("A"), {});
  t->Indexes()->Append(Variant(rt::ObjectRef(i)));
  EXPECT_EQ(
      RaisedNumber([&] { t->Indexes()->Append(Variant(rt::ObjectRef(t->CreateIndex("i")))); }),
      rt::err::kIndexExists);
  auto missing = t->CreateIndex("ByMissing");
  missing->SetProperty("Fields", Variant("Nope"), {});
  t->Indexes()->Append(Variant(rt::ObjectRef(missing)));
  EXPECT_EQ(RaisedNumber([&] { db_->TableDefs()->Append(Variant(rt::ObjectRef(t))); }),
            rt::err::kItemNotFound);
  EXPECT_EQ(db_->TableDefs()->Count(), 0);
  t->Indexes()->Delete("ByMissing");
  db_->TableDefs()->Append(Variant(rt::ObjectRef(t)));
  EXPECT_EQ(db_->TableDefs()->Names(), std::vector<std::string>{"T"});
  // Appending the same object again is refused.
  EXPECT_EQ(RaisedNumber([&] { db_->TableDefs()->Append(Variant(rt::ObjectRef(t))); }),
            rt::err::kInvalidOperation);
}

TEST_F(DaoTest, QueryTypesFollowTheStatement) {
  const std::pair<const char*, std::int32_t> cases[] = {
      {"SELECT * FROM T", schema::kQSelect},
      {"  (SELECT A FROM T)", schema::kQSelect},
      {"SELECT A INTO U FROM T", schema::kQMakeTable},
      {"SELECT A FROM T UNION SELECT A FROM U", schema::kQSetOperation},
      {"DELETE * FROM T", schema::kQDelete},
      {"update T set A = 1", schema::kQUpdate},
      {"INSERT INTO T SELECT * FROM U", schema::kQAppend},
      {"CREATE TABLE X (A LONG)", schema::kQDDL},
      {"DROP TABLE X", schema::kQDDL},
      {"SELECTED", schema::kQDDL},
  };
  for (const auto& [sql, type] : cases) EXPECT_EQ(schema::QueryTypeOf(sql), type) << sql;
}

TEST_F(DaoTest, NamesAndStatementsHoldingANulAreRefusedNotCutShort) {
  // Cut short at the NUL, each name would be the test's database (or a new
  // file beside it), and the statement would empty the table.
  db_->Execute("CREATE TABLE T (ID LONG)");
  db_->Execute("INSERT INTO T (ID) VALUES (1)");
  const std::string fresh = (dir_ / "fresh.mdb").string();
  const std::string tail("\0.evil", 6);
  const std::pair<std::int32_t, std::function<void()>> cases[] = {
      {rt::err::kInvalidFileName,
       [&] {
         engine_.OpenDatabase({path_ + tail, false, ""});
       }},
      {rt::err::kInvalidFileName, [&] { engine_.CreateDatabase(path_ + tail, ""); }},
      {rt::err::kInvalidFileName, [&] { engine_.CreateDatabase(fresh + tail, ""); }},
      {rt::err::kUnspecified, [&] { OpenStore(FileRoute(path_ + tail)); }},
      {rt::err::kSyntaxError, [&] { db_->Execute("DELETE FROM T" + tail); }},
      {rt::err::kUnspecified,
       [&] {
         adox::Catalog::Make()->Create("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + fresh +
                                       tail);
       }},
  };
  for (const auto& [number, open] : cases) {
    const rt::ErrorInfo e = RaisedError([&] { open(); });
    EXPECT_EQ(e.Number, number) << e.Description;
    EXPECT_NE(e.Description.find("NUL character"), std::string::npos) << e.Description;
  }
  EXPECT_FALSE(std::filesystem::exists(fresh));
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM T")[0][0], "1");
}

}  // namespace
}  // namespace zmdb::dal::testing
