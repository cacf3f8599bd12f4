// Whether a connection leads to SQL Server, decided in this one place, and
// the dialect adapter that rewrites Jet SQL for such a connection.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "zmdb/runtime/variant.h"

namespace zmdb::connect {

// True when `connectText`, upper-cased with every blank removed, contains
// "DRIVER=SQLSERVER". Only the ODBC driver clause counts: a provider name, a
// DSN or a driver name in braces does not.
bool IsSQLServerText(std::string_view connectText);

// The test applied to a connection object: a "Database" is judged by its
// Connect property, anything else by its ConnectionString (both read by
// name). Errors reading them reach the caller.
bool IsSQLServerConn(const rt::Variant& conn);

// The statement to execute on `conn`: translated to SQL Server SQL when the
// connection is SQL Server, otherwise unchanged. Runs nothing.
std::string AdaptDialect(std::string_view statement, const rt::Variant& conn);

// ---- The server methods' statements, one row of differences per store ----

// The kind of store a connection leads to, as far as the server methods care.
enum class ServerKind { SqlServer, PostgreSql, FileStore, Other };

// What a kind of store says for the server clock and for table rights.
struct ServerDialect {
  ServerKind kind;
  // The statement whose one value is the server's local date and time; ""
  // when the store has no server clock (then `noClock` says why).
  std::string_view clockSql;
  std::string_view noClock;
  // How GRANT names a table and a grantee: SQL Server's "[dbo].[T]" and "[G]"
  // (as given, nothing escaped), PostgreSQL's identifiers (a plain name
  // unquoted, so that the server folds it as it folded the table's, others
  // double-quoted; the grantee Public in any case is the keyword PUBLIC), or
  // none when the store keeps no rights (then `noRights` says why).
  enum class Names { None, SqlServer, PostgreSql } names;
  std::string_view noRights;
};

const ServerDialect& DialectFor(ServerKind kind);

// SQL Server when IsSQLServerConn says so or the store names itself so;
// PostgreSQL and the file store by the name the store gives itself (the
// connection's "DBMS Name" property); Other for anything else, including a
// connection that is not open. Never raises.
ServerKind ServerKindOf(const rt::Variant& conn);

// The rights text of DBaseRight flags, tested in the order 1, 2, 4, 8
// (eSELECT, eINSERT, eDELETE, eUPDATE), each right followed by ",", the last
// comma dropped: 5 gives "SELECT,DELETE", 0 gives "".
std::string RightsText(std::int32_t rights);

// "GRANT <rights> ON <table> TO <grantee>" as the store spells names; for
// SQL Server and unknown stores "GRANT SELECT ON [dbo].[T1] TO [Public]".
// Raises 0x800A0CB3, saying why, for a store that keeps no rights.
std::string GrantStatement(ServerKind kind, std::string_view rights, std::string_view table,
                           std::string_view grantee);

// The statement that reads the server's clock ("SELECT GETDATE()" on SQL
// Server and unknown stores). Raises 0x800A0CB3, saying why, for a store
// without one.
std::string ServerDateStatement(ServerKind kind);

// The connection string of the private connection that lists a server's
// databases: "Data Source=<server>;User ID=<user>;Pwd=<password>".
std::string CatalogueConnectionString(std::string_view server, std::string_view user,
                                      std::string_view password);

}  // namespace zmdb::connect
