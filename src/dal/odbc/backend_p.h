// The server store: databases reached through the ODBC driver manager
// (unixODBC) and a driver (FreeTDS for SQL Server, psqlODBC, the SQLite
// ODBC driver, others).
#pragma once

#include <memory>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/router.h"

namespace zmdb::dal::odbc {

// Connect to the store a server route names. A refused connection raises
// 0x80004005 with every diagnostic record; the first names the server, the
// driver and what was refused, and no record shows the password.
std::unique_ptr<Backend> Open(const Route& route);

}  // namespace zmdb::dal::odbc
