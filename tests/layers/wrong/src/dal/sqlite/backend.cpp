// Its own private header is fine; another's by a public path is not.
#include "backend_p.h"
#include "zmdb/dal/backend.h"
  #  include "zmdb/dal/sqlite/jetsql_p.h"
