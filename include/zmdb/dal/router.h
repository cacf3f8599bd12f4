// Which store a connection string leads to, decided in this one place.
//   file store:   PROVIDER=Microsoft.Jet.OLEDB.<v>;Data Source=<path>;...,
//                 the same for Microsoft.ACE.OLEDB, either behind the
//                 data-shaping prefix "PROVIDER=MSDataShape;DATA ", and a
//                 bare file path (no "=" in it)
//   server store: PROVIDER=MSDASQL / SQLOLEDB, DSN=..., DRIVER=..., and the
//                 Provider property set apart from "Data Source=...;User ID=..."
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace zmdb::dal {

enum class StoreKind { File, Server };

struct Route {
  StoreKind kind = StoreKind::File;
  bool shaped = false;     // behind the data-shaping prefix
  std::string provider;    // the OLE DB provider named (or implied)
  std::string dataSource;  // file store: the database file
  std::string password;    // file store: the database password, if any
  // Every key=value pair after the provider, keys upper-cased, in order of
  // appearance kept by the text itself (`rest`).
  std::map<std::string, std::string> keys;
  std::string rest;  // the string without the shape prefix and PROVIDER key
};

// Split "k=v;k=v" into pairs; keys are trimmed and upper-cased, values kept as
// written (a value in {braces} may hold ";").
std::map<std::string, std::string> ParseConnectionString(std::string_view text);

// Route a connection string; `providerProperty` is the connection's Provider
// when it was set apart from the string. Raises PlatformError
// -2147467259 ("Provider cannot be found...") for an empty string.
Route RouteConnection(std::string_view connectionString, std::string_view providerProperty = {});

}  // namespace zmdb::dal
