// The single-value record operations and next-ID generation on the file
// store: what each answers and changes (the statements they build are
// checked as text in statements_test.cpp).
#include <gtest/gtest.h>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class RecordsTest : public ComponentTest {};

TEST_F(RecordsTest, IsExistQuotesByTypeAndAddsTheCondition) {
  struct Case {
    std::string field, item;
    std::int32_t type;
    std::string condition;
    bool expected;
  };
  const Case cases[] = {
      {"Name", "Li", 200, "", true},
      {"Name", "Li", 200, "Kind=2", false},
      {"ID", "57", 0, "", true},
      {"ID", "58", 3, "", false},
      {"Code", "000099", 129, "", true},
      // Unquoted text is a column reference that does not exist: False.
      {"Name", "Li", 0, "", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(obj_->dbIsExist("Staff", c.field, c.item, c.type, c.condition, conn()), c.expected)
        << c.field << "=" << c.item << " " << c.type << " " << c.condition;
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);  // silent: nothing recorded
}

TEST_F(RecordsTest, GetValueReadsTheFirstRowAsText) {
  std::string value = "unchanged";
  EXPECT_TRUE(obj_->dbGetValue("Staff", "Name", "ID=57", value, conn()));
  EXPECT_EQ(value, "Wang");
  EXPECT_TRUE(obj_->dbGetValue("Staff", "Kind", "ID=3", value, conn()));
  EXPECT_EQ(value, "1");

  // No row, a Null value, a bad condition, a missing table: False, value kept.
  value = "kept";
  for (const auto& [table, field, condition] : {std::tuple{"Staff", "Name", "ID=4"},
                                                {"Staff", "Note", "ID=57"},
                                                {"Staff", "Name", ""},
                                                {"Staff", "Name", "ID=="},
                                                {"Nowhere", "Name", "ID=3"},
                                                {"Staff", "NoField", "ID=3"}}) {
    EXPECT_FALSE(obj_->dbGetValue(table, field, condition, value, conn())) << condition;
    EXPECT_EQ(value, "kept");
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

TEST_F(RecordsTest, DeleteAndModifyChangeRowsAndModifyAlwaysAnswersFalse) {
  EXPECT_TRUE(obj_->dbDeleteItem("Staff", "ID=9", conn()));
  EXPECT_EQ(Count(), 2);

  // Always False, although the row changed.
  EXPECT_FALSE(obj_->dbModifyItem("Staff", "Name", "'Sun'", "ID=3", conn()));
  EXPECT_EQ(Count("Name='Sun'"), 1);

  EXPECT_FALSE(obj_->dbDeleteItem("Nowhere", "", conn()));
  EXPECT_TRUE(obj_->dbDeleteItem("Staff", "", conn()));
  EXPECT_EQ(Count(), 0);
}

TEST_F(RecordsTest, RecordCountsIsUnguarded) {
  EXPECT_EQ(obj_->dbRecordCounts("Staff", conn()), 3);
  EXPECT_EQ(obj_->dbRecordCounts("Staff", conn(), "Kind=2"), 2);
  // Failures reach the caller as raised errors.
  EXPECT_NE(dal::testing::RaisedNumber([&] { obj_->dbRecordCounts("Nowhere", conn()); }), 0);
  EXPECT_NE(dal::testing::RaisedNumber([&] { obj_->dbRecordCounts("Staff", conn(), "Kind=="); }),
            0);
  EXPECT_NE(dal::testing::RaisedNumber([&] { obj_->dbRecordCounts("Staff", Variant::Missing()); }),
            0);
}

TEST_F(RecordsTest, GetMaxIdPadsOnlyTheZeroAnswer) {
  struct Case {
    std::string field;
    bool isText;
    std::int32_t width;
    std::string condition;
    std::string expected;
  };
  const Case cases[] = {
      {"ID", false, 8, "", "57"},
      {"Code", true, 6, "", "000101"},
      // Numbers stored as text compare by value once formatted to full width.
      {"ID", true, 6, "", "000057"},
      // No rows: zero, padded to the width; a width of 0 has an empty mask.
      {"ID", false, 8, "Kind=3", "00000000"},
      {"Code", true, 6, "Kind=3", "000000"},
      {"ID", false, 0, "Kind=3", "0"},
      {"ID", false, 4, "Kind=2", "57"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(obj_->dbGetMaxID("Staff", c.field, conn(), c.isText, c.width, false, c.condition),
              c.expected)
        << c.field << " " << c.width << " " << c.condition;
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);

  // A failure is recorded and the answer is still empty.
  EXPECT_EQ(obj_->dbGetMaxID("Nowhere", "ID", conn()), "");
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  // No mask has a negative width: invalid argument, nothing run.
  const std::string before = LastStatement(*cn_);
  EXPECT_EQ(obj_->dbGetMaxID("Staff", "ID", conn(), false, -1), "");
  EXPECT_EQ(obj_->dbGetLastError().Number, 5);
  EXPECT_EQ(LastStatement(*cn_), before);
}

TEST_F(RecordsTest, GetMaxIdTranslatesForSqlServerWhenAsked) {
  // What the file store makes of the server's text does not matter here.
  obj_->dbGetMaxID("Staff", "Code", conn(), true, 6, true);
  const std::string jet = "SELECT MAX(FORMAT(Code,'000000')) AS MaxID FROM Staff";
  EXPECT_EQ(LastStatement(*cn_), obj_->dbCSql(jet));
  EXPECT_NE(LastStatement(*cn_), jet);
}

// A missing Conn is served by the default connection; without one, or with
// another kind of object, nothing runs and only dbGetMaxID records why.
TEST_F(RecordsTest, TheConnArgumentChoosesTheConnection) {
  const Variant recordset(rt::ObjectRef(dal::Recordset::Create()));
  for (const auto& [conn, number] :
       {std::pair{Variant::Missing(), std::int32_t{0}}, {recordset, std::int32_t{13}}}) {
    obj_->dbClearError();
    std::string value = "kept";
    EXPECT_FALSE(obj_->dbIsExist("Staff", "ID", "3", 0, "", conn));
    EXPECT_FALSE(obj_->dbGetValue("Staff", "Name", "ID=3", value, conn));
    EXPECT_FALSE(obj_->dbModifyItem("Staff", "Name", "'x'", "ID=3", conn));
    EXPECT_FALSE(obj_->dbDeleteItem("Staff", "", conn));
    EXPECT_EQ(value, "kept");
    EXPECT_EQ(obj_->dbGetLastError().Number, 0);
    EXPECT_EQ(obj_->dbGetMaxID("Staff", "ID", conn), "");
    EXPECT_EQ(obj_->dbGetLastError().Number, number);
  }
  EXPECT_EQ(Count("Name<>'x'"), 3);

  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  std::string value;
  EXPECT_TRUE(obj_->dbGetValue("Staff", "Name", "ID=9", value));
  EXPECT_EQ(value, "Zhao");
  EXPECT_TRUE(obj_->dbIsExist("Staff", "ID", "9"));
  EXPECT_EQ(obj_->dbGetMaxID("Staff"), "57");
  EXPECT_TRUE(obj_->dbDeleteItem("Staff", "ID=9"));
  EXPECT_EQ(Count(), 2);
}

}  // namespace
}  // namespace zmdb::testing
