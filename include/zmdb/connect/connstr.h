// Connection strings for Jet file databases, SQL Server (ODBC driver, DSN,
// OLE DB provider) and the data-shaping prefix, built by plain concatenation.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zmdb/dal/connstr.h"

namespace zmdb::connect {

// The prefix is the one the router reads back.
using dal::kShapePrefix;

std::string JetConnect(std::string_view database, std::string_view password, bool isShape,
                       std::string_view jetVersion);
std::string SqlConnect(std::string_view user, std::string_view database, std::string_view password,
                       std::string_view server, bool isShape, std::string_view dsn,
                       std::int32_t type);

}  // namespace zmdb::connect
