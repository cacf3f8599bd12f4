// Statements that write a recordset's changes back to its base table, built
// apart from running them so that they can be checked without a store.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"

namespace zmdb::dal {

struct Statement {
  std::string sql;
  std::vector<rt::Variant> params;
};

// One column named with its value (the value to write, or the value the row
// held when it was read, for the optimistic check).
struct ColumnValue {
  std::string column;
  rt::Variant value;
};

std::string QuoteName(std::string_view name, const Quirks& quirks);
// A table named by a caller as the store reads it: a bare name as it is, a
// name in Jet's brackets in the store's quotes.
std::string TableSource(std::string_view name, const Quirks& quirks);

// INSERT INTO t (a, b) VALUES (?, ?); with no columns, DEFAULT VALUES.
Statement BuildInsert(std::string_view table, const std::vector<ColumnValue>& values,
                      const Quirks& quirks);
// UPDATE t SET a = ? ... WHERE k = ? AND n IS NULL ...
Statement BuildUpdate(std::string_view table, const std::vector<ColumnValue>& values,
                      const std::vector<ColumnValue>& match, const Quirks& quirks);
// DELETE FROM t WHERE k = ? ...
Statement BuildDelete(std::string_view table, const std::vector<ColumnValue>& match,
                      const Quirks& quirks);

// Whether a column of this ADO type takes part in the optimistic check when
// the table has no key (floating values and long values do not compare
// reliably, so they are left out; so are exact numbers of more digits than
// a Double, which is how they are read, holds). A precision of 0 is unknown.
bool ComparableForMatch(std::int32_t adoType, std::int32_t precision = 0);

}  // namespace zmdb::dal
