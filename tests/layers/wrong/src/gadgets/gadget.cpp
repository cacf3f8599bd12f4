// A folder the rules do not know.
#include "zmdb/runtime/variant.h"
