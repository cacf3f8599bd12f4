// The server store's schema store: table definitions, fields and indexes
// read from the server's ODBC catalogue, views as saved queries, and every
// change sent as server DDL (ddl_p.h).
#pragma once

#include <functional>
#include <memory>

#include "api_p.h"
#include "ddl_p.h"
#include "zmdb/dal/schema_store.h"

namespace zmdb::dal::odbc {

// `statement` makes a statement handle for a catalogue call (after letting
// go of rows pending on the connection); DDL and queries run through
// `backend`'s Execute, so the backend forgets the keys it cached.
std::unique_ptr<schema::SchemaStore> NewSchemaStore(
    Backend& backend, std::function<std::shared_ptr<StatementHandle>()> statement, Ddl ddl);

}  // namespace zmdb::dal::odbc
