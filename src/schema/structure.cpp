// Table-structure methods. dbGetFieldSQLStr gives a column's SQL Server type
// text, which the primary-key path of dbCreateIndexItem writes into ALTER
// COLUMN.
#include "zmdb/frame/component.h"
#include "zmdb/schema/server_indexes.h"

namespace zmdb {

std::string clsZMDBFunc::dbGetFieldSQLStr(const std::string& fsTblName,
                                          const std::string& fsFldName, const rt::Variant& Conn) {
  return Run("dbGetFieldSQLStr", std::string(), [&](std::string& result) {
    const std::optional<rt::Variant> conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    result = schema::FieldSqlStr(*conn, fsTblName, fsFldName);
  });
}

}  // namespace zmdb
