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

// The one base table that every column read from a table comes from: the
// table a recordset's changes are written to. Raises rt::err::kUnspecified
// ("Insufficient base table information ...", source ADODB.Recordset) when
// no column comes from a table or the columns come from several.
std::string BaseTableOf(const std::vector<ColumnInfo>& columns);

// The columns that find the row of `table` an UPDATE or DELETE is for, with
// the values the row held when it was read (`original`, by column). When
// the columns hold all of the table's key (`keys`, as the store reports it):
// the key, plus the columns being changed (`changed`, by column) that
// compare reliably, so that a change made meanwhile by someone else is
// noticed. Otherwise every column of the table that compares reliably.
std::vector<ColumnValue> RowMatch(const std::vector<ColumnInfo>& columns,
                                  const std::vector<rt::Variant>& original,
                                  const std::vector<std::string>& keys, std::string_view table,
                                  const std::vector<bool>& changed = {});

}  // namespace zmdb::dal
