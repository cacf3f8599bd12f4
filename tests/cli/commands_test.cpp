// The commands for people, run as processes on a database the test makes,
// and the pure parts they print with: the row forms and the progress line.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "progress.h"
#include "rows_output.h"
#include "run_tool.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::cli::testing {
namespace {

const std::vector<std::string> kStaff = {
    kCreateStaff, "INSERT INTO Staff VALUES (1, '张三', 1200.5, #2004-08-30#, True)",
    "INSERT INTO Staff VALUES (2, 'Li, \"Si\"', NULL, NULL, False)",
    "CREATE TABLE Dept (Code TEXT(4))"};

const std::string kStaffSchema =
    "Staff\n"
    "  Field   Type            Size  Required\n"
    "  ------  --------------  ----  --------\n"
    "  ID      Int (3)            4  yes\n"
    "  Name    VarWChar (202)    20\n"
    "  Salary  Money (6)          8\n"
    "  Hired   DateTime (7)       8\n"
    "  Active  Bit (11)           2\n"
    "  index PrimaryKey (ID) primary unique\n";

// One command line of tests/data/cli/commands.json: what it prints and how it
// exits. "@STAFF_SCHEMA@" in an expected text stands for kStaffSchema.
struct Case {
  std::string name;
  std::vector<std::string> args;   // run in the test's directory, where s.mdb is
  std::optional<std::string> out;  // the whole of stdout of a success
  std::string errStart;            // the start of a failure's one stderr line
  std::string absent;              // a file the command must not leave behind
};

std::vector<Case> Cases() {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/cli/commands.json");
  std::vector<Case> cases;
  for (const auto& j : nlohmann::json::parse(in)) {
    Case c{j.at("name"), j.at("args"), std::nullopt, j.value("err", std::string()),
           j.value("absent", std::string())};
    if (j.contains("out")) {
      std::string out = j.at("out");
      if (const auto at = out.find("@STAFF_SCHEMA@"); at != std::string::npos)
        out.replace(at, 14, kStaffSchema);
      c.out = out;
    }
    cases.push_back(std::move(c));
  }
  return cases;
}

void PrintTo(const Case& c, std::ostream* os) {
  *os << c.name;
}

class CommandCase : public ToolTest, public ::testing::WithParamInterface<Case> {};

TEST_P(CommandCase, PrintsAndExits) {
  const Case& c = GetParam();
  MakeDatabase("s.mdb", kStaff);
  std::ofstream(dir_ / "junk.mdb") << "this is a text file, not a database\n";
  std::ofstream(dir_ / "data.txt") << "1,2\r\n3,4\r\n";
  const ToolRun r = Zmdb(c.args);
  EXPECT_TRUE(c.absent.empty() || !std::filesystem::exists(dir_ / c.absent)) << c.absent;
  if (!c.out) {
    ExpectOneLineFailure(r);
    EXPECT_EQ(r.err.rfind(c.errStart, 0), 0u) << r.err;
    return;
  }
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, *c.out);
  EXPECT_EQ(r.err, "");
}

INSTANTIATE_TEST_SUITE_P(Zmdb, CommandCase, ::testing::ValuesIn(Cases()),
                         [](const auto& test) { return test.param.name; });

TEST_F(ToolTest, QueryAsJsonKeepsTypes) {
  MakeDatabase("s.mdb", kStaff);
  const ToolRun r = Zmdb({"query", "s.mdb", "SELECT * FROM Staff ORDER BY ID", "--json"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  const auto rows = nlohmann::json::parse(r.out);
  const auto expected = nlohmann::json::parse(R"([
    {"ID": 1, "Name": "张三", "Salary": 1200.5, "Hired": "2004-08-30", "Active": true},
    {"ID": 2, "Name": "Li, \"Si\"", "Salary": null, "Hired": null, "Active": false}])");
  EXPECT_EQ(rows, expected);
}

TEST_F(ToolTest, EveryCommandHasHelp) {
  for (const char* command :
       {"tables", "schema", "query", "backup", "restore", "export", "session", "call"}) {
    const ToolRun r = Zmdb({command, "--help"});
    EXPECT_EQ(r.exitCode, 0) << command;
    EXPECT_NE(r.out.find(std::string("zmdb ") + command), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Usage:"), std::string::npos) << r.out;
  }
}

// DB as a connection string to a server store: the same file reached through
// the SQLite ODBC driver, registered in a private odbcinst.ini.
TEST_F(ToolTest, ServerStoreThroughAConnectionString) {
  const std::string ini = (dir_ / "odbc").string();
  const std::string script = std::string(ZMDB_SOURCE_DIR) + "/scripts/register-odbc-drivers.sh";
  ASSERT_EQ(std::system((ShellQuoted(script) + " " + ShellQuoted(ini) + " >/dev/null").c_str()), 0);
  if (ReadAll(dir_ / "odbc" / "odbcinst.ini").find("[SQLite3]") == std::string::npos) {
    GTEST_SKIP() << "the SQLite ODBC driver is not installed";
  }
  ::setenv("ODBCSYSINI", ini.c_str(), 1);
  const std::string db = "DRIVER={SQLite3};DATABASE=" + MakeDatabase("s.mdb", kStaff);
  const struct {
    std::vector<std::string> args;
    int exitCode;
    std::string out;
  } cases[] = {
      {{"tables", db}, 0, "Dept\nStaff\n"},
      {{"query", db, "select ID, Name from Staff order by ID", "--csv"},
       0,
       "ID,Name\r\n1,张三\r\n2,\"Li, \"\"Si\"\"\"\r\n"},
      {{"schema", db, "Dept"},
       0,
       "Dept\n  Field  Type           Size  Required\n  -----  -------------  ----  --------\n"
       "  Code   VarChar (200)     4\n"},
      {{"schema", db, "Nope"}, 1, ""},
  };
  for (const auto& c : cases) {
    const ToolRun r = Zmdb(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << c.args[0] << ": " << r.err;
    EXPECT_EQ(r.out, c.out) << c.args[0];
  }
  ::unsetenv("ODBCSYSINI");
}

// ---- The pure parts ----

TEST(ProgressLine, ShowsBarPercentageAndCount) {
  struct {
    double value, max;
    int width;
    std::string line;
  } cases[] = {
      {0, 10, 30, "[.................]   0%  0/10"},
      {5, 10, 30, "[########.........]  50%  5/10"},
      {10, 10, 30, "[#################] 100% 10/10"},
      {15, 10, 30, "[#################] 100% 15/10"},  // past the total: a full bar
      {-3, 10, 30, "[.................]   0% -3/10"},
      {999, 1000, 30, "[############.]  99%  999/1000"},
      {1, 3, 20, "[###......]  33% 1/3"},
      {7, 0, 30, "7"},           // no total known: the count alone
      {2, 4, 5, "[]  50% 2/4"},  // too narrow for a bar: the numbers stay
  };
  for (const auto& c : cases) {
    EXPECT_EQ(RenderProgress(c.value, c.max, c.width), c.line)
        << c.value << "/" << c.max << " in " << c.width;
  }
  EXPECT_EQ(RenderProgress(500000, 1000000, 60).size(), 60u);
}

// The bar as the library meets it: late-bound members, and at most one
// redraw per tenth of a second however fast Value moves.
TEST(TerminalProgress, HonoursTheControlContractAndLimitsRedraws) {
  std::FILE* sink = std::tmpfile();
  ASSERT_NE(sink, nullptr);
  auto bar = std::make_shared<TerminalProgress>(sink, true, 40);
  const rt::Variant ctrl{rt::ObjectRef(bar)};
  EXPECT_EQ(rt::TypeName(ctrl), "ProgressBar");
  EXPECT_FALSE(rt::CBool(rt::GetProp(ctrl, "Visible")));
  rt::SetProp(ctrl, "Visible", rt::Variant(true));
  rt::SetProp(ctrl, "Max", rt::Variant(std::int32_t{200000}));
  const auto start = std::chrono::steady_clock::now();
  for (std::int32_t i = 1; i <= 200000; ++i) rt::SetProp(ctrl, "Value", rt::Variant(i));
  const auto tenths = std::chrono::duration_cast<std::chrono::milliseconds>(
                          std::chrono::steady_clock::now() - start)
                          .count() /
                      100;
  EXPECT_LE(bar->redraws(), tenths + 3);
  bar->Finish();
  std::rewind(sink);
  char text[256] = {};
  const std::size_t n = std::fread(text, 1, sizeof text - 1, sink);
  const std::string drawn(text, n);
  EXPECT_NE(drawn.find("100% 200000/200000\n"), std::string::npos) << drawn;
  std::fclose(sink);
}

TEST(RowForms, DisplayWidthCountsWideCharacters) {
  const std::pair<const char*, std::size_t> cases[] = {
      {"", 0}, {"abc", 3}, {"张三", 4}, {"a张b", 4}, {"ｱ", 1}, {"Ａ", 2}, {"é", 1}, {"\xff", 1}};
  for (const auto& [text, width] : cases) EXPECT_EQ(DisplayWidth(text), width) << text;
}

TEST(RowForms, AlignedTextKeepsOneLinePerRow) {
  const Grid grid{{"N", "Text"},
                  {{rt::Variant(std::int32_t{10}), rt::Variant("a\tb\r\nc")},
                   {rt::Variant(std::int32_t{7}), rt::Variant::Null()}}};
  EXPECT_EQ(AlignedText(grid), " N  Text\n--  ------\n10  a b  c\n 7\n(2 rows)\n");
  EXPECT_EQ(AlignedText(Grid{{"X"}, {}}, false), "X\n-\n");
}

}  // namespace
}  // namespace zmdb::cli::testing
