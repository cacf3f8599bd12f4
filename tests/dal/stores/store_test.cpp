// Connections and recordsets on every store: statements and their counts,
// column types, errors, transactions, exact counts of static cursors, text
// beyond ASCII, changes written back, navigation, bookmarks, filters,
// streaming, parameters and batches of several results.
#include "data_rows.h"
#include "store_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/command.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST_P(StoreTest, ExecuteReturnsRowsOrTheCountOfRowsChanged) {
  auto cn = Connect();
  std::int64_t affected = -2;
  auto none =
      cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ", Name " + Text(10) + ")", &affected);
  EXPECT_EQ(none->State(), 0);
  cn->Execute("INSERT INTO T (ID, Name) VALUES (1, 'a')", &affected);
  EXPECT_EQ(affected, 1);
  cn->Execute("INSERT INTO T (ID, Name) VALUES (2, 'b')");
  cn->Execute("UPDATE T SET Name = 'c'", &affected);
  EXPECT_EQ(affected, 2);
  cn->Execute("DELETE FROM T WHERE ID = 99", &affected);
  EXPECT_EQ(affected, 0);
  auto rs = cn->Execute("SELECT ID, Name FROM T ORDER BY ID");
  ASSERT_EQ(rs->State(), 1);
  EXPECT_EQ(rs->CursorType(), ado::adOpenForwardOnly);
  EXPECT_EQ(rs->RecordCount(), -1);  // a server-side forward-only cursor does not count
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 1);
  EXPECT_EQ(rt::CStr(rs->ValueAt(1)), "c");
}

TEST_P(StoreTest, FailuresCarryTheirNumbersAndNameTheStatement) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (ID " + Type(Ddl::Int) + ", Name " + Text(10) + ")");
  const std::pair<const char*, std::int32_t> cases[] = {
      {"SELEC * FROM Staff", rt::err::kSyntaxError},
      {"SELECT * FROM Staff WHERE", rt::err::kSyntaxError},
      {"SELECT Nmae FROM Staff", rt::err::kMissingParameter},
      {"SELECT * FROM Staf", rt::err::kNoSuchObject},
      {"DELETE FROM Nowhere", rt::err::kNoSuchObject},
  };
  for (const auto& [sql, number] : cases) {
    const rt::ErrorInfo e = RaisedError([&] { cn->Execute(sql); });
    if (PreciseErrors()) {
      EXPECT_EQ(e.Number, number) << sql << ": " << e.Description;
    }
    EXPECT_NE(e.Number, 0);
    EXPECT_NE(e.Description.find(sql), std::string::npos) << e.Description;
    ASSERT_GE(cn->errors()->items().size(), 1u);
    EXPECT_EQ(cn->errors()->items()[0].Number, e.Number);
  }
  // A success after a failure starts with an empty collection.
  cn->Execute("SELECT * FROM Staff");
  EXPECT_TRUE(cn->errors()->items().empty());
}

TEST_P(StoreTest, TransactionsNestAndRollBack) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ")");
  EXPECT_EQ(cn->BeginTrans(), 1);
  cn->Execute("INSERT INTO T (ID) VALUES (1)");
  EXPECT_EQ(cn->BeginTrans(), 2);
  cn->Execute("INSERT INTO T (ID) VALUES (2)");
  cn->RollbackTrans();  // only the inner insert goes
  cn->CommitTrans();
  EXPECT_EQ(cn->BeginTrans(), 1);
  cn->Execute("INSERT INTO T (ID) VALUES (3)");
  cn->RollbackTrans();
  // Another connection sees what was committed and nothing else.
  auto other = Connect();
  auto rs = other->Execute("SELECT ID FROM T", nullptr, -1, ado::adOpenStatic);
  ASSERT_EQ(rs->RecordCount(), 1);
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 1);
  EXPECT_NE(RaisedNumber([&] { cn->CommitTrans(); }), 0);
  // A write-back inside a rolled-back transaction is gone too.
  cn->BeginTrans();
  auto w = Open(cn, "SELECT ID FROM T");
  w->AddNew();
  w->fields()->Item(Variant("ID"))->SetValue(Variant(4));
  w->Update();
  cn->RollbackTrans();
  EXPECT_EQ(rt::CLng(Scalar(other, "SELECT COUNT(*) FROM T")), 1);
}

TEST_P(StoreTest, StaticCursorsCountEveryRowExactly) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ", Name " + Text(20) + ")");
  cn->Execute("INSERT INTO T (ID, Name) VALUES (1, 'row')");
  // Doubling to 2048 rows: several blocks of a block fetch.
  for (int n = 1; n < 2048; n *= 2) {
    cn->Execute("INSERT INTO T (ID, Name) SELECT ID + " + std::to_string(n) + ", Name FROM T");
  }
  auto rs = Open(cn, "SELECT ID, Name FROM T ORDER BY ID", ado::adOpenStatic, ado::adLockReadOnly);
  EXPECT_EQ(rs->RecordCount(), 2048);
  rs->MoveLast();
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 2048);
  long sum = 0;
  for (const auto& row : rs->VisibleRows()) sum += rt::CLng(row[0]);
  EXPECT_EQ(sum, 2048L * 2049 / 2);
  // Client cursors are static whatever is asked for.
  auto client = Connect(ado::adUseClient);
  auto fw = Open(client, "SELECT ID FROM T", ado::adOpenForwardOnly, ado::adLockReadOnly);
  EXPECT_EQ(fw->CursorType(), ado::adOpenStatic);
  EXPECT_EQ(fw->RecordCount(), 2048);
}

struct TypeCase {
  std::string declared;
  std::int32_t adoType;
  std::int32_t size;
};

// The cases of column_types.txt for one store.
std::vector<TypeCase> TypeCases(const std::string& store) {
  std::vector<TypeCase> out;
  for (const auto& row : zmdb::testing::DataRows("column_types.txt")) {
    if (row.size() == 4 && row[0] == store)
      out.push_back({row[1], std::stoi(row[2]), std::stoi(row[3])});
  }
  return out;
}

TEST_P(StoreTest, ColumnTypesReadAsTheProviderReportsThem) {
  const std::string key = store() == Store::File       ? "file"
                          : store() == Store::Postgres ? "postgres"
                          : store() == Store::Sqlite   ? "sqlite"
                                                       : "mssql";
  const auto cases = TypeCases(key);
  ASSERT_FALSE(cases.empty());
  std::string ddl = "CREATE TABLE T (";
  for (std::size_t i = 0; i < cases.size(); ++i) {
    ddl += (i ? ", c" : "c") + std::to_string(i) + " " + cases[i].declared;
  }
  auto cn = Connect();
  cn->Execute(ddl + ")");
  auto rs = Open(cn, "SELECT * FROM T");
  ASSERT_EQ(rs->columns().size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    auto f = rs->fields()->Item(Variant(static_cast<std::int32_t>(i)));
    EXPECT_EQ(f->Type(), cases[i].adoType) << key << " " << cases[i].declared;
    EXPECT_EQ(f->DefinedSize(), cases[i].size) << key << " " << cases[i].declared;
  }
}

TEST_P(StoreTest, ValuesRoundTripThroughAddNewAndAFreshConnection) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::AutoKey) + ", Name " + Text(20) + ", Hired " +
              Type(Ddl::Date) + ", Pay " + Type(Ddl::Money) + ", Active " + Type(Ddl::Bool) +
              ", Qty " + Type(Ddl::Short) + ", Note " + Type(Ddl::Memo) + ", Data " +
              Type(Ddl::Blob) + ")");
  std::vector<Variant> bytes;
  for (int i = 0; i < 3000; ++i) bytes.emplace_back(static_cast<std::uint8_t>(i * 7));
  const Variant blob(rt::SafeArray(rt::VarType::Byte, 0, bytes));
  const std::string wide = "李四𝄞ü";  // a character outside the BMP and a Latin one
  std::string longText;
  for (int i = 0; i < 3000; ++i) longText += "文字";  // longer than any bound buffer
  auto rs = Open(cn, "SELECT * FROM T");
  for (int i = 0; i < 2; ++i) {
    rs->AddNew();
    auto f = rs->fields();
    f->Item(Variant("Name"))->SetValue(Variant(i == 0 ? "李明" : wide));
    f->Item(Variant("Hired"))->SetValue(Variant("2004-08-30 13:05:09"));  // text converts
    f->Item(Variant("Pay"))->SetValue(Variant(1234.5));
    f->Item(Variant("Active"))->SetValue(Variant(i == 0));
    f->Item(Variant("Qty"))->SetValue(Variant("12"));
    f->Item(Variant("Data"))->SetValue(i == 0 ? blob : Variant::Null());
    if (i == 1) f->Item(Variant("Note"))->SetValue(Variant(longText));
    rs->Update();
    // The number the store gave the row, read back.
    EXPECT_EQ(rt::CLng(f->Item(Variant("ID"))->Value()), i + 1);
  }
  auto again =
      Open(Connect(), "SELECT * FROM T ORDER BY ID", ado::adOpenStatic, ado::adLockReadOnly);
  ASSERT_EQ(again->RecordCount(), 2);
  auto g = again->fields();
  EXPECT_EQ(g->Item(Variant("Name"))->Value(), Variant("李明"));
  EXPECT_EQ(g->Item(Variant("Hired"))->Value(), Variant(rt::MakeDate(2004, 8, 30, 13, 5, 9)));
  EXPECT_DOUBLE_EQ(rt::CDbl(g->Item(Variant("Pay"))->Value()), 1234.5);
  EXPECT_TRUE(rt::CBool(g->Item(Variant("Active"))->Value()));
  EXPECT_EQ(rt::CLng(g->Item(Variant("Qty"))->Value()), 12);
  EXPECT_TRUE(g->Item(Variant("Note"))->Value().IsNull());
  EXPECT_EQ(g->Item(Variant("Data"))->Value(), blob);
  again->MoveNext();
  EXPECT_EQ(g->Item(Variant("Name"))->Value(), Variant(wide));
  EXPECT_EQ(g->Item(Variant("Note"))->Value(), Variant(longText));
  EXPECT_FALSE(rt::CBool(g->Item(Variant("Active"))->Value()));
  EXPECT_TRUE(g->Item(Variant("Data"))->Value().IsNull());
  again->SetFilter(Variant("Name = '" + wide + "'"));
  EXPECT_EQ(again->RecordCount(), 1);
  // Text in a statement: the server compares it with the stored text.
  const std::string literal = (store() == Store::SqlServer ? "N'" : "'") + std::string("张三'");
  cn->Execute("INSERT INTO T (Name) VALUES (" + literal + ")");
  EXPECT_EQ(Scalar(cn, "SELECT Name FROM T WHERE Name = " + literal), Variant("张三"));
}

TEST_P(StoreTest, UpdateAndDeleteWriteBackAndCheckTheRowWasNotChanged) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + " PRIMARY KEY, Name " + Text(10) + ")");
  cn->Execute("INSERT INTO T (ID, Name) VALUES (1, 'a')");
  cn->Execute("INSERT INTO T (ID, Name) VALUES (2, 'b')");
  cn->Execute("INSERT INTO T (ID, Name) VALUES (3, 'c')");
  auto first = Open(cn, "SELECT * FROM T ORDER BY ID");
  auto second = Open(Connect(), "SELECT * FROM T ORDER BY ID");
  first->fields()->Item(Variant("Name"))->SetValue(Variant("z"));
  first->Update();
  // The second recordset read the row before the change: its update is refused.
  second->fields()->Item(Variant("Name"))->SetValue(Variant("X"));
  EXPECT_EQ(RaisedNumber([&] { second->Update(); }), rt::err::kRowChanged);
  second->CancelUpdate();
  first->MoveNext();
  first->Delete();
  EXPECT_EQ(first->RecordCount(), 2);
  first->MoveNext();  // past the deleted row
  EXPECT_EQ(rt::CLng(first->ValueAt(0)), 3);
  auto check = cn->Execute("SELECT ID, Name FROM T ORDER BY ID", nullptr, -1, 3);
  std::vector<std::string> rows;
  for (const auto& r : check->VisibleRows()) rows.push_back(rt::CStr(r[0]) + ":" + rt::CStr(r[1]));
  EXPECT_EQ(rows, (std::vector<std::string>{"1:z", "3:c"}));
  // The key column is marked as one.
  EXPECT_NE(first->fields()->Item(Variant("ID"))->Attributes() & ado::adFldKeyColumn, 0);
}

TEST_P(StoreTest, ATableWithoutKeyIsMatchedByItsValues) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (Code " + Text(5) + ", Hired " + Type(Ddl::Date) + ", Price " +
              Type(Ddl::Double) + ")");
  auto add = Open(cn, "SELECT * FROM T");
  const Variant rows[][3] = {{Variant("x"), Variant(rt::MakeDate(2003, 1, 2)), Variant(1.5)},
                             {Variant("y"), Variant::Null(), Variant(2.5)}};
  for (const auto& row : rows) {
    add->AddNew();
    for (int c = 0; c < 3; ++c) add->fields()->Item(Variant(c))->SetValue(row[c]);
    add->Update();
  }
  auto rs = Open(cn, "SELECT * FROM T ORDER BY Code");
  rs->MoveNext();
  rs->fields()->Item(Variant("Price"))->SetValue(Variant(9.25));
  rs->Update();
  rs->MoveFirst();
  rs->fields()->Item(Variant("Price"))->SetValue(Variant(7.0));
  rs->Update();  // matched by its date
  EXPECT_EQ(rt::CDbl(Scalar(cn, "SELECT Price FROM T WHERE Code = 'y'")), 9.25);
  EXPECT_EQ(rt::CDbl(Scalar(cn, "SELECT Price FROM T WHERE Code = 'x'")), 7.0);
}

TEST_P(StoreTest, RecordsetsOpenOnATableName) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (ID " + Type(Ddl::Int) + ")");
  cn->Execute("INSERT INTO Staff (ID) VALUES (3)");
  for (const char* source : {"Staff", "  Staff  "}) {
    auto rs = Open(cn, source);
    EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 3) << source;
  }
  auto cmd = Command::Create();
  cmd->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  cmd->SetCommandType(ado::adCmdTable);
  cmd->SetCommandText("Staff");
  EXPECT_EQ(rt::CLng(cmd->Execute()->ValueAt(0)), 3);
}

TEST_P(StoreTest, ReadOnlyRecordsetsRefuseChanges) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ")");
  cn->Execute("INSERT INTO T (ID) VALUES (1)");
  auto rs = Open(cn, "SELECT * FROM T", ado::adOpenStatic, ado::adLockReadOnly);
  EXPECT_EQ(RaisedNumber([&] { rs->AddNew(); }), rt::err::kAdoNotSupported);
  EXPECT_EQ(RaisedNumber([&] { rs->Delete(); }), rt::err::kAdoNotSupported);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Item(Variant("ID"))->SetValue(Variant(2)); }),
            rt::err::kAdoNotSupported);
  // A computed column has no base column to write to.
  auto computed = Open(cn, "SELECT ID * 2 AS Twice FROM T");
  computed->fields()->Item(Variant("Twice"))->SetValue(Variant(5));
  EXPECT_NE(RaisedNumber([&] { computed->Update(); }), 0);
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT ID FROM T")), 1);
}

TEST_P(StoreTest, NavigationBookmarksAndFilters) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ", Name " + Text(10) + ", Age " +
              Type(Ddl::Short) + ")");
  const char* rows[] = {"1, 'Li', 30", "2, 'Wang', 22", "3, 'Zhang', 41", "4, 'li', 19"};
  for (const char* r : rows) cn->Execute(std::string("INSERT INTO T VALUES (") + r + ")");
  auto rs = Open(cn, "SELECT * FROM T ORDER BY ID");
  EXPECT_FALSE(rs->AtBOF());
  rs->MoveLast();
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 4);
  const Variant mark = rs->Bookmark();
  rs->MoveFirst();
  rs->MovePrevious();
  EXPECT_TRUE(rs->AtBOF());
  EXPECT_EQ(RaisedNumber([&] { rs->MovePrevious(); }), rt::err::kAdoBofEof);
  rs->SetBookmark(mark);
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 4);
  rs->MoveNext();
  EXPECT_TRUE(rs->AtEOF());
  EXPECT_EQ(RaisedNumber([&] { rs->ValueAt(0); }), rt::err::kAdoBofEof);
  rs->SetFilter(Variant("Name = 'LI'"));  // text ignores case
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->SetFilter(Variant("Age > '20' AND Name LIKE 'W*'"));
  EXPECT_EQ(rs->RecordCount(), 1);
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 2);
  EXPECT_EQ(RaisedNumber([&] { rs->SetBookmark(mark); }), rt::err::kBadArguments);
  rs->SetFilter(Variant(""));
  EXPECT_EQ(rs->RecordCount(), 4);
  EXPECT_EQ(RaisedNumber([&] { rs->SetFilter(Variant("Nope = 1")); }), rt::err::kBadArguments);
}

TEST_P(StoreTest, ForwardOnlyRecordsetsStream) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ")");
  auto empty = Open(cn, "SELECT * FROM T", ado::adOpenForwardOnly, ado::adLockReadOnly);
  EXPECT_TRUE(empty->AtEOF());
  EXPECT_TRUE(empty->AtBOF());
  EXPECT_EQ(RaisedNumber([&] { empty->MoveNext(); }), rt::err::kAdoBofEof);
  auto emptyStatic = Open(cn, "SELECT * FROM T");
  EXPECT_EQ(RaisedNumber([&] { emptyStatic->MoveFirst(); }), rt::err::kAdoBofEof);
  cn->Execute("INSERT INTO T (ID) VALUES (7)");
  cn->Execute("INSERT INTO T (ID) VALUES (8)");
  auto rs = Open(cn, "SELECT * FROM T ORDER BY ID", ado::adOpenForwardOnly, ado::adLockReadOnly);
  EXPECT_EQ(rs->RecordCount(), -1);
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 7);
  // Another statement while the rows stream.
  cn->Execute("INSERT INTO T (ID) VALUES (9)");
  rs->MoveNext();
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 8);
  EXPECT_EQ(RaisedNumber([&] { rs->MoveFirst(); }), rt::err::kForwardOnly);
  rs->Close();  // before its end
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T")), 3);
}

TEST_P(StoreTest, SchemaRowsetsListTablesViewsAndCatalogs) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE Staff (ID " + Type(Ddl::Int) + ", Name " + Text(10) + ")");
  cn->Execute("CREATE VIEW Names AS SELECT Name FROM Staff");
  auto tables = cn->OpenSchema(ado::adSchemaTables);
  std::map<std::string, std::string> types;
  for (const auto& row : tables->VisibleRows()) {
    std::string name = rt::CStr(row[2]);
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    types[name] = rt::CStr(row[3]);
  }
  EXPECT_EQ(types["STAFF"], "TABLE");
  EXPECT_EQ(types["NAMES"], "VIEW");
  EXPECT_EQ(tables->fields()->Item(Variant("DATE_CREATED"))->Type(), 7);
  auto catalogs = cn->OpenSchema(ado::adSchemaCatalogs);
  ASSERT_GE(catalogs->RecordCount(), 1);
  EXPECT_FALSE(rt::CStr(catalogs->fields()->Item(Variant("CATALOG_NAME"))->Value()).empty());
}

TEST_P(StoreTest, CommandsBindParameters) {
  auto cn = Connect();
  // The file store has no 64-bit integer type: a Double column stands in.
  const std::string bigType = store() == Store::File ? Type(Ddl::Double) : "bigint";
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ", Name " + Text(10) + ", Hired " +
              Type(Ddl::Date) + ", Big " + bigType + ")");
  auto cmd = Command::Create();
  cmd->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  cmd->SetCommandText("INSERT INTO T (ID, Name, Hired) VALUES (?, ?, ?)");
  cmd->parameters()->Append(Variant(rt::ObjectRef(cmd->CreateParameter("id", 3, 1, 0, {}))));
  cmd->parameters()->Append(Variant(rt::ObjectRef(cmd->CreateParameter("name", 202, 1, 10, {}))));
  cmd->parameters()->Append(Variant(rt::ObjectRef(cmd->CreateParameter("hired", 7, 1, 0, {}))));
  const Variant dates[] = {Variant(rt::MakeDate(2020, 2, 29)), Variant::Null()};
  for (int i = 0; i < 2; ++i) {
    std::int64_t affected = 0;
    cmd->Execute(&affected, Variant(rt::SafeArray(
                                rt::VarType::Variant, 0,
                                {Variant(i + 1), Variant(i ? "O'Brien" : "王五"), dates[i]})));
    EXPECT_EQ(affected, 1);
  }
  auto query = Command::Create();
  query->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  query->SetCommandText("SELECT Name, Hired FROM T WHERE ID = ?");
  query->parameters()->Append(
      Variant(rt::ObjectRef(query->CreateParameter("", 0, 1, 0, Variant(2)))));
  auto rs = query->Execute();
  ASSERT_EQ(rs->State(), 1);
  EXPECT_EQ(rs->ValueAt(0), Variant("O'Brien"));
  EXPECT_TRUE(rs->ValueAt(1).IsNull());
  EXPECT_EQ(rt::CDate(Scalar(cn, "SELECT Hired FROM T WHERE ID = 1")), rt::MakeDate(2020, 2, 29));
  // Integer parameters round half to even and take digits exactly.
  auto ints = Command::Create();
  ints->SetActiveConnection(Variant(rt::ObjectRef(cn)));
  ints->SetCommandText("INSERT INTO T (ID, Big) VALUES (?, ?)");
  ints->parameters()->Append(Variant(rt::ObjectRef(ints->CreateParameter("n", 3, 1, 0, {}))));
  ints->parameters()->Append(Variant(rt::ObjectRef(ints->CreateParameter("big", 20, 1, 0, {}))));
  const std::tuple<Variant, Variant, std::int32_t> cases[] = {
      {Variant(12.5), Variant("9007199254740993"), 12},
      {Variant(13.5), Variant(1.0), 14},
      {Variant(-2.5), Variant(1.0), -2},
  };
  for (const auto& [n, big, expected] : cases) {
    ints->Execute(nullptr, Variant(rt::SafeArray(rt::VarType::Variant, 0, {n, big})));
    EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T WHERE ID = " + std::to_string(expected))),
              1)
        << rt::CStr(n);
  }
  if (store() != Store::File) {
    EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T WHERE Big = 9007199254740993")), 1);
  }
}

TEST_P(StoreTest, BatchesGiveOneRecordsetPerResult) {
  if (!MultipleResults()) GTEST_SKIP() << StoreName(store()) << " runs one statement at a time";
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID " + Type(Ddl::Int) + ")");
  auto rs = cn->Execute("SELECT 1 AS A; SELECT 2 AS B, 3 AS C", nullptr, -1, ado::adOpenStatic);
  EXPECT_EQ(rt::CLng(rs->ValueAt(0)), 1);
  auto second = rs->NextRecordset();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->columns().size(), 2u);
  EXPECT_EQ(rt::CLng(second->ValueAt(1)), 3);
  EXPECT_FALSE(second->NextRecordset());
  // A statement without rows first: a closed recordset, then the rows.
  auto closed = cn->Execute("INSERT INTO T (ID) VALUES (5); SELECT COUNT(*) AS N FROM T");
  EXPECT_EQ(closed->State(), 0);
  std::int64_t affected = -2;
  auto counted = closed->NextRecordset(&affected);
  ASSERT_TRUE(counted);
  EXPECT_EQ(rt::CLng(counted->ValueAt(0)), 1);
  // A failing statement later in the batch fails the batch (PostgreSQL runs
  // it as one transaction) or its own result (SQL Server).
  const auto number = RaisedNumber([&] {
    auto partial = cn->Execute("SELECT 1 AS A; SELECT * FROM Nowhere", nullptr, -1, 3);
    EXPECT_EQ(rt::CLng(partial->ValueAt(0)), 1);
    partial->NextRecordset();
  });
  EXPECT_EQ(number, rt::err::kNoSuchObject);
}

TEST_P(StoreTest, ValuesReadMorePreciselyThanTheyShowStillFindTheirRow) {
  // Fractions of a second and exact numbers past a Double's digits: a row
  // matched by such a value (no key, or the changed column's old value) is
  // found again when its values go back as they came.
  struct Case {
    std::string column;
    std::string literal;
  };
  const Case cases[] = {
      {Type(Ddl::Date), "'2004-08-30 13:05:09.123'"},
      {"numeric(20,6)", "12345678901234.567891"},
  };
  for (const Case& c : cases) {
    auto cn = Connect();
    cn->Execute("DROP TABLE IF EXISTS T");
    cn->Execute("CREATE TABLE T (V " + c.column + ", Qty " + Type(Ddl::Int) + ")");
    cn->Execute("INSERT INTO T (V, Qty) VALUES (" + c.literal + ", 1)");
    auto rs = Open(cn, "SELECT * FROM T");
    rs->fields()->Item(Variant("Qty"))->SetValue(Variant(2));
    EXPECT_EQ(RaisedNumber([&] { rs->Update(); }), 0) << c.column;
    EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT Qty FROM T")), 2) << c.column;
  }
}

TEST_P(StoreTest, AChangeThatWouldTouchSeveralRowsTouchesNone) {
  // Two rows alike in every column of a table without a key: the statement
  // that finds one finds both, so the change is refused and both stay.
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (Name " + Text(10) + ", Qty " + Type(Ddl::Int) + ")");
  cn->Execute("INSERT INTO T (Name, Qty) VALUES ('Li', 1)");
  cn->Execute("INSERT INTO T (Name, Qty) VALUES ('Li', 1)");
  auto rs = Open(cn, "SELECT * FROM T");
  rs->fields()->Item(Variant("Qty"))->SetValue(Variant(2));
  EXPECT_EQ(RaisedNumber([&] { rs->Update(); }), -2147217864);
  rs->CancelUpdate();
  EXPECT_EQ(RaisedNumber([&] { rs->Delete(); }), -2147217864);
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T WHERE Qty = 1")), 2);
  // Inside the caller's transaction the refusal undoes only its own change.
  cn->BeginTrans();
  cn->Execute("INSERT INTO T (Name, Qty) VALUES ('Wang', 3)");
  EXPECT_NE(RaisedNumber([&] { rs->Delete(); }), 0);
  cn->CommitTrans();
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT COUNT(*) FROM T")), 3);
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, EveryStore(), StoreParamName);

}  // namespace
}  // namespace zmdb::dal::testing
