// The embedded file store as the store registry opens it; everything else
// of the backend is private to it.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "zmdb/dal/store_registry.h"

namespace zmdb::dal::sqlite {

// Open the file-store database `route.dataSource` names (created empty with
// `options.create`). A missing file raises 0x80004005 "Could not find file
// '<path>'."; a file that is not a database "Unrecognized database format".
std::unique_ptr<Backend> OpenFileStore(const Route& route, const StoreOptions& options);

// Hand every statement linked tables send to their sources (reads, inserts,
// updates, deletes, the probes that find a source table) to `hook` before it
// runs; an empty hook stops it. Process-wide; for logs and tests.
void SetLinkStatementHook(std::function<void(std::string_view)> hook);

}  // namespace zmdb::dal::sqlite
