// The stores the library comes with: the embedded file store and server
// stores through ODBC.
#pragma once

namespace zmdb::dal {

// Register the built-in store of every kind that has none yet, so that a
// store an application registered first stays in place. Cheap and safe to
// call any number of times; the component object calls it when created.
void RegisterBuiltInStores();

}  // namespace zmdb::dal
