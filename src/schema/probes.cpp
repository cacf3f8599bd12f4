// The existence probes: each touches the object (an item of a DAO collection,
// or a one-row query through a connection) and reads success as existence.
// A Conn of any other type answers True without a probe, as callers expect.
#include <functional>

#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;

// Fetch `table`'s definition from a database's TableDefs, then `member`'s
// item `name` (a field or an index); a missing one raises.
void TouchTableMember(const Variant& db, const std::string& table, std::string_view member,
                      const std::string& name) {
  const Variant def = rt::ItemOf(rt::GetProp(db, "TableDefs"), Variant(table));
  rt::ItemOf(rt::GetProp(def, member), Variant(name));
}

// Run a probe statement on a connection; a missing object raises.
void ExecuteProbe(const Variant& conn, const std::string& statement) {
  rt::CallMethod(conn, "Execute", {Variant(statement)});
}

// Probes an object on a resolved two-store connection: `statement` through a
// Connection, `dao` on a Database, `catalog` (when given) on a Catalog; any
// other object is taken as having it. False when there is no store to ask;
// a missing object raises.
bool ProbeStore(const ResolvedStore& store, const std::string& statement,
                const std::function<void()>& dao, const std::function<void()>& catalog = {}) {
  switch (store.path) {
    case StorePath::None:
      return false;
    case StorePath::Ado:
      ExecuteProbe(store.conn, statement);
      break;
    case StorePath::Dao:
      dao();
      break;
    case StorePath::Catalog:
      if (catalog) catalog();
      break;
    case StorePath::Other:
      break;
  }
  return true;
}

// The number of rows a static read-only recordset on `statement` holds.
std::int32_t CountRows(const std::string& statement, const rt::ObjectRef& conn) {
  auto rs = records::OpenReadOnly(statement, Variant(conn), dal::ado::adOpenStatic);
  const std::int32_t count = rs->RecordCount();
  records::CloseAndRelease(rs);
  return count;
}
}  // namespace

bool clsZMDBFunc::dbQueryExists(const std::string& fsQryName, const rt::Variant& Conn,
                                bool fbIsSQLServer) {
  return Run("dbQueryExists", false, [&](bool& result) {
    if (fbIsSQLServer) {
      if (!defaultConnection_) return;
      result = CountRows(schema::ViewProbeStatement(fsQryName), defaultConnection_) != 0;
      return;
    }
    const ResolvedStore store = ResolveTwoStore(Conn);
    result = ProbeStore(store, schema::QueryProbeStatement(fsQryName), [&] {
      rt::ItemOf(rt::GetProp(store.conn, "QueryDefs"), Variant(fsQryName));
    });
  });
}

bool clsZMDBFunc::dbTableExists(const std::string& fsTblName, const rt::Variant& Conn) {
  return Run(
      "dbTableExists", false,
      [&](bool& result) {
        const ResolvedStore store = ResolveTwoStore(Conn);
        result = ProbeStore(store, schema::TableProbeStatement(fsTblName), [&] {
          rt::ItemOf(rt::GetProp(store.conn, "TableDefs"), Variant(fsTblName));
        });
      },
      [&](const rt::ErrorInfo& e, bool&) {
        // Only a refused permission and a failed multiple-step operation are
        // worth reporting; a missing table is the expected "no".
        if (e.Number == rt::err::kPermissionDenied || e.Number == rt::err::kMultipleStep) {
          RecordError(e);
        }
      });
}

bool clsZMDBFunc::dbFieldExists(const std::string& fsTblName, const std::string& fsFldName,
                                const rt::Variant& Conn) {
  return Run("dbFieldExists", false, [&](bool& result) {
    const ResolvedStore store = ResolveTwoStore(Conn, /*acceptCatalog=*/true);
    result = ProbeStore(
        store, schema::FieldProbeStatement(fsTblName, fsFldName),
        [&] { TouchTableMember(store.conn, fsTblName, "Fields", fsFldName); },
        [&] {
          const Variant table = rt::ItemOf(rt::GetProp(store.conn, "Tables"), Variant(fsTblName));
          rt::ItemOf(rt::GetProp(table, "Columns"), Variant(fsFldName));
        });
  });
}

bool clsZMDBFunc::dbIndexExists(const std::string& fsTblName, const std::string& fsIndexName,
                                bool fbIsSQLServer) {
  return Run("dbIndexExists", false, [&](bool& result) {
    const std::string index = fsIndexName.empty() ? schema::PrimaryKeyName(fsTblName) : fsIndexName;
    if (fbIsSQLServer) {
      // By name over the whole database: the table plays no part here.
      if (!defaultConnection_) return;
      result = CountRows(schema::IndexProbeStatement(index), defaultConnection_) >= 1;
      return;
    }
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) return;
    TouchTableMember(Variant(db), fsTblName, "Indexes", index);
    result = true;
  });
}

}  // namespace zmdb
