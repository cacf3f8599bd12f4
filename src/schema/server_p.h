// What the schema methods say only to SQL Server.
#pragma once

#include "zmdb/frame/component.h"
#include "zmdb/schema/statements.h"

namespace zmdb::schema {

// Runs the server's rename procedure on `conn` through the object's
// dbExecProc, with the three argument values as untyped input parameters
// (sent as strings as long as each value). The answer is dbExecProc's.
bool RenameOnServer(clsZMDBFunc& object, const rt::Variant& conn, const RenameArguments& args);

}  // namespace zmdb::schema
