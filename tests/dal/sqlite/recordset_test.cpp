// Recordsets on the file store: what only the file store's types and rows
// do (the behaviour every store shares is tested on every store).
#include "file_store_fixture.h"
#include "zmdb/dal/ado.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

using RecordsetTest = FileStoreTest;

TEST_F(RecordsetTest, ValuesRoundTripThroughAddNewAndAFreshConnection) {
  auto cn = Connect();
  cn->Execute(
      "CREATE TABLE T (ID COUNTER PRIMARY KEY, Name TEXT(10), Hired DATETIME, Pay CURRENCY, "
      "Active YESNO, Qty SHORT, Note MEMO)");
  auto rs = Open(cn, "SELECT * FROM T");
  rs->AddNew();
  auto f = rs->fields();
  f->Item(Variant("Name"))->SetValue(Variant("李明"));
  f->Item(Variant("Hired"))->SetValue(Variant("2004-08-30 13:05:09"));  // text converts
  f->Item(Variant("Pay"))->SetValue(Variant(1234.5));
  f->Item(Variant("Active"))->SetValue(Variant(true));
  f->Item(Variant("Qty"))->SetValue(Variant("12"));
  rs->Update();
  EXPECT_EQ(f->Item(Variant("ID"))->Value(), Variant(1));  // the store's number, read back

  auto again = Open(Connect(), "SELECT * FROM T", ado::adOpenStatic, ado::adLockReadOnly);
  ASSERT_EQ(again->RecordCount(), 1);
  auto g = again->fields();
  EXPECT_EQ(g->Item(Variant("Name"))->Value(), Variant("李明"));
  EXPECT_EQ(g->Item(Variant("Hired"))->Value(), Variant(rt::MakeDate(2004, 8, 30, 13, 5, 9)));
  EXPECT_EQ(g->Item(Variant("Pay"))->Value(), Variant(rt::Currency{12345000}));
  EXPECT_EQ(g->Item(Variant("Active"))->Value(), Variant(true));
  EXPECT_EQ(g->Item(Variant("Qty"))->Value(), Variant(std::int16_t{12}));
  EXPECT_TRUE(g->Item(Variant("Note"))->Value().IsNull());
  // Yes/No is -1 in SQL, as Jet keeps it; dates are canonical text.
  auto raw = cn->Execute("SELECT CStr(Active), CStr(Hired) FROM T", nullptr, -1, 3);
  EXPECT_EQ(raw->ValueAt(0), Variant("-1"));
  auto dates = cn->Execute("SELECT COUNT(*) FROM T WHERE Hired > #8/29/2004#", nullptr, -1, 3);
  EXPECT_EQ(dates->ValueAt(0), Variant(1));
}

// Rows added one after another with different fields set: each row gets
// exactly its own fields (the insert built for one set of fields is not
// reused for another), and the store's number is read back each time.
// Without keeping added rows they reach the table alone.
TEST_F(RecordsetTest, AddedRowsSetTheirOwnFieldsWhetherKeptOrNot) {
  struct Row {
    const char* name;  // nullptr: not set
    const char* qty;
  };
  const std::vector<Row> rows = {{"a", "1"},     {"b", "2"},         {"c", nullptr},
                                 {nullptr, "4"}, {nullptr, nullptr}, {"f", "6"}};
  for (const bool keep : {true, false}) {
    SCOPED_TRACE(keep ? "kept" : "not kept");
    auto cn = Connect();
    cn->Execute("DROP TABLE IF EXISTS T");
    cn->Execute("CREATE TABLE T (ID COUNTER PRIMARY KEY, Name TEXT(10), Qty LONG DEFAULT 9)");
    auto rs = Open(cn, "SELECT * FROM T");
    rs->SetKeepAddedRows(keep);
    for (const Row& row : rows) {
      rs->AddNew();
      if (row.name) rs->SetValueAt(1, Variant(row.name));
      if (row.qty) rs->SetValueAt(2, Variant(row.qty));
      rs->Update();
      if (keep) {
        EXPECT_EQ(rs->ValueAt(1), row.name ? Variant(row.name) : Variant::Null());
      }
    }
    EXPECT_EQ(rs->RecordCount(), keep ? 6 : 0);
    if (keep) {
      EXPECT_EQ(rs->ValueAt(0), Variant(6));
    }

    auto table = Open(Connect(), "SELECT * FROM T ORDER BY ID", ado::adOpenStatic);
    ASSERT_EQ(table->RecordCount(), 6);
    for (const Row& row : rows) {
      EXPECT_EQ(table->ValueAt(1), row.name ? Variant(row.name) : Variant::Null());
      EXPECT_EQ(table->ValueAt(2), Variant(row.qty ? std::stoi(row.qty) : 9));
      table->MoveNext();
    }
  }
}

// A reader that takes the rows one at a time sees what VisibleRows gives:
// after a filter and a deletion, and on a forward-only recordset.
TEST_F(RecordsetTest, RowsOneAtATimeAreTheVisibleRows) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (ID LONG, Name TEXT(10))");
  for (int i = 1; i <= 6; ++i)
    cn->Execute("INSERT INTO T VALUES (" + std::to_string(i) + ", 'n" + std::to_string(i) + "')");
  const auto collect = [](Recordset& rs) {
    std::vector<std::vector<Variant>> rows;
    rs.ForEachVisibleRow([&](const std::vector<Variant>& row) { rows.push_back(row); });
    return rows;
  };
  auto stat = Open(cn, "SELECT * FROM T", ado::adOpenStatic, ado::adLockBatchOptimistic);
  stat->SetFilter(Variant("ID > 2"));
  stat->MoveNext();
  stat->Delete();  // ID 4, from the recordset and the table
  const auto expected = stat->VisibleRows();
  ASSERT_EQ(expected.size(), 3u);
  EXPECT_EQ(collect(*stat), expected);

  auto stream =
      Open(cn, "SELECT * FROM T ORDER BY ID", ado::adOpenForwardOnly, ado::adLockReadOnly);
  const auto streamed = collect(*stream);
  ASSERT_EQ(streamed.size(), 5u);
  EXPECT_EQ(streamed.back(), (std::vector<Variant>{Variant(6), Variant("n6")}));
  EXPECT_TRUE(stream->AtEOF());
  stream->Close();
  EXPECT_EQ(RaisedNumber([&] { collect(*stream); }), rt::err::kObjectClosed);
}

TEST_F(RecordsetTest, ValuesAFieldRefusesAreClearErrors) {
  auto cn = Connect();
  cn->Execute("CREATE TABLE T (Name TEXT(3), Qty LONG, Hired DATETIME)");
  auto rs = Open(cn, "SELECT * FROM T");
  rs->AddNew();
  auto f = rs->fields();
  const std::pair<const char*, Variant> refused[] = {{"Name", Variant("abcd")},
                                                     {"Qty", Variant("12x")},
                                                     {"Hired", Variant("not a date")},
                                                     {"Qty", Variant(3e10)}};
  for (const auto& [field, value] : refused) {
    const rt::ErrorInfo e = RaisedError([&] { f->Item(Variant(field))->SetValue(value); });
    EXPECT_EQ(e.Number, rt::err::kMultipleStep);
    EXPECT_NE(e.Description.find(field), std::string::npos) << e.Description;
  }
  f->Item(Variant("Name"))->SetValue(Variant("中文字"));  // three characters fit
  rs->Update();
  // A statement that stores a longer text is refused by the table itself.
  EXPECT_NE(RaisedNumber([&] { cn->Execute("INSERT INTO T (Name) VALUES ('abcd')"); }), 0);
}

}  // namespace
}  // namespace zmdb::dal::testing
