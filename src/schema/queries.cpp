// Saved queries and views: a QueryDef saved in the default Jet database, a
// view in schema dbo on SQL Server, or, on an ADO connection that is not SQL
// Server, a table made from the query (CREATE TABLE q AS ...), which removal
// drops again. The SQL text is sent as the caller wrote it.
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;

void Execute(const Variant& conn, const std::string& statement) {
  rt::CallMethod(conn, "Execute", {Variant(statement)});
}
}  // namespace

bool clsZMDBFunc::dbCreateQueryItem(const std::string& fsQueryName, const std::string& fSQLText,
                                    bool fbIsSQLServer, const rt::Variant& Conn) {
  return Run("dbCreateQueryItem", false, [&](bool& result) {
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    // A Database in Conn saves the query in the default database.
    const auto saveInDefault = [&] {
      if (!db) return;
      rt::CallMethod(Variant(db), "CreateQueryDef", {Variant(fsQueryName), Variant(fSQLText)});
      result = true;
    };
    if (Conn.IsMissing()) {
      if (!fbIsSQLServer) return saveInDefault();
      if (!defaultConnection_) return;
      Execute(Variant(defaultConnection_), schema::CreateViewStatement(fsQueryName, fSQLText));
      result = true;
      return;
    }
    switch (ResolveTwoStore(Conn).path) {
      case StorePath::Ado:
        Execute(Conn, fbIsSQLServer ? schema::CreateViewStatement(fsQueryName, fSQLText)
                                    : schema::CreateTableAsStatement(fsQueryName, fSQLText));
        result = true;
        break;
      case StorePath::Dao:
        saveInDefault();
        break;
      default:
        // Any other object: nothing is made, and the answer is True, as the
        // removal and the other schema methods answer such a Conn.
        result = true;
        break;
    }
  });
}

bool clsZMDBFunc::dbRemoveQueryItem(const std::string& fsQueryName, bool fbIsSQLServer,
                                    const rt::Variant& Conn) {
  return Run("dbRemoveQueryItem", false, [&](bool& result) {
    const auto deleteFrom = [&](const Variant& db) {
      rt::CallMethod(rt::GetProp(db, "QueryDefs"), "Delete", {Variant(fsQueryName)});
    };
    if (Conn.IsMissing()) {
      if (fbIsSQLServer) {
        if (!defaultConnection_) return;
        Execute(Variant(defaultConnection_), schema::DropViewStatement(fsQueryName));
      } else {
        const rt::ObjectRef& db = frame::Library().defaultDatabase;
        if (!db) return;
        deleteFrom(Variant(db));
      }
      result = true;
      return;
    }
    const ResolvedStore store = ResolveTwoStore(Conn);
    if (store.path == StorePath::Ado) {
      Execute(Conn, fbIsSQLServer ? schema::DropViewStatement(fsQueryName)
                                  : schema::DropQueryTableStatement(fsQueryName));
    } else if (store.path == StorePath::Dao) {
      deleteFrom(Conn);
    }
    result = true;
  });
}

}  // namespace zmdb
