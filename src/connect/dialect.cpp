// The SQL Server test and the dialect adapter.
#include "zmdb/connect/dialect.h"

#include <algorithm>
#include <cctype>

#include "zmdb/runtime/convert.h"
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

}  // namespace zmdb::connect
