// The database targets of SELECT ... INTO: a file-store table of every Jet
// type copied, through the writers, into a file-store file and into server
// stores, then read back through the store itself; what a target refuses,
// what a failure leaves, and the data-source prompt of an "ODBC;" database.
#include "zmdb/dal/formats/targets.h"

#include <algorithm>
#include <cmath>

#include "store_fixture.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::testing {
namespace {

using formats::Column;
using formats::TableWriter;
using rt::Variant;

// The source: one table of every Jet type, with Nulls, Chinese text, dates,
// decimals, Booleans and memo text longer than any page.
constexpr const char* kSourceTable =
    "CREATE TABLE Every (ID LONG, Name TEXT(50), Small SHORT, Tiny BYTE, Price CURRENCY, "
    "Ratio DOUBLE, Part SINGLE, Amount DECIMAL(18,3), Flag YESNO, Made DATETIME, Note MEMO, "
    "Bytes LONGBINARY)";
const char* const kSourceRows[] = {
    "INSERT INTO Every VALUES (1, '墨水瓶', -7, 200, 1234.5678, 0.125, 2.5, 12345.678, True, "
    "#2024-02-29 13:45:10#, '长文本', NULL)",
    "INSERT INTO Every (ID) VALUES (2)",
    "INSERT INTO Every VALUES (3, '', 32767, 0, -0.0001, -1.5E+300, -3.25, -0.001, False, "
    "#1899-12-30 06:00:00#, '', NULL)",
    "INSERT INTO Every VALUES (4, 'say \"hi\", it''s', -32768, 255, 92233720368547.5807, 3, "
    "1E+10, 99999999999.999, True, #9999-12-31#, NULL, NULL)",
};

std::string LongMemo() {
  std::string text;
  for (int i = 0; i < 12000; ++i) text += i % 3 ? "ab" : "汉字";
  return text;
}

// A fresh file-store source beside the test's store, and a way to copy its
// table into a writer.
class TargetTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    if (IsSkipped()) return;
    dir_.emplace();
    source_ = OpenLocalFile(dir_->path());
    source_->Execute(kSourceTable);
    for (const char* row : kSourceRows) source_->Execute(row);
    const rt::SafeArray bytes(
        rt::VarType::Byte, 0,
        {Variant(std::uint8_t{0}), Variant(std::uint8_t{255}), Variant(std::uint8_t{16})});
    source_->backend().ExecuteNative("UPDATE Every SET Note = ?, Bytes = ? WHERE ID = 1",
                                     {Variant(LongMemo()), Variant(bytes)});
  }
  void TearDown() override {
    if (source_) source_->Close();
    dir_.reset();
    StoreTest::TearDown();
  }

  // The columns a recordset reports, as the engine hands them to a writer.
  static std::vector<Column> ColumnsOf(Recordset& rs) {
    std::vector<Column> columns;
    for (const ColumnInfo& c : rs.columns()) {
      columns.push_back({c.name, c.adoType, c.definedSize, c.precision, c.scale});
    }
    return columns;
  }

  // Every row of `sql` on `cn`, read statically.
  static std::vector<std::vector<Variant>> Rows(const std::shared_ptr<Connection>& cn,
                                                const std::string& sql) {
    return cn->Execute(sql, nullptr, -1, 3)->VisibleRows();
  }

  // The source table through `writer`: its columns, then its rows.
  void Copy(TableWriter& writer) {
    auto rs = source_->Execute("SELECT * FROM Every ORDER BY ID", nullptr, -1, 3);
    writer.Begin(ColumnsOf(*rs));
    for (const auto& row : Rows(source_, "SELECT * FROM Every ORDER BY ID")) writer.Row(row);
    writer.Finish();
  }

  // A writer to table `table` of the test's store.
  std::unique_ptr<TableWriter> Writer(const std::string& table) {
    if (store() == Store::File) {
      return formats::OpenFileStoreWriter(RouteConnection(connectionString_).dataSource, "", table,
                                          {});
    }
    return formats::OpenOdbcWriter(connectionString_, table, {});
  }

  // Whether the test's store has a table `table` (in any case).
  bool HasTable(const std::string& table) {
    auto cn = Connect();
    auto rs = cn->OpenSchema(20);
    for (; !rs->AtEOF(); rs->MoveNext()) {
      if (rt::NameEquals(rt::CStr(rs->ValueAt(2)), table)) return true;
    }
    return false;
  }

  std::optional<zmdb::testing::TempFolder> dir_;
  std::shared_ptr<Connection> source_;
};

std::vector<int> Bytes(const Variant& v) {
  std::vector<int> out;
  if (v.Type() != rt::VarType::Array) return out;
  for (const Variant& b : v.AsArray().items()) out.push_back(rt::CByte(b));
  return out;
}

// Two values alike as the column's kind reads them: numbers to a millionth
// of their size, dates to the second, bytes, text and Nulls exactly.
::testing::AssertionResult Alike(const Variant& want, const Variant& got) {
  if (want.IsNull() || got.IsNull()) {
    if (want.IsNull() == got.IsNull()) return ::testing::AssertionSuccess();
  } else if (want.Type() == rt::VarType::Array) {
    if (Bytes(want) == Bytes(got)) return ::testing::AssertionSuccess();
  } else if (want.Type() == rt::VarType::Date) {
    if (std::abs(rt::CDate(got).serial - want.AsDate().serial) < 1.0 / 86400)
      return ::testing::AssertionSuccess();
  } else if (want.Type() == rt::VarType::Boolean) {
    if (rt::CBool(got) == want.AsBoolean()) return ::testing::AssertionSuccess();
  } else if (want.IsString()) {
    if (rt::CStr(got) == want.AsString()) return ::testing::AssertionSuccess();
  } else {
    const double w = rt::CDbl(want), g = rt::CDbl(got);
    if (std::abs(w - g) <= std::abs(w) * 1e-6) return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "wrote " << (want.IsNull() ? "Null" : rt::CStr(want))
                                       << ", read back " << (got.IsNull() ? "Null" : rt::CStr(got));
}

TEST_P(TargetTest, EveryJetTypeReadsBackAsWrittenWithItsType) {
  Copy(*Writer("Output"));
  auto target = Connect();
  const auto want = Rows(source_, "SELECT * FROM Every ORDER BY ID");
  const auto got = Rows(target, "SELECT * FROM Output ORDER BY 1");
  ASSERT_EQ(got.size(), want.size());
  auto names = source_->Execute("SELECT * FROM Every WHERE 1=0", nullptr, -1, 3)->columns();
  for (std::size_t r = 0; r < want.size(); ++r) {
    ASSERT_EQ(got[r].size(), want[r].size());
    for (std::size_t c = 0; c < want[r].size(); ++c) {
      EXPECT_TRUE(Alike(want[r][c], got[r][c])) << "row " << r + 1 << ", " << names[c].name;
    }
  }
  // The file store makes exactly the source's Jet types; a server its own.
  if (store() == Store::File) {
    const auto from = source_->Execute("SELECT * FROM Every", nullptr, -1, 3)->columns();
    const auto to = target->Execute("SELECT * FROM Output", nullptr, -1, 3)->columns();
    ASSERT_EQ(to.size(), from.size());
    for (std::size_t i = 0; i < from.size(); ++i) {
      EXPECT_EQ(to[i].name, from[i].name);
      EXPECT_EQ(to[i].adoType, from[i].adoType) << from[i].name;
      EXPECT_EQ(to[i].definedSize, from[i].definedSize) << from[i].name;
      EXPECT_EQ(to[i].precision, from[i].precision) << from[i].name;
      EXPECT_EQ(to[i].scale, from[i].scale) << from[i].name;
    }
  } else if (store() == Store::Postgres) {
    const auto types = Rows(target,
                            "SELECT column_name, data_type, character_maximum_length, "
                            "numeric_precision, numeric_scale FROM information_schema.columns "
                            "WHERE table_name = 'output' ORDER BY ordinal_position");
    const std::vector<std::string> expected = {
        "id integer",         "name character varying 50",
        "small smallint",     "tiny smallint",
        "price numeric 19 4", "ratio double precision",
        "part real",          "amount numeric 18 3",
        "flag boolean",       "made timestamp without time zone",
        "note text",          "bytes bytea"};
    ASSERT_EQ(types.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      std::string text = rt::CStr(types[i][0]) + " " + rt::CStr(types[i][1]);
      if (!types[i][2].IsNull()) text += " " + rt::CStr(types[i][2]);
      if (rt::CStr(types[i][1]) == "numeric") {
        text += " " + rt::CStr(types[i][3]) + " " + rt::CStr(types[i][4]);
      }
      EXPECT_EQ(text, expected[i]);
    }
  }
}

TEST_P(TargetTest, AnExistingTableIsRefusedAndKept) {
  Connect()->Execute("CREATE TABLE Output (ID " + Type(Ddl::Int) + ")");
  Connect()->Execute("INSERT INTO Output VALUES (7)");
  EXPECT_EQ(RaisedNumber([&] { Writer("Output"); }), 3010);
  EXPECT_EQ(RaisedNumber([&] { Writer("OUTPUT"); }), 3010);
  EXPECT_EQ(rt::CLng(Scalar(Connect(), "SELECT COUNT(*) FROM Output")), 1);
}

// Whatever stops a write half-way (a value the store refuses after some
// batches went in, a row of the wrong length, a writer dropped before
// Finish) leaves no table behind, and the next write of the name works.
TEST_P(TargetTest, AFailureHalfWayLeavesNoTable) {
  const std::vector<Column> columns = {{"ID", 3, 4, 10, 0}, {"Amount", 14, 19, 18, 3}};
  struct Case {
    const char* what;
    std::vector<Variant> last;  // the row after 250 good ones
    bool finish;
  };
  const Case cases[] = {
      {"a row of the wrong length", {Variant(1)}, true},
      {"a writer dropped before Finish", {Variant(1), Variant(2.5)}, false},
      {"a value the store refuses", {Variant(1), Variant("not a number")}, true},
  };
  for (const Case& c : cases) {
    // SQLite files keep any value as it comes.
    if (store() != Store::Postgres && store() != Store::SqlServer &&
        std::string(c.what) == "a value the store refuses") {
      continue;
    }
    SCOPED_TRACE(c.what);
    {
      auto writer = Writer("Half");
      writer->Begin(columns);
      for (int i = 0; i < 250; ++i) writer->Row({Variant(i), Variant(i * 0.5)});
      EXPECT_TRUE(HasTable("Half"));
      if (c.finish) {
        EXPECT_NE(RaisedNumber([&] {
                    writer->Row(c.last);
                    writer->Finish();
                  }),
                  0);
        EXPECT_NE(RaisedNumber([&] { writer->Finish(); }), 0);  // closed after the failure
      } else {
        writer->Row(c.last);
      }
    }
    EXPECT_FALSE(HasTable("Half"));
  }
  auto writer = Writer("Half");
  writer->Begin(columns);
  writer->Row({Variant(1), Variant(2.5)});
  writer->Finish();
  EXPECT_EQ(rt::CLng(Scalar(Connect(), "SELECT COUNT(*) FROM Half")), 1);
}

INSTANTIATE_TEST_SUITE_P(Stores, TargetTest, EveryStore(), StoreParamName);

// The mapping of a result's ADO columns to the target's fields, for the
// columns no Jet table has (the copy of every Jet type above covers those).
TEST(TargetFields, FromAdoColumns) {
  using namespace typecodes::dao;
  struct Case {
    Column column;
    std::int32_t type, size, precision, scale;
  };
  const Case cases[] = {
      {{"a", 202, 256, 0, 0}, dbMemo, 0, 0, 0},
      {{"a", 129, 0, 0, 0}, dbMemo, 0, 0, 0},    // text of no known size
      {{"a", 16, 1, 3, 0}, dbInteger, 0, 0, 0},  // a signed byte does not fit Byte
      {{"a", 18, 2, 5, 0}, dbLong, 0, 0, 0},
      {{"a", 19, 4, 10, 0}, dbBigInt, 0, 0, 0},
      {{"a", 21, 8, 20, 0}, dbDecimal, 0, 20, 0},
      {{"a", 14, 19, 38, 40}, dbDecimal, 0, 28, 28},  // beyond what every target takes
      {{"a", 131, 0, 0, 0}, dbDecimal, 0, 0, 0},
      {{"a", 134, 8, 0, 0}, dbDate, 0, 0, 0},
      {{"a", 204, 16, 0, 0}, dbBinary, 16, 0, 0},
      {{"a", 204, 8000, 0, 0}, dbLongBinary, 0, 0, 0},
      {{"a", 12, 0, 0, 0}, dbMemo, 0, 0, 0},  // an expression of no declared type
  };
  for (const Case& c : cases) {
    const schema::FieldDef f = formats::TargetField(c.column);
    EXPECT_EQ(f.type, c.type) << "ADO " << c.column.type << " size " << c.column.definedSize;
    EXPECT_EQ(f.size, c.size) << "ADO " << c.column.type << " size " << c.column.definedSize;
    EXPECT_EQ(f.precision, c.precision) << "ADO " << c.column.type;
    EXPECT_EQ(f.scale, c.scale) << "ADO " << c.column.type;
  }
}

// A SQL Server target gets SQL Server's types: the stand-in driver keeps the
// CREATE TABLE as it was sent.
TEST(TargetOnSqlServer, TableIsMadeWithSqlServerTypes) {
  const StandInDirectory standIn("targetss");
  {
    auto writer = formats::OpenOdbcWriter("ODBC;" + standIn.text, "Output", {});
    writer->Begin({{"ID", 3, 4, 10, 0},
                   {"名称", 202, 50, 0, 0},
                   {"Price", 6, 8, 19, 4},
                   {"Amount", 131, 19, 18, 3},
                   {"Flag", 11, 2, 0, 0},
                   {"Made", 7, 8, 0, 0},
                   {"Small", 2, 2, 5, 0},
                   {"Bytes", 204, 16, 0, 0}});
    writer->Row({Variant(1), Variant("墨"), Variant(rt::Currency{12345}), Variant("1.5"),
                 Variant(true), Variant(rt::MakeDate(2024, 1, 2)), Variant(std::int16_t{3}),
                 Variant::Null()});
    writer->Finish();
  }
  auto cn = Connection::Create();
  cn->Open(standIn.text);
  EXPECT_EQ(rt::CStr(Scalar(cn, "SELECT sql FROM sqlite_master WHERE name = 'Output'")),
            "CREATE TABLE \"Output\" (\"ID\" int, \"名称\" nvarchar(50), \"Price\" money, "
            "\"Amount\" decimal(18,3), \"Flag\" bit, \"Made\" datetime, \"Small\" smallint, "
            "\"Bytes\" varbinary(16))");
  EXPECT_EQ(rt::CStr(Scalar(cn, "SELECT 名称 FROM Output")), "墨");
  cn->Close();
}

// A new file-store file is made encrypted with the password given, and a
// failed write removes it again.
TEST(TargetFileStore, NewFileIsEncryptedAndRemovedOnFailure) {
  const zmdb::testing::TempFolder dir;
  const std::string path = dir / "new.mdb";
  {
    auto writer = formats::OpenFileStoreWriter(path, "秘密", "Output", {});
    writer->Begin({{"ID", 3, 4, 10, 0}});
    EXPECT_THROW(writer->Row({}), rt::PlatformError);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
  auto writer = formats::OpenFileStoreWriter(path, "秘密", "Output", {});
  writer->Begin({{"ID", 3, 4, 10, 0}});
  writer->Row({Variant(5)});
  writer->Finish();
  auto plain = Connection::Create();
  EXPECT_NE(RaisedNumber([&] { plain->Open(path); }), 0);  // no password: refused
  auto cn = Connection::Create();
  cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path +
           ";Jet OLEDB:Database Password=秘密;");
  EXPECT_EQ(rt::CLng(Scalar(cn, "SELECT ID FROM Output")), 5);
  cn->Close();
}

// "ODBC;" without a data source asks the host for one; the database's
// Connect then carries the answer. A cancel is error 3059.
TEST(OdbcPrompt, AsksTheHostForTheDataSource) {
  if (!SharedPostgres()) GTEST_SKIP() << "no PostgreSQL: " << PostgresUnavailable();
  const std::string server = SharedPostgres()->ConnectionString("postgres");
  auto host = std::make_shared<rt::HeadlessHost>();
  rt::ScopedHost scope(host);
  dao::DBEngine engine;
  const auto& ws = engine.DefaultWorkspace();
  struct Case {
    const char* connect;
    std::vector<rt::DialogScript> script;
    std::int32_t error;
    std::size_t dialogs;  // shown so far
  };
  const Case cases[] = {
      {"odbc;", {{rt::DialogScript::Kind::DataSource, 0, server}}, 0, 1},
      {"ODBC;", {{rt::DialogScript::Kind::Cancel, 0, ""}}, 3059, 2},
      {"ODBC; ;", {{rt::DialogScript::Kind::DataSource, 0, "ODBC;" + server}}, 0, 3},
      {"", {}, 3055, 3},  // no name and no connect string: a file name is needed
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.connect);
    host->ScriptDialogs(c.script);
    std::vector<Variant> args = {Variant(""), Variant(false), Variant(false), Variant(c.connect)};
    std::shared_ptr<dao::Database> db;
    EXPECT_EQ(
        RaisedNumber([&] { db = rt::ObjectAs<dao::Database>(ws->Call("OpenDatabase", args)); }),
        c.error);
    ASSERT_EQ(host->dialogs().size(), c.dialogs);
    EXPECT_EQ(host->dialogs().back().kind, "DataSource");
    if (c.error) continue;
    EXPECT_EQ(rt::CStr(db->GetProperty("Connect", {})), "ODBC;" + server);
    EXPECT_GT(rt::CLng(db->TableDefs()->GetProperty("Count", {})), -1);
    db->Close();
  }
  // A connect string that names its data source asks nothing.
  host->ClearRecord();
  ws->OpenDatabase({"", false, "ODBC;" + server})->Close();
  EXPECT_TRUE(host->dialogs().empty());
}

}  // namespace
}  // namespace zmdb::dal::testing
