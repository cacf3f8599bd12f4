// Jet's SQL functions on SQLite: each row runs `SELECT <expr>` on a fresh
// in-memory connection and compares the result's text, or the error message.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "dal/sqlite/functions_p.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::sqlite {
namespace {

// One expression and what it must give: the result's text ("NULL" for NULL),
// or with `error` set, a text the error message must contain.
struct SqlCase {
  std::string_view expr;
  std::string_view want;
  bool error = false;
};

// Marks a row whose expression must fail with a message containing `text`.
SqlCase Fails(std::string_view expr, std::string_view text) {
  return {expr, text, true};
}

class JetFunctions : public ::testing::Test {
 protected:
  // Opens the connection and registers the functions.
  void SetUp() override {
    ASSERT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK);
    ASSERT_EQ(RegisterJetFunctions(db_), SQLITE_OK);
  }
  // Closes the connection.
  void TearDown() override { sqlite3_close(db_); }

  // Runs `sql` and gives its first column as text, "NULL", or "error: <message>".
  std::string Eval(std::string_view sql) {
    sqlite3_stmt* stmt = nullptr;
    std::string out;
    if (sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &stmt, nullptr) !=
        SQLITE_OK) {
      out = std::string("error: ") + sqlite3_errmsg(db_);
    } else if (sqlite3_step(stmt) != SQLITE_ROW) {
      out = std::string("error: ") + sqlite3_errmsg(db_);
    } else if (sqlite3_column_type(stmt, 0) == SQLITE_NULL) {
      out = "NULL";
    } else {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
      out.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(stmt, 0)));
    }
    sqlite3_finalize(stmt);
    return out;
  }

  // Checks every row of a table, naming the failing expression.
  void Run(const std::vector<SqlCase>& cases) {
    for (const SqlCase& c : cases) {
      const std::string got = Eval("SELECT " + std::string(c.expr));
      if (c.error) {
        EXPECT_TRUE(got.rfind("error: ", 0) == 0 && got.find(c.want) != std::string::npos)
            << c.expr << " gave " << got << ", expected an error with " << c.want;
      } else {
        EXPECT_EQ(got, c.want) << c.expr;
      }
    }
  }

  sqlite3* db_ = nullptr;
};

TEST_F(JetFunctions, Text) {
  Run({
      {"Mid('中文abc', 2, 2)", "文a"},
      {"Mid('abcdef', 3)", "cdef"},
      {"Mid('abc', 5)", ""},
      {"Mid('abc', 2, 0)", ""},
      {"Mid(12345, 2, 3)", "234"},
      {"Mid('abc', 1.5, 1)", "b"},
      {"Mid(NULL, 1, 1)", "NULL"},
      Fails("Mid('abc', 0, 1)", "Invalid procedure call or argument"),
      Fails("Mid('abc', 1, -1)", "Invalid procedure call or argument"),
      Fails("Mid('abc', NULL)", "Invalid use of Null"),
      {"Len('中文')", "2"},
      {"Len('')", "0"},
      {"Len(12.5)", "4"},
      {"Len(NULL)", "NULL"},
      {"\"Left\"('中文abc', 3)", "中文a"},
      {"\"Left\"('ab', 5)", "ab"},
      Fails("\"Left\"('ab', -1)", "Invalid procedure call or argument"),
      {"\"Right\"('abc中', 2)", "c中"},
      {"\"Right\"('ab', 9)", "ab"},
      {"\"Right\"(NULL, 1)", "NULL"},
      {"InStr('abcabc', 'BC')", "2"},
      {"InStr(3, 'abcabc', 'bc')", "5"},
      {"InStr(1, 'abcabc', 'BC', 0)", "0"},
      {"InStr(1, 'abcabc', 'BC', 1)", "2"},
      {"InStr('中文abc', 'A')", "3"},
      {"InStr(2, 'abc', '')", "2"},
      {"InStr(4, 'abc', '')", "0"},
      {"InStr('abc', NULL)", "NULL"},
      Fails("InStr(0, 'abc', 'a')", "Invalid procedure call or argument"),
      Fails("InStr(1, 'abc', 'b', 7)", "Invalid procedure call or argument"),
      Fails("InStr(NULL, 'abc', 'b')", "Invalid use of Null"),
      {"UCase('straße ÿé ς 中文')", "STRAßE ŸÉ Σ 中文"},
      {"LCase('ÀÉΣΑΣ ДОМ Ёж ŁÓDŹ ＡＢ')", "àéσασ дом ёж łódź ａｂ"},
      {"UCase(NULL)", "NULL"},
      {"'[' || Trim('  a b  ') || ']'", "[a b]"},
      {"'[' || LTrim('  a ') || ']'", "[a ]"},
      {"'[' || RTrim(' a  ') || ']'", "[ a]"},
      {"'[' || Trim(char(9) || 'a ') || ']'", "[\ta]"},
      {"'[' || Space(3) || ']'", "[   ]"},
      {"Space(NULL)", "NULL"},
      Fails("Space(-1)", "Invalid procedure call or argument"),
      Fails("Space(2000000000)", "too big"),
      {"String(3, 'ab')", "aaa"},
      {"String(2, '中')", "中中"},
      {"String(3, 65)", "AAA"},
      {"String(2, 20013)", "中中"},
      {"String(NULL, 'a')", "NULL"},
      Fails("String(-1, 'a')", "Invalid procedure call or argument"),
      Fails("String(2, '')", "Invalid procedure call or argument"),
      {"Val('  12ab')", "12"},
      {"Val('1.5e3')", "1500"},
      {"Val('&H10')", "16"},
      {"Val('&HFFFF')", "-1"},
      {"Val('&O17')", "15"},
      {"Val('abc')", "0"},
      {"Val(' 1 615 198th')", "1615198"},
      {"Val('-3.5x')", "-3.5"},
      {"Val('2e')", "2"},
      {"Val(NULL)", "NULL"},
      {"Str(5)", " 5"},
      {"Str(-5)", "-5"},
      {"Str(1.5)", " 1.5"},
      {"Str(NULL)", "NULL"},
  });
}

TEST_F(JetFunctions, Conversion) {
  Run({
      {"CStr(12)", "12"},
      {"CStr(3.0)", "3"},
      {"CStr(5000000000)", "5000000000"},
      Fails("CStr(NULL)", "Invalid use of Null"),
      {"CInt(2.5)", "2"},
      {"CInt(3.5)", "4"},
      {"CInt('12.5')", "12"},
      Fails("CInt(40000)", "Overflow"),
      {"CLng(-2.5)", "-2"},
      Fails("CLng('abc')", "Type mismatch"),
      Fails("CLng(NULL)", "Invalid use of Null"),
      {"CDbl('1.5')", "1.5"},
      {"CCur(1.23456)", "1.2346"},
      {"typeof(CCur(2))", "real"},
      {"CDate('2004-08-30')", "2004-08-30 00:00:00"},
      {"CDate('8/30/2004 1:05 PM')", "2004-08-30 13:05:00"},
      {"CDate(38229.5)", "2004-08-30 12:00:00"},
      Fails("CDate('abc')", "Type mismatch"),
      {"CBool(5)", "-1"},
      {"CBool(0)", "0"},
      {"CBool('True')", "-1"},
      Fails("CBool('abc')", "Type mismatch"),
  });
}

TEST_F(JetFunctions, Dates) {
  Run({
      {"Year('2004-08-30 13:05:09')", "2004"},
      {"Month('2004-08-30 13:05:09')", "8"},
      {"Day('2004-08-30 13:05:09')", "30"},
      {"Hour('2004-08-30 13:05:09')", "13"},
      {"Minute('2004-08-30 13:05:09')", "5"},
      {"Second('2004-08-30 13:05:09')", "9"},
      {"Year(38229)", "2004"},
      {"Year(NULL)", "NULL"},
      Fails("Year('abc')", "Type mismatch"),
      {"Weekday('2004-08-30')", "2"},
      {"Weekday('2004-08-30', 2)", "1"},
      {"Weekday('2004-08-29', 2)", "7"},
      Fails("Weekday('2004-08-30', 8)", "Invalid procedure call or argument"),
      {"DateAdd('m', 1, '2004-01-31')", "2004-02-29 00:00:00"},
      {"DateAdd('yyyy', 1, '2004-02-29')", "2005-02-28 00:00:00"},
      {"DateAdd('q', -1, '2004-05-31 10:00:00')", "2004-02-29 10:00:00"},
      {"DateAdd('d', 1, '2004-12-31 23:00:00')", "2005-01-01 23:00:00"},
      {"DateAdd('D', 1.9, '2004-01-01')", "2004-01-02 00:00:00"},
      {"DateAdd('ww', 2, '2004-12-25')", "2005-01-08 00:00:00"},
      {"DateAdd('h', 2, '2004-12-31 23:00:00')", "2005-01-01 01:00:00"},
      {"DateAdd('n', -90, '2004-01-01')", "2003-12-31 22:30:00"},
      {"DateAdd('s', 61, '2004-01-01')", "2004-01-01 00:01:01"},
      {"DateAdd('h', 1, '1899-12-29 23:00:00')", "1899-12-30 00:00:00"},
      {"DateAdd('d', -1, '1800-01-01 06:00:00')", "1799-12-31 06:00:00"},
      {"DateAdd('d', 1, NULL)", "NULL"},
      Fails("DateAdd('x', 1, '2004-01-01')", "Invalid procedure call or argument"),
      Fails("DateAdd('yyyy', 9000, '2004-01-01')", "Invalid procedure call or argument"),
      {"DateDiff('d', '2004-01-01 23:59:59', '2004-01-02 00:00:01')", "1"},
      {"DateDiff('d', '2004-01-10', '2004-01-01')", "-9"},
      {"DateDiff('yyyy', '2004-12-31', '2005-01-01')", "1"},
      {"DateDiff('q', '2004-03-31', '2004-04-01')", "1"},
      {"DateDiff('m', '2004-01-31', '2004-02-01')", "1"},
      {"DateDiff('ww', '2004-08-28', '2004-08-29')", "1"},
      {"DateDiff('ww', '2004-08-29', '2004-09-04')", "0"},
      {"DateDiff('ww', '2004-08-28', '2004-08-29', 2)", "0"},
      {"DateDiff('w', '2004-08-28', '2004-09-04')", "1"},
      {"DateDiff('h', '2004-01-01 10:59:00', '2004-01-01 11:00:00')", "1"},
      {"DateDiff('n', '2004-01-01 10:59:59', '2004-01-01 11:00:00')", "1"},
      {"DateDiff('s', '2004-01-01', '2004-01-02')", "86400"},
      {"DateDiff('d', NULL, '2004-01-01')", "NULL"},
      {"DatePart('q', '2004-08-30')", "3"},
      {"DatePart('y', '2004-03-01')", "61"},
      {"DatePart('ww', '2004-01-03')", "1"},
      {"DatePart('ww', '2004-01-04')", "2"},
      {"DatePart('w', '2004-08-30', 2)", "1"},
      {"DatePart('n', '2004-08-30 13:05:09')", "5"},
      {"DateSerial(2004, 2, 30)", "2004-03-01 00:00:00"},
      {"DateSerial(2004, 13, 1)", "2005-01-01 00:00:00"},
      {"DateSerial(2004, 3, 0)", "2004-02-29 00:00:00"},
      {"DateSerial(2004, 0, 1)", "2003-12-01 00:00:00"},
      {"DateSerial(4, 1, 1)", "2004-01-01 00:00:00"},
      {"DateSerial(99, 1, 1)", "1999-01-01 00:00:00"},
      Fails("DateSerial(10000, 1, 1)", "Invalid procedure call or argument"),
      {"TimeSerial(13, 5, 9)", "1899-12-30 13:05:09"},
      {"TimeSerial(25, 0, 0)", "1899-12-31 01:00:00"},
      {"TimeSerial(0, 90, 0)", "1899-12-30 01:30:00"},
      {"TimeSerial(-1, 0, 0)", "1899-12-29 23:00:00"},
  });
}

TEST_F(JetFunctions, ClockFunctionsGiveCanonicalText) {
  const std::regex canonical(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)");
  EXPECT_TRUE(std::regex_match(Eval("SELECT Now()"), canonical));
  const std::string today = Eval("SELECT Date()");
  EXPECT_TRUE(std::regex_match(today, canonical));
  EXPECT_EQ(today.substr(10), " 00:00:00");
  EXPECT_EQ(Eval("SELECT substr(Time(), 1, 10)"), "1899-12-30");
  // SQLite's own date() and time() with arguments stay available.
  EXPECT_EQ(Eval("SELECT date('2004-08-30 13:05:09')"), "2004-08-30");
}

TEST_F(JetFunctions, Math) {
  Run({
      {"Int(3.7)", "3"},
      {"Int(-3.2)", "-4"},
      {"Int(5)", "5"},
      {"Int('2.5')", "2"},
      {"Int(NULL)", "NULL"},
      {"Fix(-3.7)", "-3"},
      {"Fix(1e300)", "1.0e+300"},
      {"Sgn(-2.5)", "-1"},
      {"Sgn(0)", "0"},
      {"Sgn('7')", "1"},
      {"Abs(-3)", "3"},
      {"Abs(-2.5)", "2.5"},
      {"Abs('-4')", "4"},
      Fails("Abs('x')", "Type mismatch"),
      {"Round(2.5)", "2"},
      {"Round(3.5)", "4"},
      {"Round(-2.5)", "-2"},
      {"Round(0.5)", "0"},
      {"Round(0.125, 2)", "0.12"},
      {"Round(2.675, 2)", "2.68"},
      {"Round(1234.5678, 2)", "1234.57"},
      {"Round(0.0001, 2)", "0"},
      {"Round(12, 1)", "12"},
      {"Round(NULL)", "NULL"},
      Fails("Round(1.5, -1)", "Invalid procedure call or argument"),
  });
}

TEST_F(JetFunctions, Format) {
  Run({
      {"Format(12, '000000')", "000012"},
      {"Format('12', '000000')", "000012"},
      {"Format(1234.5, '#,##0.00')", "1,234.50"},
      {"Format(0.5, 'Percent')", "50.00%"},
      {"Format('2004-08-30 13:05:09', 'yyyy/mm/dd')", "2004/08/30"},
      {"Format('2004-08-30 13:05:09', 'hh:nn')", "13:05"},
      {"Format('2004-08-30 00:00:00', 'General Date')", "2004-08-30"},
      {"Format(-1, 'Yes/No')", "Yes"},
      {"Format(1.5)", "1.5"},
      {"Format('abc', NULL)", "abc"},
      {"Format(NULL, '0')", "NULL"},
  });
}

TEST_F(JetFunctions, NullAndChoice) {
  Run({
      {"Nz(NULL)", ""},
      {"Nz(NULL, 0)", "0"},
      {"Nz('a', 'b')", "a"},
      {"Nz(NULL, NULL)", "NULL"},
      {"typeof(Nz(NULL, 5))", "integer"},
      {"\"IsNull\"(NULL)", "-1"},
      {"\"IsNull\"(0)", "0"},
      {"IIf(1, 'a', 'b')", "a"},
      {"IIf(0, 'a', 'b')", "b"},
      {"IIf(NULL, 'a', 'b')", "b"},
      {"IIf('True', 1, 2)", "1"},
      {"typeof(IIf(1, 2, 'x'))", "integer"},
      {"typeof(IIf(0, 2, 2.5))", "real"},
      Fails("IIf('x', 1, 2)", "Type mismatch"),
  });
}

TEST_F(JetFunctions, LikeOperator) {
  Run({
      {"'abc' LIKE 'A*'", "1"},
      {"'abc' LIKE 'a%'", "1"},
      {"'abc' LIKE '?b?'", "1"},
      {"'a1c' LIKE 'a#c'", "1"},
      {"'abc' LIKE 'a#c'", "0"},
      {"'B' LIKE '[a-c]'", "1"},
      {"'d' LIKE '[!a-c]'", "1"},
      {"'中文abc' LIKE '中?A*'", "1"},
      {"'ÉCOLE' LIKE 'éc*'", "1"},
      {"'abc' NOT LIKE 'x*'", "1"},
      {"123 LIKE '1#3'", "1"},
      {"NULL LIKE 'a'", "NULL"},
      {"'a' LIKE NULL", "NULL"},
      {"'a_c' LIKE 'a\\_c' ESCAPE '\\'", "1"},
      {"'abc' LIKE 'a\\_c' ESCAPE '\\'", "0"},
      Fails("'abc' LIKE 'a' ESCAPE 'xy'", "single character"),
  });
  // In a WHERE clause over rows, with the pattern compiled once per statement.
  ASSERT_EQ(sqlite3_exec(db_,
                         "CREATE TABLE t(name TEXT);"
                         "INSERT INTO t VALUES ('Anna'), ('anton'), ('Bert'), ('Ängel'), (NULL);",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  EXPECT_EQ(Eval("SELECT group_concat(name, ',') FROM t WHERE name LIKE 'an*'"), "Anna,anton");
  EXPECT_EQ(Eval("SELECT count(*) FROM t WHERE name LIKE '[!a]*'"), "2");
}

// Reports the TypeName of ValueOf(argument), to check the argument mapping.
void TypeNameOfValue(sqlite3_context* ctx, int, sqlite3_value** argv) {
  const std::string name = rt::TypeName(ValueOf(argv[0]));
  sqlite3_result_text(ctx, name.c_str(), -1, SQLITE_TRANSIENT);
}

TEST_F(JetFunctions, ValueOfMapsStorageClasses) {
  ASSERT_EQ(sqlite3_create_function_v2(db_, "vt", 1, SQLITE_UTF8, nullptr, TypeNameOfValue, nullptr,
                                       nullptr, nullptr),
            SQLITE_OK);
  Run({
      {"vt(NULL)", "Null"},
      {"vt(7)", "Long"},
      {"vt(5000000000)", "Double"},
      {"vt(1.5)", "Double"},
      {"vt('x')", "String"},
      {"vt(x'0102')", "Byte()"},
  });
}

TEST(JetFunctionsDates, CanonicalDateTextAlwaysHasTheTime) {
  EXPECT_EQ(CanonicalDateText(rt::MakeDate(2004, 8, 30)), "2004-08-30 00:00:00");
  EXPECT_EQ(CanonicalDateText(rt::MakeDate(2004, 8, 30, 13, 5, 9)), "2004-08-30 13:05:09");
  EXPECT_EQ(CanonicalDateText(rt::Date{-1.25}), "1899-12-29 06:00:00");
}

TEST(JetLike, Patterns) {
  struct Case {
    std::string_view text, pattern;
    bool match;
  };
  const Case cases[] = {
      {"abc", "abc", true},
      {"ABC", "abc", true},
      {"abc", "ab", false},
      {"abc", "*", true},
      {"", "*", true},
      {"", "?", false},
      {"abxc", "a*c", true},
      {"abcd", "a*c", false},
      {"mississippi", "m*iss*ppi", true},
      {"mississippi", "m*iss*x", false},
      {"xzzy", "x%y", true},
      {"xy", "x_y", false},
      {"a1", "a#", true},
      {"ab", "a#", false},
      {"a*b", "a[*]b", true},
      {"axb", "a[*]b", false},
      {"100%", "100[%]", true},
      {"a-", "a[a-]", true},
      {"Q", "[a-z]", true},
      {"b", "[!a]", true},
      {"a", "[!a]", false},
      {"ab", "a[]b", true},
      {"a[", "a[", true},
      {"Привет", "пРИВЕТ", true},
      {"ΣΟΦΙΑ", "σοφια", true},
      {"中文", "中?", true},
      {"中文", "??", true},
      {"中文", "???", false},
      {"\xff\xfe", "\xff?", true},
      {"\xff", "\xfe", false},
  };
  for (const Case& c : cases)
    EXPECT_EQ(JetLike(c.text, c.pattern), c.match) << c.text << " LIKE " << c.pattern;
}

}  // namespace
}  // namespace zmdb::dal::sqlite
