#include "zmdb/dal/router.h"

#include <algorithm>
#include <cctype>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal {

namespace {

// The value of the first of `keys` present, or "".
std::string First(const std::map<std::string, std::string>& m,
                  std::initializer_list<std::string_view> keys) {
  for (std::string_view k : keys) {
    const auto it = m.find(std::string(k));
    if (it != m.end()) return it->second;
  }
  return {};
}

// A value without the braces that may enclose it ("{SQL Server}" -> "SQL Server").
std::string Unbraced(std::string_view value) {
  std::string v = TrimBlanks(value);
  if (v.size() >= 2 && v.front() == '{' && v.back() == '}') v = v.substr(1, v.size() - 2);
  return v;
}

// A value as the driver reads it: an outer pair of braces removed, with
// "}}" inside standing for "}"; a value without braces stays as written.
std::string Unwrap(std::string_view value) {
  const std::string t = TrimBlanks(value);
  if (t.size() < 2 || t.front() != '{' || t.back() != '}') return std::string(value);
  std::string out;
  for (std::size_t i = 1; i + 1 < t.size(); ++i) {
    out += t[i];
    if (t[i] == '}' && t[i + 1] == '}') ++i;
  }
  return out;
}

// How a provider named in the string (or set apart) reaches a store.
enum class ProviderKind { File, Odbc, SqlServer, Unknown };

// The kind of a provider name, without regard to case and version suffix.
ProviderKind KindOfProvider(std::string_view provider) {
  const std::string p = rt::AsciiUpper(TrimBlanks(provider));
  if (p.starts_with("MICROSOFT.JET.OLEDB") || p.starts_with("MICROSOFT.ACE.OLEDB")) {
    return ProviderKind::File;
  }
  if (p.empty() || p.starts_with("MSDASQL")) return ProviderKind::Odbc;
  if (p.starts_with("SQLOLEDB") || p.starts_with("SQLNCLI") || p.starts_with("MSOLEDBSQL")) {
    return ProviderKind::SqlServer;
  }
  return ProviderKind::Unknown;
}

// The ODBC key an OLE DB (or ODBC) key stands for; "" drops the key, and a
// key not listed passes through as written. Under MSDASQL "Data Source"
// names a DSN; under the SQL Server providers it names the server.
std::string OdbcKey(const std::string& upperKey, ProviderKind provider) {
  static const std::map<std::string, std::string> same = {
      {"SERVER", "SERVER"},
      {"ADDRESS", "SERVER"},
      {"ADDR", "SERVER"},
      {"NETWORK ADDRESS", "SERVER"},
      {"USER ID", "UID"},
      {"USER", "UID"},
      {"UID", "UID"},
      {"PASSWORD", "PWD"},
      {"PWD", "PWD"},
      {"INITIAL CATALOG", "DATABASE"},
      {"DATABASE", "DATABASE"},
      {"APPLICATION NAME", "APP"},
      {"WORKSTATION ID", "WSID"},
      {"DRIVER", "DRIVER"},
      {"DSN", "DSN"},
      {"PROVIDER", ""},
      {"PERSIST SECURITY INFO", ""},
      {"CONNECT TIMEOUT", ""},
      {"CONNECTION TIMEOUT", ""},
      {"INTEGRATED SECURITY", "Trusted_Connection"},
      {"TRUSTED_CONNECTION", "Trusted_Connection"},
  };
  if (upperKey == "DATA SOURCE") return provider == ProviderKind::Odbc ? "DSN" : "SERVER";
  const auto it = same.find(upperKey);
  return it == same.end() ? std::string("\x01") : it->second;  // \x01: pass through
}

// One key=value piece of an ODBC string; values holding ";" or braces, or
// blanks at either end, are put in braces ("}" doubled inside).
std::string Pair(std::string_view key, std::string_view value) {
  const bool brace = value.find_first_of(";{}") != std::string_view::npos ||
                     (!value.empty() && (value.front() == ' ' || value.back() == ' '));
  if (!brace) return std::string(key) + "=" + std::string(value) + ";";
  std::string v;
  for (char c : value) {
    v += c;
    if (c == '}') v += '}';
  }
  return std::string(key) + "={" + v + "};";
}

// The settings a driver family needs and may lack, in the order appended:
// FreeTDS 1.3 has no default port when SERVER= names a host, speaks an old
// protocol version unless told, and converts narrow text by the locale
// unless given a client character set; psqlODBC reports Booleans as text
// unless told otherwise.
std::vector<std::pair<std::string, std::string>> FamilyDefaults(DriverFamily family) {
  switch (family) {
    case DriverFamily::FreeTds:
      return {{"Port", "1433"}, {"TDS_Version", "7.4"}, {"ClientCharset", "UTF-8"}};
    case DriverFamily::PostgreSql:
      return {{"BoolsAsChar", "0"}};
    default:
      return {};
  }
}

}  // namespace

DriverFamily FamilyOfDriver(std::string_view driverName) {
  const std::string d = rt::AsciiUpper(Unbraced(driverName));
  // A path to the driver library counts by its file name.
  const std::string file =
      d.substr(d.find_last_of('/') == std::string::npos ? 0 : d.find_last_of('/') + 1);
  if (d == "SQL SERVER" || file.find("FREETDS") != std::string::npos ||
      file.starts_with("LIBTDSODBC")) {
    return DriverFamily::FreeTds;
  }
  if (file.starts_with("POSTGRESQL") || file.starts_with("PSQLODBC")) {
    return DriverFamily::PostgreSql;
  }
  if (file.starts_with("SQLITE") || file.starts_with("LIBSQLITE")) return DriverFamily::Sqlite;
  return DriverFamily::Other;
}

std::string OdbcConnectionString(const Route& route, std::string_view dsnDriver) {
  const ProviderKind provider = KindOfProvider(route.provider);
  std::vector<std::pair<std::string, std::string>> translated;
  std::map<std::string, std::string> seen;  // upper-cased ODBC keys written
  auto put = [&](const std::string& key, std::string value) {
    const std::string k = rt::AsciiUpper(key);
    if (seen.count(k)) return;  // the first of a repeated key wins
    seen.emplace(k, value);
    translated.emplace_back(key, std::move(value));
  };
  for (const auto& [key, value] : ParseConnectionPairs(route.rest)) {
    const std::string upper = rt::AsciiUpper(key);
    std::string odbc = OdbcKey(upper, provider);
    if (odbc.empty()) continue;
    if (odbc == "\x01") {
      put(key, Unwrap(value));
    } else if (odbc == "DRIVER" || odbc == "DSN") {
      // The driver manager does not trim names: " SQL Server" is no driver.
      put(odbc, Unbraced(value));
    } else if (odbc == "Trusted_Connection") {
      const std::string v = rt::AsciiUpper(TrimBlanks(value));
      if (v == "SSPI" || v == "TRUE" || v == "YES") put(odbc, "Yes");
    } else {
      put(odbc, Unwrap(value));
    }
  }
  // The SQL Server providers imply the driver registered as "SQL Server".
  if (provider == ProviderKind::SqlServer && !seen.count("DRIVER") && !seen.count("DSN")) {
    translated.insert(translated.begin(), {"DRIVER", "SQL Server"});
    seen.emplace("DRIVER", "SQL Server");
  }
  const DriverFamily family =
      FamilyOfDriver(seen.count("DRIVER") ? seen["DRIVER"] : std::string(dsnDriver));
  if (family == DriverFamily::FreeTds && seen.count("SERVER")) {
    // "host,port" is the SQL Server way of naming a port; FreeTDS takes Port=.
    auto it = std::find_if(translated.begin(), translated.end(),
                           [](const auto& p) { return rt::AsciiUpper(p.first) == "SERVER"; });
    const std::string server = TrimBlanks(it->second);
    const auto comma = server.find(',');
    if (comma != std::string::npos && !seen.count("PORT")) {
      it->second = TrimBlanks(server.substr(0, comma));
      put("Port", TrimBlanks(server.substr(comma + 1)));
    } else if (server == "(local)" || server == ".") {
      it->second = "localhost";
    }
    // A named instance is found through the server's browser service, not a port.
    if (server.find('\\') != std::string::npos) seen.emplace("PORT", "");
  }
  for (auto& [key, value] : FamilyDefaults(family)) {
    if (rt::AsciiUpper(key) == "PORT" && !seen.count("SERVER")) continue;
    put(key, value);
  }
  // DRIVER or DSN first, as the driver manager reads them.
  std::stable_partition(translated.begin(), translated.end(), [](const auto& p) {
    return rt::AsciiUpper(p.first) == "DRIVER" || rt::AsciiUpper(p.first) == "DSN";
  });
  std::string out;
  for (const auto& [key, value] : translated) {
    out += rt::AsciiUpper(key) == "DRIVER" ? "DRIVER={" + value + "};" : Pair(key, value);
  }
  return out;
}

namespace {

// A key as the password readers compare it: upper case, without its blanks
// ("Jet OLEDB:Database Password =" and "P W D" are read as keys too).
std::string PasswordKey(std::string_view key) {
  std::string k = rt::AsciiUpper(key);
  std::erase(k, ' ');
  return k;
}

}  // namespace

std::string FilePassword(std::string_view text) {
  std::string password;
  for (const auto& [key, value] : ParseConnectionPairs(text)) {
    const std::string k = PasswordKey(key);
    if (k == "JETOLEDB:DATABASEPASSWORD" || k == "PWD") password = value;
  }
  return password;
}

// Every key FilePassword reads is one this redacts: the same spelling rules.
std::string RedactPasswords(std::string_view text) {
  std::string out;
  for (const auto& [key, value] : ParseConnectionPairs(text)) {
    const std::string k = PasswordKey(key);
    const bool secret = k == "PWD" || k == "PASSWORD" || k.ends_with("DATABASEPASSWORD");
    out += key + "=" + (secret ? std::string("***") : value) + ";";
  }
  return out;
}

void CheckDriverManagerLimits(std::string_view odbc, std::string_view driver,
                              std::string_view dsn) {
  struct Limit {
    std::string_view text;
    std::size_t most;
    const char* what;
  };
  const Limit limits[] = {{driver, kMaxDriverName, "The ODBC driver name"},
                          {dsn, kMaxDsnName, "The data source name"},
                          {odbc, kMaxOdbcString, "The ODBC connection string"}};
  for (const Limit& l : limits) {
    if (l.text.size() <= l.most) continue;
    rt::Raise(rt::err::kUnspecified,
              std::string(l.what) + " is " + std::to_string(l.text.size()) +
                  " bytes long; the ODBC driver manager takes at most " + std::to_string(l.most) +
                  ".",
              "ADODB.Connection");
  }
}

void RefuseNul(std::string_view text, std::int32_t number, std::string_view what,
               const char* source, bool showText) {
  const std::size_t at = text.find('\0');
  if (at == std::string_view::npos) return;
  std::string description = std::string(what) + " holds a NUL character at position " +
                            std::to_string(at + 1) + ", which would cut it short.";
  if (showText) {
    description += " (in: ";
    for (char c : text) {
      if (c == '\0') {
        description += "\\0";
      } else {
        description += c;
      }
    }
    description += ")";
  }
  rt::Raise(number, std::move(description), source);
}

void RefuseNulInStatement(std::string_view statement, const char* source) {
  RefuseNul(statement, rt::err::kSyntaxError, "Syntax error in statement: the statement", source,
            true);
}

Route RouteConnection(std::string_view connectionString, std::string_view providerProperty) {
  RefuseNul(connectionString, rt::err::kUnspecified, "The connection string", "ADODB.Connection",
            false);
  RefuseNul(providerProperty, rt::err::kUnspecified, "The Provider property", "ADODB.Connection",
            false);
  Route route;
  std::string_view text = connectionString;
  if (rt::StartsWithNoCase(text, kShapePrefix)) {
    route.shaped = true;
    text.remove_prefix(kShapePrefix.size());
  }
  const std::string trimmed = TrimBlanks(text);
  if (trimmed.empty()) {
    rt::Raise(rt::err::kUnspecified, "Provider cannot be found. It may not be properly installed.",
              "ADODB.Connection");
  }
  // A bare path names a file-store database.
  if (trimmed.find('=') == std::string::npos) {
    route.kind = StoreKind::File;
    route.provider = "Microsoft.Jet.OLEDB.4.0";
    route.dataSource = trimmed;
    route.rest = trimmed;
    return route;
  }
  route.keys = ParseConnectionString(trimmed);
  route.rest = trimmed;
  route.provider = TrimBlanks(First(route.keys, {"PROVIDER"}));
  if (route.provider.empty()) route.provider = TrimBlanks(providerProperty);
  switch (KindOfProvider(route.provider)) {
    case ProviderKind::File:
      route.kind = StoreKind::File;
      route.dataSource = TrimBlanks(First(route.keys, {"DATA SOURCE", "DBQ"}));
      route.password = FilePassword(trimmed);
      for (const auto& [key, value] : route.keys) {
        std::string k = key;
        k.erase(std::remove(k.begin(), k.end(), ' '), k.end());
        if (k == "JETOLEDB:SYNCHRONOUS")
          route.fullSync = rt::AsciiUpper(TrimBlanks(value)) == "FULL";
      }
      return route;
    case ProviderKind::Unknown:
      rt::RaiseDetailed(rt::err::kProviderNotFound, "Provider '" + route.provider + "'",
                        "ADODB.Connection");
    case ProviderKind::Odbc:
    case ProviderKind::SqlServer:
      break;
  }
  route.kind = StoreKind::Server;
  // A plain ODBC string goes through the ODBC provider, as it would by default.
  if (route.provider.empty()) route.provider = "MSDASQL";
  route.odbc = OdbcConnectionString(route);
  const auto odbcKeys = ParseConnectionString(route.odbc);
  route.driver = Unbraced(First(odbcKeys, {"DRIVER"}));
  route.dsn = First(odbcKeys, {"DSN"});
  CheckDriverManagerLimits(route.odbc, route.driver, route.dsn);
  route.server = TrimBlanks(First(odbcKeys, {"SERVER", "SERVERNAME", "HOST", "DATABASE"}));
  route.user = TrimBlanks(First(odbcKeys, {"UID"}));
  route.secret = Unwrap(First(odbcKeys, {"PWD"}));
  route.dataSource = route.dsn.empty() ? route.server : route.dsn;
  const std::string timeout =
      TrimBlanks(First(route.keys, {"CONNECT TIMEOUT", "CONNECTION TIMEOUT"}));
  if (!timeout.empty() && std::all_of(timeout.begin(), timeout.end(), ::isdigit) &&
      timeout.size() < 6) {
    route.loginTimeout = std::stoi(timeout);
  }
  return route;
}

}  // namespace zmdb::dal
