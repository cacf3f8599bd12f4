// Rows as people read them: aligned columns, CSV or JSON. Pure functions over
// a grid of values, so the forms are tested without a database.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::cli {

struct Grid {
  std::vector<std::string> columns;
  std::vector<std::vector<rt::Variant>> rows;
};

// Columns on the terminal, in UTF-8: a Chinese character takes two.
std::size_t DisplayWidth(std::string_view utf8);

// Header, a rule, the rows (numbers right-aligned, Null empty, line breaks
// and tabs as spaces) and, when `countLine`, a last line "(n rows)".
std::string AlignedText(const Grid& grid, bool countLine = true);
// RFC 4180: a header line, CR LF line ends, a value quoted when it holds a
// comma, a quote or a line break; Null is an empty field.
std::string Csv(const Grid& grid);
// One JSON array of objects keyed by column name: numbers and Booleans as
// JSON numbers and Booleans, Null as null, dates and text as strings.
std::string JsonRows(const Grid& grid);

}  // namespace zmdb::cli
