// Connection strings built by plain concatenation of fixed pieces and the
// caller's values. Nothing is quoted or escaped and empty values still write
// their keys, so a host can hand the result straight to the provider.
#include "zmdb/connect/connstr.h"

#include <initializer_list>
#include <utility>

namespace zmdb::connect {
namespace {

// Joins pieces in order into one string.
std::string Join(std::initializer_list<std::string_view> pieces) {
  std::string out;
  std::size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  out.reserve(size);
  for (const std::string_view piece : pieces) out.append(piece);
  return out;
}

// Puts the data-shaping prefix in front of body when isShape is set.
std::string WithShape(std::string body, bool isShape) {
  if (!isShape) return body;
  return std::string{kShapePrefix} + body;
}

}  // namespace

// Jet OLE DB connection string for database. The password key is always
// written, and its name keeps the blank before "=" that existing hosts expect.
std::string JetConnect(std::string_view database, std::string_view password, bool isShape,
                       std::string_view jetVersion) {
  return WithShape(Join({"PROVIDER=Microsoft.Jet.OLEDB.", jetVersion, ";", "Data Source=", database,
                         ";Jet OLEDB:Database Password =", password, ";"}),
                   isShape);
}

// SQL Server connection string of the given type: 1 ODBC driver, 2 ODBC data
// source name, 3 OLE DB provider; any other type gives only the optional shape
// prefix. Type 2 appends database to the fixed default database name.
std::string SqlConnect(std::string_view user, std::string_view database, std::string_view password,
                       std::string_view server, bool isShape, std::string_view dsn,
                       std::int32_t type) {
  std::string body;
  switch (type) {
    case 1:
      body = Join({"PROVIDER=MSDASQL;DRIVER=SQL SERVER;SERVER=", server, ";UID=", user,
                   ";PWD=", password, ";DATABASE=", database, ";"});
      break;
    case 2:
      body = Join({"PROVIDER=MSDASQL;DSN=", dsn, ";Description=SQL Server;UID=", user,
                   ";PWD=", password, ";DATABASE=ZMDATA01", database, ";"});
      break;
    case 3:
      body = Join({"PROVIDER=SQLOLEDB;DRIVER=SQL SERVER;SERVER=", server, ";UID=", user,
                   ";PWD=", password, ";DATABASE=", database, ";"});
      break;
    default:
      break;
  }
  return WithShape(std::move(body), isShape);
}

}  // namespace zmdb::connect
