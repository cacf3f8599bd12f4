// Backing up recordsets to text and restoring them: round trips of every kind
// of value, the file's exact lines, separators, the ways a file or a list
// fails the restore, progress controls, the cursor position, and the file
// number the restore tests for its end.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/files/file_table.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/ui/controls.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Rows = std::vector<std::vector<Variant>>;

struct Column {
  std::string name;
  std::int32_t type;
  std::int32_t size = 0;
};

class BackupTest : public ComponentTest {
 protected:
  void TearDown() override {
    for (int n = 1; n <= files::kMaxFileNumber; ++n) files::Close(n);
    ComponentTest::TearDown();
  }

  // A disconnected recordset with `columns` holding `rows`.
  static std::shared_ptr<dal::Recordset> Build(const std::vector<Column>& columns,
                                               const Rows& rows) {
    auto rs = dal::Recordset::Create();
    for (const auto& c : columns) rs->fields()->Append(c.name, c.type, c.size);
    rs->SetCursorType(dal::ado::adOpenStatic);
    rs->SetLockType(dal::ado::adLockOptimistic);
    rs->Open();
    for (const auto& row : rows) {
      rs->AddNew();
      for (std::size_t i = 0; i < row.size(); ++i) rs->SetValueAt(i, row[i]);
      rs->Update();
    }
    return rs;
  }
  std::string File(const std::string& name = "backup.txt") const { return (dir_ / name).string(); }
  static std::shared_ptr<dal::Recordset> AsRecordset(const rt::ObjectRef& o) {
    return std::dynamic_pointer_cast<dal::Recordset>(o);
  }
  // The restore of `path` with its header (fbNote True), as a recordset or null.
  std::shared_ptr<dal::Recordset> Restore(const std::string& path, const std::string& sep = ",") {
    return AsRecordset(obj_->dbRestoreRecordset(path, sep, true));
  }
  std::int32_t LastNumber() const { return obj_->dbGetLastError().Number; }
};

const Variant kMade(rt::MakeDate(2004, 8, 30));
const Variant kStamp(rt::MakeDate(2004, 8, 30, 13, 5, 9));

TEST_F(BackupTest, EveryKindOfValueComesBack) {
  const struct {
    Column column;
    Variant value;
    std::string dateFormat;
    std::string text;  // as the data line holds it
    Variant back;      // as the restore gives it
  } cases[] = {
      {{"V", 3, 4}, Variant(std::int32_t{-2147483647}), "", "-2147483647", {}},
      {{"V", 2, 2}, Variant(std::int16_t{-12}), "", "-12", {}},
      {{"V", 17, 1}, Variant(std::uint8_t{255}), "", "255", {}},
      {{"V", 4, 4}, Variant(1.25f), "", "1.25", {}},
      {{"V", 5, 8}, Variant(0.1), "", "0.1", {}},
      {{"V", 5, 8}, Variant(-1.5e-7), "", "-1.5E-07", {}},
      {{"V", 6, 8}, Variant(rt::Currency{-922337203685477}), "", "-92233720368.5477", {}},
      {{"V", 131, 19}, Variant(123456.789), "", "123456.789", {}},
      {{"V", 14, 19}, Variant(-0.25), "", "-0.25", {}},
      {{"V", 11, 2}, Variant(true), "", "True", {}},
      {{"V", 11, 2}, Variant(false), "", "False", {}},
      {{"V", 7, 8}, kMade, "", "2004-08-30", {}},
      {{"V", 7, 8}, kStamp, "", "2004-08-30 13:05:09", {}},
      {{"V", 7, 8}, kStamp, "yyyy-mm-dd", "2004-08-30", kMade},
      {{"V", 7, 8}, Variant(rt::MakeDate(1850, 1, 2)), "yyyy/mm/dd", "1850/01/02", {}},
      {{"V", 135, 16}, kStamp, "yyyy-mm-dd", "2004-08-30 13:05:09", {}},
      {{"V", 202, 20}, Variant("苹果 and 梨"), "", "苹果 and 梨", {}},
      {{"V", 202, 20}, Variant::Null(), "", "", Variant("")},  // text keeps no Null
      {{"V", 203, 0},
       Variant(std::string(3000, 'm') + "末"),
       "",
       std::string(3000, 'm') + "末",
       {}},
      {{"V", 72, 38},
       Variant("{3F2504E0-4F89-11D3-9A0C-0305E82C3301}"),
       "",
       "{3F2504E0-4F89-11D3-9A0C-0305E82C3301}",
       {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.column.type) + " " + c.text.substr(0, 20));
    auto rs = Build({{"ID", 3, 4}, c.column}, {{Variant(std::int32_t{1}), c.value}});
    ASSERT_TRUE(obj_->dbBackupRecordset(rs, File(), ",", "", false, c.dateFormat));
    const std::string bytes = FileBytes(File());
    EXPECT_EQ(bytes.substr(bytes.find("\r\n;4,") + 2),
              ";4," + std::to_string(rs->columns()[1].definedSize) + "\r\n1," + c.text + "\r\n");

    const auto back = Restore(File());
    ASSERT_TRUE(back) << obj_->dbGetLastError().Description;
    EXPECT_EQ(back->RecordCount(), 1);
    EXPECT_EQ(back->columns()[1].adoType, c.column.type);
    const Variant expected = c.back.IsEmpty() ? c.value : c.back;
    const Variant got = back->ValueAt(1);
    EXPECT_EQ(got.Type(), expected.Type());
    EXPECT_TRUE(got == expected) << rt::TextOf(got);
  }
}

TEST_F(BackupTest, TheFileLineByLine) {
  auto rs = Build({{"ID", 3, 4}, {"Item", 202, 50}, {"Made", 7, 8}},
                  {{Variant(std::int32_t{1}), Variant("apple"), kMade},
                   {Variant(std::int32_t{2}), Variant::Null(), Variant::Null()}});
  const struct {
    std::string separator, note;
    bool nonInfo;
    std::string bytes;
  } cases[] = {
      {",", "", false,
       ";Please add note\r\n;ID,Item,Made\r\n;3,202,7\r\n;4,50,8\r\n"
       "1,apple,2004-08-30\r\n2,,\r\n"},
      {"<->", "季度备份", false,
       ";季度备份\r\n;ID<->Item<->Made\r\n;3<->202<->7\r\n;4<->50<->8\r\n"
       "1<->apple<->2004-08-30\r\n2<-><->\r\n"},
      {"\t", "unused", true, "1\tapple\t2004-08-30\r\n2\t\t\r\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.separator);
    ASSERT_TRUE(obj_->dbBackupRecordset(rs, File(), c.separator, c.note, c.nonInfo, "yyyy-mm-dd"));
    EXPECT_EQ(FileBytes(File()), c.bytes);
  }
  // Data lines only: the caller gives the three lists and no note is skipped.
  // The Null date of the second line was written empty, which is no date...
  EXPECT_FALSE(
      obj_->dbRestoreRecordset(File(), "\t", false, "ID\tItem\tMade", "3\t202\t7", "4\t50\t8"));
  EXPECT_EQ(LastNumber(), rt::err::kMultipleStep);
  // ... but reads back into text.
  const auto asText = AsRecordset(
      obj_->dbRestoreRecordset(File(), "\t", false, "ID\tItem\tMade", "3\t202\t202", "4\t50\t10"));
  ASSERT_TRUE(asText);
  EXPECT_EQ(asText->VisibleRows(),
            (Rows{{Variant(std::int32_t{1}), Variant("apple"), Variant("2004-08-30")},
                  {Variant(std::int32_t{2}), Variant(""), Variant("")}}));
}

TEST_F(BackupTest, RestoreFailuresGiveNothingAndRecordTheError) {
  const std::string header = ";n\r\n;ID,Name,Made\r\n;3,202,7\r\n;4,10,8\r\n";
  const struct {
    std::string what, bytes;
    std::int32_t number;
  } cases[] = {
      {"too few values on a line", header + "1,Li,2004-01-02\r\n2,Wang\r\n",
       rt::err::kSubscriptOutOfRange},
      {"an empty value for a date", header + "1,Li,\r\n", rt::err::kMultipleStep},
      {"a value holding the separator shifts the rest", header + "1,Li,Jr,2004-01-02\r\n",
       rt::err::kMultipleStep},
      {"a text longer than its field", header + "1,Li Xiaolong Jr,2004-01-02\r\n",
       rt::err::kMultipleStep},
      {"a file cut inside its header", ";n\r\n;ID,Name,Made\r\n;3,20", rt::err::kInputPastEnd},
      {"an empty file", "", rt::err::kInputPastEnd},
      {"fewer types than names", ";n\r\n;ID,Name\r\n;3\r\n;4,10\r\n",
       rt::err::kSubscriptOutOfRange},
      {"a type code that is no number", ";n\r\n;ID\r\n;Long\r\n;4\r\n", rt::err::kTypeMismatch},
      {"a type code no field takes", ";n\r\n;ID\r\n;9999\r\n;4\r\n", rt::err::kBadArguments},
      {"a binary file", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe\x00", 19),
       rt::err::kTypeMismatch},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    WriteFileBytes(File(), c.bytes);
    obj_->dbClearError();
    EXPECT_FALSE(Restore(File()));
    EXPECT_EQ(LastNumber(), c.number) << obj_->dbGetLastError().Description;
    EXPECT_FALSE(files::IsOpen(1));  // the file was closed
  }
  EXPECT_FALSE(obj_->dbRestoreRecordset(File("missing.txt")));
  EXPECT_EQ(LastNumber(), rt::err::kFileNotFound);
  EXPECT_FALSE(
      obj_->dbRestoreRecordset(File(), ",", true, "", "", "", Variant::Missing(), "EBCDIC"));
  EXPECT_EQ(LastNumber(), rt::err::kInvalidProcCall);
  // The writer's note line read as the names, when the caller forgets fbNote.
  ASSERT_TRUE(obj_->dbBackupRecordset(Build({{"ID", 3, 4}}, {{Variant(std::int32_t{7})}}), File()));
  EXPECT_FALSE(obj_->dbRestoreRecordset(File()));
  EXPECT_EQ(LastNumber(), rt::err::kTypeMismatch);
}

TEST_F(BackupTest, ExtraValuesAreIgnoredAndLengthsMayBeEmpty) {
  WriteFileBytes(File(),
                 ";n\r\n;Code|Qty|Memo\r\n;202|3|203\r\n;0||\r\n"
                 "A-1|5|x|ignored\r\n" +
                     std::string(300, 'b') + "|6|\r\n");
  const auto back = Restore(File(), "|");
  ASSERT_TRUE(back) << obj_->dbGetLastError().Description;
  // No defined size: the text field takes any length.
  EXPECT_EQ(back->columns()[0].definedSize, Build({{"C", 202, 0}}, {})->columns()[0].definedSize);
  EXPECT_EQ(back->columns()[2].definedSize, Build({{"C", 203, 0}}, {})->columns()[0].definedSize);
  EXPECT_EQ(back->VisibleRows(),
            (Rows{{Variant("A-1"), Variant(std::int32_t{5}), Variant("x")},
                  {Variant(std::string(300, 'b')), Variant(std::int32_t{6}), Variant("")}}));
}

// A label whose Caption refuses the third number, as a host control can fail.
class RefusingLabel : public ui::ProgressControl {
 public:
  RefusingLabel() : ProgressControl("Label") {}
  void SetProperty(std::string_view name, const Variant& value,
                   const std::vector<Variant>& index) override {
    if (name == "Caption" && rt::CLng(value) == 3) rt::Raise(rt::err::kInvalidPropertyValue);
    ProgressControl::SetProperty(name, value, index);
  }
};

std::vector<std::string> Texts(const std::vector<Variant>& values) {
  std::vector<std::string> out;
  for (const auto& v : values) out.push_back(rt::CStr(v));
  return out;
}

TEST_F(BackupTest, ProgressControls) {
  Rows rows;
  for (std::int32_t i = 1; i <= 3; ++i) rows.push_back({Variant(i)});
  auto rs = Build({{"ID", 3, 4}}, rows);
  const std::vector<std::string> counted = {"1", "2", "3"};

  // The writer sets a bar's Max to the count and does not yield.
  auto bar = std::make_shared<ui::ProgressControl>("ProgressBar");
  ASSERT_TRUE(obj_->dbBackupRecordset(rs, File(), ",", "", false, "", Variant(rt::ObjectRef(bar))));
  EXPECT_TRUE(bar->visible());
  EXPECT_EQ(bar->max(), 3);
  EXPECT_EQ(Texts(bar->valueHistory()), counted);
  EXPECT_EQ(host_->doEventsCount(), 0);

  // The reader yields before and after each store and leaves Max alone; a
  // label counts in its Caption.
  auto label = std::make_shared<ui::ProgressControl>("Label");
  EXPECT_TRUE(
      obj_->dbRestoreRecordset(File(), ",", true, "", "", "", Variant(rt::ObjectRef(label))));
  EXPECT_TRUE(label->visible());
  EXPECT_EQ(Texts(label->captionHistory()), counted);
  EXPECT_EQ(host_->doEventsCount(), 6);
  bar = std::make_shared<ui::ProgressControl>("ProgressBar");
  bar->SetProperty("Max", Variant(std::int32_t{2}), {});
  EXPECT_FALSE(
      obj_->dbRestoreRecordset(File(), ",", true, "", "", "", Variant(rt::ObjectRef(bar))));
  EXPECT_EQ(LastNumber(), rt::err::kInvalidPropertyValue);
  EXPECT_EQ(Texts(bar->valueHistory()), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(host_->doEventsCount(), 6 + 5);  // the third store failed between its yields
  EXPECT_FALSE(files::IsOpen(1));

  // A control that fails part-way: False, the error recorded, the file closed
  // with the lines written before the failure.
  auto refusing = std::make_shared<RefusingLabel>();
  EXPECT_FALSE(
      obj_->dbBackupRecordset(rs, File(), ",", "", false, "", Variant(rt::ObjectRef(refusing))));
  EXPECT_EQ(LastNumber(), rt::err::kInvalidPropertyValue);
  EXPECT_FALSE(files::IsOpen(1));
  EXPECT_EQ(FileBytes(File()), ";Please add note\r\n;ID\r\n;3\r\n;4\r\n1\r\n2\r\n");
}

TEST_F(BackupTest, WhatTheWriterReportsAndLeaves) {
  auto rs = Build({{"ID", 3, 4}, {"Name", 202, 10}}, {{Variant(std::int32_t{1}), Variant("Li")},
                                                      {Variant(std::int32_t{2}), Variant("Wang")},
                                                      {Variant(std::int32_t{3}), Variant("Zhao")}});
  // A failure is recorded; a later success records error 0.
  EXPECT_FALSE(obj_->dbBackupRecordset(rs, File("no/such/folder.txt")));
  EXPECT_EQ(LastNumber(), rt::err::kPathNotFound);
  rs->MoveFirst();
  rs->MoveNext();
  ASSERT_TRUE(obj_->dbBackupRecordset(rs, File()));
  EXPECT_EQ(obj_->dbGetLastError(), ErrStruct{});
  EXPECT_EQ(rt::CStr(rs->ValueAt(1)), "Wang");  // the cursor is back on its row
  // At the end, the cursor is not saved and the walk leaves it at the end.
  rs->MoveLast();
  rs->MoveNext();
  ASSERT_TRUE(obj_->dbBackupRecordset(rs, File()));
  EXPECT_TRUE(rs->AtEOF());

  // No records: False, no file, and the last error as it was.
  EXPECT_FALSE(obj_->dbBackupRecordset(rs, File("no/such/folder.txt")));
  rs->SetFilter(Variant("ID > 10"));
  EXPECT_FALSE(obj_->dbBackupRecordset(rs, File("empty.txt")));
  EXPECT_FALSE(std::filesystem::exists(File("empty.txt")));
  EXPECT_EQ(LastNumber(), rt::err::kPathNotFound);
  EXPECT_FALSE(obj_->dbBackupRecordset(nullptr, File()));
  EXPECT_EQ(LastNumber(), rt::err::kObjectRequired);
}

TEST_F(BackupTest, AStreamedRecordsetWritesItsHeaderOnly) {
  auto stream = Open(cn_, "SELECT ID, Name FROM Staff", dal::ado::adOpenForwardOnly,
                     dal::ado::adLockReadOnly);
  ASSERT_EQ(stream->RecordCount(), -1);
  ASSERT_TRUE(obj_->dbBackupRecordset(stream, File()));
  EXPECT_EQ(FileBytes(File()), ";Please add note\r\n;ID,Name\r\n;3,202\r\n;4,20\r\n");
  // A bar refuses Max = -1.
  auto bar = std::make_shared<ui::ProgressControl>("ProgressBar");
  EXPECT_FALSE(
      obj_->dbBackupRecordset(stream, File(), ",", "", false, "", Variant(rt::ObjectRef(bar))));
  EXPECT_EQ(LastNumber(), rt::err::kInvalidPropertyValue);

  // A static recordset of a table: every row, and back.
  auto rs = Open(cn_, "SELECT * FROM Staff ORDER BY ID");
  ASSERT_TRUE(obj_->dbBackupRecordset(rs, File()));
  const auto back = Restore(File());
  ASSERT_TRUE(back);
  Rows expected = rs->VisibleRows();
  expected[2][4] = Variant("");  // Wang's Null note comes back empty
  EXPECT_EQ(back->VisibleRows(), expected);
}

TEST_F(BackupTest, FilesOfCodePage936) {
  // ;备注 / ;编号,姓名 / ;3,202 / ;4,10 / 1,李明
  const std::string gbk =
      ";\xB1\xB8\xD7\xA2\r\n;\xB1\xE0\xBA\xC5,\xD0\xD5\xC3\xFB\r\n;3,202\r\n;4,10\r\n"
      "1,\xC0\xEE\xC3\xF7\r\n";
  WriteFileBytes(File(), gbk);
  const auto back = AsRecordset(
      obj_->dbRestoreRecordset(File(), ",", true, "", "", "", Variant::Missing(), "GBK"));
  ASSERT_TRUE(back) << obj_->dbGetLastError().Description;
  EXPECT_EQ(back->columns()[1].name, "姓名");
  EXPECT_EQ(back->VisibleRows(), (Rows{{Variant(std::int32_t{1}), Variant("李明")}}));
  // A UTF-8 file with a byte-order mark reads as one without.
  WriteFileBytes(File(), "\xEF\xBB\xBF;n\r\n;姓名\r\n;202\r\n;10\r\n李明\r\n");
  const auto marked = Restore(File());
  ASSERT_TRUE(marked);
  EXPECT_EQ(marked->VisibleRows(), (Rows{{Variant("李明")}}));
}

TEST_F(BackupTest, TheEndTestedIsFileNumberOne) {
  WriteFileBytes(File(), ";n\r\n;ID\r\n;3\r\n;4\r\n1\r\n2\r\n3\r\n");
  const struct {
    std::string heldBytes;  // what file number 1 holds meanwhile
    std::int32_t records;   // -1: the restore fails
    std::int32_t number;
  } cases[] = {
      {"", 0, 0},                                  // number 1 at its end: no line is read
      {"a\r\nb\r\n", -1, rt::err::kInputPastEnd},  // never at its end: reads past its own
  };
  for (const auto& c : cases) {
    WriteFileBytes(File("held.txt"), c.heldBytes);
    files::OpenForInput(1, File("held.txt"));
    obj_->dbClearError();
    const auto back = Restore(File());
    EXPECT_EQ(back ? back->RecordCount() : -1, c.records);
    EXPECT_EQ(LastNumber(), c.number);
    EXPECT_EQ(files::FreeFile(), 2);  // the restore's own number 2 was closed
    files::Close(1);
  }
  // Without a file under number 1 the test itself fails.
  files::OpenForOutput(1, File("other.txt"));
  EXPECT_FALSE(Restore(File()));
  EXPECT_EQ(LastNumber(), rt::err::kBadFileMode);
  files::Close(1);
  const auto back = Restore(File());
  ASSERT_TRUE(back);
  EXPECT_EQ(back->RecordCount(), 3);
}

}  // namespace
}  // namespace zmdb::testing
