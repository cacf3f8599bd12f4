// The working recordset on the file store: rows appended through
// dbCreateRecord, the read-only recordset of dbSetRecordset, and one column
// copied out by dbGetRecord, with the failure value of each path.
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "field_rec_rows.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/methods.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class WorkingRecordsetTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute("CREATE TABLE T (A INTEGER, B TEXT(20), C TEXT(20))");
    cn_->Execute("CREATE TABLE U (A INTEGER, B TEXT(20))");
  }
  // The rows of `table` as "A|B..." texts in insertion order.
  std::vector<std::string> Rows(const std::string& sql) {
    auto rs = Open(cn_, sql, dal::ado::adOpenStatic, dal::ado::adLockReadOnly);
    std::vector<std::string> out;
    for (; !rs->AtEOF(); rs->MoveNext()) {
      std::string line;
      for (std::int32_t i = 0; i < rs->fields()->Count(); ++i) {
        const Variant v = rs->fields()->Item(Variant(i))->Value();
        line += (i ? "|" : "") + (v.IsNull() ? std::string("<null>") : rt::CStr(v));
      }
      out.push_back(line);
    }
    return out;
  }
  // The statements the test's connection ran after the first `n`.
  std::vector<std::string> StatementsSince(std::size_t n) const {
    const auto& log = cn_->statementLog();
    return {log.begin() + static_cast<std::ptrdiff_t>(n), log.end()};
  }
  std::shared_ptr<dal::Recordset> Working() const {
    return std::dynamic_pointer_cast<dal::Recordset>(obj_->workingRecordset());
  }
};

TEST_F(WorkingRecordsetTest, CreateRecordOpensFromTheArrayAndAddsARowPerCall) {
  const std::size_t start = cn_->statementLog().size();
  ASSERT_TRUE(obj_->dbCreateRecord(FieldRecRow({{"T", "A", Variant(1)}, {"T", "B", Variant("x")}}),
                                   conn()));
  EXPECT_EQ(
      StatementsSince(start),
      (std::vector<std::string>{"SELECT A,B FROM T", "INSERT INTO [T] ([A], [B]) VALUES (?, ?)"}));
  const std::size_t mark = cn_->statementLog().size();
  ASSERT_TRUE(Working());
  EXPECT_EQ(Working()->LockType(), dal::ado::adLockOptimistic);

  // The recordset stays: names matched without regard to case, unknown names
  // ignored, a later element overwriting an earlier one, other tables ignored.
  EXPECT_TRUE(obj_->dbCreateRecord(FieldRecRow({{"U", "b", Variant("first")},
                                                {"", "NoSuch", Variant(7)},
                                                {"", "a", Variant(2)},
                                                {"", "B", Variant("李明")}},
                                               1),
                                   conn()));
  EXPECT_TRUE(obj_->dbCreateRecord(FieldRecRow({{"U", "A", Variant(3)}}), conn()));
  EXPECT_EQ(StatementsSince(mark).size(), 2u);  // two INSERTs, no new SELECT
  EXPECT_EQ(Rows("SELECT A, B, C FROM T"),
            (std::vector<std::string>{"1|x|<null>", "2|李明|<null>", "3|<null>|<null>"}));
  EXPECT_TRUE(Rows("SELECT * FROM U").empty());

  // After closing, the next call opens on its own array: the last non-empty
  // table name wins.
  EXPECT_TRUE(obj_->dbCloseRecordset());
  EXPECT_FALSE(obj_->workingRecordset());
  const std::size_t reopen = cn_->statementLog().size();
  EXPECT_TRUE(obj_->dbCreateRecord(FieldRecRow({{"T", "B", Variant("y")}, {"U", "A", Variant(9)}}),
                                   conn()));
  EXPECT_EQ(cn_->statementLog().at(reopen), "SELECT B,A FROM U");
  EXPECT_EQ(Rows("SELECT * FROM U"), (std::vector<std::string>{"9|y"}));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(WorkingRecordsetTest, CreateRecordFailuresAreRecorded) {
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  const rt::SafeArray row = FieldRecRow({{"T", "A", Variant(1)}});
  const struct {
    const char* what;
    rt::SafeArray fields;
    Variant conn;
    std::int32_t number;  // recorded; 0: nothing recorded; -1: the store's own error
  } cases[] = {
      {"no Conn, no default connection", row, Variant::Missing(), 0},
      {"a Conn that is no connection", row, recordset, 13},
      {"an unallocated array", rt::SafeArray(rt::VarType::Record), conn(), 9},
      {"an element that is no record", rt::SafeArray(rt::VarType::Variant, 0, {Variant(1)}), conn(),
       13},
      {"no field names", rt::SafeArray(rt::VarType::Record, 0, {}), conn(), 5},
      {"a table that does not exist", FieldRecRow({{"Nowhere", "A", Variant(1)}}), conn(), -1},
      {"a value the column cannot hold", FieldRecRow({{"T", "A", Variant("abc")}}), conn(), -1},
  };
  for (const auto& c : cases) {
    obj_->dbCloseRecordset();
    obj_->dbClearError();
    EXPECT_FALSE(obj_->dbCreateRecord(c.fields, c.conn)) << c.what;
    const std::int32_t got = obj_->dbGetLastError().Number;
    if (c.number == -1) {
      EXPECT_NE(got, 0) << c.what;
    } else {
      EXPECT_EQ(got, c.number) << c.what;
    }
  }
  EXPECT_TRUE(Rows("SELECT * FROM T").empty());
}

TEST_F(WorkingRecordsetTest, SetRecordsetIsStaticAndReadOnlyWhateverItIsAsked) {
  // Without a default connection nothing happens.
  EXPECT_FALSE(obj_->dbSetRecordset("SELECT * FROM T"));
  EXPECT_FALSE(obj_->workingRecordset());

  ASSERT_TRUE(obj_->dbSetConnect("", false, 0, conn()));
  EXPECT_TRUE(obj_->dbSetRecordset("SELECT A, B FROM T", dal::ado::adOpenDynamic,
                                   dal::ado::adLockOptimistic));
  ASSERT_TRUE(Working());
  EXPECT_EQ(Working()->CursorType(), dal::ado::adOpenStatic);
  EXPECT_EQ(Working()->LockType(), dal::ado::adLockReadOnly);

  // So dbCreateRecord, which uses it as it is, cannot add to it.
  EXPECT_FALSE(obj_->dbCreateRecord(FieldRecRow({{"T", "A", Variant(1)}})));
  EXPECT_EQ(obj_->dbGetLastError().Number, rt::err::kAdoNotSupported);
  EXPECT_TRUE(Rows("SELECT * FROM T").empty());

  // A source that cannot open: False, nothing recorded, and the new recordset
  // that failed to open is what remains.
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbSetRecordset("SELECT * FROM Nowhere"));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  ASSERT_TRUE(Working());
  EXPECT_EQ(Working()->State(), 0);

  EXPECT_TRUE(obj_->dbCloseRecordset());
  EXPECT_TRUE(obj_->dbCloseRecordset());
  EXPECT_TRUE(obj_->dbCreateRecord(FieldRecRow({{"T", "A", Variant(4)}})));
  EXPECT_EQ(Rows("SELECT A FROM T"), (std::vector<std::string>{"4"}));
}

TEST_F(WorkingRecordsetTest, GetRecordCopiesOneColumnFromOne) {
  // A server-side forward-only cursor reports -1 as its count: nothing copied.
  std::int32_t none = 0;
  EXPECT_EQ(Texts(obj_->dbGetRecord("Staff", "Name", none, "", conn())),
            (std::vector<std::string>{""}));
  EXPECT_EQ(none, -1);
  // A client-side cursor knows its count.
  cn_->SetCursorLocation(dal::ado::adUseClient);
  struct Case {
    std::string table, field, sql;
    std::vector<std::string> expected;
    std::int32_t count;
    std::string statement;
  };
  const Case cases[] = {
      {"Staff", "Name", "", {"Li", "Wang", "Zhao"}, 3, "SELECT Name FROM Staff"},
      {"Staff", "ID", "", {"3", "57", "9"}, 3, "SELECT ID FROM Staff"},
      {"",
       "Code",
       "SELECT Code, ID FROM Staff WHERE Kind=2 ORDER BY ID",
       {"000099", "000101"},
       2,
       "SELECT Code, ID FROM Staff WHERE Kind=2 ORDER BY ID"},
      // An empty table gives the one-element starting array.
      {"T", "B", "", {""}, 0, "SELECT B FROM T"},
  };
  for (const auto& c : cases) {
    std::int32_t count = -7;
    const rt::SafeArray got = obj_->dbGetRecord(c.table, c.field, count, c.sql, conn());
    EXPECT_EQ(Texts(got), c.expected) << c.statement;
    EXPECT_EQ(got.LBound(), c.count > 0 ? 1 : 0) << c.statement;
    EXPECT_EQ(count, c.count) << c.statement;
    EXPECT_EQ(LastStatement(*cn_), c.statement);
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(WorkingRecordsetTest, GetRecordFailuresKeepWhatWasRead) {
  cn_->SetCursorLocation(dal::ado::adUseClient);
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  struct Case {
    const char* what;
    std::string table, field;
    Variant conn;
    std::vector<std::string> expected;
    std::int32_t count;   // -7: left as it was
    std::int32_t number;  // recorded
  };
  const Case cases[] = {
      // Rows in order: 'first', Null, 'third': the Null stops the copy.
      {"a Null in the column", "Staff", "Note", conn(), {"first", "", ""}, 3, 94},
      {"a field the statement lacks", "Staff", "NoSuch", conn(), {""}, -7, -1},
      {"a table that does not exist", "Nowhere", "A", conn(), {""}, -7, -1},
      {"a Conn that is no connection", "Staff", "Name", recordset, {""}, -7, 13},
      {"no Conn, no default connection", "Staff", "Name", Variant::Missing(), {""}, -7, 0},
  };
  for (const auto& c : cases) {
    obj_->dbClearError();
    std::int32_t count = -7;
    EXPECT_EQ(Texts(obj_->dbGetRecord(c.table, c.field, count, "", c.conn)), c.expected) << c.what;
    EXPECT_EQ(count, c.count) << c.what;
    if (c.number == -1) {
      EXPECT_NE(obj_->dbGetLastError().Number, 0) << c.what;
    } else {
      EXPECT_EQ(obj_->dbGetLastError().Number, c.number) << c.what;
    }
  }
}

TEST_F(WorkingRecordsetTest, LateBoundCallsTakeFieldRecRecordsAndWriteTheCountBack) {
  using frame::FindMethod;
  cn_->SetCursorLocation(dal::ado::adUseClient);
  ASSERT_TRUE(obj_->dbSetConnect("", false, 0, conn()));
  std::vector<Variant> args = {
      Variant(FieldRecRow({{"T", "A", Variant(5)}, {"T", "C", Variant("z")}})), Variant::Missing()};
  EXPECT_TRUE(rt::CBool(frame::Invoke(*obj_, *FindMethod("dbCreateRecord"), args)));
  EXPECT_EQ(Rows("SELECT A, C FROM T"), (std::vector<std::string>{"5|z"}));

  // FieldRec keeps its members, in order, the interface's spelling included.
  const rt::Record rec = args[0].AsArray().at(0).AsRecord();
  EXPECT_EQ(rec.typeName(), "FieldRec");
  std::vector<std::string> names;
  for (const auto& m : rec.members()) names.push_back(m.first);
  EXPECT_EQ(names, (std::vector<std::string>{"TableName", "TabelDesc", "FieldName", "FieldDesc",
                                             "FieldSize", "FieldType", "FieldVal"}));

  auto get =
      frame::PrepareArguments(*FindMethod("dbGetRecord"), {Variant("T"), Variant("C"), Variant(0)});
  const Variant result = frame::Invoke(*obj_, *FindMethod("dbGetRecord"), get);
  EXPECT_EQ(Texts(result.AsArray()), (std::vector<std::string>{"z"}));
  EXPECT_EQ(rt::CLng(get[2]), 1);

  std::vector<Variant> none;
  EXPECT_TRUE(rt::CBool(frame::Invoke(*obj_, *FindMethod("dbCloseRecordset"), none)));
  auto set = frame::PrepareArguments(*FindMethod("dbSetRecordset"), {Variant("SELECT * FROM T")});
  EXPECT_TRUE(rt::CBool(frame::Invoke(*obj_, *FindMethod("dbSetRecordset"), set)));
  EXPECT_EQ(Working()->LockType(), dal::ado::adLockReadOnly);
}

}  // namespace
}  // namespace zmdb::testing
