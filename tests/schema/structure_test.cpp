// Table structure on the file store: the type mapping and the server
// statements as text, a table of every Jet type read, rebuilt from its
// records and copied with equal structure (after reopening the file), and
// the failure values.
#include "zmdb/schema/structure.h"

#include <gtest/gtest.h>

#include <optional>

#include "schema_fixture.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using schema::FieldStructure;

constexpr std::int32_t kCounter = 0x10;

// One ADO type and the DAO type each kind of store holds it as (none where
// no store can).
struct TypeCase {
  std::int32_t type, size, attributes, precision, scale;
  std::optional<std::int32_t> file, server;
};

TEST(StructureTypes, EachAdoTypeMapsToTheDaoTypeOfEachStore) {
  const TypeCase cases[] = {
      {202, 50, 0, 0, 0, 10, 10},
      // Longer text than the file store's Text is a Memo there, not on a server.
      {202, 300, 0, 0, 0, 12, 10},
      {202, 5000, 0, 0, 0, 12, 12},
      {200, 20, 0, 0, 0, 10, 10},
      {129, 3, 0, 0, 0, 10, 10},
      {203, 536870910, 0, 0, 0, 12, 12},
      {3, 4, 0, 0, 0, 4, 4},
      {3, 4, kCounter, 0, 0, 4, 4},
      {2, 2, 0, 0, 0, 3, 3},
      {17, 1, 0, 0, 0, 2, 2},
      {20, 8, 0, 0, 0, 16, 16},
      {6, 8, 0, 0, 0, 5, 5},
      {4, 4, 0, 0, 0, 6, 6},
      {5, 8, 0, 0, 0, 7, 7},
      {7, 8, 0, 0, 0, 8, 8},
      {133, 6, 0, 0, 0, 8, 8},
      // A time of day stays one on a server.
      {134, 6, 0, 0, 0, 8, 22},
      {11, 2, 0, 0, 0, 1, 1},
      {72, 16, 0, 0, 0, 15, 15},
      {128, 16, 0, 0, 0, 9, 9},
      {204, 1000, 0, 0, 0, 11, 9},
      {205, 1073741823, 0, 0, 0, 11, 11},
      {131, 19, 0, 12, 3, 20, 20},
      // A server's NUMERIC(19,4) is a Currency field.
      {131, 19, 0, 19, 4, 5, 5},
      {9, 4, 0, 0, 0, std::nullopt, std::nullopt},
      {999, 0, 0, 0, 0, std::nullopt, std::nullopt},
  };
  for (const TypeCase& c : cases) {
    FieldStructure f;
    f.name = "F";
    f.type = c.type;
    f.definedSize = c.size;
    f.attributes = c.attributes;
    f.precision = c.precision;
    f.numericScale = c.scale;
    const std::string what = std::to_string(c.type) + "/" + std::to_string(c.size);
    EXPECT_EQ(schema::DaoTypeOf(f, schema::TargetStore::File), c.file) << what;
    EXPECT_EQ(schema::DaoTypeOf(f, schema::TargetStore::Server), c.server) << what;
  }
}

TEST(StructureStatements, CopiesAndRefusals) {
  EXPECT_EQ(schema::CopyTableDataStatement("A", "B", ""), "INSERT INTO B SELECT * FROM A");
  EXPECT_EQ(schema::CopyTableDataStatement("A", "B", "ID>2"),
            "INSERT INTO B SELECT * FROM A WHERE ID>2");
  FieldStructure ok, pointer;
  ok.name = "ID";
  ok.type = 3;
  pointer.name = "Pointer";
  pointer.type = 9;
  EXPECT_EQ(schema::FirstUnholdableField({ok}), "");
  EXPECT_EQ(schema::FirstUnholdableField({ok, pointer}), "Pointer: IDispatch, ADO type 9");
}

class StructureTest : public SchemaTest {
 protected:
  void SetUp() override {
    SchemaTest::SetUp();
    cn_->Execute(
        "CREATE TABLE Every (ID COUNTER PRIMARY KEY, Name TEXT(30) NOT NULL DEFAULT '无名', "
        "Memo MEMO, Qty LONG DEFAULT 7, Small SHORT, Tiny BYTE, Price CURRENCY, Ratio SINGLE, "
        "Amount DOUBLE, Born DATETIME, Active BIT, Tag GUID, Raw BINARY(16), Photo LONGBINARY, "
        "Exact DECIMAL(18,0), Scaled DECIMAL(10,2))");
    cn_->Execute("CREATE UNIQUE INDEX ByName ON Every (Name, Born)");
    cn_->Execute("INSERT INTO Every (Name, Qty, Born) VALUES ('张三', 1, #2024-02-29 13:45:07#)");
    cn_->Execute("INSERT INTO Every (Name, Qty, Born) VALUES ('Li', 2, #1899-12-30#)");
    cn_->Close();
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
    const Variant name = Field("Every", "Name");
    rt::SetProp(name, "AllowZeroLength", Variant(true));
    rt::CallMethod(rt::GetProp(name, "Properties"), "Append",
                   {rt::CallMethod(name, "CreateProperty",
                                   {Variant("Description"), Variant(10), Variant("姓名")})});
  }
  // Every member of every record, one line a field.
  static std::vector<std::string> Lines(const rt::SafeArray& records) {
    std::vector<std::string> out;
    if (!records.allocated()) return out;
    for (const Variant& r : records.items()) {
      std::string line;
      for (const auto& [member, v] : r.AsRecord().members())
        line += member + "=" + rt::CStr(v) + " ";
      out.push_back(line);
    }
    return out;
  }
  const std::vector<std::string> kIndexes{"PrimaryKey", "ByName"};
};

TEST_F(StructureTest, EveryJetTypeRoundTripsThroughItsRecords) {
  const rt::SafeArray records = obj_->dbGetTblStruct("Every");
  ASSERT_TRUE(records.allocated()) << obj_->dbGetLastError().Description;
  EXPECT_EQ(records.LBound(), 1);
  ASSERT_EQ(records.UBound(), 16);
  EXPECT_EQ(Lines(records)[1],
            "Name=Name Type=202 DefinedSize=30 Attributes=2 Required=True AllowZeroLength=True "
            "DefaultValue='无名' Description=姓名 OrdinalPosition=1 Precision=0 NumericScale=0 ");
  // The same records through a connection to the file.
  auto cn = Connect();
  EXPECT_EQ(Lines(obj_->dbGetTblStruct("Every", Variant(rt::ObjectRef(cn)))), Lines(records));
  cn->Close();

  ASSERT_TRUE(obj_->dbCreateTblStruct("Rebuilt", records)) << obj_->dbGetLastError().Description;
  ASSERT_TRUE(obj_->dbCopyTblStruct("Every", "Copied")) << obj_->dbGetLastError().Description;
  Reopen();
  EXPECT_EQ(Lines(obj_->dbGetTblStruct("Rebuilt")), Lines(records));
  EXPECT_EQ(Lines(obj_->dbGetTblStruct("Copied")), Lines(records));
  // The copy has the indexes too, and no rows.
  std::vector<std::string> original = Shape("Every", "ID", kIndexes);
  original.erase(original.begin(), original.begin() + 2);
  EXPECT_EQ(Shape("Copied", "ID", kIndexes), original);
  // A later change that rebuilds the table keeps the decimal's digits.
  rt::SetProp(Field("Copied", "Memo"), "Required", Variant(true));
  EXPECT_EQ(Lines(obj_->dbGetTblStruct("Copied")).back(), Lines(records).back());
  EXPECT_NE(Lines(records).back().find("Precision=10 NumericScale=2"), std::string::npos);
}

rt::SafeArray Fields(std::vector<rt::Record> records) {
  std::vector<Variant> items;
  for (auto& r : records) items.emplace_back(std::move(r));
  return rt::SafeArray(rt::VarType::Record, 0, std::move(items));
}

TEST_F(StructureTest, FailuresAreValues) {
  const Variant other(rt::ObjectRef(dal::Recordset::Create()));
  const rt::SafeArray good = Fields(
      {rt::Record("FieldStruct",
                  {{"Name", Variant("A")}, {"Type", Variant(202)}, {"DefinedSize", Variant(5)}})});
  const rt::SafeArray pointer =
      Fields({rt::Record("FieldStruct", {{"Name", Variant("A")}, {"Type", Variant(202)}}),
              rt::Record("FieldStruct", {{"Name", Variant("Ptr")}, {"Type", Variant(9)}})});
  struct Case {
    const char* what;
    std::function<bool()> call;
    std::int32_t error;      // 0: nothing recorded; -1: any error recorded
    const char* names = "";  // what the error's text must name
  };
  const Case cases[] = {
      {"missing table", [&] { return obj_->dbGetTblStruct("Nowhere").allocated(); }, -1},
      {"missing source", [&] { return obj_->dbCopyTblStruct("Nowhere", "X"); }, -1},
      {"target exists", [&] { return obj_->dbCopyTblStruct("Every", "Staff"); }, -1},
      {"type no store holds", [&] { return obj_->dbCreateTblStruct("X", pointer); }, 3259, "Ptr"},
      {"array never dimensioned", [&] { return obj_->dbCreateTblStruct("X", rt::SafeArray()); }, 9},
      {"missing rows' table", [&] { return obj_->dbCopyTblData("Every", "Nowhere", "", db()); },
       -1},
      {"rows that collide on the key",
       [&] { return obj_->dbCopyTblData("Every", "Every", "", Variant(rt::ObjectRef(Connect()))); },
       -1},
      {"other object", [&] { return obj_->dbCreateTblStruct("X", good, other); }, 0},
      {"other source", [&] { return obj_->dbCopyTblStruct("Every", "X", other); }, 0},
      {"other object read", [&] { return obj_->dbGetTblStruct("Every", other).allocated(); }, 0},
  };
  for (const Case& c : cases) {
    obj_->dbClearError();
    EXPECT_FALSE(c.call()) << c.what;
    const std::int32_t number = obj_->dbGetLastError().Number;
    EXPECT_EQ(number, c.error < 0 ? number : c.error) << c.what;
    EXPECT_EQ(number != 0, c.error != 0) << c.what;
    EXPECT_NE(obj_->dbGetLastError().Description.find(c.names), std::string::npos) << c.what;
  }
  EXPECT_FALSE(obj_->dbTableExists("X"));
  // Without a default database nothing is done and nothing recorded.
  ASSERT_TRUE(obj_->dbCloseConnect(true));
  obj_->dbClearError();
  EXPECT_FALSE(obj_->dbCreateTblStruct("X", good));
  EXPECT_FALSE(obj_->dbGetTblStruct("Every").allocated());
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

}  // namespace
}  // namespace zmdb::testing
