// Tables: the two-call creation protocol (dbCreateTableItem starts a
// definition, fields are added to it, dbCreateTableOver appends it), linked
// tables with their optional virtual index, selection, removal and renaming.
#include "server_p.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;

constexpr std::int32_t kAttachSavePassword = 131072;  // dbAttachSavePWD
constexpr std::int32_t kNullsDisallowed = 1;          // adIndexNullsDisallow
constexpr std::int32_t kVarWCharType = 202;           // adVarWChar

Variant DefaultDatabase() {
  return Variant(frame::Library().defaultDatabase);
}
}  // namespace

// On a Database (or the default database) the current table definition
// becomes the existing table of that name, or a new definition; with a
// TblConn it is a link to "dbo." + name. On a Connection a new catalogue
// table waits instead. Nothing is appended until dbCreateTableOver.
bool clsZMDBFunc::dbCreateTableItem(const std::string& fsTblName, const std::string& TblConn,
                                    bool bSavePasswd, const std::string& VirturlIndex,
                                    const rt::Variant& Conn) {
  return Run("dbCreateTableItem", false, [&](bool& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    if (store.path == StorePath::None) return;
    if (store.path == StorePath::Dao) {
      const Variant name(fsTblName);
      currentTableDef_ = (dbTableExists(fsTblName, store.conn)
                              ? rt::ItemOf(rt::GetProp(store.conn, "TableDefs"), name)
                              : rt::CallMethod(store.conn, "CreateTableDef", {name}))
                             .AsObject();
      if (!TblConn.empty()) {
        const Variant def(currentTableDef_);
        rt::SetProp(def, "Connect", Variant(TblConn));
        rt::SetProp(def, "SourceTableName", Variant(schema::LinkSourceName(fsTblName)));
        if (bSavePasswd) rt::SetProp(def, "Attributes", Variant(kAttachSavePassword));
        virtualIndexText_ = VirturlIndex;
      }
    } else if (store.path == StorePath::Ado) {
      pendingCatalog_ = dal::adox::Catalog::Make();
      pendingTable_ = std::make_shared<dal::adox::Table>();
      const Variant catalog(pendingCatalog_);
      const Variant table(pendingTable_);
      rt::SetProp(catalog, "ActiveConnection", store.conn);
      rt::SetProp(table, "Name", Variant(fsTblName));
      // The description starts as the table's own name, so listings show one.
      rt::SetProp(rt::ItemOf(rt::GetProp(table, "Properties"), Variant("Description")), "Value",
                  Variant(fsTblName));
      rt::SetProp(table, "ParentCatalog", catalog);
    }
    result = true;
  });
}

// Appends the definition begun by dbCreateTableItem: the pending catalogue
// table when there is one, else the current table definition, which must
// bear exactly this name. A virtual index that fails leaves the appended
// table in place and answers False.
bool clsZMDBFunc::dbCreateTableOver(const std::string& fsTblName) {
  return Run("dbCreateTableOver", false, [&](bool& result) {
    if (!pendingTable_) {
      if (!currentTableDef_) return;
      const Variant def(currentTableDef_);
      if (rt::CStr(rt::GetProp(def, "Name")) != fsTblName) return;
      const Variant db = DefaultDatabase();
      rt::CallMethod(rt::GetProp(db, "TableDefs"), "Append", {def});
      if (!virtualIndexText_.empty()) {
        rt::CallMethod(db, "Execute",
                       {Variant(schema::VirtualIndexStatement(fsTblName, virtualIndexText_))});
        virtualIndexText_.clear();
      }
      result = true;
      return;
    }
    const Variant table(pendingTable_);
    rt::CallMethod(rt::GetProp(Variant(pendingCatalog_), "Tables"), "Append", {table});
    if (!virtualIndexText_.empty()) {
      const Variant index(rt::ObjectRef(std::make_shared<dal::adox::Index>()));
      rt::SetProp(index, "Name", Variant("PrimaryKey"));
      rt::SetProp(index, "IndexNulls", Variant(kNullsDisallowed));
      // The column is named after the table, as callers of this path expect.
      rt::CallMethod(rt::GetProp(index, "Columns"), "Append",
                     {Variant(fsTblName), Variant(kVarWCharType), Variant(std::int32_t{0})});
      rt::CallMethod(rt::GetProp(table, "Indexes"), "Append", {index});
    }
    result = true;
  });
}

bool clsZMDBFunc::dbSetTableItem(const std::string& fsTblName) {
  return Run("dbSetTableItem", false, [&](bool& result) {
    const Variant db = DefaultDatabase();
    if (db.AsObject() == nullptr) return;
    currentTableDef_ = rt::ItemOf(rt::GetProp(db, "TableDefs"), Variant(fsTblName)).AsObject();
    result = true;
  });
}

bool clsZMDBFunc::dbCloseTable(const std::string&) {
  return Run("dbCloseTable", false, [&](bool& result) {
    currentTableDef_.reset();
    result = true;
  });
}

// Without Conn: the table of the default database, or on SQL Server the
// table of the default connection. With a Database in Conn it is the saved
// query of that name that goes, which callers rely on.
bool clsZMDBFunc::dbRemoveTableItem(const std::string& fsTblName, bool fbIsSQLServer,
                                    const rt::Variant& Conn) {
  return Run("dbRemoveTableItem", false, [&](bool& result) {
    const Variant name(fsTblName);
    if (Conn.IsMissing()) {
      if (fbIsSQLServer) {
        if (!defaultConnection_) return;
        rt::CallMethod(Variant(defaultConnection_), "Execute",
                       {Variant(schema::DropTableStatement(fsTblName, true))});
      } else {
        const Variant db = DefaultDatabase();
        if (db.AsObject() == nullptr) return;
        rt::CallMethod(rt::GetProp(db, "TableDefs"), "Delete", {name});
      }
      result = true;
      return;
    }
    const ResolvedStore store = ResolveTwoStore(Conn);
    if (store.path == StorePath::Ado) {
      rt::CallMethod(store.conn, "Execute",
                     {Variant(schema::DropTableStatement(fsTblName, fbIsSQLServer))});
    } else if (store.path == StorePath::Dao) {
      rt::CallMethod(rt::GetProp(store.conn, "QueryDefs"), "Delete", {name});
    }
    result = true;
  });
}

// A table already bearing the new name is dropped first. SQL Server renames
// through its procedure; otherwise the default database's definition is
// renamed and becomes the current table definition.
bool clsZMDBFunc::dbModifyTableName(const rt::Variant& fsOldName, const std::string& fsNewName,
                                    const rt::Variant& Conn) {
  return Run("dbModifyTableName", false, [&](bool& result) {
    const Variant db = DefaultDatabase();
    if (Conn.IsMissing() && db.AsObject() == nullptr) return;
    if (dbTableExists(fsNewName, Conn)) dbRemoveTableItem(fsNewName, false, Conn);
    // Without Conn the server test is asked about the default database, the store renamed.
    const Variant target = Conn.IsMissing() ? db : Conn;
    if (dbIsSQLConnect(target)) {
      result = schema::RenameOnServer(*this, target,
                                      schema::TableRenameArguments(rt::CStr(fsOldName), fsNewName));
      return;
    }
    const Variant def = rt::ItemOf(rt::GetProp(db, "TableDefs"), fsOldName);
    currentTableDef_ = def.AsObject();
    rt::SetProp(def, "Name", Variant(fsNewName));
    result = true;
  });
}

}  // namespace zmdb
