// The stores a route can lead to. The router decides which kind of store a
// connection string names; the registry holds, per kind, the factory that
// opens one. Backends provide factories and the layer that assembles the
// library registers them, so the data-access core depends on no backend and
// every caller (Connection, the DAO engine, the ADOX catalogue) reaches a
// store through this one seam.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/router.h"

namespace zmdb::dal {

// How a store is opened beyond what its route says.
struct StoreOptions {
  bool create = false;  // make an empty database when none exists (file stores)
  bool readOnly = false;
};

using StoreFactory = std::function<std::unique_ptr<Backend>(const Route&, const StoreOptions&)>;

// Install the factory that opens routes of `kind` and return the one it
// replaces (empty when there was none); an empty factory removes the kind's
// store. The registry is process-wide and safe to use from any thread.
StoreFactory RegisterStore(StoreKind kind, StoreFactory factory);

// Whether a factory is registered for `kind`.
bool HasStore(StoreKind kind);

// Open the store `route` leads to with the factory registered for its kind.
// Without one, raises 0x80004005 "Provider cannot be found. ..." naming the
// kind of store that is missing.
std::unique_ptr<Backend> OpenStore(const Route& route, const StoreOptions& options = {});

// The route to the file-store database at `path`, taken as written: the DAO
// engine opens files by name, not by connection string. `password` opens
// (or makes) an encrypted file.
Route FileRoute(std::string path, std::string password = {});

}  // namespace zmdb::dal
