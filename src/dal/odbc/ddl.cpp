// Server DDL for the schema store, built as text (ddl_p.h).
#include "ddl_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/number_parse.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal::odbc {

namespace {

using namespace typecodes::dao;

// The longest sized Unicode text column of SQL Server.
constexpr std::int32_t kLongestNVarChar = 4000;

bool PlainIdentifier(std::string_view name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name.front()))) return false;
  for (char c : name) {
    const auto u = static_cast<unsigned char>(c);
    if (!(u >= 0x80 || std::isalnum(u) || c == '_')) return false;
  }
  return true;
}

std::string Sized(const char* type, std::int32_t size, std::int32_t fallback) {
  return std::string(type) + "(" + std::to_string(size > 0 ? size : fallback) + ")";
}

// A DAO field's default in the engine's text form ("0", "'abc'", "=Date()")
// as the server writes it: literals as they are (text in single quotes),
// True and False, and the date functions. Any other expression has no
// server form and is left out.
std::optional<std::string> ServerDefault(std::string_view value, Dialect dialect) {
  std::string text(value);
  if (!text.empty() && text[0] == '=') text.erase(0, 1);
  const std::string upper = rt::AsciiUpper(text);
  const bool pg = dialect == Dialect::Postgres;
  if (upper == "DATE()" || upper == "NOW()") {
    if (!pg) return std::string("CURRENT_TIMESTAMP");
    return std::string(upper == "DATE()" ? "CURRENT_DATE" : "CURRENT_TIMESTAMP");
  }
  if (upper == "TRUE" || upper == "YES") return std::string(pg ? "TRUE" : "1");
  if (upper == "FALSE" || upper == "NO") return std::string(pg ? "FALSE" : "0");
  if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
      text.back() == text.front()) {
    return "'" + text.substr(1, text.size() - 2) + "'";
  }
  if (!text.empty() && rt::IsNumeric(rt::Variant(text))) return text;
  return std::nullopt;
}

const char* DaoTypeName(std::int32_t type) {
  switch (type) {
    case dbGUID:
      return "GUID";
    case dbTime:
      return "Time";
    default:
      return "this";
  }
}

}  // namespace

Dialect DialectOf(DriverFamily family) {
  switch (family) {
    case DriverFamily::FreeTds:
      return Dialect::SqlServer;
    case DriverFamily::PostgreSql:
      return Dialect::Postgres;
    default:
      return Dialect::Plain;
  }
}

const char* DialectName(Dialect dialect) {
  switch (dialect) {
    case Dialect::SqlServer:
      return "SQL Server";
    case Dialect::Postgres:
      return "PostgreSQL";
    case Dialect::Plain:
      break;
  }
  return "ODBC";
}

std::string Ddl::Stored(std::string_view name) const {
  std::string out(name);
  if (dialect_ == Dialect::Postgres && PlainIdentifier(name)) {
    for (char& c : out) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return out;
}

bool Ddl::SchemaWideName(bool primary) const {
  return dialect_ == Dialect::Postgres || (dialect_ == Dialect::SqlServer && primary);
}

std::string Ddl::IndexName(std::string_view table, std::string_view index, bool primary) const {
  if (!SchemaWideName(primary)) return Stored(index);
  return Stored(std::string(table) + std::string(kIndexNameJoint) + std::string(index));
}

std::string Ddl::IndexNameRead(std::string_view table, std::string_view stored,
                               bool primary) const {
  const std::string prefix = std::string(table) + std::string(kIndexNameJoint);
  if (!SchemaWideName(primary) || stored.size() <= prefix.size() ||
      !rt::NameEquals(stored.substr(0, prefix.size()), prefix)) {
    return std::string(stored);
  }
  return std::string(stored.substr(prefix.size()));
}

std::string Ddl::Name(std::string_view name) const {
  return QuoteName(name, quirks_);
}

std::string Ddl::Literal(std::string_view text) const {
  std::string out = dialect_ == Dialect::SqlServer ? "N'" : "'";
  for (char c : text) {
    out += c;
    if (c == '\'') out += '\'';
  }
  return out + "'";
}

std::string Ddl::ColumnType(const schema::FieldDef& f) const {
  const bool ss = dialect_ == Dialect::SqlServer, pg = dialect_ == Dialect::Postgres;
  const bool counter = (f.attributes & schema::kAutoIncrField) != 0;
  switch (f.type) {
    case dbBoolean:
      return pg ? "boolean" : "bit";
    case dbByte:
      return pg ? "smallint" : "tinyint";
    case dbInteger:
      return "smallint";
    case dbLong:
      if (counter) return pg ? "serial" : ss ? "int IDENTITY(1,1)" : "integer";
      return ss ? "int" : "integer";
    case dbBigInt:
      if (counter && pg) return "bigserial";
      return counter && ss ? "bigint IDENTITY(1,1)" : "bigint";
    case dbCurrency:
      return ss ? "money" : "numeric(19,4)";
    case dbSingle:
      return "real";
    case dbDouble:
    case dbFloat:
      return pg ? "double precision" : ss ? "float" : "double";
    case dbDate:
    case dbTimeStamp:
      return pg ? "timestamp" : "datetime";
    case dbTime:
      if (pg || ss) return "time";
      break;
    case dbText:
      if ((f.attributes & schema::kFixedField) != 0)
        return Sized(ss ? "nchar" : "char", f.size, 255);
      if (ss && f.size > kLongestNVarChar) return "nvarchar(max)";
      return Sized(ss ? "nvarchar" : "varchar", f.size, 255);
    case dbChar:
      return Sized(ss ? "nchar" : "char", f.size, 255);
    case dbMemo:
      return ss ? "nvarchar(max)" : "text";
    case dbBinary:
    case dbVarBinary:
      return pg ? "bytea" : ss ? Sized("varbinary", f.size, 255) : "blob";
    case dbLongBinary:
      return pg ? "bytea" : ss ? "varbinary(max)" : "blob";
    case dbNumeric:
      return "numeric(18,0)";
    case dbDecimal:
      if (f.precision <= 0) return "decimal(18,0)";
      return "decimal(" + std::to_string(f.precision) + "," + std::to_string(f.scale) + ")";
    case dbGUID:
      if (pg) return "uuid";
      if (ss) return "uniqueidentifier";
      break;
    default:
      break;
  }
  engerr::Raise(rt::err::kInvalidFieldType,
                std::string("Invalid field data type: the ") + DialectName(dialect_) +
                    " store has no column type for " + DaoTypeName(f.type) + " fields (DAO type " +
                    std::to_string(f.type) + ", field '" + f.name + "').");
}

std::string Ddl::Column(const schema::FieldDef& f) const {
  std::string sql = Name(f.name) + " " + ColumnType(f);
  if (f.required) sql += " NOT NULL";
  const bool counter = (f.attributes & schema::kAutoIncrField) != 0;
  if (const auto value = ServerDefault(f.defaultValue, dialect_); value && !counter) {
    sql += " DEFAULT " + *value;
  }
  return sql;
}

std::string Ddl::CreateTable(const schema::TableDef& t) const {
  std::string sql = "CREATE TABLE " + Name(t.name) + " (";
  for (std::size_t i = 0; i < t.fields.size(); ++i) {
    if (i) sql += ", ";
    sql += Column(t.fields[i]);
  }
  for (const schema::IndexDef& ix : t.indexes) {
    if (!ix.primary) continue;
    sql += ", CONSTRAINT " + Name(ix.name) + " PRIMARY KEY (";
    for (std::size_t i = 0; i < ix.fields.size(); ++i) {
      sql += (i ? ", " : "") + Name(ix.fields[i].name);
    }
    sql += ")";
  }
  return sql + ")";
}

std::string Ddl::DropTable(std::string_view table) const {
  return "DROP TABLE " + Name(table);
}

std::string Ddl::RenameTable(std::string_view from, std::string_view to) const {
  if (dialect_ == Dialect::SqlServer) {
    return "EXEC sp_rename " + Literal(from) + ", " + Literal(to);
  }
  return "ALTER TABLE " + Name(from) + " RENAME TO " + Name(to);
}

std::string Ddl::AddColumn(std::string_view table, const schema::FieldDef& field) const {
  return "ALTER TABLE " + Name(table) +
         (dialect_ == Dialect::SqlServer ? " ADD " : " ADD COLUMN ") + Column(field);
}

std::string Ddl::DropColumn(std::string_view table, std::string_view field) const {
  return "ALTER TABLE " + Name(table) + " DROP COLUMN " + Name(field);
}

std::string Ddl::RenameColumn(std::string_view table, std::string_view from,
                              std::string_view to) const {
  if (dialect_ == Dialect::SqlServer) {
    return "EXEC sp_rename " + Literal(std::string(table) + "." + std::string(from)) + ", " +
           Literal(to) + ", 'COLUMN'";
  }
  return "ALTER TABLE " + Name(table) + " RENAME COLUMN " + Name(from) + " TO " + Name(to);
}

std::string Ddl::CreateIndex(std::string_view table, const schema::IndexDef& ix) const {
  std::string keys;
  for (std::size_t i = 0; i < ix.fields.size(); ++i) {
    keys += (i ? ", " : "") + Name(ix.fields[i].name);
    // A primary key's columns take no order.
    if (ix.fields[i].descending && !ix.primary) keys += " DESC";
  }
  if (ix.primary) {
    return "ALTER TABLE " + Name(table) + " ADD CONSTRAINT " + Name(ix.name) + " PRIMARY KEY" +
           (dialect_ == Dialect::SqlServer && !ix.clustered ? " NONCLUSTERED" : "") + " (" + keys +
           ")";
  }
  std::string sql = "CREATE ";
  if (ix.unique) sql += "UNIQUE ";
  if (dialect_ == Dialect::SqlServer && ix.clustered) sql += "CLUSTERED ";
  return sql + "INDEX " + Name(ix.name) + " ON " + Name(table) + " (" + keys + ")";
}

std::string Ddl::DropIndex(std::string_view table, const schema::IndexDef& ix) const {
  if (ix.primary) return DropConstraint(table, ix.name);
  if (dialect_ == Dialect::SqlServer) return "DROP INDEX " + Name(ix.name) + " ON " + Name(table);
  return "DROP INDEX " + Name(ix.name);
}

std::string Ddl::CreateView(std::string_view name, std::string_view select) const {
  return "CREATE VIEW " + Name(name) + " AS " + std::string(select);
}

std::string Ddl::DropView(std::string_view name) const {
  return "DROP VIEW " + Name(name);
}

std::string Ddl::RenameView(std::string_view from, std::string_view to) const {
  if (dialect_ == Dialect::Postgres) return "ALTER VIEW " + Name(from) + " RENAME TO " + Name(to);
  return RenameTable(from, to);
}

std::string Ddl::AddForeignKey(const schema::RelationDef& r) const {
  std::string mine, theirs;
  for (std::size_t i = 0; i < r.fields.size(); ++i) {
    theirs += (i ? ", " : "") + Name(r.fields[i].first);
    mine += (i ? ", " : "") + Name(r.fields[i].second);
  }
  std::string sql = "ALTER TABLE " + Name(r.foreignTable) + " ADD CONSTRAINT " + Name(r.name) +
                    " FOREIGN KEY (" + mine + ") REFERENCES " + Name(r.table) + " (" + theirs + ")";
  if (r.attributes & schema::kRelationUpdateCascade) sql += " ON UPDATE CASCADE";
  if (r.attributes & schema::kRelationDeleteCascade) sql += " ON DELETE CASCADE";
  return sql;
}

std::string Ddl::DropConstraint(std::string_view table, std::string_view name) const {
  return "ALTER TABLE " + Name(table) + " DROP CONSTRAINT " + Name(name);
}

std::string Ddl::Comment(std::string_view table, std::string_view field,
                         std::string_view text) const {
  const std::string target =
      field.empty() ? "TABLE " + Name(table) : "COLUMN " + Name(table) + "." + Name(field);
  return "COMMENT ON " + target + " IS " + (text.empty() ? std::string("NULL") : Literal(text));
}

schema::FieldDef FieldOfColumn(const ColumnDescription& column, std::string_view defaultText) {
  using namespace typecodes::ado;
  const AdoColumnType ado = AdoTypeOf(column);
  schema::FieldDef f;
  const std::string typeName = rt::AsciiUpper(column.typeName);
  const bool counter = typeName.find("IDENTITY") != std::string::npos ||
                       typeName.find("SERIAL") != std::string::npos ||
                       rt::StartsWithNoCase(defaultText, "nextval(");
  switch (ado.adoType) {
    case adBoolean:
      f.type = dbBoolean;
      break;
    case adUnsignedTinyInt:
    case adTinyInt:
      f.type = dbByte;
      break;
    case adSmallInt:
      f.type = dbInteger;
      break;
    case adInteger:
      f.type = dbLong;
      break;
    case adBigInt:
      f.type = dbBigInt;
      break;
    case adSingle:
      f.type = dbSingle;
      break;
    case adDouble:
      f.type = dbDouble;
      break;
    case adCurrency:
      f.type = dbCurrency;
      break;
    case adNumeric:
    case adDecimal:
      // The currency column of stores without a money type.
      f.type = ado.precision == 19 && ado.scale == 4 ? dbCurrency : dbDecimal;
      break;
    case adDate:
    case adDBDate:
    case adDBTimeStamp:
      f.type = dbDate;
      break;
    case adDBTime:
      f.type = dbTime;
      break;
    case adChar:
    case adWChar:
      f.type = dbText;
      f.size = ado.definedSize;
      f.attributes |= schema::kFixedField;
      break;
    case adLongVarChar:
    case adLongVarWChar:
      f.type = dbMemo;
      break;
    case adBinary:
    case adVarBinary:
      f.type = dbBinary;
      f.size = ado.definedSize;
      break;
    case adLongVarBinary:
      f.type = dbLongBinary;
      break;
    case adGUID:
      f.type = dbGUID;
      break;
    default:
      f.type = dbText;
      f.size = ado.definedSize;
      break;
  }
  if ((f.attributes & schema::kFixedField) == 0) f.attributes |= schema::kVariableField;
  if (counter) {
    f.attributes = (f.attributes | schema::kAutoIncrField) & ~schema::kUpdatableField;
  } else {
    f.attributes |= schema::kUpdatableField;
    f.defaultValue = std::string(defaultText);
  }
  return f;
}

}  // namespace zmdb::dal::odbc
