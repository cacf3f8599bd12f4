// Excel workbooks read back by independent readers: xlrd for Excel 5.0
// (BIFF version, code page, sheet names, cells with dates as date tuples) and
// openpyxl for .xlsx.
#include "zmdb/dal/formats/excel.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "writer_fixture.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats::testing {
namespace {

// Prints [biff version, code page, sheet names], then one line per row of
// every sheet: numbers, text, true/false, null for an empty cell, and dates as
// [y, m, d, h, m, s].
const char* const kXlrd = R"(
import json, sys, xlrd
b = xlrd.open_workbook(sys.argv[1])
print(json.dumps([b.biff_version, b.codepage, b.sheet_names()], ensure_ascii=False))
for s in b.sheets():
    for r in range(s.nrows):
        row = []
        for c in s.row(r):
            if c.ctype == xlrd.XL_CELL_DATE:
                row.append(list(xlrd.xldate_as_tuple(c.value, b.datemode)))
            elif c.ctype == xlrd.XL_CELL_BOOLEAN:
                row.append(bool(c.value))
            elif c.ctype == xlrd.XL_CELL_EMPTY:
                row.append(None)
            else:
                row.append(c.value)
        print(json.dumps(row, ensure_ascii=False))
)";

// Prints the sheet names, then one line per row with dates in ISO form. This
// openpyxl leaves the escape of a carriage return as it is stored.
const char* const kOpenpyxl = R"(
import datetime, json, sys, openpyxl
b = openpyxl.load_workbook(sys.argv[1], read_only=True)
print(json.dumps(b.sheetnames, ensure_ascii=False))
for s in b.worksheets:
    for row in s.iter_rows(values_only=True):
        print(json.dumps([v.isoformat() if isinstance(v, (datetime.datetime, datetime.time))
                          else v.replace("_x000D_", "\r") if isinstance(v, str) else v
                          for v in row], ensure_ascii=False))
)";

const char* const kHeader =
    R"(["ID", "名称", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note", "Blob"])";

class ExcelWriterTest : public WriterTest {
 protected:
  std::string Write(const std::string& file, int codePage, const std::string& table) {
    const std::string path = (dir_ / file).string();
    auto writer = OpenExcelWriter(path, WriterOptions{codePage}, table);
    WriteTable(*writer, EveryTypeColumns(), EveryTypeRows());
    return path;
  }
};

// A memo is cut to 255 bytes on a whole character: in code page 936 each of
// 墨 and 水 takes two bytes, so 169 characters fill 254 bytes.
TEST_F(ExcelWriterTest, Excel5WorkbookReadsBack) {
  const std::vector<std::string> expected = {
      R"([50, 936, ["Goods"]])",
      kHeader,
      R"([1.0, "墨水", -7.0, 12.34, 0.125, 12345.678, true, [2024, 2, 29, 0, 0, 0], ")" +
          Memo(169) + R"(", null])",
      R"([2.0, null, null, null, null, null, null, null, null, null])",
      R"([3.0, "say \"hi\", then\r\nleave", 0.0, -0.0005, -15000000000.0, 42.0, false, [1999, 12, 31, 23, 59, 58], "", null])",
      R"([4.0, "café", 1.0, 0.0, 3.0, "not a number", true, [0, 0, 0, 10, 30, 0], "short", null])",
  };
  EXPECT_EQ(RunPython(kXlrd, {Write("goods.xls", 936, "Goods")}), expected);
}

TEST_F(ExcelWriterTest, RowsBeyondASheetGoOnInANewSheet) {
  const std::string path = (dir_ / "many.xls").string();
  auto writer = OpenExcelWriter(path, WriterOptions{}, "");
  writer->Begin({{"N", 3, 4, 10, 0}});
  constexpr std::int32_t kRows = 40000;  // 16,383 rows a sheet under the field names
  for (std::int32_t i = 1; i <= kRows; ++i) writer->Row({rt::Variant(i)});
  writer->Finish();
  const char* const script = R"(
import json, sys, xlrd
b = xlrd.open_workbook(sys.argv[1])
for s in b.sheets():
    print(json.dumps([s.name, s.nrows, s.cell_value(0, 0), s.cell_value(1, 0), s.cell_value(s.nrows - 1, 0)]))
)";
  const std::vector<std::string> expected = {
      R"(["many", 16384, "N", 1.0, 16383.0])",
      R"(["many_2", 16384, "N", 16384.0, 32766.0])",
      R"(["many_3", 7235, "N", 32767.0, 40000.0])",
  };
  EXPECT_EQ(RunPython(script, {path}), expected);
}

// Sheet names made acceptable to Excel, and text in the workbook's code page.
TEST_F(ExcelWriterTest, SheetNamesAndCodePages) {
  struct Case {
    const char* table;
    int codePage;
    const char* sheet;
    const char* text;
  };
  const Case cases[] = {
      {"a[b]c:d*e?f/g\\h", 936, "a_b_c_d_e_f_g_h", "墨水"},
      {"A name far longer than thirty-one characters", 936, "A name far longer than thirty-o",
       "墨水"},
      {"销售明细表", 936, "销售明细表", "墨水"},
      {"Café", 1252, "Café", "crème brûlée"},
  };
  for (const auto& c : cases) {
    const std::string path = (dir_ / "names.xls").string();
    auto writer = OpenExcelWriter(path, WriterOptions{c.codePage}, c.table);
    WriteTable(*writer, {{"Nom", 202, 20, 0, 0}, {"Prix", 5, 8, 0, 0}},
               {{rt::Variant(c.text), rt::Variant(4.5)}});
    const std::vector<std::string> expected = {
        "[50, " + std::to_string(c.codePage) + R"(, [")" + c.sheet + R"("]])", R"(["Nom", "Prix"])",
        R"([")" + std::string(c.text) + R"(", 4.5])"};
    EXPECT_EQ(RunPython(kXlrd, {path}), expected) << c.table;
  }
}

TEST_F(ExcelWriterTest, XlsxWorkbookReadsBack) {
  const auto lines = RunPython(kOpenpyxl, {Write("goods.xlsx", 936, "")});
  const std::vector<std::string> expected = {
      R"(["goods"])",
      kHeader,
      R"([1, "墨水", -7, 12.34, 0.125, 12345.678, true, "2024-02-29T00:00:00", ")" + Memo(300) +
          R"(", null])",
      R"([2, null, null, null, null, null, null, null, null, null])",
      R"([3, "say \"hi\", then\r\nleave", 0, -0.0005, -15000000000, 42, false, "1999-12-31T23:59:58", null, null])",
      R"([4, "café", 1, 0, 3, "not a number", true, "10:30:00", "short", null])",
  };
  EXPECT_EQ(lines, expected);
}

TEST_F(ExcelWriterTest, FailuresLeaveNoFile) {
  struct Case {
    const char* file;
    int codePage;
    const char* mention;  // a text the error names
  };
  // Chinese text in a West European workbook fails naming its row and field;
  // the others are dropped half way.
  const Case cases[] = {
      {"west.xls", 1252, "row 1, field Name"}, {"late.xls", 936, ""}, {"late.xlsx", 936, ""}};
  std::vector<Column> columns = EveryTypeColumns();
  columns[1].name = "Name";
  for (const auto& c : cases) {
    const auto path = dir_ / c.file;
    {
      auto writer = OpenExcelWriter(path.string(), WriterOptions{c.codePage}, "T");
      writer->Begin(columns);
      try {
        for (const auto& row : EveryTypeRows()) writer->Row(row);
        EXPECT_EQ(std::string(c.mention), "") << c.file << " wrote text it cannot hold";
      } catch (const rt::PlatformError& e) {
        EXPECT_NE(std::string(e.what()).find(c.mention), std::string::npos) << e.what();
      }
    }  // destroyed before Finish
    EXPECT_FALSE(std::filesystem::exists(path)) << c.file;
  }
}

TEST_F(ExcelWriterTest, MisuseIsAnError) {
  std::vector<Column> wide(257, Column{"C", 3, 4, 0, 0});
  for (const std::string file : {"bad.xls", "bad.xlsx"}) {
    auto writer = OpenExcelWriter((dir_ / file).string(), WriterOptions{}, "T");
    EXPECT_THROW(writer->Row({rt::Variant(1)}), rt::PlatformError) << file;
    EXPECT_THROW(writer->Begin(wide), rt::PlatformError) << file;
    writer->Begin({{"A", 3, 4, 0, 0}});
    EXPECT_THROW(writer->Row({rt::Variant(1), rt::Variant(2)}), rt::PlatformError) << file;
    writer->Finish();
    EXPECT_THROW(writer->Finish(), rt::PlatformError) << file;
    // A folder that is not there fails at Finish.
    auto lost = OpenExcelWriter((dir_ / "missing" / file).string(), WriterOptions{}, "T");
    lost->Begin({{"A", 3, 4, 0, 0}});
    lost->Row({rt::Variant(1)});
    EXPECT_THROW(lost->Finish(), rt::PlatformError) << file;
  }
}

}  // namespace
}  // namespace zmdb::dal::formats::testing
