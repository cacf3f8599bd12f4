// The SQL Server test, the dialect adapter, and the table of what the server
// methods say to each kind of store.
#include "zmdb/connect/dialect.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/object.h"
#include "zmdb/sqlconv/translator.h"

namespace zmdb::connect {

bool IsSQLServerText(std::string_view connectText) {
  std::string text;
  text.reserve(connectText.size());
  for (const char c : connectText) {
    if (c != ' ') text.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  }
  return text.find("DRIVER=SQLSERVER") != std::string::npos;
}

bool IsSQLServerConn(const rt::Variant& conn) {
  const bool isDatabase = rt::TypeName(conn) == "Database";
  return IsSQLServerText(rt::CStr(rt::GetProp(conn, isDatabase ? "Connect" : "ConnectionString")));
}

std::string AdaptDialect(std::string_view statement, const rt::Variant& conn) {
  if (IsSQLServerConn(conn)) return sqlconv::TranslateJetToSql(statement);
  return std::string(statement);
}

namespace {

using Names = ServerDialect::Names;

// One row per kind of store; the server methods read their differences here.
constexpr ServerDialect kDialects[] = {
    {ServerKind::SqlServer, "SELECT GETDATE()", "", Names::SqlServer, ""},
    // The session's local time without a zone, as GETDATE() gives the
    // server's local time.
    {ServerKind::PostgreSql, "SELECT LOCALTIMESTAMP", "", Names::PostgreSql, ""},
    {ServerKind::FileStore, "", "the file store is a file on this computer and has no server clock",
     Names::None, "the file store keeps no users or rights, so there is nothing to grant"},
    // An unknown store is sent SQL Server's statements; its own answer decides.
    {ServerKind::Other, "SELECT GETDATE()", "", Names::SqlServer, ""},
};

constexpr const char* kSource = "ZMDBFuncProj";

// "Microsoft SQL Server", "PostgreSQL", "MS Jet": the name a store gives itself.
std::string DbmsNameOf(const rt::Variant& conn) {
  try {
    return rt::CStr(
        rt::GetProp(rt::GetProp(conn, "Properties", {rt::Variant("DBMS Name")}), "Value"));
  } catch (...) {
    return {};  // not open, or not a connection that names its store
  }
}

// A PostgreSQL identifier: plain names as written (the server folds them),
// any other double-quoted with inner quotes doubled.
std::string PgName(std::string_view name) {
  bool plain = !name.empty() && !std::isdigit(static_cast<unsigned char>(name.front()));
  for (const char c : name) {
    const auto u = static_cast<unsigned char>(c);
    plain = plain && (u >= 0x80 || std::isalnum(u) || c == '_');
  }
  if (plain) return std::string(name);
  std::string out = "\"";
  for (const char c : name) out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

}  // namespace

const ServerDialect& DialectFor(ServerKind kind) {
  for (const ServerDialect& d : kDialects) {
    if (d.kind == kind) return d;
  }
  return kDialects[std::size(kDialects) - 1];
}

ServerKind ServerKindOf(const rt::Variant& conn) {
  bool sqlServer = false;
  try {
    sqlServer = IsSQLServerConn(conn);
  } catch (...) {
  }
  const std::string dbms = rt::AsciiUpper(DbmsNameOf(conn));
  if (sqlServer || dbms.find("SQL SERVER") != std::string::npos) return ServerKind::SqlServer;
  if (dbms.starts_with("POSTGRESQL")) return ServerKind::PostgreSql;
  if (dbms == "MS JET") return ServerKind::FileStore;
  return ServerKind::Other;
}

std::string RightsText(std::int32_t rights) {
  static constexpr std::pair<std::int32_t, const char*> kRights[] = {
      {1, "SELECT,"}, {2, "INSERT,"}, {4, "DELETE,"}, {8, "UPDATE,"}};
  std::string text;
  for (const auto& [flag, right] : kRights) {
    if ((rights & flag) != 0) text += right;
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string GrantStatement(ServerKind kind, std::string_view rights, std::string_view table,
                           std::string_view grantee) {
  const ServerDialect& d = DialectFor(kind);
  std::string on, to;
  switch (d.names) {
    case Names::SqlServer:
      on = "[dbo].[" + std::string(table) + "]";
      to = "[" + std::string(grantee) + "]";
      break;
    case Names::PostgreSql:
      on = PgName(table);
      to = rt::AsciiUpper(grantee) == "PUBLIC" ? std::string("PUBLIC") : PgName(grantee);
      break;
    case Names::None:
      rt::RaiseDetailed(rt::err::kAdoNotSupported, d.noRights, kSource);
  }
  return "GRANT " + std::string(rights) + " ON " + on + " TO " + to;
}

std::string ServerDateStatement(ServerKind kind) {
  const ServerDialect& d = DialectFor(kind);
  if (d.clockSql.empty()) rt::RaiseDetailed(rt::err::kAdoNotSupported, d.noClock, kSource);
  return std::string(d.clockSql);
}

std::string CatalogueConnectionString(std::string_view server, std::string_view user,
                                      std::string_view password) {
  return "Data Source=" + std::string(server) + ";User ID=" + std::string(user) +
         ";Pwd=" + std::string(password);
}

}  // namespace zmdb::connect
