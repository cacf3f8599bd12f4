// The file store's copy of rows between two tables in one statement: the
// INSERT ... SELECT a copy becomes when the source table is one the file
// store reads itself (in the same file, or in another file it attaches).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"

namespace zmdb::dal::sqlite {

// One column of a base table as its declaration gives it.
struct CopyColumn {
  std::string name;
  std::string declared;  // the declared type, as written in the file
  bool counter = false;  // numbers its rows itself (an AutoNumber)
};

// The Jet statement that appends the rows of `copy.sourceTable` in the
// database `alias` matching `copy.condition` to `copy.targetTable`, over the
// fields the two share by name (without regard to case) that are not
// counters of the target. No value when a shared field is declared with a
// different type on each side (its values would need converting one by
// one) or when the tables share no field.
std::optional<std::string> BulkCopyStatement(const BulkCopy& copy, std::string_view alias,
                                             const std::vector<CopyColumn>& from,
                                             const std::vector<CopyColumn>& to);

// The columns of base table `table` in the database `alias`; empty when
// there is no such base table there (a view, a link, a saved query).
std::vector<CopyColumn> BaseTableColumns(Backend& backend, const std::string& alias,
                                         const std::string& table);

}  // namespace zmdb::dal::sqlite
