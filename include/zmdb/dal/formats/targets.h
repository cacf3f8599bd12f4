// Writers whose target is a database rather than a foreign file: a table in a
// file-store file (created when it does not exist) and a table in an ODBC
// data source. Both create the table with the columns' types mapped to the
// target's own and fill it in batches, all rows or none.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zmdb/dal/formats/format.h"
#include "zmdb/dal/schema_store.h"

namespace zmdb::dal::formats {

// The field a column of a result becomes in a target table, in the DAO
// numbering the schema stores take: integers widened where the source is
// unsigned, Text and Binary up to 255 as such and Memo and Long Binary
// beyond, Decimal with its precision (at most 28) and scale, every date and
// time kind as Date, and columns without a declared type as Memo.
schema::FieldDef TargetField(const Column& column);
// The table `table` with one field per column, in column order.
schema::TableDef TargetTable(const std::string& table, const std::vector<Column>& columns);

// A table `table` in the file-store file at `path`, opened with `password`
// when it is not empty; the file is created (encrypted with `password`) when
// missing, and removed again when the write fails. Raises error 3010 when
// the table exists.
std::unique_ptr<TableWriter> OpenFileStoreWriter(const std::string& path,
                                                 const std::string& password,
                                                 const std::string& table,
                                                 const WriterOptions& options);

// A table `table` in the ODBC data source `connect` (an ODBC connection
// string; an "ODBC;" prefix is allowed). The table is made with the server's
// own types; a failed write drops it again. Raises error 3010 when the table
// exists.
std::unique_ptr<TableWriter> OpenOdbcWriter(const std::string& connect, const std::string& table,
                                            const WriterOptions& options);

}  // namespace zmdb::dal::formats
