// The catalogue listings: table names, saved query names, field names and
// the properties of a table or a field, on both stores.
//
// Where each is read from:
// - a Database (or the default database): the DAO-style collections;
// - a Connection on the file store: the ADOX-style catalogue over it;
// - a Connection on a server: the connection's table rowset (OpenSchema),
//   whose views are the server's saved queries, and for fields the columns
//   of a query that returns no rows.
//
// Choices where the design leaves them open:
// - A table is a system table when the store says so, when its attributes
//   carry the system or hidden bit, or when its name starts with "MSys"
//   (the engine's own tables); fbSystem adds them, nothing else does.
// - On a server, views of the server's own schemas (INFORMATION_SCHEMA,
//   sys, pg_catalog) are not saved queries of the database and are left out.
// - A field's properties include the caller's created ones after the fixed
//   list, as a table's do; an empty Description counts as not set.
// - On a server a field's DefaultValue and AllowZeroLength are not in the
//   columns a query reports, so they are left out there rather than guessed.
#include <algorithm>
#include <cctype>
#include <functional>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/adox/adox.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/schema/statements.h"

namespace zmdb {

namespace {
using rt::Variant;
namespace daot = dal::typecodes::dao;
namespace sch = dal::schema;

// DAO table attributes that keep a table out of a plain listing.
constexpr std::int32_t kSystemObject = static_cast<std::int32_t>(0x80000002u);
constexpr std::int32_t kHiddenObject = 0x1;

// Where a listing reads the catalogue from.
enum class Source { None, Dao, Catalogue, Rowsets };

Source SourceOf(const ResolvedStore& store) {
  if (store.path == StorePath::Dao) return Source::Dao;
  if (store.path != StorePath::Ado) return Source::None;
  auto cn = rt::ObjectAs<dal::Connection>(store.conn);
  const dal::Route route = dal::RouteConnection(cn->ConnectionString(), cn->Provider());
  return route.kind == dal::StoreKind::File ? Source::Catalogue : Source::Rowsets;
}

bool StartsWithNoCase(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && rt::NameEquals(s.substr(0, prefix.size()), prefix);
}

bool IsSystem(std::string_view name, std::int32_t attributes) {
  return StartsWithNoCase(name, "MSys") || (attributes & (kSystemObject | kHiddenObject)) != 0;
}

// Names sorted without regard to case, as a 1-based array (unallocated when empty).
rt::SafeArray NameArray(std::vector<std::string> names) {
  if (names.empty()) return rt::SafeArray();
  auto lower = [](std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
  };
  std::stable_sort(names.begin(), names.end(),
                   [&](const std::string& a, const std::string& b) { return lower(a) < lower(b); });
  std::vector<Variant> items;
  for (std::string& n : names) items.emplace_back(std::move(n));
  return rt::SafeArray(rt::VarType::String, 1, std::move(items));
}

// Calls `each` with every item of a late-bound collection.
void ForEachItem(const Variant& collection, const std::function<void(const Variant&)>& each) {
  const std::int32_t count = rt::CLng(rt::GetProp(collection, "Count"));
  for (std::int32_t i = 0; i < count; ++i) each(rt::ItemOf(collection, Variant(i)));
}

std::shared_ptr<dal::adox::Catalog> CatalogueOn(const Variant& conn) {
  auto catalogue = dal::adox::Catalog::Make();
  catalogue->SetActiveConnection(conn);
  return catalogue;
}

// One row of a server's table rowset.
struct ServerTable {
  std::string schema, name, type;
  Variant created = Variant::Null(), modified = Variant::Null();
};

std::vector<ServerTable> ServerTables(const Variant& conn) {
  auto rs = rt::ObjectAs<dal::Connection>(conn)->OpenSchema(dal::ado::adSchemaTables);
  const Variant row{rt::ObjectRef(rs)};
  auto field = [&](const char* name) { return rt::GetProp(row, "Fields", {Variant(name)}); };
  std::vector<ServerTable> out;
  for (; !rs->AtEOF(); rs->MoveNext()) {
    out.push_back({rt::TextOf(rt::GetProp(field("TABLE_SCHEMA"), "Value")),
                   rt::TextOf(rt::GetProp(field("TABLE_NAME"), "Value")),
                   rt::TextOf(rt::GetProp(field("TABLE_TYPE"), "Value")),
                   rt::GetProp(field("DATE_CREATED"), "Value"),
                   rt::GetProp(field("DATE_MODIFIED"), "Value")});
  }
  records::CloseAndRelease(rs);
  return out;
}

bool IsServerOwnSchema(std::string_view schema) {
  return rt::NameEquals(schema, "INFORMATION_SCHEMA") || rt::NameEquals(schema, "sys") ||
         rt::NameEquals(schema, "pg_catalog");
}

// A table as every listing reads it, whatever the store.
struct TableInfo {
  sch::TableDef def;
  std::int32_t recordCount = 0;
};

// A server table: its columns from a query that returns no rows, its dates
// from the table rowset, its rows counted.
TableInfo ServerTableInfo(const Variant& conn, const std::string& table, bool withCount) {
  TableInfo t;
  t.def.name = table;
  auto rs = records::OpenReadOnly(schema::ColumnsStatement(table), conn, dal::ado::adOpenStatic);
  const Variant fields = rt::GetProp(Variant(rt::ObjectRef(rs)), "Fields");
  std::int32_t ordinal = 0;
  ForEachItem(fields, [&](const Variant& f) {
    sch::FieldDef d;
    d.name = rt::CStr(rt::GetProp(f, "Name"));
    d.type = dal::adox::DaoTypeOfAdoCode(rt::CLng(rt::GetProp(f, "Type")));
    d.size = rt::CLng(rt::GetProp(f, "DefinedSize"));
    d.required = (rt::CLng(rt::GetProp(f, "Attributes")) & dal::ado::adFldIsNullable) == 0;
    d.ordinal = ordinal++;
    t.def.fields.push_back(std::move(d));
  });
  records::CloseAndRelease(rs);
  if (!withCount) return t;
  for (const ServerTable& s : ServerTables(conn)) {
    if (rt::NameEquals(s.name, table)) {
      t.def.dateCreated = s.created;
      t.def.lastUpdated = s.modified;
      break;
    }
  }
  auto count =
      records::OpenReadOnly(schema::RowCountStatement(table), conn, dal::ado::adOpenStatic);
  t.recordCount = rt::CLng(rt::GetProp(
      rt::GetProp(Variant(rt::ObjectRef(count)), "Fields", {Variant(std::int32_t{0})}), "Value"));
  records::CloseAndRelease(count);
  return t;
}

// The table `table` as `source` sees it; a missing table raises.
TableInfo ReadTable(Source source, const Variant& conn, const std::string& table, bool withCount) {
  TableInfo t;
  switch (source) {
    case Source::Dao: {
      const Variant def = rt::ItemOf(rt::GetProp(conn, "TableDefs"), Variant(table));
      t.def = rt::ObjectAs<dal::dao::TableDef>(def)->Def();
      if (withCount) t.recordCount = rt::CLng(rt::GetProp(def, "RecordCount"));
      break;
    }
    case Source::Catalogue: {
      auto catalogue = CatalogueOn(conn);
      const Variant item = rt::ItemOf(Variant(rt::ObjectRef(catalogue->Tables())), Variant(table));
      t.def = rt::ObjectAs<dal::adox::Table>(item)->Def();
      if (withCount) {
        t.recordCount = static_cast<std::int32_t>(catalogue->core()->store().RecordCount(table));
      }
      break;
    }
    case Source::Rowsets:
      return ServerTableInfo(conn, table, withCount);
    case Source::None:
      break;
  }
  return t;
}

// A property record: the value and its DAO type.
Variant PropertyRecord(const std::string& name, Variant value, std::int32_t type) {
  return Variant(
      rt::Record("PropertyRec",
                 {{"Name", Variant(name)}, {"Value", std::move(value)}, {"Type", Variant(type)}}));
}

// The caller's properties after the fixed ones: Description only when set.
void AppendCustom(std::vector<Variant>& out, const std::vector<sch::Prop>& props) {
  for (const sch::Prop& p : props) {
    if (rt::NameEquals(p.name, "Description") && rt::TextOf(p.value).empty()) continue;
    out.push_back(PropertyRecord(p.name, p.value, p.type));
  }
}

std::vector<Variant> TableProperties(const TableInfo& t) {
  const sch::TableDef& d = t.def;
  std::vector<Variant> out = {
      PropertyRecord("Name", Variant(d.name), daot::dbText),
      PropertyRecord("DateCreated", d.dateCreated, daot::dbDate),
      PropertyRecord("LastUpdated", d.lastUpdated, daot::dbDate),
      PropertyRecord("Connect", Variant(d.connect), daot::dbText),
      PropertyRecord("SourceTableName", Variant(d.sourceTable), daot::dbText),
      PropertyRecord("RecordCount", Variant(t.recordCount), daot::dbLong),
  };
  AppendCustom(out, d.props);
  return out;
}

std::vector<Variant> FieldProperties(const sch::FieldDef& f, std::int32_t place, bool server) {
  std::vector<Variant> out = {
      PropertyRecord("Name", Variant(f.name), daot::dbText),
      PropertyRecord("Type", Variant(static_cast<std::int16_t>(f.type)), daot::dbInteger),
      PropertyRecord("Size", Variant(f.size), daot::dbLong),
      PropertyRecord("Required", Variant(f.required), daot::dbBoolean),
  };
  if (!server) {
    out.push_back(PropertyRecord("AllowZeroLength", Variant(f.allowZeroLength), daot::dbBoolean));
    out.push_back(PropertyRecord("DefaultValue", Variant(f.defaultValue), daot::dbText));
  }
  const std::int32_t ordinal = f.ordinal >= 0 ? f.ordinal : place;
  out.push_back(PropertyRecord("OrdinalPosition", Variant(static_cast<std::int16_t>(ordinal)),
                               daot::dbInteger));
  AppendCustom(out, f.props);
  return out;
}
}  // namespace

rt::SafeArray clsZMDBFunc::dbTableDefs(const rt::Variant& Conn, bool fbSystem) {
  return Run("dbTableDefs", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    std::vector<std::string> names;
    auto add = [&](const std::string& name, bool system) {
      if (fbSystem || !system) names.push_back(name);
    };
    switch (SourceOf(store)) {
      case Source::None:
        return;
      case Source::Dao:
        ForEachItem(rt::GetProp(store.conn, "TableDefs"), [&](const Variant& def) {
          const std::string name = rt::CStr(rt::GetProp(def, "Name"));
          add(name, IsSystem(name, rt::CLng(rt::GetProp(def, "Attributes"))));
        });
        break;
      case Source::Catalogue:
        for (const sch::TableEntry& t : CatalogueOn(store.conn)->core()->store().Tables()) {
          if (t.kind == sch::TableKind::View) continue;
          add(t.name, t.kind == sch::TableKind::System || IsSystem(t.name, 0));
        }
        break;
      case Source::Rowsets:
        for (const ServerTable& t : ServerTables(store.conn)) {
          if (t.type == "TABLE" || t.type == "LINK") {
            add(t.name, IsSystem(t.name, 0));
          } else if (t.type == "SYSTEM TABLE") {
            add(t.name, true);
          }
        }
        break;
    }
    result = NameArray(std::move(names));
  });
}

rt::SafeArray clsZMDBFunc::dbQueryDefs(const rt::Variant& Conn) {
  return Run("dbQueryDefs", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    std::vector<std::string> names;
    switch (SourceOf(store)) {
      case Source::None:
        return;
      case Source::Dao:
        ForEachItem(rt::GetProp(store.conn, "QueryDefs"),
                    [&](const Variant& q) { names.push_back(rt::CStr(rt::GetProp(q, "Name"))); });
        break;
      case Source::Catalogue:
        for (const sch::QueryDef& q : CatalogueOn(store.conn)->core()->store().Queries()) {
          names.push_back(q.name);
        }
        break;
      case Source::Rowsets:
        for (const ServerTable& t : ServerTables(store.conn)) {
          if (t.type == "VIEW" && !IsServerOwnSchema(t.schema)) names.push_back(t.name);
        }
        break;
    }
    result = NameArray(std::move(names));
  });
}

rt::SafeArray clsZMDBFunc::dbFields(const std::string& fsTblName, const rt::Variant& Conn) {
  return Run("dbFields", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    const Source source = SourceOf(store);
    if (source == Source::None) return;
    const TableInfo t = ReadTable(source, store.conn, fsTblName, false);
    if (t.def.fields.empty()) return;
    std::vector<Variant> names;
    for (const sch::FieldDef& f : t.def.fields) names.emplace_back(f.name);
    result = rt::SafeArray(rt::VarType::String, 1, std::move(names));
  });
}

rt::SafeArray clsZMDBFunc::dbProperties(const std::string& fsTblName, const std::string& fsFldName,
                                        const rt::Variant& Conn) {
  return Run("dbProperties", rt::SafeArray(), [&](rt::SafeArray& result) {
    const ResolvedStore store = ResolveTwoStore(Conn);
    const Source source = SourceOf(store);
    if (source == Source::None) return;
    const TableInfo t = ReadTable(source, store.conn, fsTblName, fsFldName.empty());
    std::vector<Variant> records;
    if (fsFldName.empty()) {
      records = TableProperties(t);
    } else {
      const auto& fields = t.def.fields;
      const auto it = std::find_if(fields.begin(), fields.end(), [&](const sch::FieldDef& f) {
        return rt::NameEquals(f.name, fsFldName);
      });
      if (it == fields.end()) {
        rt::RaiseStandard(source == Source::Dao ? rt::err::kItemNotFound
                                                : rt::err::kAdoItemNotFound);
      }
      records = FieldProperties(*it, static_cast<std::int32_t>(it - fields.begin()),
                                source == Source::Rowsets);
    }
    result = rt::SafeArray(rt::VarType::Record, 1, std::move(records));
  });
}

}  // namespace zmdb
