// What the spreadsheet and text writers make of one value of a column: the
// cell kinds both kinds of file hold, dates as text and on a spreadsheet's
// day count, and the limits of a sheet's name.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal::formats {

enum class CellKind { kNone, kNumber, kCurrency, kDate, kBoolean, kText };

// One value as a cell: nothing (Null, Empty, binary), a number, an exact
// Currency amount, a date serial of the platform, a Boolean or text (UTF-8,
// pointing into the value).
struct Cell {
  CellKind kind = CellKind::kNone;
  double number = 0.0;  // number, date serial, Boolean as 1 or 0
  rt::Currency currency;
  std::string_view text;
};

// True for the ADO binary types (binary, varbinary, long varbinary).
bool IsBinaryType(std::int32_t adoType);
// True for the ADO numeric types.
bool IsNumericType(std::int32_t adoType);

// The cell a value of `column` becomes. Text in a numeric column that reads as
// a number (a decimal handed over as text) becomes that number.
Cell ReadCell(const Column& column, const rt::Variant& value);

// A date as text: yyyy-mm-dd, followed by " hh:mm:ss" when it holds a time.
std::string DateText(double serial);

// A spreadsheet's day count (1900 date system) for a platform date serial;
// none before 1 January 1900 other than a time of day alone. The spreadsheet
// counts a 29 February 1900 that never was, so its numbers for January and
// February 1900 are one less than the platform's.
std::optional<double> SpreadsheetSerial(double serial);

// The length in bytes of the longest start of `utf8` that holds at most
// `chars` whole characters.
std::size_t Utf8Prefix(std::string_view utf8, std::size_t chars);

// A sheet name from a table name: the characters a sheet name cannot hold
// replaced by "_", cut so that with `suffix` it holds at most 31 characters;
// "Sheet" when the name is empty.
std::string SheetName(std::string_view table, std::string_view suffix);

// Raises unless a row has one value per column.
void CheckRow(std::size_t values, std::size_t columns);

// "row N, field F": where a value was, for error texts.
std::string Where(std::size_t row, const Column& column);

}  // namespace zmdb::dal::formats
