// Copying rows and recordsets on the file store: a disconnected copy that
// shares nothing with its original, a recordset's rows appended to a table,
// rows copied on one connection, and copies that fail part-way leaving the
// target as it was.
#include <gtest/gtest.h>

#include <algorithm>

#include "component_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/methods.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using Rows = std::vector<std::vector<Variant>>;

class CopyingTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute(
        "CREATE TABLE Archive (ID LONG PRIMARY KEY, Name TEXT(20), Extra TEXT(10), "
        "Serial COUNTER)");
  }

  Rows Table(const std::shared_ptr<dal::Connection>& cn, const std::string& sql) {
    return Open(cn, sql)->VisibleRows();
  }
};

TEST_F(CopyingTest, CloneIsADisconnectedUpdatableCopyOfTheVisibleRows) {
  auto rs = Open(cn_, "SELECT * FROM Staff ORDER BY ID");
  rs->SetFilter(Variant("Kind = 2"));
  const auto cloned = std::dynamic_pointer_cast<dal::Recordset>(obj_->dbCloneRecord(rs));
  ASSERT_TRUE(cloned);
  EXPECT_EQ(cloned->RecordCount(), 2);
  EXPECT_EQ(cloned->VisibleRows(), rs->VisibleRows());
  const auto shape = [](const dal::Recordset& r) {
    std::string out;
    for (const auto& c : r.columns())
      out += c.name + " " + std::to_string(c.adoType) + " " + std::to_string(c.definedSize) + ";";
    return out;
  };
  EXPECT_EQ(shape(*cloned), shape(*rs));
  EXPECT_EQ(rt::CStr(cloned->fields()->Item(Variant("Name"))->Value()), "Zhao");  // first row

  // Changing the copy leaves the original and its table; changing the
  // original leaves the copy.
  const Rows before = rs->VisibleRows();
  cloned->fields()->Item(Variant("Name"))->SetValue(Variant("Sun"));
  cloned->Update();
  cloned->AddNew();
  cloned->fields()->Item(Variant("ID"))->SetValue(Variant(100));
  cloned->Update();
  EXPECT_EQ(cloned->RecordCount(), 3);
  EXPECT_EQ(rs->VisibleRows(), before);
  EXPECT_EQ(Count(), 3);
  EXPECT_EQ(Count("Name='Sun'"), 0);
  rs->MoveFirst();
  rs->Delete();
  EXPECT_EQ(cloned->RecordCount(), 3);

  // An empty recordset gives an empty copy; no recordset, another object or
  // a closed one gives Nothing and records why.
  const auto empty = obj_->dbCloneRecord(Open(cn_, "SELECT * FROM Staff WHERE ID=0"));
  ASSERT_TRUE(empty);
  EXPECT_EQ(std::dynamic_pointer_cast<dal::Recordset>(empty)->RecordCount(), 0);
  auto closed = Open(cn_, "SELECT * FROM Staff");
  closed->Close();
  for (const auto& [arg, number] : {std::pair<rt::ObjectRef, std::int32_t>{nullptr, 424},
                                    {cn_, 13},
                                    {closed, rt::err::kObjectClosed}}) {
    obj_->dbClearError();
    EXPECT_FALSE(obj_->dbCloneRecord(arg));
    EXPECT_EQ(obj_->dbGetLastError().Number, number);
  }
}

TEST_F(CopyingTest, CopyRecordsetAppendsTheSharedFieldsOfEveryRow) {
  auto rs = Open(cn_, "SELECT ID, Name, Kind FROM Staff ORDER BY ID");
  rs->SetFilter(Variant("ID > 3"));
  // Fields match without regard to case; Kind has no place in Archive, Extra
  // is left Null and the counter numbers the rows.
  EXPECT_TRUE(obj_->dbCopyRecordset(rs, "Archive", conn()));
  EXPECT_EQ(Table(cn_, "SELECT ID, Name, Extra FROM Archive ORDER BY ID"),
            (Rows{{Variant(9), Variant("Zhao"), Variant::Null()},
                  {Variant(57), Variant("Wang"), Variant::Null()}}));
  EXPECT_EQ(rt::CLng(Table(cn_, "SELECT COUNT(Serial) FROM Archive")[0][0]), 2);

  // Without Conn the default connection is used; there is none: False, nothing recorded.
  EXPECT_FALSE(obj_->dbCopyRecordset(rs, "Archive"));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);

  // The third row collides with a key copied above: the first two are rolled
  // back with it, and the error is recorded.
  rs->SetFilter(Variant(std::string()));
  obj_->dbClearError();
  const Rows before = Table(cn_, "SELECT * FROM Archive ORDER BY ID");
  EXPECT_FALSE(obj_->dbCopyRecordset(rs, "Archive", conn()));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  EXPECT_EQ(Table(cn_, "SELECT * FROM Archive ORDER BY ID"), before);
  EXPECT_FALSE(obj_->dbCopyRecordset(rs, "Nowhere", conn()));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);

  // A forward-only recordset is read to its end, every row copied once; a
  // closed one copies nothing and records its error.
  cn_->Execute("DELETE FROM Archive");
  const Rows staff = Table(cn_, "SELECT ID, Name FROM Staff ORDER BY ID");
  auto stream = Open(cn_, "SELECT ID, Name FROM Staff ORDER BY ID", dal::ado::adOpenForwardOnly,
                     dal::ado::adLockReadOnly);
  ASSERT_EQ(stream->RecordCount(), -1);
  EXPECT_TRUE(obj_->dbCopyRecordset(stream, "Archive", conn()));
  EXPECT_TRUE(stream->AtEOF());
  EXPECT_EQ(Table(cn_, "SELECT ID, Name FROM Archive ORDER BY ID"), staff);

  stream->Close();
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbCopyRecordset(stream, "Archive", conn()));
  EXPECT_EQ(obj_->dbGetLastError().Number, rt::err::kObjectClosed);
}

TEST_F(CopyingTest, CopyRowsOnOneConnection) {
  // Without a default connection: False, nothing recorded.
  EXPECT_FALSE(obj_->dbCopyRows("Staff", "Archive", "", conn()));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);

  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  const auto own = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  // Into the table it reads: each matching row is copied once, by one
  // statement over the fields the two share.
  EXPECT_TRUE(obj_->dbCopyRows("Staff", "Staff", "Kind=2"));
  EXPECT_EQ(Count(), 5);
  EXPECT_EQ(Count("ID=57"), 2);
  EXPECT_EQ(own->statementLog().back(),
            "INSERT INTO [Staff] ([ID], [Code], [Name], [Kind], [Note]) SELECT [ID], [Code], "
            "[Name], [Kind], [Note] FROM [main].[Staff] WHERE Kind=2");

  // A bad condition, a missing table, and the second ID 57 meeting the key
  // of Archive part-way: False, recorded, Archive still empty.
  for (const auto& [src, dst, condition] : {std::tuple{"Staff", "Archive", "ID=="},
                                            {"Nowhere", "Archive", ""},
                                            {"Staff", "Nowhere", ""},
                                            {"Staff", "Archive", ""}}) {
    obj_->dbClearError();
    EXPECT_FALSE(obj_->dbCopyRows(src, dst, condition)) << src << " " << dst;
    EXPECT_NE(obj_->dbGetLastError().Number, 0);
  }
  EXPECT_TRUE(Table(cn_, "SELECT * FROM Archive").empty());

  // The late-bound call a script makes: left-out arguments take their
  // defaults, and the clone comes back as an object.
  const frame::MethodSpec& copy = *frame::FindMethod("dbCopyRows");
  auto args =
      frame::PrepareArguments(copy, {Variant("Staff"), Variant("Archive"), Variant("ID=3")});
  EXPECT_EQ(frame::Invoke(*obj_, copy, args), Variant(true));
  EXPECT_EQ(Table(cn_, "SELECT ID, Name FROM Archive"), (Rows{{Variant(3), Variant("Li")}}));
  const frame::MethodSpec& clone = *frame::FindMethod("dbCloneRecord");
  args =
      frame::PrepareArguments(clone, {Variant(rt::ObjectRef(Open(cn_, "SELECT * FROM Archive")))});
  const Variant cloned = frame::Invoke(*obj_, clone, args);
  ASSERT_TRUE(cloned.IsObject());
  EXPECT_EQ(std::dynamic_pointer_cast<dal::Recordset>(cloned.AsObject())->RecordCount(), 1);
}

// Between two files the target attaches the source and copies in one
// statement when every shared field has the same type on both sides; any
// other pair of tables, a source that is not a table, or a source inside a
// transaction of its own goes row by row. Both ways give the same rows, and
// a failure leaves the target as it was.
TEST_F(CopyingTest, CopyRowsBetweenFilesTakesTheOneStatementPathOnlyWhereItGivesTheSameRows) {
  const std::string other = (dir_ / "other.mdb").string();
  dal::sqlite::OpenDatabase({other, true, false, 5000})->Close();
  auto to = dal::Connection::Create();
  to->Open("PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=" + other + ";");
  for (const char* sql : {
           "CREATE TABLE Same (ID INTEGER, Name TEXT(20), Hired DATETIME, Serial COUNTER)",
           "CREATE TABLE Wider (ID INTEGER, Name TEXT(40))",
           "CREATE TABLE Keyed (ID INTEGER PRIMARY KEY, Name TEXT(20))",
           "INSERT INTO Keyed VALUES (57, 'there already')",
       }) {
    to->Execute(sql);
  }
  cn_->Execute("ALTER TABLE Staff ADD COLUMN Hired DATETIME");
  cn_->Execute("UPDATE Staff SET Hired = #2004-08-30# WHERE ID = 57");
  cn_->Execute("CREATE VIEW Later AS SELECT * FROM Staff WHERE ID > 3");
  const auto from = Variant(rt::ObjectRef(cn_));
  const auto target = Variant(rt::ObjectRef(to));
  struct Case {
    const char* source;
    const char* table;
    const char* condition;
    bool oneStatement;
    const char* check;  // the target's rows afterwards, ordered by ID
  };
  const Case cases[] = {
      {"Staff", "Same", "Hired > #2004-01-01# OR Name Like 'L*'", true, "SELECT ID, Name, Hired"},
      {"Staff", "Wider", "", false, "SELECT ID, Name"},
      {"Later", "Same", "", false, "SELECT ID, Name, Hired"},
  };
  for (const Case& c : cases) {
    const std::string check = std::string(c.check) + " FROM " + c.table + " ORDER BY ID";
    const Rows before = Table(to, check);
    EXPECT_TRUE(obj_->dbCopyRows(c.source, c.table, c.condition, from, target)) << c.table;
    const std::string& last = to->statementLog().back();
    EXPECT_EQ(last.find("zmdb_copy_source") != std::string::npos, c.oneStatement) << last;
    const std::string where = *c.condition ? std::string(" WHERE ") + c.condition : "";
    Rows expected = Table(cn_, std::string(c.check) + " FROM " + c.source + where);
    expected.insert(expected.end(), before.begin(), before.end());
    std::sort(expected.begin(), expected.end(),
              [](const auto& a, const auto& b) { return rt::CLng(a[0]) < rt::CLng(b[0]); });
    EXPECT_EQ(Table(to, check), expected) << c.table;
  }
  EXPECT_EQ(Table(to, "SELECT COUNT(Serial) FROM Same")[0][0], Variant(4));

  // ID 57 is in Keyed already: the one statement fails and leaves it as it was.
  const Rows keyed = Table(to, "SELECT * FROM Keyed");
  EXPECT_FALSE(obj_->dbCopyRows("Staff", "Keyed", "", from, target));
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  EXPECT_EQ(Table(to, "SELECT * FROM Keyed"), keyed);

  // Rows the source has not committed are copied too, row by row.
  cn_->BeginTrans();
  cn_->Execute("INSERT INTO Staff (ID, Name) VALUES (400, 'pending')");
  EXPECT_TRUE(obj_->dbCopyRows("Staff", "Same", "ID = 400", from, target));
  cn_->RollbackTrans();
  EXPECT_EQ(Table(to, "SELECT Name FROM Same WHERE ID = 400"), (Rows{{Variant("pending")}}));
}

}  // namespace
}  // namespace zmdb::testing
