// dBase and FoxPro tables: written here, read back by an independent reader
// (python3-dbfread, run as a process), and checked byte by byte where the
// reader is lenient (memo blocks, counts, terminators).
#include "zmdb/dal/formats/dbase.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "dal/formats/dbase_p.h"
#include "raised.h"
#include "writer_fixture.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats {
namespace {

using nlohmann::json;
using rt::Variant;

// Prints the header, the fields and each record of a table as JSON lines.
constexpr const char* kReader = R"PY(
import sys, json, datetime, os
from dbfread import DBF
t = DBF(sys.argv[1], load=False)
h = t.header
print(json.dumps({"version": h.dbversion, "driver": h.language_driver, "count": h.numrecords,
                  "memo": os.path.basename(t.memofilename) if t.memofilename else None,
                  "fields": [[f.name, f.type, f.length, f.decimal_count] for f in t.fields]},
                 ensure_ascii=False))
def value(v):
    if isinstance(v, datetime.date): return v.isoformat()
    # The reader takes the length of a dBase IV memo (which counts its 8-byte
    # header) for that of the text and reads the padding of the block with it.
    if isinstance(v, str) and h.dbversion == 0x8B: return v.rstrip("\x00")
    return v
for r in t:
    print(json.dumps([value(v) for v in r.values()], ensure_ascii=False))
)PY";

std::uint32_t LE(const std::string& b, std::size_t at, int n) {
  std::uint32_t v = 0;
  for (int i = n - 1; i >= 0; --i)
    v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
  return v;
}
std::uint32_t BE(const std::string& b, std::size_t at, int n) {
  std::uint32_t v = 0;
  for (int i = 0; i < n; ++i)
    v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
  return v;
}

class DbaseTest : public testing::WriterTest {
 protected:
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  void Write(const std::string& path, DbfFlavour flavour, const std::vector<Column>& columns,
             const std::vector<std::vector<Variant>>& rows, int codePage = 936) {
    testing::WriteTable(*OpenDbaseWriter(path, flavour, {codePage}), columns, rows);
  }

  // The reader's lines, parsed.
  static std::vector<json> ReadBack(const std::string& path) {
    std::vector<json> lines;
    for (const auto& line : RunPython(kReader, {path}))
      lines.push_back(json::parse(line, nullptr, false));
    return lines;
  }
};

Variant ByteArray(std::vector<std::uint8_t> bytes) {
  std::vector<Variant> items;
  for (const auto b : bytes) items.emplace_back(b);
  return Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(items)));
}

std::string LongMemo() {
  std::string s;
  for (int i = 0; i < 150; ++i) s += "长文本" + std::to_string(i) + ";";
  return s;  // well over one 512-byte block in GBK
}

// Every kind of column the writer maps, with a row of values, a row of Nulls
// and a row of edge values.
const std::vector<Column> kEveryType = {
    {"Name", 200, 10, 0, 0},
    {"Note", 203, 0, 0, 0},
    {"Qty", 3, 4, 10, 0},
    {"Small", 2, 2, 5, 0},
    {"Price", 6, 8, 19, 4},
    {"Amount", 131, 19, 10, 2},
    {"Ratio", 5, 8, 15, 0},
    {"Active", 11, 2, 0, 0},
    {"Born", 7, 8, 0, 0},
    {"Stamp", 135, 16, 0, 0},
    {"Big", 20, 8, 19, 0},
    {"Blob", 205, 0, 0, 0},
    {"A rather long title", 202, 300, 0, 0},
};

std::vector<std::vector<Variant>> EveryTypeRows() {
  std::vector<Variant> nulls(kEveryType.size(), Variant::Null());
  return {
      {"纸张", LongMemo(), 42, std::int16_t{-7}, rt::Currency{125000}, "1234.565", 3.25, true,
       rt::MakeDate(2024, 2, 29), rt::MakeDate(2023, 12, 31, 23, 59, 0), "9007199254740993",
       ByteArray({0x00, 0xFF, 0x10}), "短"},
      nulls,
      {"ink", "", 0, std::int16_t{0}, rt::Currency{-1}, -0.5, 1e-9, false,
       rt::MakeDate(1899, 12, 30), rt::Date{45000.75}, -1, ByteArray({}), LongMemo()},
  };
}

struct FlavourCase {
  DbfFlavour flavour;
  int version;
  const char* memoFile;
  const char* ratioType;  // doubles
  int maxWidth;           // widest N field
};

const FlavourCase kFlavours[] = {
    {DbfFlavour::dBaseIII, 0x83, "every.dbt", "N", 19},
    {DbfFlavour::dBaseIV, 0x8B, "every.dbt", "F", 20},
    {DbfFlavour::FoxPro20, 0xF5, "every.fpt", "F", 20},
    {DbfFlavour::FoxPro25, 0xF5, "every.fpt", "F", 20},
    {DbfFlavour::FoxPro26, 0xF5, "every.fpt", "F", 20},
};

TEST_F(DbaseTest, EveryTypeReadsBackInEachFlavour) {
  for (const auto& c : kFlavours) {
    SCOPED_TRACE(c.version);
    const std::string path = Path("every.dbf");
    Write(path, c.flavour, kEveryType, EveryTypeRows());
    const auto lines = ReadBack(path);
    ASSERT_EQ(lines.size(), 4u);
    const json& head = lines[0];
    EXPECT_EQ(head["version"], c.version);
    EXPECT_EQ(head["driver"], 0x7A);
    EXPECT_EQ(head["count"], 3);
    EXPECT_EQ(head["memo"], c.memoFile);
    const json fields = json::array({
        {"NAME", "C", 20, 0},
        {"NOTE", "M", 10, 0},
        {"QTY", "N", 11, 0},
        {"SMALL", "N", 6, 0},
        {"PRICE", "N", c.maxWidth, 4},
        {"AMOUNT", "N", 12, 2},
        {"RATIO", c.ratioType, c.maxWidth, 8},
        {"ACTIVE", "L", 1, 0},
        {"BORN", "D", 8, 0},
        {"STAMP", "D", 8, 0},
        {"BIG", "N", c.maxWidth, 0},
        {"BLOB", "M", 10, 0},
        {"A_RATHER_L", "M", 10, 0},
    });
    EXPECT_EQ(head["fields"], fields);
    EXPECT_EQ(lines[1], json::parse(R"(["纸张", ")" + LongMemo() +
                                    R"(", 42, -7, 12.5, 1234.57, 3.25, true, "2024-02-29",
                                    "2023-12-31", 9007199254740993, "00FF10", "短"])"));
    EXPECT_EQ(lines[2], json::parse(R"(["", null, null, null, null, null, null, null, null, null,
                                    null, null, null])"));
    EXPECT_EQ(lines[3], json::parse(R"(["ink", null, 0, 0, -0.0001, -0.5, 0.0, false, "1899-12-30",
                                    "2023-03-15", -1, null, ")" +
                                    LongMemo() + R"("])"));
  }
}

struct CodePageCase {
  int codePage;
  int driver;
  const char* text;
};

TEST_F(DbaseTest, TextIsInTheCodePageTheTableDeclares) {
  const CodePageCase cases[] = {
      {936, 0x7A, "墨水与纸张"}, {1252, 0x03, "café crème"}, {437, 0x01, "Straße ±"},
      {950, 0x78, "繁體"},       {1251, 0xC9, "Привет"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.codePage);
    const std::string path = Path("cp.dbf");
    Write(path, DbfFlavour::FoxPro26, {{"Item", 200, 20, 0, 0}, {"Memo", 201, 0, 0, 0}},
          {{c.text, c.text}}, c.codePage);
    const auto lines = ReadBack(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0]["driver"], c.driver);
    EXPECT_EQ(lines[1], json::array({c.text, c.text}));
  }
}

// What the reader does not check: the header's lengths and count, the end
// marker, FoxPro's field offsets, and each memo file's header and blocks.
struct LayoutCase {
  DbfFlavour flavour;
  const char* memoFile;
  std::uint32_t blockSize;
  bool bigEndian;
  std::string blockStart;  // the bytes that open the first memo block
};

TEST_F(DbaseTest, HeaderRecordsAndMemoBlocksAreLaidOutAsReadersExpect) {
  const LayoutCase cases[] = {
      {DbfFlavour::dBaseIII, "t.dbt", 512, false, "abc\x1A\x1A"},
      {DbfFlavour::dBaseIV, "t.dbt", 512, false, std::string("\xFF\xFF\x08\x00\x0B\0\0\0abc", 11)},
      {DbfFlavour::FoxPro25, "t.fpt", 64, true,
       std::string("\0\0\0\x01\0\0\0\x03"
                   "abc",
                   11)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.memoFile);
    const std::string path = Path("t.dbf");
    std::vector<std::vector<Variant>> rows;
    for (int i = 0; i < 5; ++i)
      rows.push_back({"abc", std::string(static_cast<std::size_t>(i) * 100, 'x') + "!"});
    rows[0][1] = "abc";
    Write(path, c.flavour, {{"Code", 200, 4, 0, 0}, {"Memo", 201, 0, 0, 0}}, rows);
    const std::string t = testing::FileBytes(path);
    EXPECT_EQ(LE(t, 4, 4), 5u);                // records
    EXPECT_EQ(LE(t, 8, 2), 32u + 2 * 32 + 1);  // header
    EXPECT_EQ(LE(t, 10, 2), 1u + 8 + 10);      // record: flag, C(8), M
    EXPECT_EQ(t.size(), 32u + 64 + 1 + 5 * 19 + 1);
    EXPECT_EQ(t[32 + 64], '\x0D');
    EXPECT_EQ(t.back(), '\x1A');
    EXPECT_EQ(t[97], ' ');  // first record not deleted
    const bool fox = c.blockSize == 64;
    EXPECT_EQ(LE(t, 32 + 12, 4), fox ? 1u : 0u);  // where the field starts in a record
    EXPECT_EQ(LE(t, 64 + 12, 4), fox ? 9u : 0u);
    const std::string m = testing::FileBytes(Path(c.memoFile));
    ASSERT_EQ(m.size() % c.blockSize, 0u);
    const std::uint32_t next = c.bigEndian ? BE(m, 0, 4) : LE(m, 0, 4);
    EXPECT_EQ(next * c.blockSize, m.size());
    if (c.bigEndian) {
      EXPECT_EQ(BE(m, 6, 2), 64u);
    }
    const std::uint32_t first = 512 / c.blockSize;
    EXPECT_EQ(t.substr(98 + 8, 10), std::string(9, ' ') + std::to_string(first));
    EXPECT_EQ(m.substr(first * c.blockSize, c.blockStart.size()), c.blockStart);
  }
}

TEST(DbaseFields, NamesAreShortUpperCaseAndUnique) {
  struct Case {
    std::vector<std::string> columns;
    int codePage;
    std::vector<std::string> names;
  };
  const Case cases[] = {
      {{"name", "Customer Name", "Customer Number"}, 936, {"NAME", "CUSTOMER_N", "CUSTOMER_2"}},
      {{"ID", "id", "Id"}, 936, {"ID", "ID_2", "ID_3"}},
      {{"", ""}, 936, {"FIELD", "FIELD_2"}},
      {{"2010年", "_x", "a-b.c"}, 936, {"F2010\xC4\xEA", "F_X", "A_B_C"}},
      {{"名称", "单价单价单价", "单价单价单价"},
       936,
       {"\xC3\xFB\xB3\xC6", "\xB5\xA5\xBC\xDB\xB5\xA5\xBC\xDB\xB5\xA5",
        "\xB5\xA5\xBC\xDB\xB5\xA5\xBC\xDB_2"}},
      {{"名称", "Größe"},
       1252,
       {"F__",
        "GR\xF6\xDF"
        "E"}},
      {{"A1", "A1_2", "A1"}, 936, {"A1", "A1_2", "A1_3"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(dbf::FieldNames(c.columns, c.codePage), c.names) << c.columns[0];
  }
}

TEST(DbaseFields, ColumnsMapToTheFieldTheirTypeAndSizeNeed) {
  struct Case {
    Column column;
    DbfFlavour flavour;
    int codePage;
    char type;
    int length, decimals;
  };
  const Case cases[] = {
      {{"", 200, 10, 0, 0}, DbfFlavour::dBaseIV, 1252, 'C', 10, 0},
      {{"", 202, 200, 0, 0}, DbfFlavour::dBaseIV, 936, 'C', 254, 0},
      {{"", 129, 254, 0, 0}, DbfFlavour::dBaseIV, 1252, 'C', 254, 0},
      {{"", 200, 255, 0, 0}, DbfFlavour::dBaseIV, 1252, 'M', 10, 0},
      {{"", 200, 0, 0, 0}, DbfFlavour::dBaseIV, 1252, 'M', 10, 0},
      {{"", 203, 10, 0, 0}, DbfFlavour::FoxPro20, 936, 'M', 10, 0},
      {{"", 17, 1, 3, 0}, DbfFlavour::dBaseIII, 936, 'N', 3, 0},
      {{"", 131, 19, 28, 6}, DbfFlavour::FoxPro26, 936, 'N', 20, 6},
      {{"", 131, 19, 28, 6}, DbfFlavour::dBaseIII, 936, 'N', 19, 6},
      {{"", 14, 19, 5, 0}, DbfFlavour::dBaseIV, 936, 'N', 6, 0},
      {{"", 131, 19, 0, 0}, DbfFlavour::dBaseIV, 936, 'N', 19, 0},
      {{"", 4, 4, 7, 0}, DbfFlavour::dBaseIII, 936, 'N', 19, 8},
      {{"", 4, 4, 7, 0}, DbfFlavour::FoxPro20, 936, 'F', 20, 8},
      {{"", 134, 8, 0, 0}, DbfFlavour::dBaseIV, 936, 'C', 8, 0},
      {{"", 72, 16, 0, 0}, DbfFlavour::dBaseIV, 936, 'C', 38, 0},
      {{"", 128, 16, 0, 0}, DbfFlavour::dBaseIII, 936, 'M', 10, 0},
  };
  for (const auto& c : cases) {
    const auto f = dbf::MapColumn(c.column, c.flavour, c.codePage);
    EXPECT_EQ(
        std::string(1, f.type) + " " + std::to_string(f.length) + "," + std::to_string(f.decimals),
        std::string(1, c.type) + " " + std::to_string(c.length) + "," + std::to_string(c.decimals))
        << "type " << c.column.type << " size " << c.column.definedSize;
  }
}

TEST(DbaseFields, NumbersFitTheirWidthOrAreRefused) {
  struct Case {
    Variant value;
    int width, decimals;
    bool floating;
    const char* text;  // "" when refused
  };
  const Case cases[] = {
      {rt::Currency{125000}, 20, 4, false, "12.5000"},
      {rt::Currency{-1}, 20, 2, false, "0.00"},
      {rt::Currency{-15000}, 20, 0, false, "-2"},
      {"1234.565", 12, 2, false, "1234.57"},
      {"-0.995", 12, 2, false, "-1.00"},
      {" 99.99 ", 5, 1, false, "100.0"},
      {"12345678901234567890", 20, 0, false, "12345678901234567890"},
      {"123456", 5, 0, false, ""},
      {"1E3", 8, 1, false, "1000.0"},
      {std::int32_t{-2147483647 - 1}, 11, 0, false, "-2147483648"},
      {3.25, 20, 8, false, "3.25000000"},
      {-0.0001, 10, 2, false, "0.00"},
      {1e300, 20, 0, false, ""},
      {std::numeric_limits<double>::quiet_NaN(), 20, 8, true, ""},
      {1e30, 20, 8, true, "1.0000000000000E+30"},
      {-123456789012.5, 20, 8, true, "-123456789012.500000"},
      {0.125, 20, 8, true, "0.12500000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.floating ? dbf::FloatText(c.value, c.width, c.decimals)
                         : dbf::FixedText(c.value, c.width, c.decimals),
              c.text)
        << c.text;
  }
}

TEST_F(DbaseTest, AValueThatCannotBeWrittenNamesItsRowAndFieldAndLeavesNoFiles) {
  struct Case {
    Column column;
    Variant bad;
    int codePage;
    const char* message;
  };
  const Case cases[] = {
      {{"Item", 200, 20, 0, 0}, "墨水", 1252, "row 2, field Item"},
      {{"Item", 201, 0, 0, 0}, "墨水", 437, "row 2, field Item"},
      {{"Code", 200, 2, 0, 0}, "abcde", 936, "row 2, field Code"},
      {{"Code", 200, 2, 0, 0}, "纸张纸", 936, "row 2, field Code"},
      {{"Qty", 2, 2, 5, 0}, 1234567, 936, "row 2, field Qty"},
      {{"Qty", 3, 4, 10, 0}, "many", 936, "row 2, field Qty"},
      {{"Born", 7, 8, 0, 0}, "not a date", 936, "row 2, field Born"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    const std::string path = Path("bad.dbf");
    {
      auto w = OpenDbaseWriter(path, DbfFlavour::dBaseIV, {c.codePage});
      w->Begin({c.column, {"Long", 201, 0, 0, 0}});
      w->Row({Variant::Null(), "memo"});
      const std::string text = dal::testing::RaisedError([&] {
                                 w->Row({c.bad, "memo"});
                               }).Description;
      EXPECT_NE(text.find(c.message), std::string::npos) << text;
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(std::filesystem::exists(Path("bad.dbt")));
  }
  // A refused row leaves the table whole: the rows around it are written.
  const std::string path = Path("gap.dbf");
  auto w = OpenDbaseWriter(path, DbfFlavour::FoxPro26);
  w->Begin({{"Qty", 2, 2, 5, 0}, {"Long", 201, 0, 0, 0}});
  w->Row({1, "one"});
  EXPECT_FALSE(dal::testing::RaisedError([&] {
                 w->Row({1234567, "refused"});
               }).Description.empty());
  w->Row({3, "three"});
  w->Finish();
  const auto lines = ReadBack(path);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0]["count"], 2);
  EXPECT_EQ(lines[2], json::parse(R"([3, "three"])"));
}

TEST_F(DbaseTest, MisuseAndUnwritableTargetsAreRefused) {
  const std::vector<Column> one = {{"A", 3, 4, 10, 0}};
  std::vector<Column> many;
  for (int i = 0; i < 129; ++i) many.push_back({"F" + std::to_string(i), 3, 4, 10, 0});
  struct Case {
    const char* what;
    std::function<void()> run;
    std::int32_t number;
  };
  const std::string path = Path("m.dbf");
  const Case cases[] = {
      {"folder missing", [&] { OpenDbaseWriter(Path("no/such/t.dbf"), DbfFlavour::dBaseIV); }, 76},
      {"folder as file", [&] { OpenDbaseWriter(dir_.string(), DbfFlavour::dBaseIV); }, 75},
      {"code page without driver", [&] { OpenDbaseWriter(path, DbfFlavour::dBaseIV, {65001}); }, 5},
      {"row before Begin", [&] { OpenDbaseWriter(path, DbfFlavour::dBaseIV)->Row({1}); }, 5},
      {"Finish before Begin", [&] { OpenDbaseWriter(path, DbfFlavour::dBaseIV)->Finish(); }, 5},
      {"no columns", [&] { OpenDbaseWriter(path, DbfFlavour::dBaseIV)->Begin({}); }, 5},
      {"too many fields for dBase III",
       [&] { OpenDbaseWriter(path, DbfFlavour::dBaseIII)->Begin(many); }, 5},
      {"record too long",
       [&] {
         OpenDbaseWriter(path, DbfFlavour::dBaseIV)
             ->Begin(std::vector<Column>(20, Column{"T", 200, 254, 0, 0}));
       },
       5},
      {"wrong value count",
       [&] {
         auto w = OpenDbaseWriter(path, DbfFlavour::dBaseIV);
         w->Begin(one);
         w->Row({1, 2});
       },
       5},
  };
  for (const auto& c : cases) {
    try {
      c.run();
      ADD_FAILURE() << c.what;
    } catch (const rt::PlatformError& e) {
      EXPECT_EQ(e.number(), c.number) << c.what << ": " << e.what();
      EXPECT_FALSE(std::string(e.what()).empty());
    }
    EXPECT_FALSE(std::filesystem::exists(path)) << c.what;
  }
  // FoxPro takes more fields than dBase III.
  Write(path, DbfFlavour::FoxPro26, many, {std::vector<Variant>(129, Variant(7))});
  const auto lines = ReadBack(path);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0]["fields"].size(), 129u);
  EXPECT_EQ(lines[1][128], 7);
}

// A second reader, shapelib's dbfdump, reads the fields and records of every
// flavour (it reads no memo files). Without long text no flavour is marked
// as having a memo file, and none is made.
TEST_F(DbaseTest, ShapelibReadsEachFlavour) {
  for (const auto& c : kFlavours) {
    const std::string path = Path("shp.dbf");
    Write(path, c.flavour,
          {{"Item", 200, 6, 0, 0},
           {"Qty", 3, 4, 10, 0},
           {"Ratio", 5, 8, 15, 0},
           {"Active", 11, 2, 0, 0},
           {"Born", 7, 8, 0, 0}},
          {{"ink", 3, 0.5, true, rt::MakeDate(2024, 1, 2)},
           {Variant::Null(), Variant::Null(), Variant::Null(), Variant::Null(), Variant::Null()}},
          1252);
    EXPECT_EQ(testing::FileBytes(path)[0], '\x03');
    EXPECT_FALSE(std::filesystem::exists(Path("shp.dbt")));
    EXPECT_FALSE(std::filesystem::exists(Path("shp.fpt")));
    const std::string out = testing::CommandOutput("dbfdump -h -m -r '" + path + "' 2>&1");
    std::string trimmed;  // each line without its trailing blanks
    for (const char ch : out) {
      if (ch == '\n') {
        while (!trimmed.empty() && trimmed.back() == ' ') trimmed.pop_back();
      }
      trimmed += ch;
    }
    const std::string ratio =
        std::string(c.ratioType) + "/Double, Title=`RATIO', Width=" + std::to_string(c.maxWidth);
    EXPECT_EQ(trimmed,
              "Field 0: Type=C/String, Title=`ITEM', Width=6, Decimals=0\n"
              "Field 1: Type=N/Double, Title=`QTY', Width=11, Decimals=0\n"
              "Field 2: Type=" +
                  ratio +
                  ", Decimals=8\n"
                  "Field 3: Type=L/Double, Title=`ACTIVE', Width=1, Decimals=0\n"
                  "Field 4: Type=D/Double, Title=`BORN', Width=8, Decimals=0\n\n"
                  "Record: 0\nITEM: ink\nQTY: 3\nRATIO: 0.50000000\nACTIVE: T\nBORN: 20240102\n\n"
                  "Record: 1\nITEM:\nQTY:\nRATIO:\nACTIVE: ?\nBORN:\n\n");
  }
}

}  // namespace
}  // namespace zmdb::dal::formats
