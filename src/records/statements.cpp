// Statement builders of the single-value record operations, next-ID generation
// and the working recordset.
#include "zmdb/records/statements.h"

#include <fmt/format.h>

#include "zmdb/runtime/error.h"

namespace zmdb::records {

namespace {
// " WHERE cond" for a non-empty condition, else nothing.
std::string WhereClause(std::string_view condition) {
  return condition.empty() ? std::string() : fmt::format(" WHERE {}", condition);
}
}  // namespace

std::string IsExistStatement(std::string_view table, std::string_view field, std::string_view item,
                             std::int32_t adoType, std::string_view condition) {
  // Dates and character data are quoted, with a blank after the equals sign;
  // every other type (an absent one too) goes in unquoted.
  const bool quoted = adoType == 7 || adoType == 129 || adoType == 200;
  std::string statement = quoted
                              ? fmt::format("SELECT * FROM {} WHERE {}= '{}'", table, field, item)
                              : fmt::format("SELECT * FROM {} WHERE {}={}", table, field, item);
  if (!condition.empty()) statement += fmt::format(" AND {}", condition);
  return statement;
}

std::string IsExistFilter(std::string_view field, std::string_view item) {
  return fmt::format("{}='{}'", field, item);
}

std::string GetValueStatement(std::string_view table, std::string_view condition) {
  return fmt::format("SELECT * FROM {} WHERE {}", table, condition);
}

std::string DeleteItemStatement(std::string_view table, std::string_view condition) {
  return fmt::format("DELETE * FROM {}{}", table, WhereClause(condition));
}

std::string ModifyItemStatement(std::string_view table, std::string_view field,
                                std::string_view newValue, std::string_view condition) {
  return fmt::format("Update {} SET {}={} WHERE {}", table, field, newValue, condition);
}

std::string RecordCountsStatement(std::string_view table, std::string_view condition) {
  return fmt::format("SELECT COUNT(*) as Counts FROM [{}]{}", table, WhereClause(condition));
}

std::string ZeroMask(std::int32_t width) {
  // A negative count of characters is an invalid argument, as on the platform.
  if (width < 0) rt::Raise(rt::err::kInvalidProcCall);
  return std::string(static_cast<std::size_t>(width), '0');
}

std::string MaxIdStatement(std::string_view table, std::string_view idField, bool isText,
                           std::int32_t width, std::string_view condition) {
  // Text identifiers are formatted to the full width so that they compare by
  // numeric value ("000101" after "000012").
  const std::string column =
      isText ? fmt::format("FORMAT({},'{}')", idField, ZeroMask(width)) : std::string(idField);
  return fmt::format("SELECT MAX({}) AS MaxID FROM {}{}", column, table, WhereClause(condition));
}

std::string WorkingRecordsetStatement(const std::vector<std::string>& fields,
                                      std::string_view table) {
  std::string list;
  for (const auto& f : fields) list += f + ",";
  // Dropping the last character of an empty list is an invalid argument.
  if (list.empty()) rt::Raise(rt::err::kInvalidProcCall);
  list.pop_back();
  return fmt::format("SELECT {} FROM {}", list, table);
}

std::string ColumnStatement(std::string_view table, std::string_view field) {
  return fmt::format("SELECT {} FROM {}", field, table);
}

std::string CopySourceStatement(std::string_view table, std::string_view condition) {
  return fmt::format("SELECT * FROM {}{}", table, WhereClause(condition));
}

std::string CopyTargetStatement(std::string_view table) {
  return fmt::format("SELECT * FROM {} WHERE 1=0", table);
}

std::string FieldsNameStatement(std::string_view table, std::string_view fields) {
  return fmt::format("SELECT TOP 1 {} FROM [{}]", fields, table);
}

NullFill NullFillOfType(std::string_view typeText) {
  static constexpr std::string_view kNothing[] = {"DBTimeStamp", "Date", "DBDate", "DBTime",
                                                  "LongVarChar"};
  static constexpr std::string_view kNumbers[] = {
      "Single",           "Integer",     "SmallInt",       "BigInt",  "UnsignedTinyInt",
      "UnsignedSmallInt", "UnsignedInt", "UnsignedBigInt", "TinyInt", "Double",
      "Currency",         "Decimal",     "Numeric"};
  for (std::string_view name : kNothing) {
    if (typeText == name) return NullFill::None;
  }
  for (std::string_view name : kNumbers) {
    if (typeText == name) return NullFill::Number;
  }
  return NullFill::Text;
}

std::string NullToZeroStatement(std::string_view table, std::string_view field, NullFill fill,
                                std::string_view condition) {
  std::string statement =
      fill == NullFill::Number
          ? fmt::format("UPDATE {} SET {} = 0 WHERE {} IS NULL ", table, field, field)
          : fmt::format("UPDATE {} SET {} = '0' WHERE {} IS NULL OR {} ='' ", table, field, field,
                        field);
  if (!condition.empty()) statement += fmt::format("AND {}", condition);
  return statement;
}

}  // namespace zmdb::records
