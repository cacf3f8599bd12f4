// Server stores as the store registry opens them; everything else of the
// backend (the ODBC C API included) is private to it.
#pragma once

#include <memory>

#include "zmdb/dal/store_registry.h"

namespace zmdb::dal::odbc {

// Connect to the store a server route names. A refused connection raises
// 0x80004005 with every diagnostic record, none of which shows the password.
std::unique_ptr<Backend> OpenServerStore(const Route& route, const StoreOptions& options);

}  // namespace zmdb::dal::odbc
