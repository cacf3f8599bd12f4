// SELECT ... INTO foreign targets through Database.Execute: a file-store
// table of every type written to each format and read back by an
// independent reader, the table-exists path through a database opened with
// the driver's connect string, and the failures that must leave nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "../formats/writer_fixture.h"
#include "raised.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::dao {
namespace {

using nlohmann::json;
using rt::Variant;
namespace fs = std::filesystem;

// Prints a written table as JSON lines: a header object, then one list per
// row. argv: kind (dbf, xls, xlsx, csv, px), path.
constexpr const char* kReader = R"(
import sys, json, datetime
kind, path = sys.argv[1], sys.argv[2]
def norm(v):
    if isinstance(v, (datetime.date, datetime.datetime)): return v.isoformat()
    if isinstance(v, str): return v.rstrip("\x00")
    if isinstance(v, float) and v.is_integer() and abs(v) < 1e15: return int(v)
    return v
def out(row): print(json.dumps([norm(v) for v in row], ensure_ascii=False))
if kind == "dbf":
    from dbfread import DBF
    t = DBF(path, encoding="gbk", char_decode_errors="strict", load=False)
    print(json.dumps({"version": t.header.dbversion, "driver": t.header.language_driver,
                      "fields": [f.name + " " + f.type for f in t.fields]}, ensure_ascii=False))
    for r in t: out(r.values())
elif kind == "xls":
    import xlrd
    b = xlrd.open_workbook(path)
    s = b.sheet_by_index(0)
    print(json.dumps({"biff": b.biff_version, "sheets": b.sheet_names()}, ensure_ascii=False))
    for i in range(s.nrows): out(s.row_values(i))
elif kind == "xlsx":
    import openpyxl
    b = openpyxl.load_workbook(path)
    print(json.dumps({"sheets": b.sheetnames}, ensure_ascii=False))
    for row in b.worksheets[0].iter_rows(values_only=True): out(row)
elif kind.startswith("csv"):
    import csv
    with open(path, newline="", encoding="utf-8" if kind == "csv-utf8" else "gbk") as f:
        for row in csv.reader(f): out(row)
)";

class ForeignIntoTest : public formats::testing::WriterTest {
 protected:
  void SetUp() override {
    WriterTest::SetUp();
    source_ = engine_.CreateDatabase((dir_ / "source.mdb").string(), "");
    source_->Execute(
        "CREATE TABLE Goods (ID LONG, Name TEXT(20), Small SHORT, Price CURRENCY, Ratio "
        "DOUBLE, Amount DECIMAL(18,3), Flag BIT, Made DATETIME, Note MEMO)");
    source_->Execute(
        "INSERT INTO Goods VALUES (1, '墨水', -7, 1234.5, 0.125, 12345.678, True, "
        "#2024-02-29 10:30:00#, '" +
        formats::testing::Memo(700) + "')");
    source_->Execute("INSERT INTO Goods (ID) VALUES (2)");
    source_->Execute(
        "INSERT INTO Goods VALUES (3, 'say \"hi\", then', 0, -0.05, -1.5e10, -0.5, False, "
        "#1999-12-31#, 'short')");
    fs::create_directories(dir_ / "out");
  }

  std::string Out(const std::string& name = {}) const {
    return name.empty() ? (dir_ / "out").string() : (dir_ / "out" / name).string();
  }

  std::vector<json> Read(const std::string& kind, const std::string& path) {
    if (kind == "px") return ReadParadox(path);
    std::vector<json> rows;
    for (const std::string& line : RunPython(kReader, {kind, path})) {
      rows.push_back(json::parse(line, nullptr, false));
    }
    return rows;
  }

  // The table as pxlib reads it: {"version", "fields": ["<name> <type>" ...]},
  // then the records.
  static std::vector<json> ReadParadox(const std::string& path) {
    std::string command = std::string(ZMDB_PX_DUMP) + " '" + path + "' gbk";
    fs::path mb = path;
    mb.replace_extension(".mb");
    if (fs::exists(mb)) command += " '" + mb.string() + "'";
    std::FILE* p = ::popen(command.c_str(), "r");
    std::string text;
    char buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) text.append(buf, n);
    EXPECT_EQ(::pclose(p), 0) << text;
    std::vector<json> out{json::object({{"fields", json::array()}})};
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
      const json j = json::parse(line);
      if (j.contains("fileversion")) out[0]["version"] = j["fileversion"];
      if (j.contains("name")) {
        out[0]["fields"].push_back(j["name"].get<std::string>() + " " +
                                   std::to_string(j["type"].get<int>()));
      }
      if (j.is_array()) out.push_back(j);
    }
    return out;
  }

  DBEngine engine_;
  std::shared_ptr<Database> source_;
};

// The text of a memo as the reader gave it: "memo <n>" for the first n
// characters of the source's memo, so a cut memo shows where it was cut.
json ShortenMemos(json row) {
  for (json& v : row) {
    if (!v.is_string() || v.get<std::string>().size() <= 100) continue;
    const std::string text = v.get<std::string>();
    const std::size_t n = rt::Utf8Length(text);
    v = text == formats::testing::Memo(n) ? "memo " + std::to_string(n) : "unexpected memo";
  }
  return row;
}

// Each export of data/dao/foreign_targets.json: the driver, where it writes
// (under the "out" folder), and what the target's reader must print: a
// header, then the rows.
TEST_F(ForeignIntoTest, EveryTargetReadsBackInItsReader) {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/dao/foreign_targets.json");
  const json targets = json::parse(in);
  ASSERT_GE(targets.size(), 10u);
  for (const json& t : targets) {
    const auto text = [&t](const char* key) { return t.at(key).get<std::string>(); };
    SCOPED_TRACE(text("driver") + " " + text("file"));
    fs::remove_all(Out());
    fs::create_directories(Out());
    const std::string sql = "SELECT *  INTO [" + text("driver") +
                            ";database=" + Out(text("database")) + "]." + text("table") +
                            " FROM Goods ORDER BY ID";
    EXPECT_EQ(source_->Execute(sql), 3);
    EXPECT_EQ(rt::CLng(source_->GetProperty("RecordsAffected", {})), 3);
    const json& want = t.at("expect");
    const std::vector<json> got = Read(text("kind"), Out(text("file")));
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].is_array() ? ShortenMemos(got[i]) : got[i], want[i]) << "line " << i;
    }
  }
}

// The files of the "out" folder, sorted.
std::vector<std::string> FilesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& e : fs::directory_iterator(folder)) names.push_back(e.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// A second export to an existing table is refused with 3010 and leaves it as
// it was; the database the driver's connect string opens lists the table,
// deletes it with its companion files, and the export then succeeds.
TEST_F(ForeignIntoTest, ExistingTableIsRefusedThenDeletedThroughTheDriverDatabase) {
  struct Case {
    const char* driver;   // in the statement
    const char* connect;  // for OpenDatabase
    const char* database;
    const char* table;
    std::vector<std::string> files;  // written by one export
  };
  const Case cases[] = {
      {"dBase IV", "Dbase IV;", "", "Staff", {"Staff.dbf", "Staff.dbt", "keep.dat"}},
      {"FoxPro 2.6", "foxpro 2.6;", "", "Staff", {"Staff.dbf", "Staff.fpt", "keep.dat"}},
      {"Paradox 4.X", "Paradox 4.X;", "", "Staff", {"Staff.db", "Staff.mb", "keep.dat"}},
      {"Text", "Text;", "", "Staff", {"Staff.txt", "keep.dat", "schema.ini"}},
      {"Excel 5.0", "Excel 5.0;", "book.xls", "Output", {"book.xls", "keep.dat"}},
      {"Excel 5.0", "Excel 5.0;", "book.xlsx", "Output", {"book.xlsx", "keep.dat"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.driver) + " " + c.database);
    fs::remove_all(Out());
    fs::create_directories(Out());
    std::ofstream(Out("keep.dat")) << "not a table of ours\r\n";
    const std::string sql = std::string("SELECT * INTO [") + c.driver +
                            ";database=" + Out(c.database) + "]." + c.table + " FROM Goods";
    ASSERT_EQ(source_->Execute(sql), 3);
    EXPECT_EQ(FilesIn(Out()), c.files);
    const auto size = fs::file_size(Out(c.files[0]));

    try {
      source_->Execute(sql);
      ADD_FAILURE() << "the second export was not refused";
    } catch (const rt::PlatformError& e) {
      EXPECT_EQ(e.number(), 3010);
      EXPECT_EQ(e.info().Description, "Table '" + std::string(c.table) + "' already exists.");
    }
    EXPECT_EQ(FilesIn(Out()), c.files);
    EXPECT_EQ(fs::file_size(Out(c.files[0])), size);

    auto target = engine_.OpenDatabase({Out(c.database), false, c.connect});
    EXPECT_EQ(rt::CStr(target->GetProperty("Connect", {})), c.connect);
    auto defs = target->TableDefs();
    EXPECT_EQ(defs->Names(), std::vector<std::string>{c.table});
    EXPECT_EQ(testing::RaisedNumber([&] { defs->Delete("Missing"); }), 3265);
    std::vector<Variant> refresh;
    defs->Call("Refresh", refresh);
    defs->Delete(rt::AsciiLower(c.table));  // table names are found without regard to case
    EXPECT_EQ(FilesIn(Out()), std::vector<std::string>{"keep.dat"});
    EXPECT_EQ(defs->Count(), 0);
    EXPECT_EQ(source_->Execute(sql), 3);
    EXPECT_EQ(defs->Count(), 1);
    target->Close();
    EXPECT_EQ(testing::RaisedNumber([&] { target->TableDefs()->Count(); }), 3420);
  }
}

// Deleting a text table keeps the other entries of schema.ini.
TEST_F(ForeignIntoTest, DeletingATextTableKeepsTheOtherSchemaEntries) {
  source_->Execute("SELECT ID INTO [Text;database=" + Out() + "].a FROM Goods");
  source_->Execute("SELECT Name INTO [Text;database=" + Out() + "].[b#txt] FROM Goods");
  auto target = engine_.OpenDatabase({Out(), false, "Text;"});
  EXPECT_EQ(target->TableDefs()->Names(), (std::vector<std::string>{"a", "b"}));
  target->TableDefs()->Delete("a");
  std::ifstream in(Out("schema.ini"));
  const std::string ini{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_EQ(ini.find("[a.txt]"), std::string::npos) << ini;
  EXPECT_NE(ini.find("[b.txt]\r\n"), std::string::npos) << ini;
  EXPECT_NE(ini.find("Col1=\"Name\""), std::string::npos) << ini;
}

// Exports that cannot run: an error with its number, nothing written, and
// no file of a writer that had begun left behind.
TEST_F(ForeignIntoTest, FailuresLeaveNoTarget) {
  // A row the code page cannot hold, after rows already written.
  source_->Execute("INSERT INTO Goods (ID, Name) VALUES (4, 'emoji 😀')");
  struct Case {
    std::string statement;
    std::int32_t number;
    const char* words;  // in the description
  };
  const std::string into = "INTO [%s;database=" + Out() + "].t FROM Goods ORDER BY ID";
  auto statement = [&](const char* driver, const std::string& from = {}) {
    std::string s = "SELECT * " + into;
    s.replace(s.find("%s"), 2, driver);
    if (!from.empty()) s.replace(s.find("FROM Goods ORDER BY ID"), 22, from);
    return s;
  };
  const Case cases[] = {
      {statement("dBase IV"), 0, "row 4"},
      {statement("FoxPro 2.6"), 0, "row 4"},
      {statement("Paradox 4.X"), 0, "row 4"},
      {statement("Text"), 0, "row 4"},
      {"SELECT * INTO [Excel 5.0;database=" + Out("b.xls") + "].t FROM Goods ORDER BY ID", 0,
       "row 4"},
      {statement("dBase IV", "FROM NoSuchTable"), 3078, "NoSuchTable"},
      {statement("Btrieve"), 3170, "no writer exists for Btrieve"},
      {statement("Lotus WK3"), 3170, "Could not find installable ISAM"},
      {"SELECT * INTO [dBase IV;database=" + Out("missing") + "].t FROM Goods", 3044, "missing"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.statement);
    try {
      source_->Execute(c.statement);
      ADD_FAILURE() << "not refused";
    } catch (const rt::PlatformError& e) {
      if (c.number != 0) {
        EXPECT_EQ(e.number(), c.number);
      }
      EXPECT_NE(e.info().Description.find(c.words), std::string::npos) << e.info().Description;
    }
    EXPECT_EQ(FilesIn(Out()), std::vector<std::string>{});
  }
  EXPECT_EQ(testing::RaisedNumber([&] { engine_.OpenDatabase({Out(), false, "Btrieve;"}); }), 3170);
  EXPECT_EQ(testing::RaisedNumber([&] {
              engine_.OpenDatabase({Out("missing"), false, "dBase IV;"});
            }),
            3044);
}

// An existing workbook without the sheet is not overwritten.
TEST_F(ForeignIntoTest, AWorkbookIsNeverReplacedByAnotherSheet) {
  const std::string book = Out("book.xls");
  source_->Execute("SELECT * INTO [Excel 5.0;database=" + book + "].First FROM Goods");
  const auto size = fs::file_size(book);
  EXPECT_EQ(testing::RaisedNumber([&] {
              source_->Execute("SELECT * INTO [Excel 5.0;database=" + book + "].Second FROM Goods");
            }),
            3219);
  EXPECT_EQ(fs::file_size(book), size);
  auto target = engine_.OpenDatabase({book, false, "Excel 5.0;"});
  EXPECT_EQ(target->TableDefs()->Names(), std::vector<std::string>{"First"});
}

// Progress every 1000 rows and at the end; a saved query runs the same way.
TEST_F(ForeignIntoTest, ReportsProgressAndRunsFromAQueryDefinition) {
  Backend& b = source_->core()->backend();
  b.Begin();
  for (int i = 10; i < 2510; ++i)
    b.Execute("INSERT INTO Goods (ID) VALUES (" + std::to_string(i) + ")");
  b.Commit();
  std::vector<std::int64_t> seen;
  formats::ScopedRowObserver observer([&](std::int64_t n) { seen.push_back(n); });
  auto query = source_->CreateQueryDef(
      "ToText", "SELECT ID INTO [Text;database=" + Out() + "].ids FROM Goods WHERE ID > 1");
  EXPECT_EQ(query->Execute(), 2502);
  EXPECT_EQ(seen, (std::vector<std::int64_t>{1000, 2000, 2502}));
  EXPECT_EQ(rt::CLng(query->GetProperty("RecordsAffected", {})), 2502);
}

// A headless spreadsheet program converts the dBase III and Excel 5.0
// exports to CSV; the values must be the source's.
TEST_F(ForeignIntoTest, ASpreadsheetProgramReadsTheDbfAndXlsExports) {
  if (std::system("command -v ssconvert >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "ssconvert (package gnumeric) is not installed; scripts/setup.sh installs it";
  }
  source_->Execute("SELECT * INTO [dBase III;database=" + Out() + "].goods FROM Goods ORDER BY ID");
  source_->Execute("SELECT * INTO [Excel 5.0;database=" + Out("goods.xls") +
                   "].Output FROM Goods ORDER BY ID");
  // ID, Name, Small, Price, Ratio, Amount, Flag, Made (day); "" for Null.
  const std::vector<std::vector<std::string>> source = {
      {"1", "墨水", "-7", "1234.5", "0.125", "12345.678", "TRUE", "2024/02/29"},
      {"2", "", "", "", "", "", "", ""},
      {"3", "say \"hi\", then", "0", "-0.05", "-15000000000", "-0.5", "FALSE", "1999/12/31"},
  };
  for (const char* file : {"goods.dbf", "goods.xls"}) {
    SCOPED_TRACE(file);
    const std::string csv = Out(std::string(file) + ".csv");
    const std::string command =
        "ssconvert '" + Out(file) + "' '" + csv + "' >" + Out("log") + " 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    const std::vector<json> rows = Read("csv-utf8", csv);
    ASSERT_EQ(rows.size(), 4u);
    for (std::size_t r = 0; r < source.size(); ++r) {
      for (std::size_t f = 0; f < source[r].size(); ++f) {
        const std::string got = rows[r + 1][f].get<std::string>();
        const std::string& want = source[r][f];
        SCOPED_TRACE("row " + std::to_string(r + 1) + " field " + std::to_string(f));
        if (want.empty()) {
          // A Null: an empty cell, or the 0 a reader makes of an empty number.
          EXPECT_TRUE(got.empty() || got == "0" || got.find_first_not_of(' ') == std::string::npos)
              << got;
        } else if (f == 0 || (f >= 2 && f <= 5)) {
          EXPECT_NEAR(std::stod(got), std::stod(want), 1e-9 * std::abs(std::stod(want)));
        } else {
          EXPECT_EQ(got.substr(0, want.size()), want);
        }
      }
    }
  }
}

}  // namespace
}  // namespace zmdb::dal::dao
