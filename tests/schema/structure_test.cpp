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
using schema::ServerDialect;

constexpr std::int32_t kCounter = 0x10;

// One ADO type and how each store holds it ("" where it cannot).
struct TypeCase {
  std::int32_t type, size, attributes, precision, scale;
  std::optional<std::int32_t> jet;  // DAO type on the file store
  const char* postgres;
  const char* sqlServer;
};

TEST(StructureTypes, EachAdoTypeMapsToEachStoresColumnType) {
  const TypeCase cases[] = {
      {202, 50, 0, 0, 0, 10, "VARCHAR(50)", "NVARCHAR(50)"},
      {202, 300, 0, 0, 0, 12, "VARCHAR(300)", "NVARCHAR(300)"},
      {200, 20, 0, 0, 0, 10, "VARCHAR(20)", "VARCHAR(20)"},
      {129, 3, 0, 0, 0, 10, "CHAR(3)", "CHAR(3)"},
      {203, 536870910, 0, 0, 0, 12, "TEXT", "NVARCHAR(MAX)"},
      {3, 4, 0, 0, 0, 4, "INTEGER", "INT"},
      {3, 4, kCounter, 0, 0, 4, "SERIAL", "INT IDENTITY(1,1)"},
      {2, 2, 0, 0, 0, 3, "SMALLINT", "SMALLINT"},
      {17, 1, 0, 0, 0, 2, "SMALLINT", "TINYINT"},
      {20, 8, 0, 0, 0, 16, "BIGINT", "BIGINT"},
      {6, 8, 0, 0, 0, 5, "NUMERIC(19,4)", "MONEY"},
      {4, 4, 0, 0, 0, 6, "REAL", "REAL"},
      {5, 8, 0, 0, 0, 7, "DOUBLE PRECISION", "FLOAT"},
      {7, 8, 0, 0, 0, 8, "TIMESTAMP", "DATETIME"},
      {133, 6, 0, 0, 0, 8, "DATE", "DATE"},
      {11, 2, 0, 0, 0, 1, "BOOLEAN", "BIT"},
      {72, 16, 0, 0, 0, 15, "UUID", "UNIQUEIDENTIFIER"},
      {128, 16, 0, 0, 0, 9, "BYTEA", "BINARY(16)"},
      {204, 1000, 0, 0, 0, 11, "BYTEA", "VARBINARY(1000)"},
      {205, 1073741823, 0, 0, 0, 11, "BYTEA", "VARBINARY(MAX)"},
      {131, 19, 0, 12, 3, 20, "NUMERIC(12,3)", "DECIMAL(12,3)"},
      // A server's NUMERIC(19,4) is the file store's Currency.
      {131, 19, 0, 19, 4, 5, "NUMERIC(19,4)", "DECIMAL(19,4)"},
      {9, 4, 0, 0, 0, std::nullopt, "", ""},
      {999, 0, 0, 0, 0, std::nullopt, "", ""},
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
    EXPECT_EQ(schema::FileStoreDaoType(f), c.jet) << what;
    EXPECT_EQ(schema::ServerColumnType(f, ServerDialect::PostgreSql).value_or(""), c.postgres)
        << what;
    EXPECT_EQ(schema::ServerColumnType(f, ServerDialect::SqlServer).value_or(""), c.sqlServer)
        << what;
  }
}

FieldStructure Field(const char* name, std::int32_t type, std::int32_t size,
                     std::int32_t attributes = 0, bool required = false,
                     const char* defaultValue = "") {
  FieldStructure f;
  f.name = name;
  f.type = type;
  f.definedSize = size;
  f.attributes = attributes;
  f.required = required;
  f.defaultValue = defaultValue;
  return f;
}

TEST(StructureStatements, ServerTablesCarryTypesKeysDefaultsAndIndexes) {
  schema::TableStructure s;
  s.fields = {Field("ID", 3, 4, kCounter, true),         Field("Name", 202, 20, 0, true, "'无名'"),
              Field("Born", 7, 8, 0, false, "=Date()"),  Field("Paid", 11, 2, 0, false, "False"),
              Field("Weird", 5, 8, 0, false, "Rnd()*2"), Field("所在 部门", 202, 10)};
  s.indexes = {{"PrimaryKey", {"ID"}, true, true}, {"ByName", {"Name", "所在 部门"}, false, true}};
  EXPECT_EQ(schema::ServerCreateTableStatement("Staff", s, ServerDialect::PostgreSql),
            "CREATE TABLE Staff (ID SERIAL NOT NULL, Name VARCHAR(20) NOT NULL DEFAULT '无名', "
            "Born TIMESTAMP DEFAULT CURRENT_DATE, Paid BOOLEAN DEFAULT FALSE, "
            "Weird DOUBLE PRECISION, \"所在 部门\" VARCHAR(10), "
            "CONSTRAINT pk_Staff PRIMARY KEY (ID))");
  EXPECT_EQ(schema::ServerCreateTableStatement("Staff", s, ServerDialect::SqlServer),
            "CREATE TABLE [dbo].[Staff] ([ID] INT IDENTITY(1,1) NOT NULL, "
            "[Name] NVARCHAR(20) NOT NULL DEFAULT '无名', [Born] DATETIME DEFAULT GETDATE(), "
            "[Paid] BIT DEFAULT 0, [Weird] FLOAT, [所在 部门] NVARCHAR(10), "
            "CONSTRAINT [pk_Staff] PRIMARY KEY ([ID]))");
  EXPECT_EQ(schema::ServerCreateIndexStatement("Staff", s.indexes[1], ServerDialect::PostgreSql),
            "CREATE UNIQUE INDEX Staff_ByName ON Staff (Name, \"所在 部门\")");
  // On PostgreSQL an index is named after its table, and read back without it.
  for (const auto& [stored, own] : {std::pair("staff_byname", "byname"),
                                    {"Staff_", "Staff_"},
                                    {"other_byname", "other_byname"},
                                    {"byname", "byname"}}) {
    EXPECT_EQ(schema::IndexNameFromServer("Staff", stored, ServerDialect::PostgreSql), own);
  }
  EXPECT_EQ(schema::IndexNameFromServer("Staff", "Staff_X", ServerDialect::SqlServer), "Staff_X");
  EXPECT_EQ(schema::ServerCreateIndexStatement("Staff", {"Ix", {"Born"}, false, false},
                                               ServerDialect::SqlServer),
            "CREATE INDEX [Ix] ON [dbo].[Staff] ([Born])");
  EXPECT_EQ(schema::ServerDropTableStatement("所在", ServerDialect::PostgreSql),
            "DROP TABLE \"所在\"");
  EXPECT_EQ(schema::ServerDropTableStatement("T", ServerDialect::SqlServer),
            "DROP TABLE [dbo].[T]");
  EXPECT_EQ(schema::CopyTableDataStatement("A", "B", ""), "INSERT INTO B SELECT * FROM A");
  EXPECT_EQ(schema::CopyTableDataStatement("A", "B", "ID>2"),
            "INSERT INTO B SELECT * FROM A WHERE ID>2");

  s.fields.push_back(Field("Pointer", 9, 4));
  EXPECT_EQ(schema::FirstUnholdableField(s.fields, ServerDialect::PostgreSql),
            "Pointer: IDispatch, ADO type 9");
  EXPECT_EQ(schema::FirstUnholdableField(s.fields, std::nullopt), "Pointer: IDispatch, ADO type 9");
  EXPECT_THROW(schema::ServerCreateTableStatement("Staff", s, ServerDialect::SqlServer),
               rt::PlatformError);
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
