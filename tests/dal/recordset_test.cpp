// Recordsets on the file store and in memory: types as created, navigation,
// bookmarks, filters, and changes written back to the table.
#include "dal_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

using RecordsetTest = FileStoreTest;

TEST_F(RecordsetTest, ColumnsKeepTheJetTypeAndSizeTheyWereCreatedWith) {
  struct Case {
    const char* jet;
    std::int32_t type;
    std::int32_t size;
  };
  const Case cases[] = {
      {"TEXT(30)", 202, 30},
      {"MEMO", 203, 536870910},
      {"LONG", 3, 4},
      {"INTEGER", 3, 4},
      {"SHORT", 2, 2},
      {"SMALLINT", 2, 2},
      {"BYTE", 17, 1},
      {"CURRENCY", 6, 8},
      {"SINGLE", 4, 4},
      {"DOUBLE", 5, 8},
      {"DATETIME", 7, 8},
      {"YESNO", 11, 2},
      {"GUID", 72, 16},
      {"BINARY(20)", 128, 20},
      {"LONGBINARY", 205, 1073741823},
      {"DECIMAL(10,2)", 131, 19},
      {"COUNTER", 3, 4},
  };
  auto cn = Connect();
  std::string ddl = "CREATE TABLE T (";
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    ddl += (i ? ", C" : "C") + std::to_string(i) + " " + cases[i].jet;
  }
  cn->Execute(ddl + ")");
  auto rs = Open(cn, "SELECT * FROM T");
  ASSERT_EQ(rs->columns().size(), std::size(cases));
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    auto f = rs->fields()->Item(Variant(static_cast<std::int32_t>(i)));
    EXPECT_EQ(f->Type(), cases[i].type) << cases[i].jet;
    EXPECT_EQ(f->DefinedSize(), cases[i].size) << cases[i].jet;
  }
}

TEST_F(RecordsetTest, ValuesRoundTripThroughAddNewAndAFreshConnection) {
  auto cn = Connect();
  cn->Execute(
      "CREATE TABLE T (ID COUNTER PRIMARY KEY, Name TEXT(10), Hired DATETIME, Pay CURRENCY, "
      "Active YESNO, Qty SHORT, Note MEMO)");
  auto rs = Open(cn, "SELECT * FROM T");
  rs->AddNew();
  auto f = rs->fields();
  f->Item(Variant("Name"))->SetValue(Variant("李明"));
  f->Item(Variant("Hired"))->SetValue(Variant("2004-08-30 13:05:09"));  // text converts
  f->Item(Variant("Pay"))->SetValue(Variant(1234.5));
  f->Item(Variant("Active"))->SetValue(Variant(true));
  f->Item(Variant("Qty"))->SetValue(Variant("12"));
  rs->Update();
  EXPECT_EQ(f->Item(Variant("ID"))->Value(), Variant(1));  // the store's number, read back

  auto again = Open(Connect(), "SELECT * FROM T", ado::adOpenStatic, ado::adLockReadOnly);
  ASSERT_EQ(again->RecordCount(), 1);
  auto g = again->fields();
  EXPECT_EQ(g->Item(Variant("Name"))->Value(), Variant("李明"));
  EXPECT_EQ(g->Item(Variant("Hired"))->Value(), Variant(rt::MakeDate(2004, 8, 30, 13, 5, 9)));
  EXPECT_EQ(g->Item(Variant("Pay"))->Value(), Variant(rt::Currency{12345000}));
  EXPECT_EQ(g->Item(Variant("Active"))->Value(), Variant(true));
  EXPECT_EQ(g->Item(Variant("Qty"))->Value(), Variant(std::int16_t{12}));
  EXPECT_TRUE(g->Item(Variant("Note"))->Value().IsNull());
  // Yes/No is -1 in SQL, as Jet keeps it; dates are canonical text.
  auto raw = cn->Execute("SELECT CStr(Active), CStr(Hired) FROM T", nullptr, -1, 3);
  EXPECT_EQ(raw->ValueAt(0), Variant("-1"));
  auto dates = cn->Execute("SELECT COUNT(*) FROM T WHERE Hired > #8/29/2004#", nullptr, -1, 3);
  EXPECT_EQ(dates->ValueAt(0), Variant(1));
}

TEST_F(RecordsetTest, ValuesAFieldRefusesAreClearErrors) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (Name TEXT(3), Qty LONG, Hired DATETIME)");
  auto rs = Open(cn, "SELECT * FROM T");
  rs->AddNew();
  auto f = rs->fields();
  const std::pair<const char*, Variant> refused[] = {{"Name", Variant("abcd")},
                                                     {"Qty", Variant("12x")},
                                                     {"Hired", Variant("not a date")},
                                                     {"Qty", Variant(3e10)}};
  for (const auto& [field, value] : refused) {
    try {
      f->Item(Variant(field))->SetValue(value);
      ADD_FAILURE() << field << " took " << rt::TypeName(value);
    } catch (const rt::PlatformError& e) {
      EXPECT_EQ(e.number(), rt::err::kMultipleStep);
      EXPECT_NE(e.info().Description.find(field), std::string::npos) << e.info().Description;
    }
  }
  f->Item(Variant("Name"))->SetValue(Variant("中文字"));  // three characters fit
  rs->Update();
  // A statement that stores a longer text is refused by the table itself.
  EXPECT_NE(RaisedNumber([&] { cn->Execute("INSERT INTO T (Name) VALUES ('abcd')"); }), 0);
}

TEST_F(RecordsetTest, ReadOnlyRecordsetsRefuseChanges) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID LONG)");
  cn->Execute("INSERT INTO T VALUES (1)");
  auto rs = Open(cn, "SELECT * FROM T", ado::adOpenStatic, ado::adLockReadOnly);
  EXPECT_EQ(RaisedNumber([&] { rs->AddNew(); }), rt::err::kAdoNotSupported);
  EXPECT_EQ(RaisedNumber([&] { rs->Delete(); }), rt::err::kAdoNotSupported);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Item(Variant("ID"))->SetValue(Variant(2)); }),
            rt::err::kAdoNotSupported);
  // A computed recordset has no single base table to write to.
  auto joined = Open(cn, "SELECT ID * 2 AS Twice FROM T");
  joined->fields()->Item(Variant("Twice"))->SetValue(Variant(5));
  EXPECT_EQ(RaisedNumber([&] { joined->Update(); }), rt::err::kUnspecified);
}

TEST_F(RecordsetTest, NavigationBookmarksAndFilters) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID LONG, Name TEXT(10), Age SHORT)");
  const char* rows[] = {"1, 'Li', 30", "2, 'Wang', 22", "3, 'Zhang', 41", "4, 'li', 19"};
  for (const char* r : rows) cn->Execute(std::string("INSERT INTO T VALUES (") + r + ")");
  auto rs = Open(cn, "SELECT * FROM T ORDER BY ID");
  EXPECT_FALSE(rs->AtBOF());
  rs->MoveLast();
  EXPECT_EQ(rs->ValueAt(0), Variant(4));
  const Variant mark = rs->Bookmark();
  rs->MoveFirst();
  rs->MovePrevious();
  EXPECT_TRUE(rs->AtBOF());
  EXPECT_EQ(RaisedNumber([&] { rs->MovePrevious(); }), rt::err::kAdoBofEof);
  rs->SetBookmark(mark);
  EXPECT_EQ(rs->ValueAt(0), Variant(4));
  rs->MoveNext();
  EXPECT_TRUE(rs->AtEOF());
  EXPECT_EQ(RaisedNumber([&] { rs->ValueAt(0); }), rt::err::kAdoBofEof);

  rs->SetFilter(Variant("Name = 'LI'"));  // text ignores case
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->SetFilter(Variant("Age > '20' AND Name LIKE 'W*'"));  // a quoted number on a number field
  EXPECT_EQ(rs->RecordCount(), 1);
  EXPECT_EQ(rs->ValueAt(0), Variant(2));
  EXPECT_EQ(RaisedNumber([&] { rs->SetBookmark(mark); }), rt::err::kBadArguments);  // filtered out
  rs->SetFilter(Variant(""));
  EXPECT_EQ(rs->RecordCount(), 4);
  EXPECT_EQ(RaisedNumber([&] { rs->SetFilter(Variant("Nope = 1")); }), rt::err::kBadArguments);
}

TEST_F(RecordsetTest, ForwardOnlyRecordsetsStream) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID LONG)");
  auto empty = Open(cn, "SELECT * FROM T", ado::adOpenForwardOnly, ado::adLockReadOnly);
  EXPECT_TRUE(empty->AtEOF());
  EXPECT_TRUE(empty->AtBOF());
  EXPECT_EQ(RaisedNumber([&] { empty->MoveNext(); }), rt::err::kAdoBofEof);
  auto emptyStatic = Open(cn, "SELECT * FROM T");
  EXPECT_EQ(RaisedNumber([&] { emptyStatic->MoveFirst(); }), rt::err::kAdoBofEof);
  cn->Execute("INSERT INTO T VALUES (7)");
  cn->Execute("INSERT INTO T VALUES (8)");
  auto rs = Open(cn, "SELECT * FROM T ORDER BY ID", ado::adOpenForwardOnly, ado::adLockReadOnly);
  EXPECT_EQ(rs->RecordCount(), -1);
  EXPECT_EQ(rs->ValueAt(0), Variant(7));
  rs->MoveNext();
  EXPECT_EQ(rs->ValueAt(0), Variant(8));
  EXPECT_EQ(RaisedNumber([&] { rs->MoveFirst(); }), rt::err::kForwardOnly);
  rs->MoveNext();
  EXPECT_TRUE(rs->AtEOF());
  EXPECT_FALSE(rs->AtBOF());
  EXPECT_EQ(RaisedNumber([&] { rs->MoveNext(); }), rt::err::kAdoBofEof);
}

TEST(DisconnectedRecordset, FieldsDefineItAndRowsLiveInMemory) {
  auto rs = Recordset::Create();
  rs->fields()->Append("Code", 202, 10);
  rs->fields()->Append("Qty", 3);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("code", 3); }), rt::err::kBadArguments);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("X", 999); }), rt::err::kBadArguments);
  rs->SetCursorType(ado::adOpenStatic);
  rs->SetLockType(ado::adLockOptimistic);
  rs->Open();
  EXPECT_EQ(rs->State(), 1);
  EXPECT_EQ(rs->RecordCount(), 0);
  EXPECT_TRUE(rs->AtEOF() && rs->AtBOF());
  for (int i = 1; i <= 3; ++i) {
    rs->AddNew();
    rs->fields()->Item(Variant("Code"))->SetValue(Variant("c" + std::to_string(i)));
    rs->fields()->Item(Variant("qty"))->SetValue(Variant(std::to_string(i * 10)));  // text to Long
    rs->Update();
  }
  EXPECT_EQ(rs->RecordCount(), 3);
  EXPECT_EQ(rs->ValueAt(1), Variant(30));  // positioned on the row just added
  rs->SetFilter(Variant("Qty >= 20"));
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->Delete();
  rs->SetFilter(Variant(0));
  EXPECT_EQ(rs->RecordCount(), 2);
  EXPECT_EQ(rs->fields()->Item(Variant(1))->Attributes() & ado::adFldUpdatable,
            ado::adFldUpdatable);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("Late", 3); }), rt::err::kObjectOpen);
}

TEST(WriteBack, StatementsAreBuiltApartFromRunning) {
  const Quirks brackets{};
  const Quirks dquote{"\"", "\""};
  const Statement ins = BuildInsert("My T", {{"A", Variant(1)}, {"B]x", Variant("s")}}, brackets);
  EXPECT_EQ(ins.sql, "INSERT INTO [My T] ([A], [B]]x]) VALUES (?, ?)");
  EXPECT_EQ(ins.params.size(), 2u);
  const Statement upd =
      BuildUpdate("T", {{"A", Variant(2)}}, {{"K", Variant(1)}, {"N", Variant::Null()}}, dquote);
  EXPECT_EQ(upd.sql, "UPDATE \"T\" SET \"A\" = ? WHERE \"K\" = ? AND \"N\" IS NULL");
  EXPECT_EQ(upd.params, (std::vector<Variant>{Variant(2), Variant(1)}));
  EXPECT_EQ(BuildDelete("T", {{"K", Variant(1)}}, brackets).sql, "DELETE FROM [T] WHERE [K] = ?");
  EXPECT_EQ(BuildInsert("T", {}, brackets).sql, "INSERT INTO [T] DEFAULT VALUES");
}

// The columns that find the row to change: the whole key plus the changed
// columns that compare reliably, or every reliable column without the key.
TEST(WriteBack, RowMatchPicksTheColumnsThatFindTheRow) {
  std::vector<ColumnInfo> cols(5);
  cols[0] = {"ID", 3, 4, 0, 0, false, false, true, "T", "ID"};  // key
  cols[1] = {"Name", 202, 50, 0, 0, true, false, false, "T", "Name"};
  cols[2] = {"Ratio", 5, 8, 0, 0, true, false, false, "T", "Ratio"};  // floating: never matched
  cols[3] = {"Total", 3, 4, 0, 0, true, false, false, "", ""};        // computed
  cols[4] = {"Big", 131, 19, 28, 0, true, false, false, "T", "Big"};  // more digits than a Double
  const std::vector<Variant> original = {Variant(7), Variant("Ann"), Variant(0.5), Variant(3),
                                         Variant(1.0)};
  struct Case {
    const char* what;
    std::vector<std::string> keys;
    std::vector<bool> changed;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"key, nothing changed", {"ID"}, {}, {"ID"}},
      {"key found without regard to case", {"id"}, {}, {"ID"}},
      {"key plus the changed columns that compare",
       {"ID"},
       {false, true, true, false, true},
       {"ID", "Name"}},
      {"a changed key column is not matched twice", {"ID"}, {true, true}, {"ID", "Name"}},
      {"part of the key missing: every reliable column", {"ID", "Part"}, {}, {"ID", "Name"}},
      {"no key: every reliable column", {}, {true}, {"ID", "Name"}},
  };
  for (const Case& c : cases) {
    const auto match = RowMatch(cols, original, c.keys, "t", c.changed);
    std::vector<std::string> names;
    for (const ColumnValue& m : match) names.push_back(m.column);
    EXPECT_EQ(names, c.expected) << c.what;
    for (const ColumnValue& m : match) {
      EXPECT_EQ(m.value, m.column == "ID" ? Variant(7) : Variant("Ann")) << c.what;
    }
  }
}

TEST(WriteBack, BaseTableIsTheOneTableTheColumnsComeFrom) {
  ColumnInfo a, b, computed;
  a.baseTable = "Staff";
  b.baseTable = "STAFF";
  EXPECT_EQ(BaseTableOf({computed, a, b}), "Staff");
  b.baseTable = "Dept";
  for (const auto& cols : {std::vector<ColumnInfo>{a, b}, std::vector<ColumnInfo>{computed}}) {
    try {
      BaseTableOf(cols);
      ADD_FAILURE() << "no error";
    } catch (const rt::PlatformError& e) {
      EXPECT_EQ(e.info(), (rt::ErrorInfo{rt::err::kUnspecified, "ADODB.Recordset",
                                         "Insufficient base table information for updating or "
                                         "refreshing."}));
    }
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
