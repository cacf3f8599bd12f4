// Table structure on the file store: the type mapping and the server
// statements as text, a table of every Jet type read, rebuilt from its
// records and copied with equal structure (after reopening the file), and
// the failure values.
#include "zmdb/schema/structure.h"

#include <gtest/gtest.h>

#include <optional>

#include "data_rows.h"
#include "schema_fixture.h"

namespace zmdb::testing {
namespace {

using rt::Variant;
using schema::FieldStructure;

// Cases: tests/data/types/ado_to_dao.txt.
TEST(StructureTypes, EachAdoTypeMapsToTheDaoTypeOfEachStore) {
  const auto dao = [](const std::string& cell) {
    return cell == "-" ? std::nullopt : std::optional<std::int32_t>(std::stoi(cell));
  };
  const auto rows = DataRows("types/ado_to_dao.txt");
  ASSERT_FALSE(rows.empty());
  for (const auto& row : rows) {
    ASSERT_EQ(row.size(), 7u);
    FieldStructure f;
    f.name = "F";
    f.type = std::stoi(row[0]);
    f.definedSize = std::stoi(row[1]);
    f.attributes = std::stoi(row[2]);
    f.precision = std::stoi(row[3]);
    f.numericScale = std::stoi(row[4]);
    EXPECT_EQ(schema::DaoTypeOf(f, schema::TargetStore::File), dao(row[5]))
        << row[0] << "/" << row[1];
    EXPECT_EQ(schema::DaoTypeOf(f, schema::TargetStore::Server), dao(row[6]))
        << row[0] << "/" << row[1];
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
