// The objects a host program makes itself rather than receiving them from a
// method: the headless controls, an ADO Connection (opened when a connection
// string is given), an unopened Recordset, a DAO Database (opened, or created
// when asked and absent) and a command Parameter. Sessions and the C interface
// both make objects here, from arguments given by name.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/runtime/object.h"

namespace zmdb::automation {

using NamedArgs = std::vector<std::pair<std::string, rt::Variant>>;

// A new object of `type` ("ListBox", "ComboBox", "ProgressBar", "Label",
// "Connection", "Recordset", "Database", "Parameter"), its arguments matched
// by name without regard to case:
//   Connection: any property (CursorLocation, ...), set first, then
//               ConnectionString, which opens it;
//   Database:   Name, Connect, ReadOnly, Create;
//   Parameter:  Name, Type, Direction, Size, Value.
// Raises error 438 for an unknown type or argument name.
rt::ObjectRef NewObject(std::string_view type, const NamedArgs& args);

}  // namespace zmdb::automation
