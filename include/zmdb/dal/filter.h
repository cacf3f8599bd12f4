// The client-side filter of a recordset: "Field op value" clauses joined by
// AND and OR, with parentheses. Operators = <> < > <= >= LIKE; values quoted
// with ' or #, bare numbers, or NULL; field names bare or in [brackets].
// LIKE takes * and % as wildcards. A quoted value compared with a numeric or
// date field is converted to the field's type first. Text compares without
// regard to case.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::dal {

struct FilterColumn {
  std::string name;
  std::int32_t adoType = 202;
};

class Filter {
 public:
  virtual ~Filter() = default;
  // Whether a row (values in column order) passes the filter.
  virtual bool Matches(const std::vector<rt::Variant>& row) const = 0;
};

// Parse a filter expression against the recordset's columns. Raises
// PlatformError -2146825287 (arguments of the wrong type or out of range)
// for a malformed expression, an unknown field or a value that does not
// convert to its field's type.
std::shared_ptr<const Filter> ParseFilter(std::string_view expression,
                                          const std::vector<FilterColumn>& columns);

}  // namespace zmdb::dal
