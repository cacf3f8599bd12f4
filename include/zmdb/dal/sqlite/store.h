// The embedded file store as the store registry opens it; everything else
// of the backend is private to it.
#pragma once

#include <memory>

#include "zmdb/dal/store_registry.h"

namespace zmdb::dal::sqlite {

// Open the file-store database `route.dataSource` names (created empty with
// `options.create`). A missing file raises 0x80004005 "Could not find file
// '<path>'."; a file that is not a database "Unrecognized database format".
std::unique_ptr<Backend> OpenFileStore(const Route& route, const StoreOptions& options);

}  // namespace zmdb::dal::sqlite
