// Which store a connection string leads to, decided in this one place.
//   file store:   PROVIDER=Microsoft.Jet.OLEDB.<v>;Data Source=<path>;...,
//                 the same for Microsoft.ACE.OLEDB, either behind the
//                 data-shaping prefix "PROVIDER=MSDataShape;DATA ", and a
//                 bare file path (no "=" in it)
//   server store: PROVIDER=MSDASQL / SQLOLEDB, DSN=..., DRIVER=..., and the
//                 Provider property set apart from "Data Source=...;User ID=..."
// A server route also carries the ODBC connection string the driver manager
// is given: OLE DB keys become ODBC keys and each driver family gets the
// settings it needs but lacks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/dal/connstr.h"

namespace zmdb::dal {

enum class StoreKind { File, Server };

// The ODBC drivers the layer knows by name; others are driven generically.
enum class DriverFamily { Other, FreeTds, PostgreSql, Sqlite };

struct Route {
  StoreKind kind = StoreKind::File;
  bool shaped = false;     // behind the data-shaping prefix
  std::string provider;    // the OLE DB provider named (or implied)
  std::string dataSource;  // the database file, or the server (or DSN) named
  std::string password;    // file store: the database password, if any
  // File store: "Jet OLEDB:Synchronous=Full" asks that every commit reach the
  // disk before it returns, not only the operating system's cache.
  bool fullSync = false;
  // Every key=value pair after the provider, keys upper-cased, in order of
  // appearance kept by the text itself (`rest`).
  std::map<std::string, std::string> keys;
  std::string rest;  // the string without the shape prefix and PROVIDER key

  // Server store only.
  std::string odbc;    // the ODBC connection string (holds the password)
  std::string driver;  // the DRIVER named, without braces ("" with a DSN)
  std::string dsn;     // the data source named, if any
  std::string server;  // the server named, for messages
  std::string user;
  std::string secret;              // the password, so that messages can leave it out
  std::int32_t loginTimeout = 15;  // seconds ("Connect Timeout")
};

// Route a connection string; `providerProperty` is the connection's Provider
// when it was set apart from the string. Raises PlatformError
// -2147467259 ("Provider cannot be found...") for an empty string and
// -2146824582 for a provider that leads to no store.
Route RouteConnection(std::string_view connectionString, std::string_view providerProperty = {});

// The driver family a driver name (or the driver a DSN names) belongs to.
DriverFamily FamilyOfDriver(std::string_view driverName);

// The ODBC connection string of a server route: DRIVER or DSN first, OLE DB
// keys translated (Data Source -> SERVER, or DSN under MSDASQL; User ID ->
// UID; Password/Pwd -> PWD; Initial Catalog -> DATABASE; ...), unknown keys
// passed through, and the family's missing settings appended (FreeTDS: Port,
// TDS_Version, ClientCharset; psqlODBC: BoolsAsChar=0). `dsnDriver` is the
// driver a DSN is registered with, when the caller looked it up.
std::string OdbcConnectionString(const Route& route, std::string_view dsnDriver = {});

// The file-store database password a connection's text carries, its key
// matched in any case and without its blanks (the library writes "Jet
// OLEDB:Database Password =" with a blank before "="): the Jet key in a
// connection string, "PWD" in a DAO connect or locale string
// (";LANGID=0x0804;CP=936;COUNTRY=0;pwd=secret"). "" when there is none.
std::string FilePassword(std::string_view text);

// `text` with every password value (PWD=, Password=) replaced by "***".
std::string RedactPasswords(std::string_view text);

// The longest names and strings the ODBC driver manager is handed. It copies
// a driver's name into a fixed buffer of 1,000 bytes (a longer one given
// through the wide entry point aborts the process) and takes data source
// names of SQL_MAX_DSN_LENGTH bytes; the whole string goes with a 16-bit
// length, in UTF-16 units when wide. The limits stay well inside those.
inline constexpr std::size_t kMaxDriverName = 512;
inline constexpr std::size_t kMaxDsnName = 32;
inline constexpr std::size_t kMaxOdbcString = 16384;

// Raise 0x80004005 from ADODB.Connection, saying which limit is passed, when
// the driver, the data source name or the ODBC string (all UTF-8 bytes) is
// longer than the driver manager takes.
void CheckDriverManagerLimits(std::string_view odbc, std::string_view driver, std::string_view dsn);

// The C interfaces below (SQLite, the driver manager, the file system) read
// text up to its first NUL character, so text holding one is refused whole
// rather than run cut short. Raises `number` from `source` with "<what>
// holds a NUL character at position <n>, which would cut it short.", n
// counted from 1, followed with `showText` by " (in: <text>)" with each NUL
// written as "\0". A connection string is not shown: it may hold a password.
void RefuseNul(std::string_view text, std::int32_t number, std::string_view what,
               const char* source, bool showText);

// RefuseNul for a statement about to be run: 0x80040E14, naming the statement.
void RefuseNulInStatement(std::string_view statement, const char* source);

}  // namespace zmdb::dal
