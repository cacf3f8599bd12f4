// Recordsets that live in memory, and the write-back statements built apart
// from running them: neither needs a store.
#include "zmdb/dal/recordset.h"

#include <gtest/gtest.h>

#include "raised.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/writeback.h"

namespace zmdb::dal::testing {
namespace {

using rt::Variant;

TEST(DisconnectedRecordset, FieldsDefineItAndRowsLiveInMemory) {
  auto rs = Recordset::Create();
  rs->fields()->Append("Code", 202, 10);
  rs->fields()->Append("Qty", 3);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("code", 3); }), dalerr::kBadArguments);
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("X", 999); }), dalerr::kBadArguments);
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
  EXPECT_EQ(RaisedNumber([&] { rs->fields()->Append("Late", 3); }), dalerr::kOpen);
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

}  // namespace
}  // namespace zmdb::dal::testing
