// Adding and removing fields on the file store: the DAO path (a named table,
// the current definition), the ADOX path (the pending table), the statement
// on the default connection, and that the table keeps everything else.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "schema_fixture.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class FieldsTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    cn_->Execute(
        "CREATE TABLE Pay (ID COUNTER(100, 1) PRIMARY KEY, Name TEXT(10) NOT NULL, "
        "Rate DOUBLE DEFAULT 1.5)");
    cn_->Execute("CREATE INDEX ByName ON Pay (Name)");
    cn_->Execute("INSERT INTO Pay (Name) VALUES ('a')");
    cn_->Execute("INSERT INTO Pay (Name, Rate) VALUES ('b', 2)");
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  Variant Prop(const std::string& t, const std::string& f, const char* name) {
    return rt::GetProp(Field(t, f), name);
  }
  // Everything about table Pay a change of another field must keep.
  std::vector<std::string> Snapshot() { return Shape("Pay", "ID", {"ByName"}); }
};

TEST_F(FieldsTest, DaoFieldsGetTheirWidthDefaultsAndFlags) {
  struct Case {
    const char* name;
    std::int32_t type, size;
    const char* given;
    bool required;
    std::string size_, defaultValue;
    bool allowZero;
  };
  const Case cases[] = {
      {"T1", 10, 0, "", false, "20", "", true},      // text: 20 wide
      {"T2", 10, 5, "'x'", true, "5", "'x'", true},  // given width and default
      {"B", 2, 0, "", false, "1", "0", false},       // Byte, Integer, Long, Single: zero
      {"I", 3, 0, "", false, "2", "0", false},
      {"L", 4, 0, "7", false, "4", "7", false},
      {"S", 6, 0, "", false, "4", "0", false},
      {"D", 7, 0, "", false, "8", "", false},  // Double, Currency, Date: none
      {"C", 5, 0, "", false, "8", "", false},
      {"M", 12, 0, "", false, "0", "", true},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(
        obj_->dbCreateFieldItem("Pay", c.name, c.type, c.size, 0, c.given, 0, true, c.required))
        << c.name << ": " << obj_->dbGetLastError().Description;
  }
  Reopen();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(rt::CLng(Prop("Pay", c.name, "Type")), c.type);
    if (c.type != 12) {
      EXPECT_EQ(rt::TextOf(Prop("Pay", c.name, "Size")), c.size_);
    }
    EXPECT_EQ(rt::TextOf(Prop("Pay", c.name, "DefaultValue")), c.defaultValue);
    EXPECT_EQ(rt::CBool(Prop("Pay", c.name, "Required")), c.required);
    if (c.type == 10 || c.type == 12) {
      EXPECT_EQ(rt::CBool(Prop("Pay", c.name, "AllowZeroLength")), c.allowZero);
    }
  }
}

TEST_F(FieldsTest, AddingAndDroppingKeepEveryRowAndProperty) {
  const auto before = Snapshot();
  ASSERT_TRUE(obj_->dbCreateFieldItem("Pay", "Note", 10));
  ASSERT_TRUE(obj_->dbCreateFieldItem("Pay", "Grade", 2, 0, 0, "", 1));
  EXPECT_EQ(rt::CLng(Prop("Pay", "Grade", "OrdinalPosition")), 1);
  ASSERT_TRUE(obj_->dbRemoveFieldItem("Pay", "Note"));
  ASSERT_TRUE(obj_->dbRemoveFieldItem("Pay", "Grade"));
  Reopen();
  EXPECT_EQ(Snapshot(), before);
  // The AutoNumber goes on from its seed and the rows it numbered.
  auto cn = Connect();
  cn->Execute("INSERT INTO Pay (Name) VALUES ('c')");
  EXPECT_EQ(
      rt::CLng(Open(cn, "SELECT MAX(ID) AS M FROM Pay")->fields()->Item(Variant("M"))->Value()),
      102);
  cn->Close();
}

TEST_F(FieldsTest, FailuresAnswerFalse) {
  const auto before = Snapshot();
  // An existing field, no target table, no default connection: nothing
  // recorded; an unknown table or field: recorded.
  const std::tuple<const char*, std::function<bool()>, bool> cases[] = {
      {"existing", [&] { return obj_->dbCreateFieldItem("Pay", "Rate", 10, 30); }, false},
      {"no target", [&] { return obj_->dbCreateFieldItem("", "X"); }, false},
      {"no target to drop from", [&] { return obj_->dbRemoveFieldItem("", "Rate"); }, false},
      {"no connection", [&] { return obj_->dbRemoveFieldItem("Pay", "Rate", true); }, false},
      {"unknown table", [&] { return obj_->dbCreateFieldItem("Nowhere", "X"); }, true},
      {"unknown field", [&] { return obj_->dbRemoveFieldItem("Pay", "Nothing"); }, true},
  };
  for (const auto& [what, call, recorded] : cases) {
    obj_->dbClearError();
    EXPECT_FALSE(call()) << what;
    EXPECT_EQ(obj_->dbGetLastError().Number != 0, recorded) << what;
  }
  EXPECT_EQ(Snapshot(), before);
  // Through the default connection the names go unbracketed.
  ASSERT_TRUE(obj_->dbCloseConnect(true));
  ASSERT_TRUE(obj_->dbSetConnect(cn_->ConnectionString(), false));
  auto own = std::dynamic_pointer_cast<dal::Connection>(obj_->dbGetConnect(false));
  own->Execute("ALTER TABLE Pay ADD COLUMN [Two Words] TEXT(5)");
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbRemoveFieldItem("Pay", "Two Words", true));
  EXPECT_EQ(LastStatement(*own), "ALTER TABLE Pay DROP COLUMN Two Words");
  EXPECT_NE(obj_->dbGetLastError().Number, 0);
  EXPECT_TRUE(obj_->dbRemoveFieldItem("Pay", "Rate", true));
  EXPECT_EQ(LastStatement(*own), "ALTER TABLE Pay DROP COLUMN Rate");
}

}  // namespace
}  // namespace zmdb::testing
