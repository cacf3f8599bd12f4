// The backup file as text and the file table under it: cutting lines at
// separators of any length, the header lines, the text of each kind of value,
// code page 936, and reading lines whatever their endings.
#include "zmdb/files/backup_format.h"

#include <gtest/gtest.h>

#include <limits>

#include "raised.h"
#include "temp_folder.h"
#include "zmdb/files/file_table.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::files {
namespace {

using dal::testing::RaisedNumber;
using rt::Variant;
using Parts = std::vector<std::string_view>;

TEST(BackupText, SplitAtCutsAtEveryWholeSeparator) {
  const struct {
    std::string_view text, separator;
    Parts parts;
  } cases[] = {
      {"1,apple,2004-08-30", ",", {"1", "apple", "2004-08-30"}},
      {"a<->b<->c", "<->", {"a", "b", "c"}},
      {"a<-b<->c", "<->", {"a<-b", "c"}},  // a part of the separator is text
      {"a,,b,", ",", {"a", "", "b", ""}},
      {"", ",", {""}},
      {"aaa", "aa", {"", "a"}},  // left to right, no overlap
      {"李,明", ",", {"李", "明"}},
      {"分隔符x分隔符", "分隔符", {"", "x", ""}},
      {"whole", "", {"whole"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " / " + std::string(c.separator));
    EXPECT_EQ(SplitAt(c.text, c.separator), c.parts);
  }
}

// The header lines as written are checked byte for byte in backup_test.cpp;
// reading one back takes off a single mark and leaves a line without one.
TEST(BackupText, HeaderMarkOnRead) {
  const struct {
    std::string_view line, list;
  } marks[] = {{";ID,Item", "ID,Item"}, {";;x", ";x"}, {"ID,Item", "ID,Item"}, {"", ""}};
  for (const auto& m : marks) EXPECT_EQ(WithoutHeaderMark(m.line), m.list) << m.line;
}

// What the round trips of backup_test.cpp do not write: formats on values that
// take none, the largest doubles, a date format with a time.
TEST(BackupText, ValueTexts) {
  const Variant stamp(rt::MakeDate(2004, 8, 30, 13, 5, 9));
  const struct {
    Variant value;
    std::int32_t type;
    std::string_view format, text;
  } cases[] = {
      {Variant::Null(), 7, "yyyy", ""},
      {Variant(1.5), 5, "yyyy", "1.5"},
      {Variant(1e20), 5, "", "1E+20"},
      // Fifteen digits would round the largest doubles past the largest one,
      // a text no restore reads: those are written with all their digits.
      {Variant(1.79769313486231e308), 5, "", "1.79769313486231E+308"},
      {Variant(std::numeric_limits<double>::max()), 5, "", "1.7976931348623157E+308"},
      {Variant(-std::numeric_limits<double>::max()), 5, "", "-1.7976931348623157E+308"},
      {stamp, 7, "dd/mm/yyyy hh:nn", "30/08/2004 13:05"},
      // Only adDate takes the format; the other date types keep their text.
      {stamp, 133, "yyyy", "2004-08-30 13:05:09"},
      {Variant("苹果"), 202, "yyyy", "苹果"},
  };
  for (const auto& c : cases) {
    std::string line = "x,";
    AppendValueText(line, c.value, c.type, c.format);
    EXPECT_EQ(line, "x," + std::string(c.text)) << c.type << " " << c.format;
    if (c.type == 5) {
      EXPECT_EQ(rt::CDbl(Variant(std::string(c.text))), c.value.AsDouble());
    }
  }
}

TEST(BackupText, DefinedSizesAndEncodingNames) {
  EXPECT_EQ(DefinedSizeOf("0"), 0);
  EXPECT_EQ(RaisedNumber([&] { (void)DefinedSizeOf("fifty"); }), rt::err::kTypeMismatch);
  for (const char* name : {"", "utf-8", "UTF8", "65001"})
    EXPECT_EQ(EncodingNamed(name), TextEncoding::Utf8) << name;
  for (const char* name : {"gbk", "cp936", "936", "GB2312"})
    EXPECT_EQ(EncodingNamed(name), TextEncoding::Gbk) << name;
  EXPECT_EQ(RaisedNumber([&] { (void)EncodingNamed("latin1"); }), rt::err::kInvalidProcCall);
}

TEST(BackupText, CodePage936) {
  const struct {
    std::string_view gbk, utf8;
  } cases[] = {
      {"\xD6\xD0\xCE\xC4", "中文"},
      {"ID,\xC0\xEE\xC3\xF7,7", "ID,李明,7"},
      {"plain", "plain"},
      {"", ""},
      // Bytes that begin no character stay as they are, and decoding goes on.
      {"a\xFF\xD6\xD0", "a\xFF中"},
      {"\xD6\xD0\xC0", "中\xC0"},  // a lead byte cut off at the end
  };
  for (const auto& c : cases) EXPECT_EQ(GbkToUtf8(c.gbk), c.utf8) << c.utf8;
}

class FileTableTest : public zmdb::testing::TempFolderTest {
 protected:
  void TearDown() override {
    for (int n = 1; n <= kMaxFileNumber; ++n) Close(n);
    TempFolderTest::TearDown();
  }
};

TEST_F(FileTableTest, LinesEndAtCrLfLfOrCr) {
  const struct {
    std::string bytes;
    std::vector<std::string> lines;
  } cases[] = {
      {"a\r\nb\r\n", {"a", "b"}},
      {"a\nb", {"a", "b"}},
      {"a\rb\r\n\r\nc", {"a", "b", "", "c"}},
      {"\r\n", {""}},
      {"", {}},
      {std::string("n\0l\r\n", 5), {std::string("n\0l", 3)}},
      // Lines longer than what is read at once, and CR LF split between reads.
      {std::string(65535, 'x') + "\r\n" + std::string(70000, 'y'),
       {std::string(65535, 'x'), std::string(70000, 'y')}},
  };
  for (const auto& c : cases) {
    const int n = FreeFile();
    const std::string path = (dir_ / "lines.txt").string();
    zmdb::testing::WriteFileBytes(path, c.bytes);
    OpenForInput(n, path);
    std::vector<std::string> read;
    while (!Eof(n)) read.push_back(LineInput(n));
    EXPECT_EQ(read, c.lines) << c.bytes.substr(0, 12);
    EXPECT_EQ(RaisedNumber([&] { (void)LineInput(n); }), rt::err::kInputPastEnd);
    Close(n);
  }
}

TEST_F(FileTableTest, NumbersAndModes) {
  EXPECT_EQ(FreeFile(), 1);
  const std::string out = (dir_ / "out.txt").string();
  OpenForOutput(1, out);
  EXPECT_EQ(FreeFile(), 2);
  PrintLine(1, "备份");
  PrintLine(1, "");
  EXPECT_EQ(RaisedNumber([&] { (void)LineInput(1); }), rt::err::kBadFileMode);
  EXPECT_EQ(RaisedNumber([&] { (void)Eof(1); }), rt::err::kBadFileMode);
  EXPECT_EQ(RaisedNumber([&] { (void)OpenForInput(1, out); }), rt::err::kFileAlreadyOpen);
  Close(1);
  EXPECT_FALSE(IsOpen(1));
  EXPECT_EQ(zmdb::testing::FileBytes(out), "备份\r\n\r\n");

  OpenForInput(2, out);
  EXPECT_EQ(FreeFile(), 1);  // the lowest free number
  EXPECT_EQ(RaisedNumber([&] { (void)PrintLine(2, "x"); }), rt::err::kBadFileMode);
  EXPECT_EQ(RaisedNumber([&] { (void)Eof(1); }), rt::err::kBadFileNumber);
  EXPECT_EQ(RaisedNumber([&] { (void)LineInput(0); }), rt::err::kBadFileNumber);
  EXPECT_EQ(RaisedNumber([&] { (void)Eof(kMaxFileNumber + 1); }), rt::err::kBadFileNumber);

  EXPECT_EQ(RaisedNumber([&] { (void)OpenForInput(3, (dir_ / "none.txt").string()); }),
            rt::err::kFileNotFound);
  EXPECT_EQ(RaisedNumber([&] { (void)OpenForInput(3, dir_.string()); }), rt::err::kPathFileAccess);
  EXPECT_EQ(RaisedNumber([&] { (void)OpenForOutput(3, (dir_ / "no" / "such.txt").string()); }),
            rt::err::kPathNotFound);
  EXPECT_FALSE(IsOpen(3));  // a failed open holds no number
}

}  // namespace
}  // namespace zmdb::files
