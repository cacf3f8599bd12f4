#include "zmdb/dal/stores/builtin.h"

#include "zmdb/dal/odbc/store.h"
#include "zmdb/dal/sqlite/store.h"
#include "zmdb/dal/store_registry.h"

namespace zmdb::dal {

void RegisterBuiltInStores() {
  if (!HasStore(StoreKind::File)) RegisterStore(StoreKind::File, sqlite::OpenFileStore);
  if (!HasStore(StoreKind::Server)) RegisterStore(StoreKind::Server, odbc::OpenServerStore);
}

}  // namespace zmdb::dal
