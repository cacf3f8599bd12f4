// The server DDL of the DAO-style objects, as text in each dialect, and how
// catalogue columns read as DAO fields. No server is needed.
#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>

#include "dal/odbc/ddl_p.h"
#include "raised.h"
#include "zmdb/dal/typecodes.h"

namespace zmdb::dal::odbc {
namespace {

using namespace typecodes::dao;
using testing::RaisedError;

const Ddl kSqlServer(Dialect::SqlServer, Quirks{"[", "]"});
const Ddl kPostgres(Dialect::Postgres, Quirks{"\"", "\""});
const Ddl kPlain(Dialect::Plain, Quirks{"\"", "\""});

schema::FieldDef Field(const char* name, std::int32_t type, std::int32_t size = 0,
                       std::int32_t attributes = 0, bool required = false,
                       const char* defaultValue = "") {
  schema::FieldDef f;
  f.name = name;
  f.type = type;
  f.size = size;
  f.attributes = attributes;
  f.required = required;
  f.defaultValue = defaultValue;
  return f;
}

schema::IndexDef Index(const char* name, std::vector<schema::IndexField> fields, bool primary,
                       bool unique = false, bool clustered = false) {
  schema::IndexDef ix;
  ix.name = name;
  ix.fields = std::move(fields);
  ix.primary = primary;
  ix.unique = unique;
  ix.clustered = clustered;
  return ix;
}

TEST(OdbcDdl, StatementsInEachDialect) {
  schema::TableDef staff;
  staff.name = "Staff";
  staff.fields = {Field("ID", dbLong, 0, schema::kAutoIncrField, true), Field("Name", dbText, 20),
                  Field("Note", dbMemo), Field("Pay", dbCurrency, 0, 0, false, "0")};
  staff.indexes = {Index("pk_Staff", {{"ID", false}}, true), Index("ix", {{"Name", false}}, false)};
  schema::RelationDef rel;
  rel.name = "fk_pay";
  rel.table = "Staff";
  rel.foreignTable = "Pay";
  rel.fields = {{"ID", "StaffID"}};
  rel.attributes = schema::kRelationDeleteCascade;
  struct Case {
    std::string built, want;
  };
  const Case cases[] = {
      // SQL Server: bracket quotes, sp_rename (its CREATE TABLE is checked as
      // the stand-in driver receives it).
      {kSqlServer.RenameTable("Staff", "员工"), "EXEC sp_rename N'Staff', N'员工'"},
      {kSqlServer.RenameColumn("Staff", "O'Neil", "b"),
       "EXEC sp_rename N'Staff.O''Neil', N'b', 'COLUMN'"},
      {kSqlServer.AddColumn("Staff", Field("Born", dbDate)),
       "ALTER TABLE [Staff] ADD [Born] datetime"},
      {kSqlServer.DropColumn("a]b", "c"), "ALTER TABLE [a]]b] DROP COLUMN [c]"},
      {kSqlServer.CreateIndex("Staff", Index("ix", {{"a", true}, {"b", false}}, false, true, true)),
       "CREATE UNIQUE CLUSTERED INDEX [ix] ON [Staff] ([a] DESC, [b])"},
      {kSqlServer.CreateIndex("Staff", Index("pk", {{"ID", true}}, true)),
       "ALTER TABLE [Staff] ADD CONSTRAINT [pk] PRIMARY KEY NONCLUSTERED ([ID])"},
      {kSqlServer.DropIndex("Staff", Index("ix", {}, false)), "DROP INDEX [ix] ON [Staff]"},
      {kSqlServer.DropIndex("Staff", Index("pk", {}, true)),
       "ALTER TABLE [Staff] DROP CONSTRAINT [pk]"},
      {kSqlServer.RenameView("v", "w"), "EXEC sp_rename N'v', N'w'"},
      // PostgreSQL: serial, ALTER ... RENAME, COMMENT ON.
      {kPostgres.CreateTable(staff),
       "CREATE TABLE \"Staff\" (\"ID\" serial NOT NULL, \"Name\" varchar(20), \"Note\" text, "
       "\"Pay\" numeric(19,4) DEFAULT 0, CONSTRAINT \"pk_Staff\" PRIMARY KEY (\"ID\"))"},
      {kPostgres.RenameTable("staff", "crew"), "ALTER TABLE \"staff\" RENAME TO \"crew\""},
      {kPostgres.RenameColumn("staff", "a", "b"),
       "ALTER TABLE \"staff\" RENAME COLUMN \"a\" TO \"b\""},
      {kPostgres.AddColumn("staff", Field("Code", dbText, 0, schema::kFixedField)),
       "ALTER TABLE \"staff\" ADD COLUMN \"Code\" char(255)"},
      {kPostgres.DropIndex("staff", Index("ix", {}, false)), "DROP INDEX \"ix\""},
      {kPostgres.RenameView("v", "w"), "ALTER VIEW \"v\" RENAME TO \"w\""},
      {kPostgres.Comment("staff", "", "员工's"), "COMMENT ON TABLE \"staff\" IS '员工''s'"},
      {kPostgres.Comment("staff", "name", ""), "COMMENT ON COLUMN \"staff\".\"name\" IS NULL"},
      {kPostgres.AddForeignKey(rel),
       "ALTER TABLE \"Pay\" ADD CONSTRAINT \"fk_pay\" FOREIGN KEY (\"StaffID\") REFERENCES "
       "\"Staff\" (\"ID\") ON DELETE CASCADE"},
      // Other drivers: plain SQL.
      {kPlain.AddColumn("t", Field("d", dbDouble)), "ALTER TABLE \"t\" ADD COLUMN \"d\" double"},
      {kPlain.RenameTable("t", "u"), "ALTER TABLE \"t\" RENAME TO \"u\""},
  };
  for (const Case& c : cases) EXPECT_EQ(c.built, c.want);
}

// A copied table's columns: a default only where the server has a form for
// it, a Decimal's digits, and long Unicode text on SQL Server.
TEST(OdbcDdl, ColumnsCarryLiteralDefaultsAndDigits) {
  schema::FieldDef exact = Field("Exact", dbDecimal);
  exact.precision = 12;
  exact.scale = 3;
  struct Case {
    const Ddl& ddl;
    schema::FieldDef field;
    const char* want;
  };
  const Case cases[] = {
      {kPostgres, Field("n", dbText, 20, 0, true, "'无名'"),
       "\"n\" varchar(20) NOT NULL DEFAULT '无名'"},
      {kSqlServer, Field("n", dbText, 20, 0, false, "\"a\""), "[n] nvarchar(20) DEFAULT 'a'"},
      {kPostgres, Field("b", dbDate, 0, 0, false, "=Date()"),
       "\"b\" timestamp DEFAULT CURRENT_DATE"},
      {kSqlServer, Field("b", dbDate, 0, 0, false, "Now()"),
       "[b] datetime DEFAULT CURRENT_TIMESTAMP"},
      {kPostgres, Field("p", dbBoolean, 0, 0, false, "False"), "\"p\" boolean DEFAULT FALSE"},
      {kSqlServer, Field("p", dbBoolean, 0, 0, false, "Yes"), "[p] bit DEFAULT 1"},
      {kPostgres, Field("w", dbDouble, 0, 0, false, "Rnd()*2"), "\"w\" double precision"},
      {kPostgres, Field("id", dbLong, 0, schema::kAutoIncrField, true, "0"),
       "\"id\" serial NOT NULL"},
      {kPostgres, exact, "\"Exact\" decimal(12,3)"},
      {kSqlServer, Field("d", dbDecimal), "[d] decimal(18,0)"},
      {kSqlServer, Field("long", dbText, 5000), "[long] nvarchar(max)"},
      {kPostgres, Field("long", dbText, 5000), "\"long\" varchar(5000)"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.ddl.Column(c.field), c.want);
}

// Where an index's name is the schema's (any on PostgreSQL, a primary key
// on SQL Server) it is named after its table, and read back without it.
TEST(OdbcDdl, SchemaWideIndexNamesCarryTheirTable) {
  EXPECT_EQ(kPostgres.IndexName("staff", "ByName", false), "staff__byname");
  EXPECT_EQ(kPostgres.IndexName("所在", "PrimaryKey", true), "所在__primarykey");
  EXPECT_EQ(kSqlServer.IndexName("Staff", "ByName", false), "ByName");
  EXPECT_EQ(kSqlServer.IndexName("Staff", "PrimaryKey", true), "Staff__PrimaryKey");
  EXPECT_EQ(kSqlServer.IndexNameRead("Staff", "Staff__PrimaryKey", true), "PrimaryKey");
  // Names the server gave itself are read as they are.
  for (const auto& [stored, own] : {std::pair("staff__byname", "byname"),
                                    {"staff_pkey", "staff_pkey"},
                                    {"staff_name_idx", "staff_name_idx"},
                                    {"Staff__", "Staff__"},
                                    {"other__byname", "other__byname"},
                                    {"byname", "byname"}}) {
    EXPECT_EQ(kPostgres.IndexNameRead("Staff", stored, false), own);
  }
  EXPECT_EQ(kSqlServer.IndexNameRead("Staff", "Staff_X", false), "Staff_X");
}

// New names are given as PostgreSQL stores an unquoted name: plain
// identifiers in lower case, anything else as written.
TEST(OdbcDdl, NewNamesFoldOnlyWherePostgresWould) {
  const std::pair<const char*, const char*> cases[] = {
      {"Staff", "staff"}, {"员工Staff", "员工staff"}, {"My Table", "My Table"},
      {"2nd", "2nd"},     {"a_B9", "a_b9"},           {"", ""}};
  for (const auto& [given, stored] : cases) {
    EXPECT_EQ(kPostgres.Stored(given), stored) << given;
    EXPECT_EQ(kSqlServer.Stored(given), given) << given;
  }
}

// Every DAO type has a column type on both servers; a type a server cannot
// hold is refused by name before any statement is built.
TEST(OdbcDdl, TypesAServerCannotHoldAreRefusedByName) {
  for (std::int32_t t :
       {dbBoolean,   dbByte,   dbInteger, dbLong,       dbCurrency, dbSingle, dbDouble,
        dbDate,      dbBinary, dbText,    dbLongBinary, dbMemo,     dbGUID,   dbBigInt,
        dbVarBinary, dbChar,   dbNumeric, dbDecimal,    dbFloat,    dbTime,   dbTimeStamp}) {
    EXPECT_FALSE(kSqlServer.ColumnType(Field("f", t)).empty()) << t;
    EXPECT_FALSE(kPostgres.ColumnType(Field("f", t)).empty()) << t;
  }
  schema::TableDef t;
  t.name = "t";
  t.fields = {Field("id", dbLong), Field("g", dbGUID)};
  const rt::ErrorInfo e = RaisedError([&] { kPlain.CreateTable(t); });
  EXPECT_EQ(e.Number, 3259);
  EXPECT_NE(e.Description.find("GUID"), std::string::npos) << e.Description;
  EXPECT_NE(e.Description.find("'g'"), std::string::npos) << e.Description;
  EXPECT_EQ(dal::testing::RaisedNumber([&] { kPostgres.ColumnType(Field("x", 99)); }), 3259);
}

// PostgreSQL's plain columns are read from its real catalogue by the DAO
// tests on every store; these are SQL Server's and the harder cases.
TEST(OdbcDdl, CatalogueColumnsReadAsDaoFields) {
  struct Case {
    std::int16_t sqlType;
    const char* typeName;
    std::uint64_t size;
    std::int16_t digits;
    const char* defaultText;
    std::int32_t type, definedSize;
    bool counter;
  };
  const Case cases[] = {
      {SQL_INTEGER, "int identity", 10, 0, "", dbLong, 0, true},
      {SQL_INTEGER, "int4", 10, 0, "nextval('t_id_seq'::regclass)", dbLong, 0, true},
      {SQL_INTEGER, "int4", 10, 0, "0", dbLong, 0, false},
      {SQL_BIT, "bit", 1, 0, "", dbBoolean, 0, false},
      {SQL_NUMERIC, "numeric", 19, 4, "", dbCurrency, 0, false},
      {SQL_DECIMAL, "decimal", 10, 2, "", dbDecimal, 0, false},
      {SQL_LONGVARBINARY, "bytea", 0, 0, "", dbLongBinary, 0, false},
      {SQL_BIGINT, "int8", 19, 0, "", dbBigInt, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.typeName);
    const schema::FieldDef f =
        FieldOfColumn({c.sqlType, c.typeName, c.size, c.digits}, c.defaultText);
    EXPECT_EQ(f.type, c.type);
    if (c.definedSize) {
      EXPECT_EQ(f.size, c.definedSize);
    }
    EXPECT_EQ((f.attributes & schema::kAutoIncrField) != 0, c.counter);
    // A counter's default is the server's sequence, not a value to show.
    EXPECT_EQ(f.defaultValue, c.counter ? "" : c.defaultText);
  }
  const schema::FieldDef fixed = FieldOfColumn({SQL_WCHAR, "bpchar", 5, 0}, "");
  EXPECT_EQ(fixed.type, dbText);
  EXPECT_NE(fixed.attributes & schema::kFixedField, 0);
}

}  // namespace
}  // namespace zmdb::dal::odbc
