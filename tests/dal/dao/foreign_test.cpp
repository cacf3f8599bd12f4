// SELECT ... INTO foreign targets through Database.Execute: a file-store
// table of every type written to each format and read back by an
// independent reader, the table-exists path through a database opened with
// the driver's connect string, and the failures that must leave nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "../formats/writer_fixture.h"
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
elif kind == "csv":
    import csv
    with open(path, newline="", encoding="gbk") as f:
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

  static std::int32_t ErrorOf(const std::function<void()>& f) {
    try {
      f();
    } catch (const rt::PlatformError& e) {
      return e.number();
    }
    return 0;
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

// One export: the driver, where it writes, the reader, and what the reader
// must print (JSON lines: a header, then the rows).
struct Target {
  const char* driver;
  const char* database;  // under the test's "out" folder
  const char* table;
  const char* kind;
  const char* file;
  const char* expected;
};

constexpr const char* kDbfRows = R"(
[1, "墨水", -7, 1234.5, 0.125, 12345.678, true, "2024-02-29", "memo 700"]
[2, "", null, null, null, null, null, null, null]
[3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, false, "1999-12-31", "short"])";

const Target kTargets[] = {
    {"dBase III", "", "goods", "dbf", "goods.dbf",
     R"({"version": 131, "driver": 122, "fields": ["ID N", "NAME C", "SMALL N", "PRICE N",
        "RATIO N", "AMOUNT N", "FLAG L", "MADE D", "NOTE M"]})"},
    {"dBase IV", "", "goods", "dbf", "goods.dbf",
     R"({"version": 139, "driver": 122, "fields": ["ID N", "NAME C", "SMALL N", "PRICE N",
        "RATIO F", "AMOUNT N", "FLAG L", "MADE D", "NOTE M"]})"},
    {"FoxPro 2.0", "", "goods", "dbf", "goods.dbf",
     R"({"version": 245, "driver": 122, "fields": ["ID N", "NAME C", "SMALL N", "PRICE N",
        "RATIO F", "AMOUNT N", "FLAG L", "MADE D", "NOTE M"]})"},
    {"FoxPro 2.6", "", "goods", "dbf", "goods.dbf",
     R"({"version": 245, "driver": 122, "fields": ["ID N", "NAME C", "SMALL N", "PRICE N",
        "RATIO F", "AMOUNT N", "FLAG L", "MADE D", "NOTE M"]})"},
    {"Excel 5.0", "book.xls", "Output", "xls", "book.xls",
     R"({"biff": 50, "sheets": ["Output"]}
        ["ID", "Name", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note"]
        [1, "墨水", -7, 1234.5, 0.125, 12345.678, 1, 45351.4375, "memo 169"]
        [2, "", "", "", "", "", "", "", ""]
        [3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, 0, 36525, "short"])"},
    {"Excel 3.0", "book.xls", "Output", "xls", "book.xls",
     R"({"biff": 50, "sheets": ["Output"]}
        ["ID", "Name", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note"]
        [1, "墨水", -7, 1234.5, 0.125, 12345.678, 1, 45351.4375, "memo 169"]
        [2, "", "", "", "", "", "", "", ""]
        [3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, 0, 36525, "short"])"},
    {"Excel 5.0", "book.xlsx", "Output", "xlsx", "book.xlsx",
     R"({"sheets": ["Output"]}
        ["ID", "Name", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note"]
        [1, "墨水", -7, 1234.5, 0.125, 12345.678, true, "2024-02-29T10:30:00", "memo 700"]
        [2, null, null, null, null, null, null, null, null]
        [3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, false, "1999-12-31T00:00:00",
         "short"])"},
    {"Text", "", "goods", "csv", "goods.txt",
     R"(["ID", "Name", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note"]
        ["1", "墨水", "-7", "1234.5", "0.125", "12345.678", "True", "2024-02-29 10:30:00",
         "memo 700"]
        ["2", "", "", "", "", "", "", "", ""]
        ["3", "say \"hi\", then", "0", "-0.05", "-1.5e+10", "-0.5", "False", "1999-12-31",
         "short"])"},
    {"Paradox 4.X", "", "goods", "px", "goods.db",
     R"({"version": 4, "fields": ["ID 6", "Name 1", "Small 3", "Price 5", "Ratio 6",
        "Amount 6", "Flag 3", "Made 2", "Note 12"]}
        [1, "墨水", -7, 1234.5, 0.125, 12345.678, 1, "2024-02-29", "memo 700"]
        [2, null, null, null, null, null, null, null, null]
        [3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, 0, "1999-12-31", "short"])"},
    {"Paradox 3.X", "", "goods", "px", "goods.db",
     R"({"version": 3, "fields": ["ID 6", "Name 1", "Small 3", "Price 5", "Ratio 6",
        "Amount 6", "Flag 3", "Made 2", "Note 1"]}
        [1, "墨水", -7, 1234.5, 0.125, 12345.678, 1, "2024-02-29", "memo 169"]
        [2, null, null, null, null, null, null, null, null]
        [3, "say \"hi\", then", 0, -0.05, -15000000000, -0.5, 0, "1999-12-31", "short"])"},
};

TEST_F(ForeignIntoTest, EveryTargetReadsBackInItsReader) {
  for (const Target& t : kTargets) {
    SCOPED_TRACE(std::string(t.driver) + " " + t.file);
    fs::remove_all(Out());
    fs::create_directories(Out());
    const std::string sql = std::string("SELECT *  INTO [") + t.driver +
                            ";database=" + Out(t.database) + "]." + t.table +
                            " FROM Goods ORDER BY ID";
    EXPECT_EQ(source_->Execute(sql), 3);
    EXPECT_EQ(rt::CLng(source_->GetProperty("RecordsAffected", {})), 3);
    std::string expected = t.expected;
    if (std::string_view(t.kind) == "dbf") expected += kDbfRows;
    std::vector<json> want;
    std::istringstream in(expected);
    while (in >> std::ws && in.peek() != EOF) in >> want.emplace_back();
    const std::vector<json> got = Read(t.kind, Out(t.file));
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].is_array() ? ShortenMemos(got[i]) : got[i], want[i]) << "line " << i;
    }
  }
}

}  // namespace
}  // namespace zmdb::dal::dao
