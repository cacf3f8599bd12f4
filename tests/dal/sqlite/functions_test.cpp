// Jet's SQL functions on SQLite: each line of data/jetsql/function_values.txt
// runs `SELECT <expression>` on a fresh in-memory connection and compares the
// result's text, or the error message.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <regex>
#include <string>
#include <string_view>

#include "dal/sqlite/functions_p.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal::sqlite {
namespace {

// Reports the TypeName of ValueOf(argument), to check the argument mapping.
void TypeNameOfValue(sqlite3_context* ctx, int, sqlite3_value** argv) {
  const std::string name = rt::TypeName(ValueOf(argv[0]));
  sqlite3_result_text(ctx, name.c_str(), -1, SQLITE_TRANSIENT);
}

class JetFunctions : public ::testing::Test {
 protected:
  // Opens the connection and registers the functions, with vt() beside them.
  void SetUp() override {
    ASSERT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK);
    ASSERT_EQ(RegisterJetFunctions(db_), SQLITE_OK);
    ASSERT_EQ(sqlite3_create_function_v2(db_, "vt", 1, SQLITE_UTF8, nullptr, TypeNameOfValue,
                                         nullptr, nullptr, nullptr),
              SQLITE_OK);
  }
  // Closes the connection.
  void TearDown() override { sqlite3_close(db_); }

  // Runs `sql` and gives its first column as text, "NULL", or "error: <message>".
  std::string Eval(std::string_view sql) {
    sqlite3_stmt* stmt = nullptr;
    std::string out;
    if (sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &stmt, nullptr) !=
            SQLITE_OK ||
        sqlite3_step(stmt) != SQLITE_ROW) {
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

  sqlite3* db_ = nullptr;
};

TEST_F(JetFunctions, EveryCaseOfTheDataFile) {
  std::ifstream in(ZMDB_TEST_DATA "/jetsql/function_values.txt");
  ASSERT_TRUE(in) << "no function_values.txt";
  int line = 0, cases = 0;
  for (std::string text; std::getline(in, text);) {
    ++line;
    if (text.empty() || text[0] == '#') continue;
    const std::size_t arrow = text.find(" => ");
    ASSERT_NE(arrow, std::string::npos) << "line " << line << ": no \" => \"";
    const std::string expr = text.substr(0, arrow), want = text.substr(arrow + 4);
    const std::string got = Eval("SELECT " + expr);
    ++cases;
    if (want.rfind("error: ", 0) == 0) {
      EXPECT_TRUE(got.rfind("error: ", 0) == 0 && got.find(want.substr(7)) != std::string::npos)
          << "line " << line << ": " << expr << " gave " << got << ", expected " << want;
    } else {
      EXPECT_EQ(got, want == "(empty)" ? "" : want) << "line " << line << ": " << expr;
    }
  }
  EXPECT_GT(cases, 200);
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

// LIKE over the rows of a table, with the pattern compiled once per statement.
TEST_F(JetFunctions, LikeInAWhereClauseOverRows) {
  ASSERT_EQ(sqlite3_exec(db_,
                         "CREATE TABLE t(name TEXT);"
                         "INSERT INTO t VALUES ('Anna'), ('anton'), ('Bert'), ('Ängel'), (NULL);",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  EXPECT_EQ(Eval("SELECT group_concat(name, ',') FROM t WHERE name LIKE 'an*'"), "Anna,anton");
  EXPECT_EQ(Eval("SELECT count(*) FROM t WHERE name LIKE '[!a]*'"), "2");
}

}  // namespace
}  // namespace zmdb::dal::sqlite
