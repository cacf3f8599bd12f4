// The table structure as records, type by type between the ADO codes and
// each store's column types, and the server statements that build a table.
#include <algorithm>
#include <cctype>

#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/number_parse.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"
#include "zmdb/schema/structure.h"
#include "zmdb/types/typemap.h"

namespace zmdb::schema {

namespace {
using rt::Variant;
namespace ado = dal::typecodes::ado;
namespace dao = dal::typecodes::dao;

constexpr std::int32_t kCurrencyPrecision = 19, kCurrencyScale = 4;
constexpr std::int32_t kLongestFileText = 255, kLongestFileBinary = 510;
constexpr std::int32_t kLongestServerText = 4000, kLongestServerBinary = 8000;

bool IsAutoNumber(const FieldStructure& f) {
  return (f.attributes & dal::schema::kAutoIncrField) != 0;
}

bool IsPlainName(const std::string& name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0]))) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return c == '_' || std::isalnum(static_cast<unsigned char>(c));
  });
}

// A name as the server's DDL writes it. PostgreSQL keeps a plain name
// unquoted, so that callers' unquoted statements find it.
std::string Name(const std::string& name, ServerDialect dialect) {
  if (dialect == ServerDialect::SqlServer) return "[" + name + "]";
  return IsPlainName(name) ? name : "\"" + name + "\"";
}
std::string TableName(const std::string& table, ServerDialect dialect) {
  return dialect == ServerDialect::SqlServer ? "[dbo]." + Name(table, dialect)
                                             : Name(table, dialect);
}

std::string Sized(const char* type, std::int32_t size, std::int32_t longest, const char* longType) {
  if (size <= 0 || size > longest) return longType;
  return std::string(type) + "(" + std::to_string(size) + ")";
}

std::string Decimal(const char* type, const FieldStructure& f) {
  if (f.precision <= 0) return std::string(type) + "(18,0)";
  return std::string(type) + "(" + std::to_string(f.precision) + "," +
         std::to_string(f.numericScale) + ")";
}

std::string PostgresType(const FieldStructure& f) {
  const bool counter = IsAutoNumber(f);
  switch (f.type) {
    case ado::adVarWChar:
    case ado::adVarChar:
    case ado::adBSTR:
      return Sized("VARCHAR", f.definedSize, kLongestServerText * 2, "TEXT");
    case ado::adWChar:
    case ado::adChar:
      return Sized("CHAR", f.definedSize, kLongestServerText * 2, "TEXT");
    case ado::adLongVarWChar:
    case ado::adLongVarChar:
      return "TEXT";
    case ado::adInteger:
      return counter ? "SERIAL" : "INTEGER";
    case ado::adSmallInt:
    case ado::adTinyInt:
    case ado::adUnsignedTinyInt:
      return counter ? "SMALLSERIAL" : "SMALLINT";
    case ado::adBigInt:
      return counter ? "BIGSERIAL" : "BIGINT";
    case ado::adCurrency:
      return "NUMERIC(19,4)";
    case ado::adSingle:
      return "REAL";
    case ado::adDouble:
      return "DOUBLE PRECISION";
    case ado::adDate:
    case ado::adDBTimeStamp:
      return "TIMESTAMP";
    case ado::adDBDate:
      return "DATE";
    case ado::adDBTime:
      return "TIME";
    case ado::adBoolean:
      return "BOOLEAN";
    case ado::adGUID:
      return "UUID";
    case ado::adBinary:
    case ado::adVarBinary:
    case ado::adLongVarBinary:
      return "BYTEA";
    case ado::adDecimal:
    case ado::adNumeric:
      return Decimal("NUMERIC", f);
    default:
      return {};
  }
}

std::string SqlServerType(const FieldStructure& f) {
  switch (f.type) {
    case ado::adVarWChar:
    case ado::adBSTR:
      return Sized("NVARCHAR", f.definedSize, kLongestServerText, "NVARCHAR(MAX)");
    case ado::adVarChar:
      return Sized("VARCHAR", f.definedSize, kLongestServerBinary, "VARCHAR(MAX)");
    case ado::adWChar:
      return Sized("NCHAR", f.definedSize, kLongestServerText, "NVARCHAR(MAX)");
    case ado::adChar:
      return Sized("CHAR", f.definedSize, kLongestServerBinary, "VARCHAR(MAX)");
    case ado::adLongVarWChar:
      return "NVARCHAR(MAX)";
    case ado::adLongVarChar:
      return "VARCHAR(MAX)";
    case ado::adInteger:
      return IsAutoNumber(f) ? "INT IDENTITY(1,1)" : "INT";
    case ado::adSmallInt:
    case ado::adTinyInt:
      return "SMALLINT";
    case ado::adUnsignedTinyInt:
      return "TINYINT";
    case ado::adBigInt:
      return IsAutoNumber(f) ? "BIGINT IDENTITY(1,1)" : "BIGINT";
    case ado::adCurrency:
      return "MONEY";
    case ado::adSingle:
      return "REAL";
    case ado::adDouble:
      return "FLOAT";
    case ado::adDate:
    case ado::adDBTimeStamp:
      return "DATETIME";
    case ado::adDBDate:
      return "DATE";
    case ado::adDBTime:
      return "TIME";
    case ado::adBoolean:
      return "BIT";
    case ado::adGUID:
      return "UNIQUEIDENTIFIER";
    case ado::adBinary:
      return Sized("BINARY", f.definedSize, kLongestServerBinary, "VARBINARY(MAX)");
    case ado::adVarBinary:
      return Sized("VARBINARY", f.definedSize, kLongestServerBinary, "VARBINARY(MAX)");
    case ado::adLongVarBinary:
      return "VARBINARY(MAX)";
    case ado::adDecimal:
    case ado::adNumeric:
      return Decimal("DECIMAL", f);
    default:
      return {};
  }
}

// The engine's text form of a default as the server writes it: literals as
// they are (text in single quotes), True and False, and the date functions.
// Any other expression has no server form and is left out.
std::optional<std::string> ServerDefault(const std::string& value, ServerDialect dialect) {
  std::string text = value;
  if (!text.empty() && text[0] == '=') text.erase(0, 1);
  const std::string upper = rt::AsciiUpper(text);
  const bool sqlServer = dialect == ServerDialect::SqlServer;
  if (upper == "DATE()" || upper == "NOW()") {
    if (sqlServer) return std::string("GETDATE()");
    return std::string(upper == "DATE()" ? "CURRENT_DATE" : "CURRENT_TIMESTAMP");
  }
  if (upper == "TRUE" || upper == "YES") return std::string(sqlServer ? "1" : "TRUE");
  if (upper == "FALSE" || upper == "NO") return std::string(sqlServer ? "0" : "FALSE");
  if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
      text.back() == text.front()) {
    return "'" + text.substr(1, text.size() - 2) + "'";
  }
  if (!text.empty() && rt::IsNumeric(Variant(text))) return text;
  return std::nullopt;
}

std::string FieldList(const std::vector<std::string>& fields, ServerDialect dialect) {
  std::string list;
  for (const auto& f : fields) list += (list.empty() ? "" : ", ") + Name(f, dialect);
  return list;
}

// "Photo: IDispatch, ADO type 9", what a refusal names.
std::string Refusal(const FieldStructure& f) {
  const std::string name = types::FieldTypeDesc(f.type, true);
  return f.name + ": " + (name.empty() ? "" : name + ", ") + "ADO type " + std::to_string(f.type);
}
}  // namespace

rt::Record ToRecord(const FieldStructure& f) {
  return rt::Record("FieldStruct", {{"Name", Variant(f.name)},
                                    {"Type", Variant(f.type)},
                                    {"DefinedSize", Variant(f.definedSize)},
                                    {"Attributes", Variant(f.attributes)},
                                    {"Required", Variant(f.required)},
                                    {"AllowZeroLength", Variant(f.allowZeroLength)},
                                    {"DefaultValue", Variant(f.defaultValue)},
                                    {"Description", Variant(f.description)},
                                    {"OrdinalPosition", Variant(f.ordinalPosition)},
                                    {"Precision", Variant(f.precision)},
                                    {"NumericScale", Variant(f.numericScale)}});
}

FieldStructure FromRecord(const rt::Record& r) {
  FieldStructure f;
  const auto read = [&](std::string_view member, auto convert, auto& into) {
    if (r.Has(member) && !r[member].IsNull() && !r[member].IsEmpty()) into = convert(r[member]);
  };
  const auto text = [](const Variant& v) { return rt::CStr(v); };
  const auto number = [](const Variant& v) { return rt::CLng(v); };
  const auto flag = [](const Variant& v) { return rt::CBool(v); };
  f.name = rt::CStr(r["Name"]);
  f.type = rt::CLng(r["Type"]);
  read("DefinedSize", number, f.definedSize);
  read("Attributes", number, f.attributes);
  read("Required", flag, f.required);
  read("AllowZeroLength", flag, f.allowZeroLength);
  read("DefaultValue", text, f.defaultValue);
  read("Description", text, f.description);
  read("OrdinalPosition", number, f.ordinalPosition);
  read("Precision", number, f.precision);
  read("NumericScale", number, f.numericScale);
  return f;
}

std::optional<std::int32_t> FileStoreDaoType(const FieldStructure& f) {
  switch (f.type) {
    case ado::adVarWChar:
    case ado::adVarChar:
    case ado::adWChar:
    case ado::adChar:
    case ado::adBSTR:
      return f.definedSize > kLongestFileText ? dao::dbMemo : dao::dbText;
    case ado::adLongVarWChar:
    case ado::adLongVarChar:
      return dao::dbMemo;
    case ado::adInteger:
      return dao::dbLong;
    case ado::adSmallInt:
    case ado::adTinyInt:
      return dao::dbInteger;
    case ado::adUnsignedTinyInt:
      return dao::dbByte;
    case ado::adBigInt:
      return dao::dbBigInt;
    case ado::adCurrency:
      return dao::dbCurrency;
    case ado::adSingle:
      return dao::dbSingle;
    case ado::adDouble:
      return dao::dbDouble;
    case ado::adDate:
    case ado::adDBDate:
    case ado::adDBTime:
    case ado::adDBTimeStamp:
      return dao::dbDate;
    case ado::adBoolean:
      return dao::dbBoolean;
    case ado::adGUID:
      return dao::dbGUID;
    case ado::adBinary:
    case ado::adVarBinary:
      return f.definedSize > kLongestFileBinary ? dao::dbLongBinary : dao::dbBinary;
    case ado::adLongVarBinary:
      return dao::dbLongBinary;
    case ado::adDecimal:
    case ado::adNumeric:
      if (f.precision == kCurrencyPrecision && f.numericScale == kCurrencyScale) {
        return dao::dbCurrency;
      }
      return dao::dbDecimal;
    default:
      return std::nullopt;
  }
}

std::optional<std::string> ServerColumnType(const FieldStructure& field, ServerDialect dialect) {
  std::string type =
      dialect == ServerDialect::SqlServer ? SqlServerType(field) : PostgresType(field);
  if (type.empty()) return std::nullopt;
  return type;
}

std::string FirstUnholdableField(const std::vector<FieldStructure>& fields,
                                 std::optional<ServerDialect> dialect) {
  for (const auto& f : fields) {
    const bool fits =
        dialect ? ServerColumnType(f, *dialect).has_value() : FileStoreDaoType(f).has_value();
    if (!fits) return Refusal(f);
  }
  return {};
}

std::string ServerCreateTableStatement(const std::string& table, const TableStructure& structure,
                                       ServerDialect dialect) {
  std::string columns;
  for (const auto& f : structure.fields) {
    const auto type = ServerColumnType(f, dialect);
    if (!type) {
      rt::RaiseDetailed(rt::err::kInvalidFieldType, Refusal(f));
    }
    columns += (columns.empty() ? "" : ", ") + Name(f.name, dialect) + " " + *type;
    if (f.required) columns += " NOT NULL";
    if (const auto d = ServerDefault(f.defaultValue, dialect); d && !IsAutoNumber(f)) {
      columns += " DEFAULT " + *d;
    }
  }
  for (const auto& index : structure.indexes) {
    if (!index.primary || index.fields.empty()) continue;
    columns += ", CONSTRAINT " + Name("pk_" + table, dialect) + " PRIMARY KEY (" +
               FieldList(index.fields, dialect) + ")";
    break;
  }
  return "CREATE TABLE " + TableName(table, dialect) + " (" + columns + ")";
}

std::string ServerIndexName(const std::string& table, const std::string& index,
                            ServerDialect dialect) {
  return dialect == ServerDialect::PostgreSql ? table + "_" + index : index;
}

std::string IndexNameFromServer(const std::string& table, const std::string& stored,
                                ServerDialect dialect) {
  const std::string prefix = table + "_";
  if (dialect != ServerDialect::PostgreSql || stored.size() <= prefix.size() ||
      !rt::NameEquals(stored.substr(0, prefix.size()), prefix)) {
    return stored;
  }
  return stored.substr(prefix.size());
}

std::string ServerCreateIndexStatement(const std::string& table, const IndexStructure& index,
                                       ServerDialect dialect) {
  return std::string("CREATE ") + (index.unique ? "UNIQUE " : "") + "INDEX " +
         Name(ServerIndexName(table, index.name, dialect), dialect) + " ON " +
         TableName(table, dialect) + " (" + FieldList(index.fields, dialect) + ")";
}

std::string ServerDropTableStatement(const std::string& table, ServerDialect dialect) {
  return "DROP TABLE " + TableName(table, dialect);
}

std::string CopyTableDataStatement(const std::string& source, const std::string& target,
                                   const std::string& condition) {
  std::string sql = "INSERT INTO " + target + " SELECT * FROM " + source;
  if (!condition.empty()) sql += " WHERE " + condition;
  return sql;
}

std::string ColumnsOnlyStatement(const std::string& table) {
  return "SELECT * FROM " + table + " WHERE 1=0";
}

}  // namespace zmdb::schema
