// zmdb backup, restore and export as processes: the file a backup writes, a
// round trip through a new table and onto an existing one, a GBK file, an
// export to a database file, and the progress shown on a terminal.
#include <gtest/gtest.h>

#include "run_tool.h"

namespace zmdb::cli::testing {
namespace {

const std::vector<std::string> kStaff = {
    kCreateStaff, "INSERT INTO Staff VALUES (1, '张三', 1200.5, #2004-08-30#, True)",
    "INSERT INTO Staff VALUES (2, 'Li Si', 800, #2010-01-02 08:30:00#, False)",
    "CREATE TABLE Empty (ID LONG)"};

const std::string kHeader =
    ";Please add note\r\n;ID,Name,Salary,Hired,Active\r\n;3,202,6,7,11\r\n;4,20,8,8,2\r\n";

struct BackupCase {
  const char* name;
  std::vector<std::string> options;  // after "backup s.mdb"; the file is out.txt
  std::string file;                  // what out.txt holds afterwards
  std::string out;
};

const BackupCase kBackups[] = {
    {"whole_table",
     {"Staff", "out.txt"},
     kHeader + "1,张三,1200.5,2004-08-30,True\r\n2,Li Si,800,2010-01-02 08:30:00,False\r\n",
     "backed up 2 rows to out.txt\n"},
    {"separator_note_and_date_format",
     {"Staff", "out.txt", "--separator", "<>", "--note", "nightly", "--date-format", "yyyy/mm/dd"},
     ";nightly\r\n;ID<>Name<>Salary<>Hired<>Active\r\n;3<>202<>6<>7<>11\r\n;4<>20<>8<>8<>2\r\n"
     "1<>张三<>1200.5<>2004/08/30<>True\r\n2<>Li Si<>800<>2010/01/02<>False\r\n",
     "backed up 2 rows to out.txt\n"},
    {"data_lines_only",
     {"Staff", "out.txt", "--no-header"},
     "1,张三,1200.5,2004-08-30,True\r\n2,Li Si,800,2010-01-02 08:30:00,False\r\n",
     "backed up 2 rows to out.txt\n"},
    {"rows_of_a_query",
     {"--sql", "SELECT Name FROM Staff WHERE ID = 1", "out.txt"},
     ";Please add note\r\n;Name\r\n;202\r\n;20\r\n张三\r\n",
     "backed up 1 row to out.txt\n"},
};

void PrintTo(const BackupCase& c, std::ostream* os) {
  *os << c.name;
}

class BackupCommand : public ToolTest, public ::testing::WithParamInterface<BackupCase> {};

TEST_P(BackupCommand, WritesTheFile) {
  const BackupCase& c = GetParam();
  MakeDatabase("s.mdb", kStaff);
  std::vector<std::string> args{"backup", "s.mdb"};
  args.insert(args.end(), c.options.begin(), c.options.end());
  const ToolRun r = Zmdb(args);
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, c.out);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(ReadAll(dir_ / "out.txt"), c.file);
}

INSTANTIATE_TEST_SUITE_P(Zmdb, BackupCommand, ::testing::ValuesIn(kBackups),
                         [](const auto& test) { return std::string(test.param.name); });

// Backup, restore into a new table, restore again onto it: the new table has
// the old one's fields and rows, and the second restore appends.
TEST_F(ToolTest, RestoreMakesTheTableThenAppends) {
  MakeDatabase("s.mdb", kStaff);
  ASSERT_EQ(Zmdb({"backup", "s.mdb", "Staff", "out.txt"}).exitCode, 0);
  auto rowsOf = [&](const std::string& table) {
    return Zmdb({"query", "s.mdb", "SELECT * FROM " + table + " ORDER BY ID, Name", "--csv"}).out;
  };

  ToolRun r = Zmdb({"restore", "out.txt", "s.mdb", "Copy"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, "restored 2 rows into new table Copy\n");
  EXPECT_EQ(rowsOf("Copy"), rowsOf("Staff"));

  r = Zmdb({"restore", "out.txt", "s.mdb", "Copy"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, "appended 2 rows to table Copy\n");
  EXPECT_EQ(Zmdb({"query", "s.mdb", "SELECT COUNT(*) AS N FROM Copy", "--csv"}).out, "N\r\n4\r\n");
}

struct RestoreFailure {
  const char* name;
  std::string file;
  std::vector<std::string> options;
};

const RestoreFailure kRestoreFailures[] = {
    {"too_few_values", ";n\r\n;A,B\r\n;3,3\r\n;4,4\r\n1,2\r\n3\r\n", {}},
    {"text_in_a_number", ";n\r\n;A\r\n;3\r\n;4\r\nabc\r\n", {}},
    {"header_cut_short", ";n\r\n;A,B\r\n", {}},
    {"multi_character_separator_cut_short",
     ";n\r\n;A<>B\r\n;3<>3\r\n;4<>4\r\n1<>2<\r\n",
     {"--separator", "<>"}},
};

void PrintTo(const RestoreFailure& c, std::ostream* os) {
  *os << c.name;
}

class RestoreRefused : public ToolTest, public ::testing::WithParamInterface<RestoreFailure> {};

// A file the restore cannot read fails with one line, and no table is left.
TEST_P(RestoreRefused, FailsAndLeavesNoTable) {
  const RestoreFailure& c = GetParam();
  MakeDatabase("s.mdb", kStaff);
  std::ofstream(dir_ / "bad.txt", std::ios::binary) << c.file;
  std::vector<std::string> args{"restore", "bad.txt", "s.mdb", "T"};
  args.insert(args.end(), c.options.begin(), c.options.end());
  const ToolRun r = Zmdb(args);
  ExpectOneLineFailure(r);
  EXPECT_EQ(r.err.rfind("zmdb restore: ", 0), 0u) << r.err;
  EXPECT_EQ(Zmdb({"tables", "s.mdb"}).out, "Empty\nStaff\n");
}

INSTANTIATE_TEST_SUITE_P(Zmdb, RestoreRefused, ::testing::ValuesIn(kRestoreFailures),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(ToolTest, RestoreReadsAGbkFileWhenAsked) {
  MakeDatabase("s.mdb", kStaff);
  // "张三" in code page 936.
  std::ofstream(dir_ / "gbk.txt", std::ios::binary)
      << ";old\r\n;ID,Name\r\n;3,202\r\n;4,20\r\n7,\xd5\xc5\xc8\xfd\r\n";
  const ToolRun r = Zmdb({"restore", "gbk.txt", "s.mdb", "Old", "--gbk"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(Zmdb({"query", "s.mdb", "SELECT Name FROM Old", "--csv"}).out, "Name\r\n张三\r\n");
}

// The export to a database file writes its rows into table Output.
TEST_F(ToolTest, ExportToADatabaseFileMakesTableOutput) {
  MakeDatabase("s.mdb", kStaff);
  const ToolRun r =
      Zmdb({"export", "s.mdb", "SELECT * FROM Staff", "copy.mdb", "--type", "access"});
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, "exported 2 rows to copy.mdb\n");
  EXPECT_EQ(Zmdb({"query", "copy.mdb", "SELECT COUNT(*) AS N FROM Output", "--csv"}).out,
            "N\r\n2\r\n");
}

// On a terminal the library moves the bar to the last row and the export
// counts its rows; off one, stderr stays empty (the other tests).
TEST_F(ToolTest, ProgressOnATerminal) {
  if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1)";
  MakeDatabase("s.mdb", kStaff);
  const struct {
    std::vector<std::string> args;
    const char* shown;
  } cases[] = {
      {{"backup", "s.mdb", "Staff", "out.txt"}, "100% 2/2"},
      {{"restore", "out.txt", "s.mdb", "Copy"}, "100% 2/2"},
      {{"export", "s.mdb", "SELECT * FROM Staff", "o.xls", "--type", "excel5"}, "\r2"},
  };
  for (const auto& c : cases) {
    const ToolRun r = Zmdb(c.args, true);
    ASSERT_EQ(r.exitCode, 0) << r.out;
    EXPECT_NE(r.out.find(c.shown), std::string::npos) << r.out;
  }
}

}  // namespace
}  // namespace zmdb::cli::testing
