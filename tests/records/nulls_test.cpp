// Field lists, null normalisation and fabricated recordsets on the file
// store; the statements are checked as the connection ran them.
#include <gtest/gtest.h>

#include <map>

#include "component_fixture.h"
#include "data_rows.h"
#include "raised.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/records/statements.h"

namespace zmdb::testing {
namespace {

using dal::testing::RaisedNumber;
using rt::Variant;

// Cases: tests/data/records/null_fill.txt.
TEST(NullStatements, FillIsJudgedByTypeNameNotNumber) {
  using records::NullFill;
  const std::map<std::string, NullFill> fills{
      {"none", NullFill::None}, {"number", NullFill::Number}, {"text", NullFill::Text}};
  const auto rows = DataRows("records/null_fill.txt");
  ASSERT_EQ(rows.size(), 12u);
  for (const auto& row : rows) {
    ASSERT_EQ(row.size(), 2u);
    EXPECT_EQ(records::NullFillOfType(row[0]), fills.at(row[1])) << row[0];
  }
}

class NullsTest : public ComponentTest {
 protected:
  // The UPDATE statements `cn_` ran, in order, from its `from`th statement on.
  std::vector<std::string> Updates(std::size_t from = 0) const {
    std::vector<std::string> updates;
    const auto& log = cn_->statementLog();
    for (std::size_t i = from; i < log.size(); ++i) {
      if (log[i].starts_with("UPDATE")) updates.push_back(log[i]);
    }
    return updates;
  }
  std::string NoteOf(int id) {
    auto rs = Open(cn_, "SELECT Note FROM Staff WHERE ID=" + std::to_string(id));
    return rt::CStr(rs->fields()->Item(Variant("Note"))->Value());
  }
};

TEST_F(NullsTest, FieldsNameListsNamesAndAppendsTypesOrRaises) {
  std::string types;
  EXPECT_EQ(obj_->dbGetFieldsName("Staff", conn(), "*", types), "ID,Code,Name,Kind,Note");
  EXPECT_EQ(types, "3,202,202,3,202");
  EXPECT_EQ(LastStatement(*cn_), "SELECT TOP 1 * FROM [Staff]");

  // A chosen list, and a type list that already held something.
  types = "7,";
  EXPECT_EQ(obj_->dbGetFieldsName("Staff", conn(), "ID"), "ID");
  EXPECT_EQ(obj_->dbGetFieldsName("Staff", conn(), "Name,ID", types), "Name,ID");
  EXPECT_EQ(types, "7,202,3");

  // Unguarded: failures are raised, the type list kept.
  types = "kept";
  const std::function<void()> calls[] = {
      [&] { obj_->dbGetFieldsName("Nowhere", conn(), "*", types); },
      [&] { obj_->dbGetFieldsName("Staff", conn(), "NoField", types); },
      [&] { obj_->dbGetFieldsName("Staff", Variant::Missing(), "*", types); },
  };
  for (const auto& call : calls) EXPECT_NE(RaisedNumber(call), 0);
  EXPECT_EQ(types, "kept");
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(NullsTest, SetNullToZeroWritesTextZeroInEveryColumn) {
  cn_->Execute("INSERT INTO Staff VALUES (NULL, '000200', '', 1, NULL)");
  EXPECT_FALSE(obj_->dbSetNullToZero("Staff", conn()));
  const std::vector<std::string> expected = {
      "UPDATE Staff SET ID = '0' WHERE ID IS NULL OR ID ='' ",
      "UPDATE Staff SET Code = '0' WHERE Code IS NULL OR Code ='' ",
      "UPDATE Staff SET Name = '0' WHERE Name IS NULL OR Name ='' ",
      "UPDATE Staff SET Kind = '0' WHERE Kind IS NULL OR Kind ='' ",
      "UPDATE Staff SET Note = '0' WHERE Note IS NULL OR Note ='' ",
  };
  EXPECT_EQ(Updates(), expected);
  EXPECT_EQ(Count("Note='0'"), 2);
  EXPECT_EQ(Count("Name='0' AND ID=0"), 1);
  EXPECT_EQ(host_->pointerHistory(),
            (std::vector<int>{rt::kPointerHourglass, rt::kPointerDefault}));
}

TEST_F(NullsTest, SetNullToZeroConditionBindsOnlyToTheEmptyTextTest) {
  cn_->Execute("INSERT INTO Staff VALUES (60, '000300', 'Qian', 1, '')");
  cn_->Execute("INSERT INTO Staff VALUES (61, '000301', 'Sun', 1, NULL)");
  EXPECT_FALSE(obj_->dbSetNullToZero("Staff", conn(), "Note", "Kind=2"));
  EXPECT_EQ(Updates(),
            std::vector<std::string>{
                "UPDATE Staff SET Note = '0' WHERE Note IS NULL OR Note ='' AND Kind=2"});
  // Nulls are replaced in every row, empty texts only where the condition holds.
  EXPECT_EQ(NoteOf(57), "0");
  EXPECT_EQ(NoteOf(61), "0");
  EXPECT_EQ(NoteOf(60), "");
}

TEST_F(NullsTest, SetNullToZeroOnlyNumeric) {
  cn_->Execute("INSERT INTO Staff VALUES (NULL, '000400', NULL, NULL, NULL)");
  struct Case {
    std::string fields, condition;
    std::vector<std::string> updates;
  };
  const Case cases[] = {
      {"*",
       "Code='000400'",
       {"UPDATE Staff SET ID = 0 WHERE ID IS NULL AND Code='000400'",
        "UPDATE Staff SET Kind = 0 WHERE Kind IS NULL AND Code='000400'"}},
      {"Name,Kind", "", {"UPDATE Staff SET Kind = 0 WHERE Kind IS NULL "}},
      // No numeric column: no statement at all.
      {"Code,Name,Note", "", {}},
  };
  for (const auto& c : cases) {
    const std::size_t from = cn_->statementLog().size();
    EXPECT_FALSE(obj_->dbSetNullToZero("Staff", conn(), c.fields, c.condition, true)) << c.fields;
    EXPECT_EQ(Updates(from), c.updates) << c.fields;
  }
  EXPECT_EQ(Count("ID=0 AND Kind=0 AND Name IS NULL AND Note IS NULL"), 1);
}

TEST_F(NullsTest, SetNullToZeroStopsSilentlyKeepingEarlierColumns) {
  cn_->Execute("CREATE TABLE Odd (A TEXT(5), [B C] TEXT(5), D TEXT(5))");
  cn_->Execute("INSERT INTO Odd VALUES (NULL, NULL, NULL)");
  // The second column's name is not bracketed, so its statement fails.
  EXPECT_FALSE(obj_->dbSetNullToZero("Odd", conn()));
  EXPECT_EQ(Updates().size(), 2u);
  auto rs = Open(cn_, "SELECT * FROM Odd");
  EXPECT_EQ(rs->fields()->Item(Variant("A"))->Value(), Variant("0"));
  EXPECT_TRUE(rs->fields()->Item(Variant("D"))->Value().IsNull());

  // Nothing recorded or shown, and the same for a table that is not there
  // and for a missing connection.
  EXPECT_FALSE(obj_->dbSetNullToZero("Nowhere", conn()));
  EXPECT_FALSE(obj_->dbSetNullToZero("Staff", Variant::Missing()));
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(host_->shown().empty());
  EXPECT_EQ(host_->MousePointer(), rt::kPointerDefault);
}

rt::SafeArray FieldStructs(std::vector<std::tuple<Variant, Variant, Variant>> fields,
                           std::int32_t lbound = 0) {
  std::vector<Variant> items;
  for (const auto& [name, type, size] : fields) {
    items.emplace_back(rt::Record(
        "FieldStruct",
        {{"Name", name}, {"Type", type}, {"DefinedSize", size}, {"Note", Variant("x")}}));
  }
  return rt::SafeArray(rt::VarType::Record, lbound, std::move(items));
}

TEST_F(NullsTest, CreateVRecordGivesAnEmptyUpdatableRecordset) {
  const rt::SafeArray fields = FieldStructs(
      {{Variant("Code"), Variant(202), Variant(10)}, {Variant("Qty"), Variant(3), Variant(0)}}, 1);
  const auto rs = std::dynamic_pointer_cast<dal::Recordset>(obj_->dbCreateVRecord(fields));
  ASSERT_TRUE(rs);
  // Open, empty, static and optimistic.
  EXPECT_EQ(
      (std::vector<std::int64_t>{rs->State(), rs->RecordCount(), rs->CursorType(), rs->LockType()}),
      (std::vector<std::int64_t>{1, 0, 3, 3}));
  ASSERT_EQ(rs->fields()->Count(), 2);
  const auto code = rs->fields()->Item(Variant(0));
  const auto qty = rs->fields()->Item(Variant(1));
  EXPECT_EQ(code->Name() + " " + std::to_string(code->Type()) + " " +
                std::to_string(code->DefinedSize()) + " " + qty->Name() + " " +
                std::to_string(qty->Type()),
            "Code 202 10 Qty 3");

  rs->AddNew();
  code->SetValue(Variant("A-1"));
  qty->SetValue(Variant("12"));
  rs->Update();
  EXPECT_EQ(rs->RecordCount(), 1);
  EXPECT_EQ(qty->Value(), Variant(12));
}

TEST_F(NullsTest, CreateVRecordLetsErrorsOut) {
  using F = std::vector<std::tuple<Variant, Variant, Variant>>;
  const std::pair<rt::SafeArray, std::int32_t> cases[] = {
      {rt::SafeArray(rt::VarType::Record), rt::err::kSubscriptOutOfRange},
      {rt::SafeArray(rt::VarType::Variant, 0, {Variant("Code")}), rt::err::kTypeMismatch},
      // A record without a type member.
      {rt::SafeArray(rt::VarType::Record, 0, {Variant(rt::Record("R", {{"Name", Variant("A")}}))}),
       rt::err::kNotSupported},
      {FieldStructs(
           F{{Variant("A"), Variant(3), Variant(0)}, {Variant("a"), Variant(3), Variant(0)}}),
       rt::err::kBadArguments},
      {FieldStructs(F{{Variant(""), Variant(3), Variant(0)}}), rt::err::kBadArguments},
      {FieldStructs(F{{Variant("A"), Variant(9999), Variant(0)}}), rt::err::kBadArguments},
      {FieldStructs(F{{Variant("A"), Variant(202), Variant(-1)}}), rt::err::kBadArguments},
  };
  for (const auto& [fields, number] : cases) {
    EXPECT_EQ(RaisedNumber([&] { obj_->dbCreateVRecord(fields); }), number);
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
