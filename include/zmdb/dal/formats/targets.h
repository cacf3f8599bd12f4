// Writers whose target is a database rather than a foreign file: a table in a
// file-store file (created when it does not exist) and a table in an ODBC
// data source. Both create the table with the columns' types mapped to the
// target's own and fill it in batches, all rows or none.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

// A table `table` in the file-store file at `path`, opened with `password`
// when it is not empty. Raises error 3010 when the table exists.
std::unique_ptr<TableWriter> OpenFileStoreWriter(const std::string& path,
                                                 const std::string& password,
                                                 const std::string& table,
                                                 const WriterOptions& options);

// A table `table` in the ODBC data source `connect` (an ODBC connection
// string, without the "ODBC;" prefix). Raises error 3010 when the table exists.
std::unique_ptr<TableWriter> OpenOdbcWriter(const std::string& connect, const std::string& table,
                                            const WriterOptions& options);

}  // namespace zmdb::dal::formats
