// The pieces of an export worked out as text: the type table, the file
// dialog's settings, the parts cut from the query and the statement.
#include "zmdb/files/export_plan.h"

#include <gtest/gtest.h>

#include "zmdb/runtime/error.h"

namespace zmdb::testing {
namespace {

using namespace files;

// The list the type dialog shows, in value order: its texts are what users see.
TEST(ExportPlan, TypeTableInValueOrder) {
  const std::vector<std::string> expected{"Access MDB", "Dbase IV",   "Dbase III",   "FoxPro 2.6",
                                          "FoxPro 2.5", "FoxPro 2.0", "Paradox 4.X", "Paradox 3.X",
                                          "Btrieve",    "Excel 5.0",  "Excel 4.0",   "Excel 3.0",
                                          "Text",       "ODBC"};
  EXPECT_EQ(DataTypeListTexts(), expected);
  EXPECT_EQ(FindDataType(-1), nullptr);
  EXPECT_EQ(FindDataType(14), nullptr);
}

TEST(ExportPlan, IntoTargetAndTableByType) {
  struct Case {
    std::int32_t type;
    std::string file, into, table, connect;
  };
  const std::string mdb = "D:\\out\\sales.mdb";
  const std::string dbf = "D:\\out\\staff.dbf";
  const std::vector<Case> cases{
      {0, mdb, "[;database=D:\\out\\sales.mdb].", "Output", ""},
      {1, dbf, "[dBase IV;database=D:\\out].", "staff", "Dbase IV;"},
      {3, "/data/x/t.v1.dbf", "[FoxPro 2.6;database=/data/x].", "t", "FoxPro 2.6;"},
      {6, "/o/p.db", "[Paradox 4.X;database=/o].", "p", "Paradox 4.X;"},
      {7, "p.db", "[Paradox 3.X;database=.].", "p", "Paradox 3.X;"},
      {8, "/b/FILE.DDF", "[Btrieve;database=/b/FILE.DDF].", "Output", "Btrieve;"},
      {9, "/x/a.xls", "[Excel 5.0;database=/x/a.xls].", "Output", "Excel 5.0;"},
      // Excel 4.0 and 3.0 are written through the Excel 5.0 driver.
      {10, "/x/a.xls", "[Excel 5.0;database=/x/a.xls].", "Output", "Excel 5.0;"},
      {11, "/x/a.xls", "[Excel 5.0;database=/x/a.xls].", "Output", "Excel 5.0;"},
      {12, "/t/.hidden", "[Text;database=/t].", "Output", "Text;"},
      {12, "/a\\b/c.txt", "[Text;database=/a\\b].", "c", "Text;"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.type) + " " + c.file);
    EXPECT_EQ(IntoTarget(c.type, c.file), c.into);
    EXPECT_EQ(TargetTableName(c.type, c.file), c.table);
    EXPECT_STREQ(FindDataType(c.type)->connect, c.connect.c_str());
  }
  EXPECT_EQ(IntoTarget(13, "", "ODBC;DSN=pg;UID=u"), "[ODBC;DSN=pg;UID=u].");
  EXPECT_EQ(TargetTableName(13, ""), "Output");
  EXPECT_THROW(IntoTarget(14, "/x"), rt::PlatformError);
  EXPECT_THROW(IntoTarget(-1, "/x"), rt::PlatformError);
}

// Folders of plain paths are checked through the targets above.
TEST(ExportPlan, FolderOfAPath) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"a\\b/c", "a\\b"},
      {"a/b\\c", "a/b"},  // the last separator of either kind
      {"/staff.dbf", "/"},
  };
  for (const auto& [path, folder] : cases) EXPECT_EQ(FolderOf(path), folder) << path;
}

TEST(ExportPlan, PartsCutFromTheQuery) {
  struct Case {
    std::string sql, fields, from, sourceTable;
  };
  const std::vector<Case> cases{
      // No blank after the table name: no source table, so no index copy.
      {"SELECT * FROM Staff", "* ", " FROM Staff", ""},
      {"SELECT ID, Name FROM Staff WHERE ID > 3", "ID, Name ", " FROM Staff WHERE ID > 3", "Staff"},
      {"select id from  staff  order by id", "id ", " from  staff  order by id", "staff"},
      // The rest is trimmed before the blank is looked for.
      {"SELECT FROM Staff ", "*", " FROM Staff ", ""},
      // The first FROM wins, inside a field name too.
      {"SELECT FromDate FROM T x", "*", " FromDate FROM T x", "Date"},
      {"SELECT 名称, 备注 FROM 员工 WHERE 1=1", "名称, 备注 ", " FROM 员工 WHERE 1=1", "员工"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    EXPECT_EQ(FieldList(c.sql), c.fields);
    EXPECT_EQ(FromPart(c.sql), c.from);
    EXPECT_EQ(SourceTableName(c.sql), c.sourceTable);
  }
  // A FROM before the 8th character leaves no room for a field list.
  EXPECT_THROW(FieldList("SEL FROM x"), rt::PlatformError);
  for (const std::string bad : {"SELECT * WHERE 1", "DELETE x"}) {
    EXPECT_THROW(FieldList(bad), rt::PlatformError) << bad;
    EXPECT_THROW(FromPart(bad), rt::PlatformError) << bad;
    EXPECT_EQ(SourceTableName(bad), "");
  }
}

TEST(ExportPlan, Statements) {
  EXPECT_EQ(ExportStatement("SELECT * FROM Staff", IntoTarget(1, "D:\\out\\staff.dbf"),
                            TargetTableName(1, "D:\\out\\staff.dbf")),
            "SELECT *  INTO [dBase IV;database=D:\\out].staff FROM Staff");
  EXPECT_EQ(
      ExportStatement("SELECT ID,Name FROM Staff WHERE ID=3", IntoTarget(0, "/o/a.mdb"), "Output"),
      "SELECT ID,Name  INTO [;database=/o/a.mdb].Output FROM Staff WHERE ID=3");
  EXPECT_EQ(ExportStatement("SELECT FROM t", IntoTarget(13, "", "ODBC;DSN=x"), "Output"),
            "SELECT * INTO [ODBC;DSN=x].Output FROM t");
}

TEST(ExportPlan, FileDialogByType) {
  struct Case {
    std::int32_t type;
    std::string title, filter;
    int flags;
    std::string ext;
  };
  const std::string given = "请选择导出的数据文件";
  const std::vector<Case> cases{
      {0, "选择 Microsoft Access 数据库", "Microsoft Access (*.mdb)|*.mdb|所有文件(*.*)|*.*", 4,
       "mdb"},
      {1, given, "Xbase (*.dbf)|*.dbf", 6, "dbf"},
      {6, given, "Paradox (*.db)|*.db", 6, "db"},
      {8, given, "Btrieve (FILE.DDF)|FILE.DDF", 4, "DDF"},
      {9, given, "Excel (*.xls)|*.xls", 6, "xls"},
      {11, given, "Excel (*.xls)|*.xls", 6, "xls"},
      {12, "选择文本文件", "文本文件(*.txt)|*.txt|所有文件(*.*)|*.*", 6, "txt"},
      {13, given, "", 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    const rt::FileDialogView prepared = PrepareFileDialog(c.type, given);
    EXPECT_EQ(prepared.title, c.title);
    EXPECT_EQ(prepared.filter, c.filter);
    EXPECT_EQ(prepared.flags, c.flags);
    EXPECT_EQ(prepared.defaultExt, c.ext);
    EXPECT_TRUE(prepared.cancelError);
    // The export's own dialog hides the read-only option without the
    // overwrite prompt for every type but Access and Btrieve.
    const rt::FileDialogView shown = ExportFileDialog(c.type, "/o/f.x");
    EXPECT_EQ(shown.flags, c.type == 0 || c.type == 8 ? c.flags : 4);
    EXPECT_EQ(shown.title, c.title);
    EXPECT_EQ(shown.fileName, "/o/f.x");
  }
}

}  // namespace
}  // namespace zmdb::testing
