// Paradox tables of both versions, read back by pxlib through px_dump: the
// header, each field's type and size, and every value, for a table holding
// one field of each kind; the byte encodings beside them.
#include "zmdb/dal/formats/paradox.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "dal/formats/paradox_p.h"
#include "writer_fixture.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats {
namespace {

using nlohmann::json;
using rt::Variant;
namespace fs = std::filesystem;

class ParadoxTest : public testing::WriterTest {
 protected:
  // The table as pxlib reads it: the header line, the field lines, the records.
  static std::vector<json> Dump(const fs::path& db, const char* charset) {
#ifndef ZMDB_PX_DUMP
    ADD_FAILURE() << "pxlib is not installed (scripts/setup.sh installs pxlib-dev)";
    return {};
#else
    std::string command = std::string(ZMDB_PX_DUMP) + " '" + db.string() + "' " + charset;
    fs::path mb = db;
    mb.replace_extension(".mb");
    if (fs::exists(mb)) command += " '" + mb.string() + "'";
    std::vector<json> lines;
    for (const std::string& line : testing::Lines(testing::CommandOutput(command)))
      lines.push_back(json::parse(line));
    return lines;
#endif
  }
};

Variant Bytes(std::vector<std::uint8_t> bytes) {
  std::vector<Variant> items(bytes.begin(), bytes.end());
  return Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(items)));
}

// One field of the test table: the column, the type and size it becomes in
// each version (type 0: the version leaves the column out), the value of each
// of the four rows and what pxlib reads back in each version.
struct Cell {
  Column column;
  int type3, size3, type4, size4;
  std::vector<Variant> values;
  json read3, read4;
};

std::vector<Cell> Cells() {
  const std::string longMemo(3000, 'x');
  std::string longChinese;
  for (int i = 0; i < 2500; ++i) longChinese += "墨水";
  const Variant null = Variant::Null();
  const json nil = nullptr;
  return {
      {{"ID", 3}, 6, 8, 6, 8, {1, null, -7, 0}, {1, nil, -7, 0}, {1, nil, -7, 0}},
      {{"名称", 202, 6},
       1,
       12,
       1,
       12,
       {"墨水", null, "Paper and pencils", ""},
       {"墨水", nil, "Paper and pe", nil},
       {"墨水", nil, "Paper and pe", nil}},
      {{"Qty", 2},
       3,
       2,
       3,
       2,
       {std::int16_t{12}, null, std::int16_t{-32767}, std::int16_t{0}},
       {12, nil, -32767, 0},
       {12, nil, -32767, 0}},
      {{"Price", 6},
       5,
       8,
       5,
       8,
       {rt::Currency{35000}, null, rt::Currency{-100}, rt::Currency{0}},
       {3.5, nil, -0.01, 0},
       {3.5, nil, -0.01, 0}},
      {{"Rate", 131, 0, 18, 4},
       6,
       8,
       6,
       8,
       {0.125, null, -1e300, 1e-300},
       {0.125, nil, -1e300, 1e-300},
       {0.125, nil, -1e300, 1e-300}},
      {{"Paid", 11}, 3, 2, 3, 2, {true, null, false, true}, {1, nil, 0, 1}, {1, nil, 0, 1}},
      {{"Born", 7},
       2,
       4,
       2,
       4,
       {rt::Date{45351.75}, null, rt::Date{-1.25}, rt::Date{-693593}},
       {"2024-02-29", nil, "1899-12-29", "0001-01-01"},
       {"2024-02-29", nil, "1899-12-29", "0001-01-01"}},
      {{"At", 134},
       1,
       8,
       1,
       8,
       {rt::Date{0.5}, null, rt::Date{-1.25}, rt::Date{0.999999}},
       {"12:00:00", nil, "06:00:00", "00:00:00"},
       {"12:00:00", nil, "06:00:00", "00:00:00"}},
      {{"Note", 203, 1 << 30},
       1,
       255,
       12,
       20,
       {Variant(longChinese), null, "0123456789", "01234567890"},
       {longChinese.substr(0, 381), nil, "0123456789", "01234567890"},
       {longChinese, nil, "0123456789", "01234567890"}},
      {{"Memo", 201, 1 << 30},
       1,
       255,
       12,
       20,
       {Variant(longMemo), null, "短备注", ""},
       {longMemo.substr(0, 255), nil, "短备注", nil},
       {longMemo, nil, "短备注", nil}},
      {{"Photo", 205, 1 << 30},
       0,
       0,
       13,
       20,
       {Bytes({0, 1, 2, 255}), null, Bytes(std::vector<std::uint8_t>(5000, 0xAB)), Bytes({})},
       nil,
       {"000102ff", nil, std::string(10000, 'a').replace(1, 9999, std::string(9999, 'b')), nil}},
  };
}

TEST_F(ParadoxTest, PxlibReadsEveryFieldAndValueBack) {
  const std::vector<Cell> cells = Cells();
  // Hex of 5000 0xAB bytes.
  std::string hexAB;
  for (int i = 0; i < 5000; ++i) hexAB += "ab";
  for (const ParadoxVersion version : {ParadoxVersion::v3, ParadoxVersion::v4}) {
    const bool v4 = version == ParadoxVersion::v4;
    SCOPED_TRACE(v4 ? "4.x" : "3.x");
    std::vector<const Cell*> used;
    for (const Cell& c : cells)
      if ((v4 ? c.type4 : c.type3) != 0) used.push_back(&c);
    std::vector<Column> columns;
    for (const Cell* c : used) columns.push_back(c->column);
    const fs::path db = dir_ / (v4 ? "orders4.db" : "orders3.db");
    auto writer = OpenParadoxWriter(db.string(), version);
    writer->Begin(columns);
    for (std::size_t row = 0; row < 4; ++row) {
      std::vector<Variant> values;
      for (const Cell* c : used) values.push_back(c->values[row]);
      writer->Row(values);
    }
    writer->Finish();
    EXPECT_EQ(fs::exists(dir_ / (v4 ? "orders4.mb" : "orders3.mb")), v4);

    const std::vector<json> lines = Dump(db, "GBK");
    ASSERT_EQ(lines.size(), 1 + used.size() + 4);
    const json& head = lines[0];
    EXPECT_EQ(head["fileversion"], v4 ? 4 : 3);
    EXPECT_EQ(head["filetype"], 2);
    EXPECT_EQ(head["numrecords"], 4);
    EXPECT_EQ(head["numfields"], used.size());
    EXPECT_EQ(head["codepage"], v4 ? 936 : 0);
    // 3.x: records of 562 bytes, 3 to a 2 KB block; 4.x: 112 bytes in 4 KB.
    EXPECT_EQ(head["numblocks"], v4 ? 1 : 2);
    EXPECT_EQ(head["maxtablesize"], v4 ? 4 : 2);
    EXPECT_EQ(head["firstblock"], 1);
    EXPECT_EQ(head["headersize"].get<int>() % 2048, 0);
    int recordSize = 0;
    for (std::size_t i = 0; i < used.size(); ++i) {
      const Cell& c = *used[i];
      const json& f = lines[1 + i];
      EXPECT_EQ(f["name"], c.column.name);
      EXPECT_EQ(f["type"], v4 ? c.type4 : c.type3) << c.column.name;
      EXPECT_EQ(f["size"], v4 ? c.size4 : c.size3) << c.column.name;
      recordSize += v4 ? c.size4 : c.size3;
    }
    EXPECT_EQ(head["recordsize"], recordSize);
    for (std::size_t row = 0; row < 4; ++row) {
      const json& record = lines[1 + used.size() + row];
      for (std::size_t i = 0; i < used.size(); ++i) {
        json expected = (v4 ? used[i]->read4 : used[i]->read3)[row];
        if (used[i]->column.name == "Photo" && row == 2) expected = hexAB;
        EXPECT_EQ(record[i], expected) << used[i]->column.name << " row " << row + 1;
      }
    }
  }
}

TEST_F(ParadoxTest, ManyRecordsFillChainedBlocks) {
  // 3.x blocks hold 2042 bytes of records, 4.x blocks 4090: 5000 records of
  // 68 bytes (a Number and 30 characters of two bytes) take 167 and 84
  // blocks, the last one partly filled.
  struct Case {
    ParadoxVersion version;
    int blocks;
  };
  for (const Case c : {Case{ParadoxVersion::v3, 167}, Case{ParadoxVersion::v4, 84}}) {
    const fs::path db = dir_ / "many.db";
    auto writer = OpenParadoxWriter(db.string(), c.version);
    writer->Begin({{"N", 3}, {"Text", 200, 30}});
    for (int i = 0; i < 5000; ++i) writer->Row({i, "行" + std::to_string(i)});
    writer->Finish();
    const std::vector<json> lines = Dump(db, "GBK");
    ASSERT_EQ(lines.size(), 3u + 5000u);
    EXPECT_EQ(lines[0]["numblocks"], c.blocks);
    EXPECT_EQ(lines[0]["lastblock"], c.blocks);
    for (int i = 0; i < 5000; ++i) {
      ASSERT_EQ(lines[3 + static_cast<std::size_t>(i)], json::array({i, "行" + std::to_string(i)}))
          << i;
    }
  }
}

TEST_F(ParadoxTest, FieldNamesAreCutAndKeptApart) {
  const std::vector<Column> columns = {{"A_very_long_field_name_of_thirty", 3},
                                       {"a_very_long_field_name_of_thirty_two", 3},
                                       {"", 3},
                                       {"订单编号订单编号订单编号订单编号", 3},
                                       {"Id", 3},
                                       {"ID", 3}};
  const std::vector<std::string> expected = {"A_very_long_field_name_of",
                                             "a_very_long_field_name__2",
                                             "Field3",
                                             "\xB6\xA9\xB5\xA5\xB1\xE0\xBA\xC5\xB6\xA9\xB5\xA5\xB1"
                                             "\xE0\xBA\xC5\xB6\xA9\xB5\xA5\xB1\xE0\xBA\xC5",
                                             "Id",
                                             "ID_2"};
  EXPECT_EQ(paradox::FieldNames(columns, 936), expected);
}

TEST(ParadoxEncoding, ValuesSortAsTheirBytes) {
  const double numbers[] = {-1e300, -2.5, -1.0, -1e-300, 0.0, 1e-300, 1.0, 2.5, 1e300};
  for (std::size_t i = 1; i < std::size(numbers); ++i)
    EXPECT_LT(paradox::EncodeDouble(numbers[i - 1]), paradox::EncodeDouble(numbers[i])) << i;
  const std::int16_t shorts[] = {-32767, -1, 0, 1, 32767};
  for (std::size_t i = 1; i < std::size(shorts); ++i)
    EXPECT_LT(paradox::EncodeShort(shorts[i - 1]), paradox::EncodeShort(shorts[i])) << i;
  // The values themselves are read back by pxlib above; a negative zero
  // must sort as zero.
  EXPECT_EQ(paradox::EncodeDouble(-0.0), paradox::EncodeDouble(0.0));
}

TEST_F(ParadoxTest, FailuresNameTheirCauseAndLeaveNoFiles) {
  struct Case {
    const char* name;
    ParadoxVersion version;
    std::vector<Column> columns;
    std::vector<Variant> row;
    const char* text;  // in the error's description
  };
  const std::vector<Case> cases = {
      {"code page",
       ParadoxVersion::v4,
       {{"Item", 200, 10}, {"Note", 203}},
       {"ok", "Ωmega \xF0\x9F\x98\x80"},
       "row 1, field Note"},
      {"overflow", ParadoxVersion::v3, {{"Qty", 2}}, {100000}, "row 1, field Qty"},
      {"Null's bytes", ParadoxVersion::v4, {{"Qty", 2}}, {-32768}, "row 1, field Qty"},
      {"not a date", ParadoxVersion::v4, {{"Born", 7}}, {"someday"}, "row 1, field Born"},
      {"binary in 3.x", ParadoxVersion::v3, {{"Photo", 205}}, {}, "Photo"},
      {"value count", ParadoxVersion::v4, {{"A", 3}, {"B", 3}}, {1}, "1 values for 2 fields"},
      {"no fields", ParadoxVersion::v4, {}, {}, "1 to 255 fields"},
      {"record too long",
       ParadoxVersion::v4,
       std::vector<Column>(17, Column{"T", 200, 255}),
       {},
       "longer than"},
  };
  for (const Case& c : cases) {
    const fs::path db = dir_ / "t.db";
    try {
      auto writer = OpenParadoxWriter(db.string(), c.version);
      writer->Begin(c.columns);
      writer->Row(c.row);
      ADD_FAILURE() << c.name;
    } catch (const rt::PlatformError& e) {
      EXPECT_NE(std::string(e.what()).find(c.text), std::string::npos)
          << c.name << ": " << e.what();
    }
    EXPECT_FALSE(fs::exists(db)) << c.name;
    EXPECT_FALSE(fs::exists(dir_ / "t.mb")) << c.name;
  }
}

}  // namespace
}  // namespace zmdb::dal::formats
