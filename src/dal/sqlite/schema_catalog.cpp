// The file store's schema as SQLite's catalogue holds it, read through its
// pragmas and overlaid with the hidden system table (sysprops.h), and the
// recording in that table of what the catalogue cannot hold.
#include <algorithm>
#include <cctype>
#include <map>
#include <regex>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

namespace dao = typecodes::dao;

// The DAO type of an ADO type code as the store reports columns.
std::int32_t DaoTypeOfAdo(std::int32_t ado) {
  switch (ado) {
    case 11:
      return dao::dbBoolean;
    case 17:
      return dao::dbByte;
    case 2:
      return dao::dbInteger;
    case 3:
      return dao::dbLong;
    case 6:
      return dao::dbCurrency;
    case 4:
      return dao::dbSingle;
    case 5:
      return dao::dbDouble;
    case 7:
    case 133:  // adDBDate, adDBTime, adDBTimeStamp: a server's dates and times
    case 134:
    case 135:
      return dao::dbDate;
    case 128:
      return dao::dbBinary;
    case 202:
      return dao::dbText;
    case 205:
      return dao::dbLongBinary;
    case 203:
      return dao::dbMemo;
    case 72:
      return dao::dbGUID;
    case 131:
      return dao::dbDecimal;
    default:
      return dao::dbText;
  }
}

// The DAO size of a field of `daoType` whose column has ADO size `adoSize`.
std::int32_t DaoSize(std::int32_t daoType, std::int32_t adoSize) {
  switch (daoType) {
    case dao::dbBoolean:
    case dao::dbByte:
      return 1;
    case dao::dbInteger:
      return 2;
    case dao::dbLong:
    case dao::dbSingle:
      return 4;
    case dao::dbCurrency:
    case dao::dbDouble:
    case dao::dbDate:
    case dao::dbBigInt:
      return 8;
    case dao::dbGUID:
    case dao::dbDecimal:
      return 16;
    case dao::dbText:
    case dao::dbBinary:
      return adoSize;
    default:
      return 0;
  }
}

// The attribute bits the engine reports for a field of `daoType`.
std::int32_t TypeAttributes(std::int32_t daoType) {
  switch (daoType) {
    case dao::dbText:
    case dao::dbMemo:
    case dao::dbBinary:
    case dao::dbLongBinary:
      return schema::kVariableField;
    default:
      return schema::kFixedField;
  }
}

// The text of a cell (empty for Null).
std::string Text(const Cursor& c, std::size_t i) {
  return c.Type(i) == CellType::Null ? std::string() : std::string(c.Text(i));
}

// The properties of `rows` the caller owns (those not named with "~") for one item.
std::vector<Prop> CallerProps(const std::vector<SysRow>& rows, std::string_view item) {
  std::vector<Prop> out;
  for (const SysRow& r : rows) {
    if (rt::NameEquals(r.item, item) && !r.name.starts_with("~")) {
      out.push_back(Prop{r.name, r.type, r.value});
    }
  }
  return out;
}

// The store's own property `name` of one item in `rows`, or Empty.
rt::Variant Own(const std::vector<SysRow>& rows, std::string_view item, std::string_view name) {
  for (const SysRow& r : rows) {
    if (rt::NameEquals(r.item, item) && rt::NameEquals(r.name, name)) return r.value;
  }
  return {};
}

namespace {

// The name a table's SQL gives its primary key ("CONSTRAINT pk_T PRIMARY
// KEY ..."), which Jet keeps as the key index's name; "" when unnamed.
std::string PrimaryConstraintName(std::string_view tableSql) {
  static const std::regex pattern(
      R"(CONSTRAINT\s+(\[[^\]]+\]|"[^"]+"|`[^`]+`|[A-Za-z_][A-Za-z0-9_]*)\s+PRIMARY\s+KEY)",
      std::regex::icase);
  std::match_results<std::string_view::const_iterator> m;
  if (!std::regex_search(tableSql.begin(), tableSql.end(), m, pattern)) return {};
  std::string name = m[1].str();
  if (name.front() == '[' || name.front() == '"' || name.front() == '`') {
    name = name.substr(1, name.size() - 2);
  }
  return name;
}

// The seed and step of a numbering trigger's text ("IFNULL(MAX(c) + step,
// seed)", or MIN and "-" for a negative step); none for another text.
std::optional<TableShape::Numbering> CounterNumbering(const std::string& triggerSql) {
  static const std::regex pattern(R"(IFNULL\((MAX|MIN)\(.*\) [+-] (\d+), (-?\d+)\) FROM )");
  std::smatch m;
  if (!std::regex_search(triggerSql, m, pattern)) return std::nullopt;
  TableShape::Numbering n;
  n.step = std::stoll(m[2].str()) * (m[1].str() == "MIN" ? -1 : 1);
  n.seed = std::stoll(m[3].str());
  return n;
}

}  // namespace

// Every table, view and link, by name without regard to case, with the
// recorded creation and modification dates.
std::vector<schema::TableEntry> FileSchemaStore::Tables() {
  std::vector<schema::TableEntry> out;
  Result r = b_.ExecuteNative(
      "SELECT name, type FROM sqlite_master WHERE type IN ('table', 'view') AND name NOT LIKE "
      "'sqlite\\_%' ESCAPE '\\' AND name <> ? AND " +
          std::string(kNotLinkSql) + " ORDER BY name",
      {rt::Variant(std::string(kSystemTable))});
  while (r.cursor && r.cursor->Step()) {
    schema::TableEntry e;
    e.name = Text(*r.cursor, 0);
    e.kind = Text(*r.cursor, 1) == "view" ? TableKind::View : TableKind::Table;
    out.push_back(std::move(e));
  }
  for (const std::string& link : LinkNames(b_)) out.push_back({link, TableKind::Link});
  for (const TableDates& d : RecordedDates(b_)) {
    for (auto& e : out) {
      if (rt::NameEquals(e.name, d.name)) {
        e.dateCreated = d.created;
        e.lastUpdated = d.modified;
      }
    }
  }
  std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
    return rt::AsciiUpper(a.name) < rt::AsciiUpper(b.name);
  });
  return out;
}

// A table (catalogue plus system table) or a link; none when neither exists.
std::optional<TableDef> FileSchemaStore::Table(std::string_view name) {
  if (auto shape = ReadShape(name)) return std::move(shape->def);
  return ReadLink(name);
}

// The caller's own properties of an object (those not named with "~").
std::vector<Prop> FileSchemaStore::Properties(const schema::ObjectPath& path) {
  std::vector<Prop> out;
  const std::string owner = path.owner;
  for (const SysRow& r : props_.Rows(RowKindOf(path.kind), &owner)) {
    if (rt::NameEquals(r.item, path.item) && !r.name.starts_with("~")) {
      out.push_back(Prop{r.name, r.type, r.value});
    }
  }
  return out;
}

// Stores one of the caller's own properties of an object.
void FileSchemaStore::PutProperty(const schema::ObjectPath& path, const Prop& prop) {
  props_.Put(RowKindOf(path.kind), path.owner, path.item, prop.name, prop.type, prop.value);
}

// Forgets one of the caller's own properties of an object.
void FileSchemaStore::DeleteProperty(const schema::ObjectPath& path, std::string_view name) {
  props_.Delete(RowKindOf(path.kind), path.owner, path.item, name);
}

// The number of rows of a table or view.
std::int64_t FileSchemaStore::RecordCount(std::string_view table) {
  Result r = b_.ExecuteNative("SELECT COUNT(*) FROM " + SqlIdentifier(table), {});
  return r.cursor && r.cursor->Step() ? r.cursor->Integer(0) : 0;
}

// The actual name of a table (not a view), or none.
std::optional<std::string> FileSchemaStore::ActualTable(std::string_view name) {
  Result r = b_.ExecuteNative(
      "SELECT name FROM sqlite_master WHERE type = 'table' AND name = ? COLLATE NOCASE AND name "
      "<> ? AND " +
          std::string(kNotLinkSql),
      {rt::Variant(name), rt::Variant(std::string(kSystemTable))});
  if (r.cursor && r.cursor->Step()) return Text(*r.cursor, 0);
  return std::nullopt;
}

// The stored name of a table, or 3265.
std::string FileSchemaStore::RequireTable(std::string_view name) {
  auto actual = ActualTable(name);
  if (!actual) engerr::ItemNotFound("DAO.TableDefs");
  return *actual;
}

// The shape of a table; 3219 for a link, 3265 when missing.
TableShape FileSchemaStore::RequireShape(std::string_view name) {
  auto shape = ReadShape(name);
  if (!shape) {
    if (ReadLink(name)) {
      engerr::Raise(rt::err::kInvalidOperation,
                    "Cannot modify the design of linked table '" + std::string(name) + "'.");
    }
    engerr::ItemNotFound("DAO.TableDefs");
  }
  return std::move(*shape);
}

// The whole description of a table: SQLite's catalogue, then the system table.
std::optional<TableShape> FileSchemaStore::ReadShape(std::string_view requested) {
  const auto actual = ActualTable(requested);
  if (!actual) return std::nullopt;
  const std::string name = *actual;
  TableShape s;
  s.def.name = name;
  const std::string owner = name;
  const auto tableRows = props_.Rows(kTableRow, &owner);
  const auto fieldRows = props_.Rows(kFieldRow, &owner);
  const auto indexRows = props_.Rows(kIndexRow, &owner);
  const std::string sql = rt::AsciiUpper(MasterSql("table", name));
  ReadFields(s, sql, fieldRows);
  ReadIndexes(s, indexRows);
  ReadForeignKeys(s);
  ReadTriggers(s);
  ReadSequence(s);
  s.def.dateCreated = Own(tableRows, "", "~DateCreated");
  s.def.lastUpdated = Own(tableRows, "", "~LastUpdated");
  if (s.def.dateCreated.IsEmpty()) s.def.dateCreated = rt::Variant::Null();
  if (s.def.lastUpdated.IsEmpty()) s.def.lastUpdated = s.def.dateCreated;
  s.def.props = CallerProps(tableRows, "");
  return s;
}

// The CREATE text SQLite keeps for an object.
std::string FileSchemaStore::MasterSql(std::string_view type, std::string_view name) {
  Result r = b_.ExecuteNative("SELECT sql FROM sqlite_master WHERE type = ? AND name = ?",
                              {rt::Variant(type), rt::Variant(name)});
  return r.cursor && r.cursor->Step() ? Text(*r.cursor, 0) : std::string();
}

// Fields from table_info, overlaid with the system table, in ordinal order.
void FileSchemaStore::ReadFields(TableShape& s, const std::string& upperSql,
                                 const std::vector<SysRow>& rows) {
  Result r = b_.ExecuteNative(
      "SELECT name, type, \"notnull\", dflt_value, pk FROM pragma_table_info(?) ORDER BY cid",
      {rt::Variant(s.def.name)});
  int pkColumns = 0;
  ordinalCounter_ = 0;
  std::vector<std::pair<FieldDef, std::int64_t>> fields;
  while (r.cursor && r.cursor->Step()) {
    FieldDef f;
    f.name = Text(*r.cursor, 0);
    const std::string declared = Text(*r.cursor, 1);
    const ColumnType t = ColumnTypeForDeclared(declared);
    f.type = rt::AsciiUpper(declared) == "BIGINT" ? dao::dbBigInt : DaoTypeOfAdo(t.adoType);
    f.size = DaoSize(f.type, t.definedSize);
    if (f.type == dao::dbDecimal) {
      f.precision = t.precision;
      f.scale = t.scale;
    }
    f.required = r.cursor->Integer(2) != 0;
    f.defaultValue = Text(*r.cursor, 3);
    const std::int64_t pk = r.cursor->Integer(4);
    if (pk > 0) ++pkColumns;
    f.attributes = TypeAttributes(f.type) | (t.autoNumber ? schema::kAutoIncrField : 0);
    fields.emplace_back(std::move(f), pk);
  }
  for (auto& [f, pk] : fields) {
    // A single INTEGER key of a table declared with AUTOINCREMENT is an AutoNumber.
    if (pk > 0 && pkColumns == 1 && f.type == dao::dbLong &&
        upperSql.find("AUTOINCREMENT") != std::string::npos) {
      f.attributes |= schema::kAutoIncrField;
    }
    s.notNull.push_back(f.required);
    Overlay(f, rows);
    if (pk > 0) {
      // A key column refuses Nulls because it is in the key; the field's own
      // Required is what was recorded for it, when anything was.
      if (auto v = Own(rows, f.name, "~Required"); !v.IsEmpty()) f.required = rt::CBool(v);
    }
    s.def.fields.push_back(std::move(f));
  }
  // Fields are listed by ordinal position; equal positions keep their order.
  std::vector<std::size_t> order(s.def.fields.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return s.def.fields[a].ordinal < s.def.fields[b].ordinal;
  });
  TableShape sorted;
  for (std::size_t i : order) {
    sorted.def.fields.push_back(s.def.fields[i]);
    sorted.notNull.push_back(s.notNull[i]);
  }
  s.def.fields = std::move(sorted.def.fields);
  s.notNull = std::move(sorted.notNull);
  pkColumns_ = pkColumns;
}

// The recorded properties of a field over what SQLite's catalogue says.
void FileSchemaStore::Overlay(FieldDef& f, const std::vector<SysRow>& rows) {
  const auto own = [&](std::string_view n) { return Own(rows, f.name, n); };
  if (auto v = own("~Attributes"); !v.IsEmpty()) f.attributes |= rt::CLng(v);
  if (auto v = own("~Ordinal"); !v.IsEmpty()) f.ordinal = rt::CLng(v);
  if (auto v = own("~Required"); !v.IsEmpty()) f.required = f.required || rt::CBool(v);
  if (auto v = own("~AllowZeroLength"); !v.IsEmpty()) f.allowZeroLength = rt::CBool(v);
  if (auto v = own("~DefaultValue"); !v.IsEmpty()) f.defaultValue = rt::TextOf(v);
  if (auto v = own("~Type"); !v.IsEmpty()) {
    // The exact type the field was made with, when it is stored the same way.
    FieldDef asMade = f;
    asMade.type = rt::CLng(v);
    if (DeclaredTypeForDaoOrEmpty(asMade) == DeclaredTypeForDaoOrEmpty(f)) f.type = asMade.type;
  }
  f.props = CallerProps(rows, f.name);
  if (f.ordinal < 0) f.ordinal = ordinalCounter_;
  ++ordinalCounter_;
}

// The declared type of a field, or "" for a type the store refuses.
std::string FileSchemaStore::DeclaredTypeForDaoOrEmpty(const FieldDef& f) {
  try {
    return DeclaredTypeForDao(f);
  } catch (const rt::PlatformError&) {
    return {};
  }
}

// Indexes from index_list, named by the system table; the rowid key too.
void FileSchemaStore::ReadIndexes(TableShape& s, const std::vector<SysRow>& rows) {
  // Engine names by SQLite name, from the system table.
  std::map<std::string, std::string> names;
  std::string primaryName = PrimaryConstraintName(TableSql(s.def.name));
  if (primaryName.empty()) primaryName = "PrimaryKey";
  for (const SysRow& r : rows) {
    if (r.name != "~SqlName") continue;
    const std::string sqlName = rt::TextOf(r.value);
    if (sqlName.empty()) {
      primaryName = r.item;
    } else {
      names[rt::AsciiUpper(sqlName)] = r.item;
    }
  }
  Result r = b_.ExecuteNative(
      "SELECT il.name, il.\"unique\", il.origin, il.partial FROM pragma_index_list(?) AS il LEFT "
      "JOIN sqlite_master AS m ON m.name = il.name ORDER BY il.origin <> 'pk', m.rowid",
      {rt::Variant(s.def.name)});
  std::vector<std::tuple<std::string, bool, std::string, bool>> list;
  while (r.cursor && r.cursor->Step()) {
    list.emplace_back(Text(*r.cursor, 0), r.cursor->Integer(1) != 0, Text(*r.cursor, 2),
                      r.cursor->Integer(3) != 0);
  }
  bool havePrimary = false;
  for (const auto& [sqlName, unique, origin, partial] : list) {
    IndexDef i;
    i.unique = unique;
    i.primary = origin == "pk";
    i.ignoreNulls = partial;
    Result cols = b_.ExecuteNative(
        "SELECT name, \"desc\" FROM pragma_index_xinfo(?) WHERE key = 1 ORDER BY seqno",
        {rt::Variant(sqlName)});
    while (cols.cursor && cols.cursor->Step()) {
      i.fields.push_back({Text(*cols.cursor, 0), cols.cursor->Integer(1) != 0});
    }
    const auto named = names.find(rt::AsciiUpper(sqlName));
    i.name = i.primary ? primaryName : named != names.end() ? named->second : sqlName;
    havePrimary = havePrimary || i.primary;
    s.def.indexes.push_back(std::move(i));
    s.indexSqlNames.push_back(origin == "pk" ? std::string() : sqlName);
  }
  if (!havePrimary && pkColumns_ > 0) {
    // An INTEGER PRIMARY KEY is the table's rowid and has no index of its own.
    IndexDef i;
    i.name = primaryName;
    i.primary = i.unique = true;
    for (const FieldDef& f : s.def.fields) {
      if (IsPkColumn(s.def.name, f.name)) i.fields.push_back({f.name, false});
    }
    s.def.indexes.insert(s.def.indexes.begin(), std::move(i));
    s.indexSqlNames.insert(s.indexSqlNames.begin(), std::string());
  }
  for (std::size_t k = 0; k < s.def.indexes.size(); ++k) {
    IndexDef& i = s.def.indexes[k];
    const auto own = [&](std::string_view n) { return Own(rows, i.name, n); };
    if (auto v = own("~Clustered"); !v.IsEmpty()) i.clustered = rt::CBool(v);
    if (auto v = own("~IgnoreNulls"); !v.IsEmpty()) i.ignoreNulls = rt::CBool(v) || i.ignoreNulls;
    if (auto v = own("~Foreign"); !v.IsEmpty()) i.foreign = rt::CBool(v);
    i.required = i.primary || HasTrigger(s.indexSqlNames[k] + "__notnull_ins");
    i.props = CallerProps(rows, i.name);
  }
}

// The CREATE TABLE text SQLite keeps for `table` ("" when none).
std::string FileSchemaStore::TableSql(const std::string& table) {
  Result r = b_.ExecuteNative("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = ?",
                              {rt::Variant(table)});
  return r.cursor && r.cursor->Step() ? Text(*r.cursor, 0) : std::string();
}

// True when `column` is part of the table's primary key.
bool FileSchemaStore::IsPkColumn(const std::string& table, const std::string& column) {
  Result r = b_.ExecuteNative("SELECT pk FROM pragma_table_info(?) WHERE name = ?",
                              {rt::Variant(table), rt::Variant(column)});
  return r.cursor && r.cursor->Step() && r.cursor->Integer(0) > 0;
}

// True when a trigger of that name exists.
bool FileSchemaStore::HasTrigger(const std::string& name) {
  Result r = b_.ExecuteNative("SELECT 1 FROM sqlite_master WHERE type = 'trigger' AND name = ?",
                              {rt::Variant(name)});
  return r.cursor && r.cursor->Step();
}

// The table's foreign keys, grouped by constraint.
void FileSchemaStore::ReadForeignKeys(TableShape& s) {
  Result r = b_.ExecuteNative(
      "SELECT id, \"table\", \"from\", \"to\", on_update, on_delete FROM "
      "pragma_foreign_key_list(?) ORDER BY id, seq",
      {rt::Variant(s.def.name)});
  std::int64_t last = -1;
  while (r.cursor && r.cursor->Step()) {
    if (r.cursor->Integer(0) != last) {
      last = r.cursor->Integer(0);
      ForeignKey fk;
      fk.refTable = Text(*r.cursor, 1);
      if (Text(*r.cursor, 4) == "CASCADE") fk.attributes |= schema::kRelationUpdateCascade;
      if (Text(*r.cursor, 5) == "CASCADE") fk.attributes |= schema::kRelationDeleteCascade;
      s.foreignKeys.push_back(std::move(fk));
    }
    s.foreignKeys.back().columns.push_back(Text(*r.cursor, 2));
    s.foreignKeys.back().refColumns.push_back(Text(*r.cursor, 3));
  }
}

// Keeps the texts of the triggers this store did not generate, and the
// seed and step of the AutoNumbers its numbering triggers carry.
void FileSchemaStore::ReadTriggers(TableShape& s) {
  Result r = b_.ExecuteNative(
      "SELECT name, sql FROM sqlite_master WHERE type = 'trigger' AND tbl_name = ? ORDER BY "
      "rowid",
      {rt::Variant(s.def.name)});
  const std::string counterPrefix = s.def.name + "__counter_";
  while (r.cursor && r.cursor->Step()) {
    const std::string name = Text(*r.cursor, 0);
    if (!IsManagedTrigger(s.def.name, name)) {
      s.otherTriggers.push_back(Text(*r.cursor, 1));
    } else if (rt::StartsWithNoCase(name, counterPrefix)) {
      if (auto n = CounterNumbering(Text(*r.cursor, 1))) {
        n->field = name.substr(counterPrefix.size());
        s.numbering.push_back(std::move(*n));
      }
    }
  }
}

// The last number of the table's rowid AutoNumber, when SQLite keeps one.
void FileSchemaStore::ReadSequence(TableShape& s) {
  if (MasterSql("table", "sqlite_sequence").empty()) return;
  Result r =
      b_.ExecuteNative("SELECT seq FROM sqlite_sequence WHERE name = ?", {rt::Variant(s.def.name)});
  if (r.cursor && r.cursor->Step()) s.sequence = r.cursor->Integer(0);
}

// Records what SQLite cannot hold of a new table, its fields and indexes.
void FileSchemaStore::RecordTable(const TableShape& shape, bool created) {
  const std::string& t = shape.def.name;
  props_.Stamp(t, created);
  for (const Prop& p : shape.def.props) props_.Put(kTableRow, t, "", p.name, p.type, p.value);
  for (const FieldDef& f : shape.def.fields) RecordField(t, f, true);
  for (std::size_t i = 0; i < shape.def.indexes.size(); ++i) {
    RecordIndex(t, shape.def.indexes[i], shape.indexSqlNames[i]);
  }
}

// Records what SQLite cannot hold of a field (and drops removed properties).
void FileSchemaStore::RecordField(const std::string& t, const FieldDef& f, bool isNew) {
  const std::int32_t own =
      f.attributes & ~(schema::kFixedField | schema::kVariableField | schema::kAutoIncrField);
  props_.Put(kFieldRow, t, f.name, "~Attributes", kDbLong, rt::Variant(own));
  props_.Put(kFieldRow, t, f.name, "~Type", kDbLong, rt::Variant(f.type));
  props_.Put(kFieldRow, t, f.name, "~Required", kDbBoolean, rt::Variant(f.required));
  props_.Put(kFieldRow, t, f.name, "~AllowZeroLength", kDbBoolean, rt::Variant(f.allowZeroLength));
  props_.Put(kFieldRow, t, f.name, "~DefaultValue", kDbText, rt::Variant(f.defaultValue));
  if (f.ordinal >= 0) {
    props_.Put(kFieldRow, t, f.name, "~Ordinal", kDbLong, rt::Variant(f.ordinal));
  } else {
    props_.Delete(kFieldRow, t, f.name, "~Ordinal");
  }
  if (!isNew) {
    for (const Prop& p : Properties({schema::ObjectKind::Field, t, f.name})) {
      if (!schema::FindProp(f.props, p.name)) props_.Delete(kFieldRow, t, f.name, p.name);
    }
  }
  for (const Prop& p : f.props) props_.Put(kFieldRow, t, f.name, p.name, p.type, p.value);
}

// Records an index's engine name and the flags SQLite cannot hold.
void FileSchemaStore::RecordIndex(const std::string& t, const IndexDef& i,
                                  const std::string& sqlName) {
  props_.Put(kIndexRow, t, i.name, "~SqlName", kDbText, rt::Variant(sqlName));
  props_.Put(kIndexRow, t, i.name, "~Clustered", kDbBoolean, rt::Variant(i.clustered));
  props_.Put(kIndexRow, t, i.name, "~IgnoreNulls", kDbBoolean, rt::Variant(i.ignoreNulls));
  props_.Put(kIndexRow, t, i.name, "~Foreign", kDbBoolean, rt::Variant(i.foreign));
  for (const Prop& p : i.props) props_.Put(kIndexRow, t, i.name, p.name, p.type, p.value);
}

}  // namespace zmdb::dal::sqlite::detail

namespace zmdb::dal::sqlite {

// See schema.h.
std::unique_ptr<schema::SchemaStore> MakeSchemaStore(Backend& backend) {
  return std::make_unique<detail::FileSchemaStore>(backend);
}

// See schema.h.
std::vector<TableDates> RecordedDates(Backend& backend) {
  SysProps props(backend);
  std::map<std::string, TableDates> byName;
  for (const SysRow& r : props.Rows(kTableRow)) {
    auto& d = byName[rt::AsciiUpper(r.owner)];
    d.name = r.owner;
    if (r.name == "~DateCreated") d.created = r.value;
    if (r.name == "~LastUpdated") d.modified = r.value;
  }
  std::vector<TableDates> out;
  for (auto& [k, d] : byName) {
    if (d.created.IsEmpty()) d.created = rt::Variant::Null();
    if (d.modified.IsEmpty()) d.modified = rt::Variant::Null();
    out.push_back(std::move(d));
  }
  return out;
}

// See schema.h.
void NoteStatement(Backend& backend, std::string_view jet) {
  // The statement's first two words and the table name after them.
  std::vector<std::string> words;
  std::size_t i = 0;
  while (words.size() < 3 && i < jet.size()) {
    while (i < jet.size() && std::isspace(static_cast<unsigned char>(jet[i]))) ++i;
    if (i >= jet.size()) break;
    std::string w;
    if (jet[i] == '[' || jet[i] == '"' || jet[i] == '`') {
      const char close = jet[i] == '[' ? ']' : jet[i];
      const auto end = jet.find(close, i + 1);
      if (end == std::string_view::npos) return;
      w = std::string(jet.substr(i + 1, end - i - 1));
      i = end + 1;
    } else {
      while (i < jet.size() && (std::isalnum(static_cast<unsigned char>(jet[i])) || jet[i] == '_' ||
                                static_cast<unsigned char>(jet[i]) >= 0x80)) {
        w += jet[i++];
      }
      if (w.empty()) return;
    }
    words.push_back(std::move(w));
  }
  if (words.size() < 3 || !rt::NameEquals(words[1], "TABLE")) return;
  SysProps props(backend);
  if (rt::NameEquals(words[0], "CREATE")) {
    props.DeleteOwner(kTableRow, words[2]);
    props.Stamp(words[2], true);
  } else if (rt::NameEquals(words[0], "ALTER")) {
    props.Stamp(words[2], false);
  } else if (rt::NameEquals(words[0], "DROP")) {
    props.DeleteOwner(kTableRow, words[2]);
  }
}

}  // namespace zmdb::dal::sqlite
