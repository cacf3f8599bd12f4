// Recordsets that live in memory, and the write-back statements built apart
// from running them: neither needs a store.
#include "zmdb/dal/recordset.h"

#include <gtest/gtest.h>

#include <cmath>

#include "raised.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST(DisconnectedRecordset, FieldsDefineItAndRowsLiveInMemory) {
  auto rs = Recordset::Create();
  rs->fields()->Append("Code", 202, 10);
  rs->fields()->Append("Qty", 3);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("code", 3); }), rt::err::kBadArguments);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("X", 999); }), rt::err::kBadArguments);
  rs->SetCursorType(ado::adOpenStatic);
  rs->SetLockType(ado::adLockOptimistic);
  rs->Open();
  EXPECT_EQ(rs->State(), 1);
  EXPECT_EQ(rs->RecordCount(), 0);
  EXPECT_TRUE(rs->AtEOF() && rs->AtBOF());
  for (int i = 1; i <= 3; ++i) {
    rs->AddNew();
    rs->fields()->Item(Variant("Code"))->SetValue(Variant("c" + std::to_string(i)));
    rs->fields()->Item(Variant("qty"))->SetValue(Variant(std::to_string(i * 10)));  // text to Long
    rs->Update();
  }
  EXPECT_EQ(rs->RecordCount(), 3);
  EXPECT_EQ(rs->ValueAt(1), Variant(30));  // positioned on the row just added
  rs->SetFilter(Variant("Qty >= 20"));
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->Delete();
  rs->SetFilter(Variant(0));
  EXPECT_EQ(rs->RecordCount(), 2);
  EXPECT_EQ(rs->fields()->Item(Variant(1))->Attributes() & ado::adFldUpdatable,
            ado::adFldUpdatable);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("Late", 3); }), rt::err::kObjectOpen);
}

// A 64-bit integer column refuses a value beyond its range with Overflow and
// keeps what it held, instead of storing whatever the cast happens to give.
TEST(DisconnectedRecordset, BigIntegersOutOfRangeOverflowAndChangeNothing) {
  auto rs = Recordset::Create();
  rs->fields()->Append("Big", 20);
  rs->SetCursorType(ado::adOpenStatic);
  rs->SetLockType(ado::adLockOptimistic);
  rs->Open();
  rs->AddNew();
  rs->Update();
  const double refused[] = {4.2e117, -1e19, 9223372036854775808.0, std::nan("")};
  for (const double d : refused) {
    rs->fields()->Item(Variant("Big"))->SetValue(Variant(d));
    EXPECT_EQ(RaisedNumber([&] { rs->Update(); }), rt::err::kOverflow) << d;
    rs->CancelUpdate();
    EXPECT_TRUE(rs->ValueAt(0).IsNull()) << d;
  }
  rs->fields()->Item(Variant("Big"))->SetValue(Variant(-9223372036854775808.0));
  rs->Update();
  EXPECT_EQ(rt::CDbl(rs->ValueAt(0)), -9223372036854775808.0);
}

TEST(WriteBack, StatementsAreBuiltApartFromRunning) {
  const Quirks brackets{};
  const Quirks dquote{"\"", "\""};
  const Statement ins = BuildInsert("My T", {{"A", Variant(1)}, {"B]x", Variant("s")}}, brackets);
  EXPECT_EQ(ins.sql, "INSERT INTO [My T] ([A], [B]]x]) VALUES (?, ?)");
  EXPECT_EQ(ins.params.size(), 2u);
  const Statement upd =
      BuildUpdate("T", {{"A", Variant(2)}}, {{"K", Variant(1)}, {"N", Variant::Null()}}, dquote);
  EXPECT_EQ(upd.sql, "UPDATE \"T\" SET \"A\" = ? WHERE \"K\" = ? AND \"N\" IS NULL");
  EXPECT_EQ(upd.params, (std::vector<Variant>{Variant(2), Variant(1)}));
  EXPECT_EQ(BuildDelete("T", {{"K", Variant(1)}}, brackets).sql, "DELETE FROM [T] WHERE [K] = ?");
  EXPECT_EQ(BuildInsert("T", {}, brackets).sql, "INSERT INTO [T] DEFAULT VALUES");
}

// The columns that find the row to change: the whole key plus the changed
// columns that compare reliably, or every reliable column without the key.
TEST(WriteBack, RowMatchPicksTheColumnsThatFindTheRow) {
  std::vector<ColumnInfo> cols(5);
  cols[0] = {"ID", 3, 4, 0, 0, false, false, true, "T", "ID"};  // key
  cols[1] = {"Name", 202, 50, 0, 0, true, false, false, "T", "Name"};
  cols[2] = {"Ratio", 5, 8, 0, 0, true, false, false, "T", "Ratio"};  // floating: never matched
  cols[3] = {"Total", 3, 4, 0, 0, true, false, false, "", ""};        // computed
  cols[4] = {"Big", 131, 19, 28, 0, true, false, false, "T", "Big"};  // more digits than a Double
  const std::vector<Variant> original = {Variant(7), Variant("Ann"), Variant(0.5), Variant(3),
                                         Variant(1.0)};
  struct Case {
    const char* what;
    std::vector<std::string> keys;
    std::vector<bool> changed;
    std::vector<std::string> expected;
  };
  const Case cases[] = {
      {"key, nothing changed", {"ID"}, {}, {"ID"}},
      {"key found without regard to case", {"id"}, {}, {"ID"}},
      {"key plus the changed columns that compare",
       {"ID"},
       {false, true, true, false, true},
       {"ID", "Name"}},
      {"a changed key column is not matched twice", {"ID"}, {true, true}, {"ID", "Name"}},
      {"part of the key missing: every reliable column", {"ID", "Part"}, {}, {"ID", "Name"}},
      {"no key: every reliable column", {}, {true}, {"ID", "Name"}},
  };
  for (const Case& c : cases) {
    const auto match = RowMatch(cols, original, c.keys, "t", c.changed);
    std::vector<std::string> names;
    for (const ColumnValue& m : match) names.push_back(m.column);
    EXPECT_EQ(names, c.expected) << c.what;
    for (const ColumnValue& m : match) {
      EXPECT_EQ(m.value, m.column == "ID" ? Variant(7) : Variant("Ann")) << c.what;
    }
  }
}

TEST(WriteBack, BaseTableIsTheOneTableTheColumnsComeFrom) {
  ColumnInfo a, b, computed;
  a.baseTable = "Staff";
  b.baseTable = "STAFF";
  EXPECT_EQ(BaseTableOf({computed, a, b}), "Staff");
  b.baseTable = "Dept";
  for (const auto& cols : {std::vector<ColumnInfo>{a, b}, std::vector<ColumnInfo>{computed}}) {
    const rt::ErrorInfo e = RaisedError([&] { BaseTableOf(cols); });
    EXPECT_EQ(e, (rt::ErrorInfo{rt::err::kUnspecified, "ADODB.Recordset",
                                "Insufficient base table information for updating or "
                                "refreshing."}));
  }
}

}  // namespace
}  // namespace zmdb::dal::testing
