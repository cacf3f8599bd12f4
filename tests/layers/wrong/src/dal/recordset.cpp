// Includes of the data-access core: allowed ones, and each kind of wrong one.
#include <vector>

#include "zmdb/dal/connection.h"
#include "zmdb/runtime/variant.h"
#include "zmdb/frame/component.h"
#include "zmdb/dal/sqlite/store.h"
#include "sqlite/backend_p.h"
#include "missing.h"
