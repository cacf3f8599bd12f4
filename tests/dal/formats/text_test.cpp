// Delimited text read back by python's csv module, and the schema.ini entry
// read by configparser.
#include "zmdb/dal/formats/text.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "writer_fixture.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats::testing {
namespace {

// argv: file, encoding. One JSON list per record.
const char* const kCsv = R"(
import csv, json, sys
with open(sys.argv[1], newline="", encoding=sys.argv[2]) as f:
    for row in csv.reader(f):
        print(json.dumps(row, ensure_ascii=False))
)";

// argv: schema.ini, encoding. One JSON line per section: name, then its keys
// and values in order. A section given twice fails the read.
const char* const kSchema = R"(
import configparser, json, sys
p = configparser.ConfigParser(interpolation=None)
p.optionxform = str
p.read(sys.argv[1], encoding=sys.argv[2])
for s in p.sections():
    print(json.dumps([s] + [k + "=" + v for k, v in p.items(s)], ensure_ascii=False))
)";

using TextWriterTest = WriterTest;

TEST_F(TextWriterTest, EveryTypeReadsBackInEachCodePage) {
  struct Case {
    int codePage;
    const char* encoding;
    const char* characterSet;
  };
  for (const Case& c : {Case{936, "gbk", "ANSI"}, Case{65001, "utf-8", "UTF-8"}}) {
    auto writer = OpenTextWriter(dir_.string(), "goods", WriterOptions{c.codePage});
    WriteTable(*writer, EveryTypeColumns(), EveryTypeRows());
    const auto file = (dir_ / "goods.txt").string();
    const std::vector<std::string> rows = {
        R"(["ID", "名称", "Small", "Price", "Ratio", "Amount", "Flag", "Made", "Note", "Blob"])",
        R"(["1", "墨水", "-7", "12.34", "0.125", "12345.678", "True", "2024-02-29", ")" +
            Memo(300) + R"(", ""])",
        R"(["2", "", "", "", "", "", "", "", "", ""])",
        R"(["3", "say \"hi\", then\r\nleave", "0", "-0.0005", "-1.5e+10", "42", "False", "1999-12-31 23:59:58", "", ""])",
        R"(["4", "café", "1", "0", "3", "not a number", "True", "1899-12-30 10:30:00", "short", ""])",
    };
    EXPECT_EQ(RunPython(kCsv, {file, c.encoding}), rows) << c.codePage;
    // Nulls are bare empty fields, an empty text is "", lines end with CR LF.
    const std::string bytes = FileBytes(file);
    EXPECT_NE(bytes.find("\r\n2,,,,,,,,,\r\n3,"), std::string::npos);
    EXPECT_NE(bytes.find(",\"\",\r\n4,"), std::string::npos);

    const std::vector<std::string> schema = {
        std::string(
            R"(["goods.txt", "ColNameHeader=True", "Format=CSVDelimited", "CharacterSet=)") +
        c.characterSet +
        R"(", "DateTimeFormat=yyyy-mm-dd hh:nn:ss", "Col1=\"ID\" Long", "Col2=\"名称\" Text Width 50", )"
        R"("Col3=\"Small\" Long", "Col4=\"Price\" Currency", "Col5=\"Ratio\" Double", )"
        R"("Col6=\"Amount\" Double", "Col7=\"Flag\" Bit", "Col8=\"Made\" DateTime", )"
        R"("Col9=\"Note\" Memo", "Col10=\"Blob\" Memo"])"};
    EXPECT_EQ(RunPython(kSchema, {(dir_ / "schema.ini").string(), c.encoding}), schema);
  }
}

TEST_F(TextWriterTest, SchemaEntryReplacesItsOwnAndKeepsTheOthers) {
  {
    std::ofstream out(dir_ / "schema.ini", std::ios::binary);
    out << "[other.txt]\r\nColNameHeader=False\r\n\r\n[PRICES.TXT]\r\nColNameHeader=False\r\n"
           "Col1=x Text\r\n\r\n[last.txt]\r\nFormat=TabDelimited\r\n";
  }
  for (const char* name : {"prices", "prices.txt"}) {  // twice: one entry all the same
    auto writer = OpenTextWriter(dir_.string(), name, WriterOptions{1252});
    WriteTable(*writer, {{"Item", 200, 10, 0, 0}, {"Cost", 6, 8, 0, 0}},
               {{rt::Variant("pen"), rt::Variant(rt::Currency{25000})}});
  }
  const std::vector<std::string> sections = {
      R"(["other.txt", "ColNameHeader=False"])",
      R"(["last.txt", "Format=TabDelimited"])",
      R"(["prices.txt", "ColNameHeader=True", "Format=CSVDelimited", "CharacterSet=ANSI", )"
      R"("DateTimeFormat=yyyy-mm-dd hh:nn:ss", "Col1=\"Item\" Text Width 10", "Col2=\"Cost\" Currency"])",
  };
  EXPECT_EQ(RunPython(kSchema, {(dir_ / "schema.ini").string(), "cp1252"}), sections);
  EXPECT_EQ(FileBytes(dir_ / "prices.txt"), "\"Item\",\"Cost\"\r\n\"pen\",2.5\r\n");
}

TEST_F(TextWriterTest, FailuresLeaveTheFolderAsItWas) {
  // Chinese text in code page 1252 fails naming its row and field; the other
  // writer is dropped half way. Neither leaves a file behind.
  std::vector<Column> columns = EveryTypeColumns();
  columns[1].name = "Name";
  for (const int codePage : {1252, 936}) {
    {
      auto writer = OpenTextWriter(dir_.string(), "goods", WriterOptions{codePage});
      writer->Begin(columns);
      try {
        writer->Row(EveryTypeRows()[0]);
        EXPECT_EQ(codePage, 936);
      } catch (const rt::PlatformError& e) {
        EXPECT_NE(std::string(e.what()).find("row 1, field Name"), std::string::npos) << e.what();
      }
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir_)) << codePage;
  }
  EXPECT_THROW(OpenTextWriter((dir_ / "missing").string(), "t", {})->Begin({{"A", 3, 4, 0, 0}}),
               rt::PlatformError);
}

TEST_F(TextWriterTest, NumbersAsTheirOwnTextAndDecimalTextAsNumbers) {
  struct Case {
    rt::Variant value;
    std::int32_t type;
    const char* text;
  };
  const Case cases[] = {
      {rt::Variant(rt::Currency{-1234567}), 6, "-123.4567"},
      {rt::Variant(rt::Currency{10000}), 6, "1"},
      {rt::Variant(0.1), 5, "0.1"},
      {rt::Variant(std::uint8_t{255}), 17, "255"},
      {rt::Variant(" 7.50 "), 131, "7.5"},  // a decimal handed over as text
      {rt::Variant("7.50"), 200, "\"7.50\""},
      {rt::Variant(rt::MakeDate(2001, 2, 3, 4, 5, 6)), 135, "2001-02-03 04:05:06"},
  };
  for (const auto& c : cases) {
    auto writer = OpenTextWriter(dir_.string(), "one", WriterOptions{});
    WriteTable(*writer, {{"V", c.type, 10, 0, 0}}, {{c.value}});
    EXPECT_EQ(FileBytes(dir_ / "one.txt"), std::string("\"V\"\r\n") + c.text + "\r\n") << c.text;
  }
}

}  // namespace
}  // namespace zmdb::dal::formats::testing
