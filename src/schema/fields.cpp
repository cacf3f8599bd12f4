// Field changes: renaming a field, on SQL Server through its rename
// procedure, elsewhere on the default database's table definition.
#include "server_p.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

bool clsZMDBFunc::dbModifyFieldName(const std::string& fsTblName, const rt::Variant& fsOldName,
                                    const std::string& fsNewName, const rt::Variant& Conn) {
  return Run("dbModifyFieldName", false, [&](bool& result) {
    const rt::Variant db(frame::Library().defaultDatabase);
    if (Conn.IsMissing() && db.AsObject() == nullptr) return;
    // Without Conn the server test is asked about the default database, the store renamed.
    const rt::Variant target = Conn.IsMissing() ? db : Conn;
    if (dbIsSQLConnect(target)) {
      result = schema::RenameOnServer(
          *this, target, schema::ColumnRenameArguments(fsTblName, rt::CStr(fsOldName), fsNewName));
      return;
    }
    const rt::Variant def = rt::ItemOf(rt::GetProp(db, "TableDefs"), rt::Variant(fsTblName));
    rt::SetProp(rt::ItemOf(rt::GetProp(def, "Fields"), fsOldName), "Name", rt::Variant(fsNewName));
    result = true;
  });
}

}  // namespace zmdb
