// Values as spreadsheet and text cells.
#include <charconv>
#include <cmath>
#include <cstdio>

#include "cells_p.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::formats {

bool IsBinaryType(std::int32_t adoType) {
  return adoType == 128 || adoType == 204 || adoType == 205;
}

bool IsNumericType(std::int32_t adoType) {
  switch (adoType) {
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 14:
    case 16:
    case 17:
    case 18:
    case 19:
    case 20:
    case 21:
    case 131:
      return true;
    default:
      return false;
  }
}

namespace {

std::optional<double> ParseNumber(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  double value = 0.0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace

Cell ReadCell(const Column& column, const rt::Variant& value) {
  Cell cell;
  if (IsBinaryType(column.type)) return cell;
  switch (value.Type()) {
    case rt::VarType::Boolean:
      cell.kind = CellKind::kBoolean;
      cell.number = value.AsBoolean() ? 1.0 : 0.0;
      break;
    case rt::VarType::Byte:
    case rt::VarType::Integer:
    case rt::VarType::Long:
      cell.kind = CellKind::kNumber;
      cell.number = value.AsLong();
      break;
    case rt::VarType::Single:
    case rt::VarType::Double:
      cell.kind = CellKind::kNumber;
      cell.number = value.AsDouble();
      if (!std::isfinite(cell.number)) cell.kind = CellKind::kNone;
      break;
    case rt::VarType::Currency:
      cell.kind = CellKind::kCurrency;
      cell.currency = value.AsCurrency();
      cell.number = cell.currency.ToDouble();
      break;
    case rt::VarType::Date:
      cell.kind = CellKind::kDate;
      cell.number = value.AsDate().serial;
      break;
    case rt::VarType::String: {
      cell.text = value.AsString();
      cell.kind = CellKind::kText;
      if (IsNumericType(column.type)) {
        if (const auto number = ParseNumber(cell.text)) {
          cell.kind = CellKind::kNumber;
          cell.number = *number;
        }
      }
      break;
    }
    default:  // Null, Empty, arrays, objects
      break;
  }
  return cell;
}

std::string DateText(double serial) {
  const rt::DateParts p = rt::SplitDate(rt::Date{serial});
  char text[32];
  int n = 0;
  if (p.hour == 0 && p.minute == 0 && p.second == 0) {
    n = std::snprintf(text, sizeof text, "%04d-%02d-%02d", p.year, p.month, p.day);
  } else {
    n = std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", p.year, p.month, p.day,
                      p.hour, p.minute, p.second);
  }
  return std::string(text, static_cast<std::size_t>(n));
}

std::optional<double> SpreadsheetSerial(double serial) {
  constexpr double kMarch1900 = 61.0;  // 1900-03-01 on both counts
  constexpr double kJanuary1900 = 2.0;
  if (serial >= kMarch1900) return serial;
  if (serial >= kJanuary1900) return serial - 1.0;
  if (serial >= 0.0 && serial < 1.0) return serial;  // a time of day alone
  return std::nullopt;
}

std::size_t Utf8Prefix(std::string_view utf8, std::size_t chars) {
  std::size_t i = 0;
  for (std::size_t n = 0; i < utf8.size(); ++n) {
    if (n == chars) return i;
    ++i;
    while (i < utf8.size() && (static_cast<unsigned char>(utf8[i]) & 0xC0) == 0x80) ++i;
  }
  return i;
}

std::string SheetName(std::string_view table, std::string_view suffix) {
  constexpr std::size_t kMaxChars = 31;
  std::string name(table.empty() ? std::string_view("Sheet") : table);
  for (char& c : name) {
    if (c == '[' || c == ']' || c == ':' || c == '*' || c == '?' || c == '/' || c == '\\') c = '_';
  }
  const std::size_t room = kMaxChars - suffix.size();
  name.resize(Utf8Prefix(name, room));
  name += suffix;
  return name;
}

void CheckRow(std::size_t values, std::size_t columns) {
  if (values != columns) {
    rt::Raise(rt::err::kInvalidProcCall, "A row has " + std::to_string(values) + " values for " +
                                             std::to_string(columns) + " columns");
  }
}

std::string Where(std::size_t row, const Column& column) {
  return "row " + std::to_string(row) + ", field " + column.name;
}

}  // namespace zmdb::dal::formats
