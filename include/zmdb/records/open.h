// Opening the read-only recordsets that the single-answer methods read and
// close before they return, and taking a recordset argument.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::records {

// A new recordset opened on `source` with `conn` as its active connection,
// cursor type `cursorType` (3 static, 0 forward-only), read-only locking and
// options -1. Errors of the open reach the caller.
std::shared_ptr<dal::Recordset> OpenReadOnly(const std::string& source, const rt::Variant& conn,
                                             int cursorType);

// A recordset argument: error 424 without one, 13 for any other object.
std::shared_ptr<dal::Recordset> RecordsetArg(const rt::ObjectRef& rs);

// Closes `rs` and drops it; used after the answer has been read.
void CloseAndRelease(std::shared_ptr<dal::Recordset>& rs);

}  // namespace zmdb::records
