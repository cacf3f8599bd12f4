// zmdb export as a process: its refusals (each one line on stderr, exit 1),
// and exports that write a dBase table, a text file and a database file,
// with the running count on a terminal.
#include <gtest/gtest.h>

#include "run_tool.h"

namespace zmdb::cli::testing {
namespace {

const std::vector<std::string> kStaff = {
    kCreateStaff, "INSERT INTO Staff VALUES (1, '张三', 1200.5, #2004-08-30#, True)",
    "INSERT INTO Staff VALUES (2, 'Li Si', 800, #2010-01-02 08:30:00#, False)"};

TEST_F(ToolTest, ExportRefusals) {
  MakeDatabase("s.mdb", kStaff);
  struct Case {
    std::vector<std::string> args;
    std::string err;  // the start of the one line
  };
  const std::vector<Case> cases{
      {{"export", "s.mdb", "SELECT * FROM Staff", "o.dbf", "--type", "dbase5"}, "zmdb: --type"},
      {{"export", "s.mdb", "SELECT * FROM Staff", "o.dbf"}, "zmdb: --type is required"},
      {{"export", "s.mdb", "SELECT * FROM Staff", "--type", "odbc"},
       "zmdb export: --type odbc needs --odbc CONNSTR"},
      {{"export", "s.mdb", "SELECT * FROM Staff", "--type", "text"},
       "zmdb export: expected DB SQL FILE"},
      {{"export", "none.mdb", "SELECT * FROM Staff", "o.dbf", "--type", "dbase4"},
       "zmdb export: no such database file: none.mdb"},
      {{"export", "s.mdb", "SELECT *", "o.mdb", "--type", "access"},
       "zmdb export: cannot export to o.mdb: "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[2] + " " + c.args.back());
    const ToolRun r = Zmdb(c.args);
    ExpectOneLineFailure(r);
    EXPECT_EQ(r.err.rfind(c.err, 0), 0u) << r.err;
    EXPECT_EQ(r.out, "");
  }
  EXPECT_EQ(Zmdb({"export", "--help"}).exitCode, 0);
}

TEST_F(ToolTest, ExportWritesTheTargets) {
  MakeDatabase("s.mdb", kStaff);
  struct Case {
    std::string type, file;
    std::filesystem::path written;
  };
  const std::vector<Case> cases{
      {"dbase4", "out/staff.dbf", "out/staff.dbf"},
      {"text", "out/staff.txt", "out/staff.txt"},
      {"access", "copy.mdb", "copy.mdb"},
  };
  std::filesystem::create_directories(dir_ / "out");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    const ToolRun r = Zmdb({"export", "s.mdb", "SELECT * FROM Staff", c.file, "--type", c.type});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "exported 2 rows to " + c.file + "\n");
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(std::filesystem::exists(dir_ / c.written));
  }
  // The copy holds table Output.
  EXPECT_NE(Zmdb({"query", "copy.mdb", "SELECT COUNT(*) AS N FROM Output"}).out.find('2'),
            std::string::npos);
}

TEST_F(ToolTest, ExportCountsRowsOnATerminal) {
  if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1)";
  MakeDatabase("s.mdb", kStaff);
  const ToolRun r =
      Zmdb({"export", "s.mdb", "SELECT * FROM Staff", "o.xls", "--type", "excel5"}, true);
  ASSERT_EQ(r.exitCode, 0) << r.out;
  EXPECT_NE(r.out.find("\r2"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("exported 2 rows to o.xls"), std::string::npos) << r.out;
}

}  // namespace
}  // namespace zmdb::cli::testing
