// The installable drivers below Database.Execute and OpenDatabase: writing
// the rows of a SELECT into a foreign target, and the tables of a foreign
// database (a folder of table files, or a workbook).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/dao/select_into.h"

namespace zmdb::dal::dao {

// Runs `into.select` on `source` as a forward-only stream and writes its rows
// into the target through the writer of `into.driver`; returns the rows
// written. Error 3010 when the target table exists (nothing is written then),
// 3170 for a driver without a writer. A failure leaves no partial target.
std::int64_t WriteForeignInto(Backend& source, const ForeignInto& into);

// A database opened through an installable driver: the folder of a folder
// driver, or the workbook of the Excel driver.
struct ForeignFolder {
  ForeignDriver driver = ForeignDriver::Unknown;
  std::string path;
  bool open = true;
};

// Checks that the driver has a writer and that `path` can hold its tables
// (the folder exists; for a workbook, its folder): 3170 or 3044 otherwise.
void CheckForeignDatabase(ForeignDriver driver, const std::string& path);

// The tables of a foreign database: the base names of its table files, or
// the sheets of the workbook (none while it does not exist).
std::vector<std::string> ForeignTables(const ForeignFolder& folder);

// Deletes table `name` with its companion files (memo, index, schema.ini
// entry); 3265 when there is none.
void DeleteForeignTable(const ForeignFolder& folder, const std::string& name);

}  // namespace zmdb::dal::dao
