// Whether a connection leads to SQL Server, decided in this one place, and
// the dialect adapter that rewrites Jet SQL for such a connection.
#pragma once

#include <string>
#include <string_view>

#include "zmdb/runtime/variant.h"

namespace zmdb::connect {

// True when `connectText`, upper-cased with every blank removed, contains
// "DRIVER=SQLSERVER". Only the ODBC driver clause counts: a provider name, a
// DSN or a driver name in braces does not.
bool IsSQLServerText(std::string_view connectText);

// The test applied to a connection object: a "Database" is judged by its
// Connect property, anything else by its ConnectionString (both read by
// name). Errors reading them reach the caller.
bool IsSQLServerConn(const rt::Variant& conn);

// The statement to execute on `conn`: translated to SQL Server SQL when the
// connection is SQL Server, otherwise unchanged. Runs nothing.
std::string AdaptDialect(std::string_view statement, const rt::Variant& conn);

}  // namespace zmdb::connect
