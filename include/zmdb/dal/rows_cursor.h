// A cursor over rows held in memory: schema rowsets and other rows a backend
// makes up itself rather than reads from a statement.
#pragma once

#include <vector>

#include "zmdb/dal/backend.h"

namespace zmdb::dal {

class RowsCursor : public Cursor {
 public:
  RowsCursor(std::vector<ColumnInfo> columns, std::vector<std::vector<rt::Variant>> rows);
  const std::vector<ColumnInfo>& columns() const override { return columns_; }
  bool Step() override;
  CellType Type(std::size_t column) const override;
  std::int64_t Integer(std::size_t column) const override;
  double Real(std::size_t column) const override;
  std::string_view Text(std::size_t column) const override;
  std::span<const std::uint8_t> Blob(std::size_t column) const override;

 private:
  const rt::Variant& Cell(std::size_t column) const { return rows_[row_ - 1][column]; }
  std::vector<ColumnInfo> columns_;
  std::vector<std::vector<rt::Variant>> rows_;
  std::size_t row_ = 0;  // 1-based current row; 0 before the first Step
  mutable std::string text_;
  mutable std::vector<std::uint8_t> blob_;
};

}  // namespace zmdb::dal
