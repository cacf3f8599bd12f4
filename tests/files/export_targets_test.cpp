// Exports that write their target, read back by independent readers: a
// dBase IV table, an Excel 3.0 choice written as an Excel 5.0 workbook, the
// file store's table Output (with the source's indexes), delimited text
// picked through both dialogs, the table-exists question answered OK and
// Cancel, and the data-source prompt of an ODBC target.
#include <gtest/gtest.h>

#include "../dal/formats/writer_fixture.h"
#include "component_fixture.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::testing {
namespace {

using rt::DialogScript;
using rt::Variant;

struct Reader : dal::formats::testing::WriterTest {
  using WriterTest::RunPython;
};

class ExportTargetsTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute("CREATE INDEX ByCode ON Staff (Code)");
    std::filesystem::create_directories(dir_ / "out");
  }
  std::string Out(const std::string& name) const { return (dir_ / "out" / name).string(); }
  bool Export(const std::string& sql, const std::string& file, std::int32_t type) {
    return obj_->dbExport(sql, conn(), file, true, true, type);
  }
  // Rows and indexes of `table` in the file-store file `path`.
  std::int32_t RowsIn(const std::string& path, const std::string& table) {
    auto cn = dal::Connection::Create();
    cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";");
    auto rs = Open(cn, "SELECT COUNT(*) AS N FROM " + table);
    return rt::CLng(rs->fields()->Item(Variant("N"))->Value());
  }
};

TEST_F(ExportTargetsTest, ExcelThreeIsWrittenAsExcelFive) {
  ASSERT_TRUE(Export("SELECT ID, Name FROM Staff", Out("staff.xls"), 11))
      << obj_->dbGetLastError().Description;
  const auto lines = Reader::RunPython(
      "import sys, xlrd\n"
      "b = xlrd.open_workbook(sys.argv[1])\n"
      "s = b.sheet_by_index(0)\n"
      "print(b.biff_version, s.name, s.nrows, s.cell_value(0, 1))",
      {Out("staff.xls")});
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "50 Output 4 Name");
}

// A dBase table in a folder (read back by an independent reader), and a
// database file's table, always named Output and given the source's indexes:
// replaced on OK, kept on Cancel.
TEST_F(ExportTargetsTest, TableExistsQuestionOkReplacesAndCancelKeeps) {
  const std::vector<std::pair<std::int32_t, std::string>> targets{{1, Out("twice.dbf")},
                                                                  {0, Out("twice.mdb")}};
  auto rows = [&](std::int32_t type, const std::string& file) {
    if (type == 0) return RowsIn(file, "Output");
    const auto lines = Reader::RunPython(
        "import sys, dbfread\nprint(len(list(dbfread.DBF(sys.argv[1]))))", {file});
    return lines.size() == 1 ? std::stoi(lines[0]) : -1;
  };
  struct Case {
    int answer;
    bool result;
    std::int32_t rows;  // in the target afterwards
  };
  for (const auto& [type, file] : targets) {
    // Indexes are copied only from a table named before a blank.
    ASSERT_TRUE(Export("SELECT * FROM Staff WHERE ID > 0", file, type))
        << obj_->dbGetLastError().Description;
    if (type == 0) {
      const auto db = dal::dao::Database::Open({file, false, ""});
      const Variant indexes = rt::GetProp(
          rt::ItemOf(Variant(rt::ObjectRef(db->TableDefs())), Variant("Output")), "Indexes");
      EXPECT_EQ(rt::CStr(rt::GetProp(rt::ItemOf(indexes, Variant(0)), "Name")), "ByCode");
    } else {
      EXPECT_EQ(Reader::RunPython("import sys, dbfread\n"
                                  "print([r[\"NAME\"] for r in dbfread.DBF(sys.argv[1])])",
                                  {file}),
                std::vector<std::string>{"['Li', 'Wang', 'Zhao']"});
    }
    for (const Case& c : {Case{rt::mb::kCancel, false, 3}, Case{rt::mb::kOK, true, 1}}) {
      SCOPED_TRACE(file + " answered " + std::to_string(c.answer));
      host_->ClearRecord();
      host_->ScriptAnswers({c.answer});
      obj_->dbClearError();
      EXPECT_EQ(Export("SELECT * FROM Staff WHERE ID = 3", file, type), c.result);
      ASSERT_EQ(host_->shown().size(), 1u);
      EXPECT_EQ(host_->shown()[0].prompt, "该表已存在,是否删除?");
      EXPECT_EQ(host_->shown()[0].buttons, 289);
      EXPECT_EQ(obj_->dbGetLastError().Number, c.result ? 0 : rt::err::kTableExists);
      EXPECT_EQ(rows(type, file), c.rows);
      EXPECT_EQ(host_->pointerHistory().back(), rt::kPointerDefault);
    }
  }
}

TEST_F(ExportTargetsTest, TextThroughBothDialogs) {
  host_->ScriptDialogs(
      {{DialogScript::Kind::Choose, 12, {}}, {DialogScript::Kind::File, 0, Out("staff.txt")}});
  ASSERT_TRUE(obj_->dbExport("SELECT ID, Name FROM Staff ORDER BY ID", conn()))
      << obj_->dbGetLastError().Description;
  const auto lines = Reader::RunPython(
      "import sys, csv\n"
      "print([r for r in csv.reader(open(sys.argv[1], encoding=\"gbk\"))])",
      {Out("staff.txt")});
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "[['ID', 'Name'], ['3', 'Li'], ['9', 'Zhao'], ['57', 'Wang']]");
}

// The source's password travels from the connection to the data engine.
TEST_F(ExportTargetsTest, EncryptedSource) {
  const std::string locked = (dir_ / "locked.mdb").string();
  dal::dao::Database::Create(locked, ";pwd=secret")->Close();
  auto cn = dal::Connection::Create();
  cn->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + locked +
           ";Jet OLEDB:Database Password=secret;");
  cn->Execute("CREATE TABLE T (ID INTEGER)");
  cn->Execute("INSERT INTO T VALUES (7)");
  ASSERT_TRUE(
      obj_->dbExport("SELECT * FROM T", Variant(rt::ObjectRef(cn)), Out("t.txt"), true, true, 12))
      << obj_->dbGetLastError().Description;
  const auto lines = Reader::RunPython(
      "import sys, csv\nprint([r for r in csv.reader(open(sys.argv[1]))])", {Out("t.txt")});
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "[['ID'], ['7']]");
}

TEST_F(ExportTargetsTest, CancelledDataSourcePromptGivesFalse) {
  host_->ScriptDialogs({{DialogScript::Kind::Choose, 13, {}}, {DialogScript::Kind::Cancel, 0, {}}});
  EXPECT_FALSE(obj_->dbExport("SELECT * FROM Staff", conn()));
  ASSERT_EQ(host_->dialogs().size(), 2u);
  EXPECT_EQ(host_->dialogs()[1].kind, "DataSource");
}

}  // namespace
}  // namespace zmdb::testing
