// The statements of the single-value record operations and of next-ID
// generation, built by plain concatenation of the caller's text. Nothing is
// quoted or escaped beyond what each builder says: names, values and
// conditions are raw SQL, and quoting them is the caller's duty.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zmdb::records {

// "SELECT * FROM t WHERE f= 'v'" for date and character types (ADO 7, 129,
// 200), "SELECT * FROM t WHERE f=v" for every other type; " AND cond" follows
// a non-empty condition.
std::string IsExistStatement(std::string_view table, std::string_view field, std::string_view item,
                             std::int32_t adoType, std::string_view condition);
// The client-side filter applied after the query: "f='v'", quoted whatever
// the type.
std::string IsExistFilter(std::string_view field, std::string_view item);
// "SELECT * FROM t WHERE cond" (an empty condition gives an invalid statement,
// on purpose: the caller must supply one).
std::string GetValueStatement(std::string_view table, std::string_view condition);
// "DELETE * FROM t", with " WHERE cond" when a condition is given.
std::string DeleteItemStatement(std::string_view table, std::string_view condition);
// "Update t SET f=v WHERE cond"; the new value goes in verbatim.
std::string ModifyItemStatement(std::string_view table, std::string_view field,
                                std::string_view newValue, std::string_view condition);
// "SELECT COUNT(*) as Counts FROM [t]", with " WHERE cond" when a condition is given.
std::string RecordCountsStatement(std::string_view table, std::string_view condition);

// `width` zeros ("" for 0); a negative width raises error 5.
std::string ZeroMask(std::int32_t width);
// "SELECT MAX(id) AS MaxID FROM t", or MAX(FORMAT(id,'000…')) for text
// identifiers, with " WHERE cond" when a condition is given.
std::string MaxIdStatement(std::string_view table, std::string_view idField, bool isText,
                           std::int32_t width, std::string_view condition);

// The working recordset opened for new rows: "SELECT f1,f2,... FROM t", the
// fields in the order given. With no field the list has no last character to
// drop, which raises error 5.
std::string WorkingRecordsetStatement(const std::vector<std::string>& fields,
                                      std::string_view table);
// "SELECT f FROM t": one column of a table for dbGetRecord.
std::string ColumnStatement(std::string_view table, std::string_view field);
// Copying rows: "SELECT * FROM src", with " WHERE cond" when a condition is
// given, reads the rows to copy; "SELECT * FROM dst WHERE 1=0" opens the
// target's fields with no rows, to which the copies are added.
std::string CopySourceStatement(std::string_view table, std::string_view condition);
std::string CopyTargetStatement(std::string_view table);

// ---- Field lists and null normalisation ----

// "SELECT TOP 1 fields FROM [t]": one row whose columns list a table's fields.
std::string FieldsNameStatement(std::string_view table, std::string_view fields);

// What null normalisation writes into a column, judged by its type text.
enum class NullFill { None, Number, Text };
// The date, time and long-text type names get nothing, the numeric type names
// the number 0, anything else (the decimal type numbers included) the text '0'.
NullFill NullFillOfType(std::string_view typeText);
// Number: "UPDATE t SET f = 0 WHERE f IS NULL ", text: "UPDATE t SET f = '0'
// WHERE f IS NULL OR f ='' "; then "AND cond" for a non-empty condition, which
// is not parenthesised, so beside OR it restricts only the "=''" alternative.
std::string NullToZeroStatement(std::string_view table, std::string_view field, NullFill fill,
                                std::string_view condition);

}  // namespace zmdb::records
