#include "zmdb/dal/rows_cursor.h"

#include "zmdb/runtime/convert.h"

namespace zmdb::dal {

RowsCursor::RowsCursor(std::vector<ColumnInfo> columns, std::vector<std::vector<rt::Variant>> rows)
    : columns_(std::move(columns)), rows_(std::move(rows)) {}

bool RowsCursor::Step() {
  if (row_ >= rows_.size()) {
    row_ = rows_.size() + 1;
    return false;
  }
  ++row_;
  return true;
}

// Numbers are Integer or Real cells, dates travel as their text, the rest as text.
CellType RowsCursor::Type(std::size_t column) const {
  const rt::Variant& v = Cell(column);
  switch (v.Type()) {
    case rt::VarType::Null:
    case rt::VarType::Empty:
      return CellType::Null;
    case rt::VarType::Boolean:
    case rt::VarType::Byte:
    case rt::VarType::Integer:
    case rt::VarType::Long:
      return CellType::Integer;
    case rt::VarType::Single:
    case rt::VarType::Double:
    case rt::VarType::Currency:
      return CellType::Real;
    case rt::VarType::Array:
      return CellType::Blob;
    default:
      return CellType::Text;
  }
}

std::int64_t RowsCursor::Integer(std::size_t column) const {
  const rt::Variant& v = Cell(column);
  if (v.Type() == rt::VarType::Boolean) return v.AsBoolean() ? -1 : 0;
  return rt::CLng(v);
}

double RowsCursor::Real(std::size_t column) const {
  return rt::CDbl(Cell(column));
}

std::string_view RowsCursor::Text(std::size_t column) const {
  text_ = rt::CStr(Cell(column));
  return text_;
}

std::span<const std::uint8_t> RowsCursor::Blob(std::size_t column) const {
  const rt::Variant& v = Cell(column);
  blob_.clear();
  if (v.IsArray()) {
    for (const rt::Variant& b : v.AsArray().items()) blob_.push_back(rt::CByte(b));
  }
  return blob_;
}

}  // namespace zmdb::dal
