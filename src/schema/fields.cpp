// Adding and removing one field: on a Jet table definition through the
// DAO-style objects (a table named in the call, or the one begun by
// dbCreateTableItem or chosen by dbSetTableItem), or on the pending
// ADOX-style table of dbCreateTableItem's ADO path; removal also as a
// statement on the default connection.
//
// Renaming a field: on SQL Server through its rename procedure, elsewhere
// on the default database's table definition.
#include "server_p.h"
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;

constexpr std::int32_t kDaoText = 10;
constexpr std::int32_t kDefaultTextWidth = 20;
constexpr std::int32_t kAutoIncrField = 16;

// Byte, Integer, Long and Single default to zero when no default is given.
bool DefaultsToZero(std::int32_t type) {
  return type == 2 || type == 3 || type == 4 || type == 6;
}
// Text and Memo carry AllowZeroLength.
bool TakesZeroLength(std::int32_t type) {
  return type == kDaoText || type == 12;
}
}  // namespace

bool clsZMDBFunc::dbCreateFieldItem(const std::string& fsTblName, const std::string& fsFldName,
                                    std::int32_t flType, std::int32_t flSize,
                                    std::int32_t flAttributes, const std::string& fsDefaultValue,
                                    std::int16_t fiOrdinalPosition, bool fbAllowZeroLength,
                                    bool fbRequired) {
  return Run("dbCreateFieldItem", false, [&](bool& result) {
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db && !pendingTable_) return;
    // The target: a table named in the call or the current definition (DAO);
    // else the pending ADOX table, which is also the only target without a
    // default database.
    Variant target;
    if (db && !fsTblName.empty()) {
      target = rt::ItemOf(rt::GetProp(Variant(db), "TableDefs"), Variant(fsTblName));
    } else if (db && currentTableDef_) {
      target = Variant(currentTableDef_);
    }
    const bool adox = target.IsEmpty();
    if (adox) {
      if (!pendingTable_) return;
      target = Variant(pendingTable_);
    }
    const std::string table = rt::CStr(rt::GetProp(target, "Name"));
    if (dbFieldExists(table, fsFldName, adox ? Variant(pendingCatalog_) : Variant(db))) return;
    const std::int32_t size = flType == kDaoText && flSize == 0 ? kDefaultTextWidth : flSize;

    if (adox) {
      const Variant columns = rt::GetProp(target, "Columns");
      rt::CallMethod(
          columns, "Append",
          {Variant(fsFldName), Variant(dbDao2AdoType(flType)), Variant(size > 0 ? size : 0)});
      const Variant props = rt::GetProp(rt::ItemOf(columns, Variant(fsFldName)), "Properties");
      rt::SetProp(rt::ItemOf(props, Variant("Nullable")), "Value", Variant(!fbRequired));
      rt::SetProp(rt::ItemOf(props, Variant("Jet OLEDB:Allow Zero Length")), "Value",
                  Variant(fbAllowZeroLength));
      result = true;
      return;
    }

    std::vector<Variant> args{Variant(fsFldName), Variant(flType)};
    if (size > 0) args.emplace_back(size);
    const Variant field = rt::CallMethod(target, "CreateField", args);
    if (flAttributes > 0) rt::SetProp(field, "Attributes", Variant(flAttributes));
    if (fiOrdinalPosition > 0) rt::SetProp(field, "OrdinalPosition", Variant(fiOrdinalPosition));
    rt::SetProp(field, "Required", Variant(fbRequired));
    // An AutoNumber keeps no default: a zero would stand in for its numbering.
    const bool zero =
        DefaultsToZero(flType) && fsDefaultValue.empty() && (flAttributes & kAutoIncrField) == 0;
    const std::string defaultValue = zero ? std::string("0") : fsDefaultValue;
    if (TakesZeroLength(flType)) rt::SetProp(field, "AllowZeroLength", Variant(fbAllowZeroLength));
    if (!defaultValue.empty()) rt::SetProp(field, "DefaultValue", Variant(defaultValue));
    rt::CallMethod(rt::GetProp(target, "Fields"), "Append", {field});
    result = true;
  });
}

bool clsZMDBFunc::dbRemoveFieldItem(const std::string& fsTblName, const std::string& fsFldName,
                                    bool bIsAdodb) {
  return Run("dbRemoveFieldItem", false, [&](bool& result) {
    if (bIsAdodb) {
      if (!defaultConnection_) return;
      rt::CallMethod(Variant(defaultConnection_), "Execute",
                     {Variant(schema::DropColumnStatement(fsTblName, fsFldName))});
      result = true;
      return;
    }
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) return;
    Variant def;
    if (!fsTblName.empty()) {
      def = rt::ItemOf(rt::GetProp(Variant(db), "TableDefs"), Variant(fsTblName));
    } else if (currentTableDef_) {
      def = Variant(currentTableDef_);
    } else {
      return;
    }
    rt::CallMethod(rt::GetProp(def, "Fields"), "Delete", {Variant(fsFldName)});
    result = true;
  });
}

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
