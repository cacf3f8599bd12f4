// Adding and removing fields on the file store: the DAO path (a named table,
// the current definition), the ADOX path (the pending table), the statement
// on the default connection, and that the table keeps everything else.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "component_fixture.h"
#include "zmdb/dal/dao/dao.h"

namespace zmdb::testing {
namespace {

using rt::Variant;

class FieldsTest : public ComponentTest {
 protected:
  void SetUp() override {
    ComponentTest::SetUp();
    cn_->Execute(
        "CREATE TABLE Pay (ID COUNTER(100, 1) PRIMARY KEY, Name TEXT(10) NOT NULL, "
        "Rate DOUBLE DEFAULT 1.5)");
    cn_->Execute("CREATE INDEX ByName ON Pay (Name)");
    cn_->Execute("INSERT INTO Pay (Name) VALUES ('a')");
    cn_->Execute("INSERT INTO Pay (Name, Rate) VALUES ('b', 2)");
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    db_ = Variant(obj_->dbGetConnect(true));
  }
  // The field `f` of table `t` in the default database.
  Variant FieldOf(const std::string& t, const std::string& f) {
    return rt::ItemOf(rt::GetProp(rt::ItemOf(rt::GetProp(db_, "TableDefs"), Variant(t)), "Fields"),
                      Variant(f));
  }
  Variant Prop(const std::string& t, const std::string& f, const char* name) {
    return rt::GetProp(FieldOf(t, f), name);
  }
  // Everything about table Pay a change of another field must keep.
  std::string Snapshot() {
    std::string out;
    for (const char* f : {"ID", "Name", "Rate"}) {
      out += f;
      for (const char* p : {"Type", "Size", "Attributes", "Required", "DefaultValue"}) {
        out += "|" + rt::TextOf(Prop("Pay", f, p));
      }
      out += ";";
    }
    const Variant idx = rt::ItemOf(
        rt::GetProp(rt::ItemOf(rt::GetProp(db_, "TableDefs"), Variant("Pay")), "Indexes"),
        Variant("ByName"));
    out += rt::TextOf(rt::GetProp(idx, "Unique"));
    auto cn = Connect();
    auto rs = Open(cn, "SELECT ID, Name, Rate FROM Pay ORDER BY ID");
    for (const auto& row : rs->VisibleRows()) {
      for (const auto& v : row) out += "|" + rt::TextOf(v);
    }
    cn->Close();
    return out;
  }
  void ReopenDefault() {
    ASSERT_TRUE(obj_->dbCloseConnect(true));
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    db_ = Variant(obj_->dbGetConnect(true));
  }
  Variant db_;
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
  ReopenDefault();
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
  const std::string before = Snapshot();
  ASSERT_TRUE(obj_->dbCreateFieldItem("Pay", "Note", 10));
  ASSERT_TRUE(obj_->dbCreateFieldItem("Pay", "Grade", 2, 0, 0, "", 1));
  EXPECT_EQ(rt::CLng(Prop("Pay", "Grade", "OrdinalPosition")), 1);
  ReopenDefault();
  EXPECT_EQ(Snapshot(), before);
  ASSERT_TRUE(obj_->dbRemoveFieldItem("Pay", "Note"));
  ASSERT_TRUE(obj_->dbRemoveFieldItem("Pay", "Grade"));
  ReopenDefault();
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
  const std::string before = Snapshot();
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
