// The Jet-to-SQLite rewriter and the column-type mapping.
//
// Most cases are files under data/jetsql/*.test, each run on a fresh SQLite
// file with the Jet functions registered: every Jet statement goes through
// RewriteJet and every resulting statement is executed. A file is a sequence
// of records separated by blank lines; lines starting with "#" between records
// are comments.
//
//   statement ok                 the statement runs without error
//   <Jet SQL, one or more lines>
//
//   statement error [N | text]   the statement fails: with error number N, or
//   <Jet SQL>                    with a message containing `text`, or at all
//
//   rewrite error [N | text]     as "statement error", but the rewriter itself
//   <Jet SQL>                    refuses it: SQLite never sees the statement
//
//   query                        the statement's rows, in the order returned:
//   <Jet SQL>                    one line per row, values joined by "|", NULL
//   ----                         for Null, (empty) for an empty text and
//   <rows>                       numbers as SQLite writes them
//
//   query columns                the statement's result columns, one line
//   <Jet SQL>                    each: name|ADO type|defined size, plus
//   ----                         |precision|scale for Decimal columns and
//   <columns>                    |auto for AutoNumber, read through
//                                sqlite3_column_decltype and ColumnTypeForDeclared
//
//   store ok                     the statement runs through the file store (a
//   store error [N | text]       connection opened on the file for it), as a
//   <Jet SQL>                    caller's statement would, not as bare SQLite
//
//   query indexes                the indexes of the named table as the file
//   <table>                      store reads them on a fresh connection, one
//   ----                         line each: name|key fields|flags, the flags
//   <indexes>                    P(rimary) U(nique) R(equired) or "-"
//
// The files under data/jetsql/connection/ run instead through a Connection on
// a real file, so the store's own part (its catalogue records, the engine's
// error numbers and texts) is checked with the rewrite: "query" rows are the
// values' texts, "query columns" the fields' ADO types and defined sizes.
//
// An error is numbered as the provider would, simply: the rewriter raises its
// own numbers; SQLite's syntax errors are -2147217900, "no such table"
// -2147217865 and "no such column" -2147217904; anything else is 0.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "dal/sqlite/backend_p.h"
#include "dal/sqlite/coltypes_p.h"
#include "dal/sqlite/functions_p.h"
#include "dal/sqlite/jetsql_p.h"
#include "data_rows.h"
#include "raised.h"
#include "temp_folder.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::sqlite {
namespace {

using testing::RaisedError;

namespace fs = std::filesystem;

const fs::path kCaseDir = fs::path(ZMDB_TEST_DATA) / "jetsql";

// ------------------------------------------------------------ case files

struct Record {
  int line = 0;      // line of the record's first line
  std::string kind;  // "statement ok", "statement error", "query", "query columns"
  std::string arg;   // statement error: the expected number or text, if any
  std::string sql;
  std::vector<std::string> expected;
};

// Reads a case file; malformed records are reported in `problems`.
std::vector<Record> LoadRecords(const fs::path& path, std::vector<std::string>& problems) {
  std::ifstream in(path);
  if (!in) problems.push_back("cannot open " + path.string());
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) {
    if (!l.empty() && l.back() == '\r') l.pop_back();
    lines.push_back(l);
  }
  std::vector<Record> records;
  for (std::size_t i = 0; i < lines.size();) {
    const std::string& head = lines[i];
    if (head.empty() || head[0] == '#') {
      ++i;
      continue;
    }
    Record r;
    r.line = static_cast<int>(i) + 1;
    if (head == "statement ok" || head == "store ok" || head == "query" ||
        head == "query columns" || head == "query indexes") {
      r.kind = head;
    } else if (head.rfind("statement error", 0) == 0 || head.rfind("store error", 0) == 0 ||
               head.rfind("rewrite error", 0) == 0) {
      const std::size_t word = head.find(' ');
      r.kind = head.substr(0, word) + " error";
      const std::size_t a = head.find_first_not_of(' ', word + 6);
      if (a != std::string::npos) r.arg = head.substr(a);
    } else {
      problems.push_back(path.filename().string() + ":" + std::to_string(i + 1) +
                         ": unknown record '" + head + "'");
      ++i;
      continue;
    }
    for (++i; i < lines.size() && !lines[i].empty() && lines[i] != "----"; ++i) {
      r.sql += (r.sql.empty() ? "" : "\n") + lines[i];
    }
    const bool isQuery = r.kind.rfind("query", 0) == 0;
    if (isQuery != (i < lines.size() && lines[i] == "----") || r.sql.empty()) {
      problems.push_back(path.filename().string() + ":" + std::to_string(r.line) +
                         ": a query needs \"----\" and its rows; a statement must not have them");
    }
    if (isQuery) {
      for (++i; i < lines.size() && !lines[i].empty(); ++i) r.expected.push_back(lines[i]);
    }
    records.push_back(std::move(r));
  }
  return records;
}

// ------------------------------------------------------------ execution

struct Outcome {
  bool ok = true;
  int number = 0;
  std::string message;
  std::vector<std::string> rows;     // query: the rows of the last statement
  std::vector<std::string> columns;  // query columns: the column descriptions
};

// The error number of an SQLite failure, by the runner's small mapping.
int NumberOf(const std::string& message) {
  if (message.find("syntax error") != std::string::npos || message.rfind("near ", 0) == 0 ||
      message.find("unrecognized token") != std::string::npos) {
    return rt::err::kSyntaxError;
  }
  if (message.find("no such table") != std::string::npos) return rt::err::kNoSuchObject;
  if (message.find("no such column") != std::string::npos) return rt::err::kMissingParameter;
  return 0;
}

// A result value as the case files write it.
std::string ValueText(sqlite3_stmt* st, int col) {
  if (sqlite3_column_type(st, col) == SQLITE_NULL) return "NULL";
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, col));
  return text == nullptr || *text == '\0' ? "(empty)" : text;
}

// A result column as "name|type|size", with "|precision|scale" for Decimal
// and "|auto" for AutoNumber.
std::string ColumnText(sqlite3_stmt* st, int col) {
  const char* decl = sqlite3_column_decltype(st, col);
  const ColumnType t = ColumnTypeForDeclared(decl == nullptr ? "" : decl);
  std::string s = std::string(sqlite3_column_name(st, col)) + "|" + std::to_string(t.adoType) +
                  "|" + std::to_string(t.definedSize);
  if (t.adoType == 131) s += "|" + std::to_string(t.precision) + "|" + std::to_string(t.scale);
  if (t.autoNumber) s += "|auto";
  return s;
}

// Rewrites a Jet statement and runs the result, stopping at the first failure;
// with no database, only rewrites it.
Outcome RunJet(sqlite3* db, const std::string& jet) {
  Outcome out;
  Rewritten r;
  try {
    r = RewriteJet(jet);
  } catch (const rt::PlatformError& e) {
    return {false, e.number(), e.what(), {}, {}};
  }
  if (db == nullptr) return out;
  for (const std::string& sql : r.statements) {
    sqlite3_stmt* st = nullptr;
    int rc = sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr);
    out.rows.clear();
    out.columns.clear();
    if (rc == SQLITE_OK && st != nullptr) {
      for (int c = 0; c < sqlite3_column_count(st); ++c) out.columns.push_back(ColumnText(st, c));
      while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
        std::string row;
        for (int c = 0; c < sqlite3_column_count(st); ++c) row += (c ? "|" : "") + ValueText(st, c);
        out.rows.push_back(row);
      }
    }
    sqlite3_finalize(st);
    if (rc != SQLITE_OK && rc != SQLITE_DONE) {
      const std::string message = std::string(sqlite3_errmsg(db)) + " [in: " + sql + "]";
      return {false, NumberOf(sqlite3_errmsg(db)), message, {}, {}};
    }
  }
  return out;
}

// Runs a Jet statement through the file store on `path`, as a caller would.
Outcome RunThroughStore(const std::string& path, const std::string& jet) {
  try {
    OpenDatabase({path})->Execute(jet);
  } catch (const rt::PlatformError& e) {
    return {false, e.number(), e.what(), {}, {}};
  }
  return {};
}

// The indexes of `table` as the file store reads them, one line each.
Outcome IndexesThroughStore(const std::string& path, const std::string& table) {
  Outcome out;
  try {
    const auto def = OpenDatabase({path})->Schema().Table(table);
    if (!def) return {false, 0, "no table " + table, {}, {}};
    for (const schema::IndexDef& i : def->indexes) {
      std::string keys, flags;
      for (const auto& f : i.fields) keys += (keys.empty() ? "" : ",") + f.name;
      if (i.primary) flags += "P";
      if (i.unique) flags += "U";
      if (i.required) flags += "R";
      out.rows.push_back(i.name + "|" + keys + "|" + (flags.empty() ? "-" : flags));
    }
  } catch (const rt::PlatformError& e) {
    return {false, e.number(), e.what(), {}, {}};
  }
  return out;
}

// A fresh database file for one case file, in the test's own folder.
class ScratchDb {
 public:
  // Creates the file and registers the Jet functions on it.
  ScratchDb() : path_(folder_ / "scratch.db") {
    sqlite3_open_v2(path_.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    if (db_ != nullptr) registered_ = RegisterJetFunctions(db_);
  }
  ~ScratchDb() { sqlite3_close(db_); }
  ScratchDb(const ScratchDb&) = delete;
  ScratchDb& operator=(const ScratchDb&) = delete;

  // The open connection (null when the file could not be opened).
  sqlite3* get() const { return db_; }
  std::string path() const { return path_; }
  // What RegisterJetFunctions returned.
  int registered() const { return registered_; }

 private:
  zmdb::testing::TempFolder folder_;
  std::string path_;
  sqlite3* db_ = nullptr;
  int registered_ = SQLITE_ERROR;
};

// Every *.test file of the case directory, sorted.
std::vector<std::string> CaseFiles(const fs::path& dir = kCaseDir) {
  std::vector<std::string> files;
  for (const auto& e : fs::directory_iterator(dir)) {
    if (e.path().extension() == ".test") files.push_back(e.path().filename().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// Checks one record's outcome against what it expects.
void Check(const Record& r, const Outcome& got) {
  if (r.kind.ends_with(" error")) {
    ASSERT_FALSE(got.ok) << "expected an error";
    if (r.arg.empty()) return;
    if (r.arg.find_first_not_of("-0123456789") == std::string::npos) {
      EXPECT_EQ(got.number, std::stoi(r.arg)) << got.message;
    } else {
      EXPECT_NE(got.message.find(r.arg), std::string::npos) << got.message;
    }
    return;
  }
  ASSERT_TRUE(got.ok) << "error " << got.number << ": " << got.message;
  if (r.kind == "query" || r.kind == "query indexes") {
    EXPECT_EQ(got.rows, r.expected);
  } else if (r.kind == "query columns") {
    EXPECT_EQ(got.columns, r.expected);
  }
}

class JetSqlFile : public ::testing::TestWithParam<std::string> {};

// Every record of one case file, in order, on one fresh database.
TEST_P(JetSqlFile, RunsOnSqlite) {
  std::vector<std::string> problems;
  const auto records = LoadRecords(kCaseDir / GetParam(), problems);
  ASSERT_TRUE(problems.empty()) << ::testing::PrintToString(problems);
  ASSERT_FALSE(records.empty());
  ScratchDb db;
  ASSERT_NE(db.get(), nullptr);
  ASSERT_EQ(db.registered(), SQLITE_OK);
  for (const Record& r : records) {
    SCOPED_TRACE(GetParam() + ":" + std::to_string(r.line) + ": " + r.sql);
    if (r.kind == "rewrite error") {
      Check(r, RunJet(nullptr, r.sql));
    } else if (r.kind.rfind("store", 0) == 0) {
      Check(r, RunThroughStore(db.path(), r.sql));
    } else if (r.kind == "query indexes") {
      Check(r, IndexesThroughStore(db.path(), r.sql));
    } else {
      Check(r, RunJet(db.get(), r.sql));
    }
  }
}

// A case file's stem, as a test name.
std::string FileTestName(const ::testing::TestParamInfo<std::string>& param_info) {
  std::string name = fs::path(param_info.param).stem().string();
  for (char& ch : name) {
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(JetSqlData, JetSqlFile, ::testing::ValuesIn(CaseFiles()), FileTestName);

// ------------------------------------------------------------ through a connection

// A value as a "query" row shows it.
std::string VariantText(const rt::Variant& v) {
  if (v.IsNull()) return "NULL";
  const std::string text = rt::TextOf(v);
  return text.empty() ? "(empty)" : text;
}

// Runs a Jet statement through the connection, reading any rows it returns.
Outcome RunThrough(const std::shared_ptr<Connection>& cn, const std::string& jet) {
  Outcome out;
  try {
    std::shared_ptr<Recordset> rs = cn->Execute(jet);
    if (rs->State() == 0) return out;
    const auto& fields = rs->fields();
    for (std::int32_t c = 0; c < fields->Count(); ++c) {
      const auto f = fields->Item(rt::Variant(c));
      out.columns.push_back(f->Name() + "|" + std::to_string(f->Type()) + "|" +
                            std::to_string(f->DefinedSize()));
    }
    for (; !rs->AtEOF(); rs->MoveNext()) {
      std::string row;
      for (std::int32_t c = 0; c < fields->Count(); ++c) {
        row += (c ? "|" : "") + VariantText(rs->ValueAt(static_cast<std::size_t>(c)));
      }
      out.rows.push_back(row);
    }
  } catch (const rt::PlatformError& e) {
    return {false, e.number(), e.info().Description, {}, {}};
  }
  return out;
}

class JetSqlConnectionFile : public ::testing::TestWithParam<std::string> {};

TEST_P(JetSqlConnectionFile, RunsThroughAConnection) {
  std::vector<std::string> problems;
  const auto records = LoadRecords(kCaseDir / "connection" / GetParam(), problems);
  ASSERT_TRUE(problems.empty()) << ::testing::PrintToString(problems);
  const zmdb::testing::TempFolder folder;
  const std::string path = folder / "cases.mdb";
  OpenDatabase({path, true, false, 5000})->Close();
  auto cn = Connection::Create();
  cn->Open(path);
  for (const Record& r : records) {
    SCOPED_TRACE("connection/" + GetParam() + ":" + std::to_string(r.line) + ": " + r.sql);
    Check(r, RunThrough(cn, r.sql));
  }
  cn->Close();
}

INSTANTIATE_TEST_SUITE_P(JetSqlData, JetSqlConnectionFile,
                         ::testing::ValuesIn(CaseFiles(kCaseDir / "connection")), FileTestName);

// ------------------------------------------------------------ text tables

// The exact text of rewrites whose form matters beyond their result.
TEST(JetSqlRewrite, TokenCases) {
  const struct {
    const char* jet;
    const char* sqlite;
  } kCases[] = {
      {"SELECT a & b FROM t", "SELECT (IFNULL(a,'') || IFNULL(b,'')) FROM t"},
      {"SELECT x+1 & 'y' & Mid(s, 2) AS z FROM t",
       "SELECT (IFNULL(x+1,'') || 'y' || IFNULL(Mid(s, 2),'')) AS z FROM t"},
      {"SELECT \"it's\", 'a & b', \"say \"\"hi\"\"\" FROM t",
       "SELECT 'it''s', 'a & b', 'say \"hi\"' FROM t"},
      {"SELECT [TOP 5], '#1/1/2000#' FROM [my t] -- True\nWHERE d > #1/2/2003 1:05 PM#",
       "SELECT [TOP 5], '#1/1/2000#' FROM [my t]  \nWHERE d > '2003-01-02 13:05:00'"},
      {"SELECT DISTINCTROW a FROM t WHERE b = True OR c = false",
       "SELECT DISTINCT a FROM t WHERE b = -1 OR c = 0"},
      {"SELECT 5-True, 7 Mod 2, Mid$(s, 1) FROM t", "SELECT 5- -1, 7 % 2, Mid(s, 1) FROM t"},
      {"DELETE t.* FROM t WHERE x = 1", "DELETE FROM t WHERE x = 1"},
      {"SELECT a INTO [new t] FROM t", "CREATE TABLE [new t] AS SELECT a FROM t"},
      {"SELECT TOP 10 PERCENT a FROM t WHERE b > 1 ORDER BY a",
       "SELECT a FROM t WHERE b > 1 ORDER BY a LIMIT (SELECT CAST(((COUNT(*) * 10) + 99) / 100 "
       "AS INTEGER) FROM (SELECT a FROM t WHERE b > 1))"},
  };
  for (const auto& c : kCases) {
    const Rewritten r = RewriteJet(c.jet);
    ASSERT_EQ(r.statements.size(), 1u) << c.jet;
    EXPECT_EQ(r.statements[0], c.sqlite) << c.jet;
  }
}

// DDL whose companion statements (triggers, sequence rows) are the point.
TEST(JetSqlRewrite, DdlStatements) {
  EXPECT_EQ(RewriteJet("CREATE TABLE [a b] (N COUNTER, [x \"y] TEXT(10) NOT NULL)").statements,
            (std::vector<std::string>{
                "CREATE TABLE [a b] (N COUNTER, [x \"y] VARCHAR(10) COLLATE NOCASE NOT NULL CHECK "
                "(length([x \"y]) <= 10))",
                "CREATE TRIGGER \"a b__counter_N\" AFTER INSERT ON \"a b\" FOR EACH ROW WHEN "
                "NEW.\"N\" IS NULL BEGIN UPDATE \"a b\" SET \"N\" = (SELECT IFNULL(MAX(\"N\") + 1, "
                "1) FROM \"a b\") WHERE rowid = NEW.rowid; END"}));
  EXPECT_EQ(RewriteJet("CREATE TABLE t (ID AUTOINCREMENT(100, 1), CONSTRAINT pk PRIMARY KEY (id))")
                .statements,
            (std::vector<std::string>{
                "CREATE TABLE t (ID INTEGER CONSTRAINT pk PRIMARY KEY AUTOINCREMENT)",
                "INSERT INTO sqlite_sequence (name, seq) VALUES ('t', 99)"}));
  EXPECT_EQ(RewriteJet("DROP INDEX ix ON t").statements,
            (std::vector<std::string>{"DROP INDEX ix", "DROP TRIGGER IF EXISTS \"ix__notnull_ins\"",
                                      "DROP TRIGGER IF EXISTS \"ix__notnull_upd\""}));
}

// A statement the rewriter refuses is named in the error's text (the
// refusals themselves are the cases of data/jetsql/syntax_errors.test).
TEST(JetSqlRewrite, SyntaxErrorsNameTheStatement) {
  for (const char* jet : {"SELECT 'open", "CREATE TABLE t (a WIDGET)", "SELECT 1; SELECT 2"}) {
    const rt::ErrorInfo e = RaisedError([&] { RewriteJet(jet); });
    EXPECT_EQ(e.Number, rt::err::kSyntaxError) << jet;
    EXPECT_NE(e.Description.find(jet), std::string::npos) << e.Description;
  }
}

// Parentheses nest 256 deep, every level rewritten; deeper statements, however
// deep, are refused with a syntax error before any rewrite recurses into them.
TEST(JetSqlRewrite, NestingLimit) {
  const auto nested = [](std::size_t n, const char* inner) {
    return "SELECT " + std::string(n, '(') + inner + std::string(n, ')');
  };
  EXPECT_EQ(RewriteJet(nested(256, "True")).statements,
            std::vector<std::string>{nested(256, "-1")});
  for (const std::size_t n : {257, 20'000, 100'000}) {
    const rt::ErrorInfo e = RaisedError([&] { RewriteJet(nested(n, "1")); });
    EXPECT_EQ(e.Number, rt::err::kSyntaxError) << n;
    EXPECT_NE(e.Description.find("nested too deeply"), std::string::npos) << n;
  }
}

// ";" splits only outside literals, names and comments; empty pieces go.
TEST(JetSqlSplit, SplitsOutsideLiteralsAndComments) {
  const struct {
    const char* text;
    std::vector<std::string> pieces;
  } kCases[] = {
      {"SELECT 1; SELECT 2;", {"SELECT 1", "SELECT 2"}},
      {"SELECT ';', \";\", [a;b] FROM t; ;  ; -- only a comment; still\n",
       {"SELECT ';', \";\", [a;b] FROM t"}},
      {"SELECT 'it''s;' /* ; */ FROM t;DELETE FROM t",
       {"SELECT 'it''s;' /* ; */ FROM t", "DELETE FROM t"}},
      {"", {}},
      {"SELECT 'open;", {"SELECT 'open;"}},
  };
  for (const auto& c : kCases) EXPECT_EQ(SplitStatements(c.text), c.pieces) << c.text;
}

// The cases of data/jetsql/declared_types.txt.
TEST(ColTypes, ForeignDeclaredTypes) {
  const auto cases = zmdb::testing::DataRows("jetsql/declared_types.txt");
  ASSERT_GT(cases.size(), 10u);
  for (const auto& c : cases) {
    ASSERT_EQ(c.size(), 3u) << c[0];
    const ColumnType t = ColumnTypeForDeclared(c[0]);
    EXPECT_EQ(t.adoType, std::stoi(c[1])) << c[0];
    EXPECT_EQ(t.definedSize, std::stoi(c[2])) << c[0];
  }
}

// Jet names in any case, default and out-of-range sizes.
TEST(ColTypes, JetNamesAndSizes) {
  EXPECT_EQ(DeclaredTypeForJet("text"), "VARCHAR(255) COLLATE NOCASE");
  EXPECT_EQ(DeclaredTypeForJet("Char", 1), "VARCHAR(1) COLLATE NOCASE");
  EXPECT_EQ(DeclaredTypeForJet("NUMERIC", 10, 2), "DECIMAL(10,2)");
  EXPECT_EQ(DeclaredTypeForJet("varbinary"), "BINARY(510)");
  EXPECT_EQ(DeclaredTypeForJet("Long", 9), "INTEGER");
  for (auto bad : {DeclaredTypeForJet("TEXT", 0), DeclaredTypeForJet("TEXT", 256),
                   DeclaredTypeForJet("BINARY", 511), DeclaredTypeForJet("DECIMAL", 29),
                   DeclaredTypeForJet("DECIMAL", 5, 6), DeclaredTypeForJet("VARCHAR2")}) {
    EXPECT_FALSE(bad.has_value()) << *bad;
  }
  const ColumnType d = ColumnTypeForDeclared("DECIMAL(10,2)");
  EXPECT_EQ(d.precision, 10);
  EXPECT_EQ(d.scale, 2);
  EXPECT_TRUE(ColumnTypeForDeclared("COUNTER").autoNumber);
}

}  // namespace
}  // namespace zmdb::dal::sqlite
