// Table-structure methods: a table's fields as field-structure records, a
// table made from such records, a table's structure copied to any store, and
// rows copied between two tables of one connection. dbGetFieldSQLStr gives a
// column's SQL Server type text, which the primary-key path of
// dbCreateIndexItem writes into ALTER COLUMN.
//
// A structure is read the same way on every store: the column types from a
// query that returns no rows (ADO type codes, as any recordset over the table
// reports them), then what only the store's schema knows (attributes,
// defaults, descriptions, indexes) where it has one, else the primary key.
// Every store builds a table the same way: from a store-neutral definition
// handed to its schema, which writes the store's own DDL. A type the target
// cannot hold is refused, by the field's name, before anything is created.
#include "zmdb/schema/structure.h"

#include <algorithm>

#include "zmdb/connect/dialect.h"
#include "zmdb/dal/backend.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/schema_store.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text.h"
#include "zmdb/schema/server_indexes.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;
using schema::FieldStructure;
using schema::IndexStructure;
using schema::TableStructure;

namespace dao = dal::typecodes::dao;
constexpr std::string_view kOdbcPrefix = "ODBC;";

// The store behind a Connection or a Database (error 13 for anything else).
dal::Backend& BackendOf(const Variant& conn) {
  const rt::ObjectRef object = conn.IsObject() ? conn.AsObject() : nullptr;
  if (auto cn = std::dynamic_pointer_cast<dal::Connection>(object)) return cn->backend();
  if (auto db = std::dynamic_pointer_cast<dal::dao::Database>(object)) return db->core()->backend();
  rt::Raise(rt::err::kTypeMismatch);
}

// Whether `conn` is on a server rather than the file store.
schema::TargetStore TargetOf(const Variant& conn) {
  if (connect::IsSQLServerConn(conn)) return schema::TargetStore::Server;
  const rt::ObjectRef object = conn.AsObject();
  if (auto cn = std::dynamic_pointer_cast<dal::Connection>(object)) {
    if (dal::RouteConnection(cn->ConnectionString(), cn->Provider()).kind == dal::StoreKind::File) {
      return schema::TargetStore::File;
    }
  } else if (auto db = std::dynamic_pointer_cast<dal::dao::Database>(object)) {
    if (!rt::AsciiUpper(db->Connect()).starts_with(kOdbcPrefix)) return schema::TargetStore::File;
  }
  return schema::TargetStore::Server;
}

// The store's schema definition of `table`, or no value when the store
// keeps no schema of its own (a server before its catalogue is read).
std::optional<dal::schema::TableDef> SchemaDefinition(dal::Backend& backend,
                                                      const std::string& table) {
  try {
    return backend.Schema().Table(table);
  } catch (const rt::PlatformError& e) {
    if (e.number() != rt::err::kNotYetSupported) throw;
    return std::nullopt;
  }
}

// What the store's schema adds to the columns: the field's own attributes,
// validation and description, and the table's indexes.
void AddSchemaDetail(TableStructure& s, const dal::schema::TableDef& def) {
  for (FieldStructure& f : s.fields) {
    const auto it = std::find_if(def.fields.begin(), def.fields.end(),
                                 [&](const auto& d) { return rt::NameEquals(d.name, f.name); });
    if (it == def.fields.end()) continue;
    f.attributes = it->attributes;
    f.required = it->required;
    f.allowZeroLength = it->allowZeroLength;
    f.defaultValue = it->defaultValue;
    if (const auto* p = dal::schema::FindProp(it->props, "Description")) {
      f.description = rt::CStr(p->value);
    }
    if (it->ordinal >= 0) f.ordinalPosition = it->ordinal;
  }
  for (const auto& index : def.indexes) {
    if (index.foreign) continue;
    IndexStructure i{index.name, {}, index.primary, index.unique};
    for (const auto& field : index.fields) i.fields.push_back(field.name);
    s.indexes.push_back(std::move(i));
  }
}

TableStructure ReadStructure(const Variant& conn, const std::string& table) {
  dal::Backend& backend = BackendOf(conn);
  TableStructure s;
  {
    const dal::Result result = backend.Execute(schema::ColumnsStatement(table));
    if (!result.cursor) rt::RaiseStandard(rt::err::kItemNotFound);
    std::int32_t place = 0;
    for (const auto& c : result.cursor->columns()) {
      FieldStructure f;
      f.name = c.name;
      f.type = c.adoType;
      f.definedSize = c.definedSize;
      f.attributes = c.autoIncrement ? dal::schema::kAutoIncrField : 0;
      f.required = !c.nullable;
      // A server's text columns take empty strings; the schema says otherwise where it does.
      f.allowZeroLength = true;
      f.ordinalPosition = place++;
      f.precision = c.precision;
      f.numericScale = c.scale;
      s.fields.push_back(std::move(f));
    }
  }
  if (const auto def = SchemaDefinition(backend, table)) {
    AddSchemaDetail(s, *def);
  } else if (auto key = backend.KeyColumns(table); !key.empty()) {
    s.indexes.push_back({"PrimaryKey", std::move(key), true, true});
  }
  return s;
}

// The store-neutral definition of `table` with the fields and indexes of `s`.
dal::schema::TableDef Definition(const std::string& table, const TableStructure& s,
                                 schema::TargetStore target) {
  const bool server = target == schema::TargetStore::Server;
  dal::schema::TableDef def;
  def.name = table;
  for (const FieldStructure& f : s.fields) {
    dal::schema::FieldDef d;
    d.name = f.name;
    d.type = *schema::DaoTypeOf(f, target);
    const bool sized = d.type == dao::dbText || d.type == dao::dbBinary;
    d.size = sized ? f.definedSize : 0;
    // Only a Long counts its rows itself (a BigInt too on a server), and only
    // a server keeps text at a fixed width.
    const bool counts = d.type == dao::dbLong || (server && d.type == dao::dbBigInt);
    d.attributes = counts ? f.attributes : f.attributes & ~dal::schema::kAutoIncrField;
    const bool fixed =
        f.type == dal::typecodes::ado::adWChar || f.type == dal::typecodes::ado::adChar;
    if (server && fixed && d.type == dao::dbText) d.attributes |= dal::schema::kFixedField;
    d.required = f.required;
    d.allowZeroLength = f.allowZeroLength;
    d.defaultValue = f.defaultValue;
    if (d.type == dao::dbDecimal) {
      d.precision = f.precision;
      d.scale = f.numericScale;
    }
    if (!f.description.empty()) d.props.push_back({"Description", 10, Variant(f.description)});
    def.fields.push_back(std::move(d));
  }
  for (const IndexStructure& i : s.indexes) {
    dal::schema::IndexDef d;
    d.name = i.name;
    for (const auto& field : i.fields) d.fields.push_back({field, false});
    d.primary = i.primary;
    d.unique = i.unique || i.primary;
    d.required = i.primary;
    def.indexes.push_back(std::move(d));
  }
  return def;
}

// Make `table` on the store of `conn` with the fields (in their ordinal
// order) and indexes of `s`. Every type is checked before anything is made;
// the store makes the table whole or not at all.
void CreateStructure(const Variant& conn, const std::string& table, TableStructure s) {
  std::stable_sort(s.fields.begin(), s.fields.end(), [](const auto& a, const auto& b) {
    return a.ordinalPosition < b.ordinalPosition;
  });
  if (const std::string refused = schema::FirstUnholdableField(s.fields); !refused.empty()) {
    rt::RaiseDetailed(rt::err::kInvalidFieldType, refused);
  }
  // SQL Server keeps no descriptions: a copy there leaves them out.
  if (connect::IsSQLServerConn(conn)) {
    for (FieldStructure& f : s.fields) f.description.clear();
  }
  BackendOf(conn).Schema().CreateTable(Definition(table, s, TargetOf(conn)));
}

bool Usable(const ResolvedStore& store) {
  return store.path == StorePath::Ado || store.path == StorePath::Dao;
}
}  // namespace

std::string clsZMDBFunc::dbGetFieldSQLStr(const std::string& fsTblName,
                                          const std::string& fsFldName, const rt::Variant& Conn) {
  return Run("dbGetFieldSQLStr", std::string(), [&](std::string& result) {
    const std::optional<rt::Variant> conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    result = schema::FieldSqlStr(*conn, fsTblName, fsFldName);
  });
}

// The fields of `fsTblName` as field-structure records, in ordinal order,
// from index 1; unallocated when there is nothing to read.
rt::SafeArray clsZMDBFunc::dbGetTblStruct(const std::string& fsTblName, const rt::Variant& Conn) {
  return Run("dbGetTblStruct", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    if (!Usable(store)) return;
    std::vector<Variant> records;
    for (const auto& f : ReadStructure(store.conn, fsTblName).fields) {
      records.emplace_back(schema::ToRecord(f));
    }
    if (!records.empty()) result = rt::SafeArray(rt::VarType::Record, 1, std::move(records));
  });
}

// A new table `fsTblName` with the fields the records describe; of each
// record only Name and Type are needed, the other members are used when
// present.
bool clsZMDBFunc::dbCreateTblStruct(const std::string& fsTblName,
                                    const rt::SafeArray& fTFieldStruct, const rt::Variant& Conn) {
  return Run("dbCreateTblStruct", false, [&](bool& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    if (!Usable(store)) return;
    TableStructure s;
    for (std::int32_t i = fTFieldStruct.LBound(); i <= fTFieldStruct.UBound(); ++i) {
      s.fields.push_back(schema::FromRecord(fTFieldStruct.at(i).AsRecord()));
    }
    CreateStructure(store.conn, fsTblName, std::move(s));
    result = true;
  });
}

// A new table `fsDstTblName` on DstConn with the fields and indexes of
// `fsSrcTblName` on SrcConn, and no rows.
bool clsZMDBFunc::dbCopyTblStruct(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                                  const rt::Variant& SrcConn, const rt::Variant& DstConn) {
  return Run("dbCopyTblStruct", false, [&](bool& result) {
    const ResolvedStore source = ResolveTwoStore(SrcConn);
    const ResolvedStore target = ResolveTwoStore(DstConn);
    if (!Usable(source) || !Usable(target)) return;
    CreateStructure(target.conn, fsDstTblName, ReadStructure(source.conn, fsSrcTblName));
    result = true;
  });
}

// The rows of `fsSrcTblName` matching `fsCondition` (every row when empty)
// appended to `fsDstTblName` by one statement on one connection, which
// matches the columns by place.
bool clsZMDBFunc::dbCopyTblData(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                                const std::string& fsCondition, const rt::Variant& Conn) {
  return Run("dbCopyTblData", false, [&](bool& result) {
    const std::optional<rt::Variant> conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    const std::string statement =
        schema::CopyTableDataStatement(fsSrcTblName, fsDstTblName, fsCondition);
    rt::CallMethod(*conn, "Execute", {Variant(connect::AdaptDialect(statement, *conn))});
    result = true;
  });
}

}  // namespace zmdb
