// The schema store on the file store: SQLite's catalogue, read through its
// pragmas, overlaid with the hidden system table (sysprops.h). Changes that
// SQLite cannot make in place go through Rebuild, the one routine that
// replaces a table inside a transaction and leaves it untouched on failure.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <regex>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "schema_p.h"
#include "sysprops_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal::sqlite {

namespace dao = typecodes::dao;
using schema::FieldDef;
using schema::IndexDef;
using schema::Prop;
using schema::TableDef;
using schema::TableKind;

namespace {

constexpr std::int32_t kDbBoolean = 1, kDbLong = 4, kDbText = 10, kDbMemo = 12;

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

// True when `text` starts with `prefix`, ignoring case.
bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && rt::NameEquals(text.substr(0, prefix.size()), prefix);
}

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

// The DATABASE= path of a link's connect string, or "".
std::string LinkPath(std::string_view connect) {
  const std::string upper = rt::AsciiUpper(connect);
  const auto at = upper.find("DATABASE=");
  if (at == std::string::npos) return {};
  const auto end = connect.find(';', at);
  return std::string(connect.substr(at + 9, end == std::string_view::npos ? end : end - at - 9));
}

// True for a connect string that leads to an ODBC data source.
bool IsOdbcConnect(std::string_view connect) {
  return StartsWithNoCase(connect, "ODBC;");
}

// The engine's error for a failed change of data during a rebuild or an
// index build: duplicate keys 3022, Nulls in a key 3058; others pass.
[[noreturn]] void RaiseChangeError(const rt::PlatformError& e) {
  const std::string& d = e.info().Description;
  if (d.find("UNIQUE constraint failed") != std::string::npos) {
    engerr::Raise(engerr::kDuplicateValues,
                  "The changes you requested to the table were not successful because they would "
                  "create duplicate values in the index, primary key, or relationship. Change the "
                  "data in the field or fields that contain duplicate data, remove the index, or "
                  "redefine the index to permit duplicate entries and try again.");
  }
  if (d.find("NOT NULL constraint failed") != std::string::npos) {
    engerr::Raise(engerr::kNullInIndex, "Index or primary key cannot contain a Null value.");
  }
  throw e;
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

// True for a character of a bare Jet name.
bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// `sql` with every use of the name `from` as a whole name (bare or in
// brackets, not after a ".") changed to `to`; literals, dates and other
// names are left alone.
std::string RenameInSql(std::string_view sql, std::string_view from, std::string_view to) {
  bool bare = !to.empty() && !std::isdigit(static_cast<unsigned char>(to.front()));
  for (char c : to) bare = bare && IsNameChar(c);
  const std::string replacement = bare ? std::string(to) : "[" + std::string(to) + "]";
  std::string out;
  std::size_t i = 0;
  const auto afterDot = [&] {
    const auto last = out.find_last_not_of(" \t\r\n");
    return last != std::string::npos && out[last] == '.';
  };
  while (i < sql.size()) {
    const char c = sql[i];
    if (c == '\'' || c == '"' || c == '#') {
      // A literal runs to its closing mark; a doubled mark stays inside it.
      std::size_t end = i + 1;
      while (end < sql.size() && sql[end] != c) ++end;
      out += sql.substr(i, end + 1 - i);
      i = end + 1;
    } else if (c == '[') {
      const std::size_t end = std::min(sql.find(']', i), sql.size());
      const std::string_view inner = sql.substr(i + 1, end - i - 1);
      out += rt::NameEquals(inner, from) && !afterDot() ? replacement
                                                        : std::string(sql.substr(i, end + 1 - i));
      i = end + 1;
    } else if (IsNameChar(c)) {
      std::size_t end = i;
      while (end < sql.size() && IsNameChar(sql[end])) ++end;
      const std::string_view word = sql.substr(i, end - i);
      out += rt::NameEquals(word, from) && !afterDot() ? replacement : std::string(word);
      i = end;
    } else {
      out += c;
      ++i;
    }
  }
  return out;
}

// The name of the one link-error function the backend registers.
constexpr std::string_view kLinkErrorFunction = "zmdb_link_error";

class Store : public schema::SchemaStore {
 public:
  explicit Store(Backend& b) : b_(b), props_(b) {}

  // ------------------------------------------------------------ tables

  std::vector<schema::TableEntry> Tables() override {
    std::vector<schema::TableEntry> out;
    Result r = b_.ExecuteNative(
        "SELECT name, type FROM sqlite_master WHERE type IN ('table', 'view') AND name NOT LIKE "
        "'sqlite\\_%' ESCAPE '\\' AND name <> ? ORDER BY name",
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
  std::optional<TableDef> Table(std::string_view name) override {
    if (auto shape = ReadShape(name)) return std::move(shape->def);
    return ReadLink(name);
  }

  // Creates a table with its indexes and rules, or records a link.
  void CreateTable(const TableDef& def) override {
    RequireFreeName(def.name, false);
    if (def.kind == TableKind::Link) return CreateLink(def);
    if (def.fields.empty()) {
      engerr::Raise(engerr::kNoFields, "No field defined--cannot append TableDef or Index.");
    }
    TableShape shape;
    shape.def = def;
    shape.def.kind = TableKind::Table;
    CheckFields(shape.def);
    for (const FieldDef& f : def.fields) shape.notNull.push_back(f.required);
    for (const IndexDef& i : shape.def.indexes) CheckIndex(shape, i);
    AssignIndexNames(shape);
    Transaction([&] {
      b_.ExecuteNative(CreateTableSql(shape, def.name), {});
      for (const std::string& s : IndexSql(shape)) RunChange(s);
      for (const std::string& s : TriggerSql(shape)) b_.ExecuteNative(s, {});
      RecordTable(shape, true);
    });
  }

  // Drops a table or link with its recorded properties and relations.
  void DropTable(std::string_view name) override {
    if (auto link = ReadLink(name)) {
      Transaction([&] {
        b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(link->name), {});
        props_.DeleteOwner(kTableRow, link->name);
      });
      return;
    }
    const std::string actual = RequireTable(name);
    Transaction([&] {
      b_.ExecuteNative("DROP TABLE " + SqlIdentifier(actual), {});
      props_.DeleteOwner(kTableRow, actual);
      for (const auto& rel : props_.Rows(kRelationRow)) {
        if (rel.name == "~Table" || rel.name == "~ForeignTable") {
          if (rt::NameEquals(rt::TextOf(rel.value), actual))
            props_.DeleteOwner(kRelationRow, rel.owner);
        }
      }
    });
  }

  // Renames in place; SQLite rewrites indexes, foreign keys, views and triggers.
  void RenameTable(std::string_view from, std::string_view to) override {
    if (rt::NameEquals(from, to) && from == to) return;
    if (!rt::NameEquals(from, to)) RequireFreeName(to, false);
    if (auto link = ReadLink(from)) {
      Transaction([&] {
        b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(link->name), {});
        props_.RenameOwner(kTableRow, link->name, to);
        props_.Stamp(to, false);
      });
      AttachOne(std::string(to), link->connect, link->sourceTable);
      return;
    }
    auto shape = RequireShape(from);
    const std::string old = shape.def.name;
    Transaction([&] {
      DropManagedTriggers(old);
      b_.ExecuteNative(
          fmt::format("ALTER TABLE {} RENAME TO {}", SqlIdentifier(old), SqlIdentifier(to)), {});
      shape.def.name = std::string(to);
      for (const std::string& s : TriggerSql(WithoutOtherTriggers(shape))) b_.ExecuteNative(s, {});
      props_.RenameOwner(kTableRow, old, to);
      RenameInRelations(old, to);
      RenameInQueries(old, to);
      props_.Stamp(to, false);
    });
  }

  // Records a link's new connect string, source and attributes and sets it up again.
  void ChangeLink(std::string_view table, const std::string& connect, const std::string& source,
                  std::int32_t attributes) override {
    auto link = ReadLink(table);
    if (!link) engerr::Raise(engerr::kInvalidOperation, "Invalid operation.");
    Transaction([&] {
      props_.Put(kTableRow, link->name, "", "~Connect", kDbMemo, rt::Variant(connect));
      props_.Put(kTableRow, link->name, "", "~SourceTableName", kDbText, rt::Variant(source));
      props_.Put(kTableRow, link->name, "", "~Attributes", kDbLong, rt::Variant(attributes));
      props_.Stamp(link->name, false);
    });
    AttachOne(link->name, connect, source);
  }

  // ------------------------------------------------------------ fields

  void AddField(std::string_view table, const FieldDef& field) override {
    auto shape = RequireShape(table);
    if (FieldIndex(shape.def, field.name)) {
      engerr::Raise(engerr::kFieldExists, "Cannot define field more than once.");
    }
    TableShape to = shape;
    to.def.fields.push_back(field);
    to.notNull.push_back(false);
    CheckFields(to.def);
    const bool counter = (field.attributes & schema::kAutoIncrField) != 0;
    std::string column = ColumnOnly(to, to.def.fields.size() - 1);
    Transaction(
        [&] {
          bool inPlace = true;
          try {
            b_.Begin();
            // The rule triggers would check the numbering update of existing rows.
            DropManagedTriggers(shape.def.name);
            b_.ExecuteNative(
                fmt::format("ALTER TABLE {} ADD COLUMN {}", SqlIdentifier(shape.def.name), column),
                {});
            if (counter) {
              // Number the rows already there, in the order they were stored.
              b_.ExecuteNative(
                  fmt::format("UPDATE {0} SET {1} = 1 + (SELECT COUNT(*) FROM {0} AS z "
                              "WHERE z.rowid < {0}.rowid)",
                              SqlIdentifier(shape.def.name), SqlIdentifier(field.name)),
                  {});
            }
            b_.Commit();
          } catch (const rt::PlatformError&) {
            b_.Rollback();
            inPlace = false;
          }
          if (inPlace) {
            SyncTriggers(to);
          } else {
            Rebuild(shape, to, CopyAll(shape));
          }
          RecordField(to.def.name, field, true);
          props_.Stamp(to.def.name, false);
        },
        true);
  }

  // Drops a column through the rebuild; refused for an indexed or related field.
  void DropField(std::string_view table, std::string_view field) override {
    auto shape = RequireShape(table);
    const auto at = FieldIndex(shape.def, field);
    if (!at) engerr::ItemNotFound("DAO.Fields");
    const std::string name = shape.def.fields[*at].name;
    for (const IndexDef& i : shape.def.indexes) {
      for (const auto& k : i.fields) {
        if (rt::NameEquals(k.name, name)) {
          engerr::Raise(
              engerr::kFieldInIndex,
              "Cannot delete a field that is part of an index or is needed by the system.");
        }
      }
    }
    for (const ForeignKey& fk : shape.foreignKeys) {
      for (const auto& c : fk.columns) {
        if (rt::NameEquals(c, name)) {
          engerr::Raise(3303, "Cannot delete this field. It is part of one or more relationships.");
        }
      }
    }
    TableShape to = shape;
    to.def.fields.erase(to.def.fields.begin() + static_cast<std::ptrdiff_t>(*at));
    to.notNull.erase(to.notNull.begin() + static_cast<std::ptrdiff_t>(*at));
    auto copy = CopyAll(to);
    Transaction(
        [&] {
          Rebuild(shape, to, copy);
          props_.DeleteItem(kFieldRow, shape.def.name, name);
          props_.Stamp(shape.def.name, false);
        },
        true);
  }

  // Renames a column in place, then regenerates the triggers that name it.
  void RenameField(std::string_view table, std::string_view from, std::string_view to) override {
    auto shape = RequireShape(table);
    const auto at = FieldIndex(shape.def, from);
    if (!at) engerr::ItemNotFound("DAO.Fields");
    const std::string old = shape.def.fields[*at].name;
    if (old == to) return;
    if (!rt::NameEquals(old, to) && FieldIndex(shape.def, to)) {
      engerr::Raise(engerr::kFieldExists, "Cannot define field more than once.");
    }
    Transaction([&] {
      DropManagedTriggers(shape.def.name);
      b_.ExecuteNative(
          fmt::format("ALTER TABLE {} RENAME COLUMN {} TO {}", SqlIdentifier(shape.def.name),
                      SqlIdentifier(old), SqlIdentifier(to)),
          {});
      auto after = RequireShape(shape.def.name);
      // The generated triggers were dropped above, so what only they showed
      // comes from the shape read before: the field's recorded rules, the
      // indexes that refuse Nulls and the AutoNumbers' seeds and steps.
      after.def.fields[*FieldIndex(after.def, to)].required = shape.def.fields[*at].required;
      after.def.fields[*FieldIndex(after.def, to)].allowZeroLength =
          shape.def.fields[*at].allowZeroLength;
      for (IndexDef& i : after.def.indexes) {
        for (const IndexDef& was : shape.def.indexes) {
          if (rt::NameEquals(i.name, was.name)) i.required = was.required;
        }
      }
      after.numbering = shape.numbering;
      for (auto& n : after.numbering) {
        if (rt::NameEquals(n.field, old)) n.field = std::string(to);
      }
      for (const std::string& s : TriggerSql(WithoutOtherTriggers(after))) b_.ExecuteNative(s, {});
      props_.RenameItem(kFieldRow, shape.def.name, old, to);
      RenameFieldInRelations(shape.def.name, old, to);
      props_.Stamp(shape.def.name, false);
    });
  }

  // Changes a field's properties; a new type or default rebuilds the table.
  void ChangeField(std::string_view table, const FieldDef& field) override {
    auto shape = RequireShape(table);
    const auto at = FieldIndex(shape.def, field.name);
    if (!at) engerr::ItemNotFound("DAO.Fields");
    const FieldDef& now = shape.def.fields[*at];
    TableShape to = shape;
    FieldDef& next = to.def.fields[*at];
    next = field;
    next.name = now.name;
    CheckFields(to.def);
    const bool physical = DeclaredTypeForDao(now) != DeclaredTypeForDao(next) ||
                          DefaultSql(now.defaultValue) != DefaultSql(next.defaultValue) ||
                          (shape.notNull[*at] && !next.required);
    if (shape.notNull[*at] && !next.required) to.notNull[*at] = false;
    Transaction(
        [&] {
          if (physical) {
            Rebuild(shape, to, CopyAll(shape));
          } else {
            SyncTriggers(to);
          }
          RecordField(to.def.name, next, false);
          props_.Stamp(to.def.name, false);
        },
        physical);
  }

  // ------------------------------------------------------------ indexes

  void CreateIndex(std::string_view table, const IndexDef& index) override {
    auto shape = RequireShape(table);
    CheckIndex(shape, index);
    TableShape to = shape;
    to.def.indexes.push_back(index);
    to.indexSqlNames.push_back(index.primary ? std::string()
                                             : UniqueIndexName(shape.def.name, index.name, {}));
    Transaction(
        [&] {
          if (index.primary) {
            Rebuild(shape, to, CopyAll(shape));
          } else {
            const std::size_t last = to.def.indexes.size() - 1;
            TableShape one = to;
            one.def.indexes = {to.def.indexes[last]};
            one.indexSqlNames = {to.indexSqlNames[last]};
            for (const std::string& s : IndexSql(one)) RunChange(s);
            SyncTriggers(to);
          }
          RecordIndex(to.def.name, index, to.indexSqlNames.back());
          props_.Stamp(to.def.name, false);
        },
        index.primary);
  }

  // Drops an index in place; dropping the primary key rebuilds the table.
  void DropIndex(std::string_view table, std::string_view name) override {
    auto shape = RequireShape(table);
    std::optional<std::size_t> at;
    for (std::size_t i = 0; i < shape.def.indexes.size(); ++i) {
      if (rt::NameEquals(shape.def.indexes[i].name, name)) at = i;
    }
    if (!at) engerr::ItemNotFound("DAO.Indexes");
    TableShape to = shape;
    const IndexDef gone = shape.def.indexes[*at];
    const std::string sqlName = shape.indexSqlNames[*at];
    to.def.indexes.erase(to.def.indexes.begin() + static_cast<std::ptrdiff_t>(*at));
    to.indexSqlNames.erase(to.indexSqlNames.begin() + static_cast<std::ptrdiff_t>(*at));
    Transaction(
        [&] {
          if (gone.primary) {
            // The key's columns keep refusing Nulls only where the field says so.
            for (std::size_t f = 0; f < to.def.fields.size(); ++f) {
              to.notNull[f] = to.notNull[f] && to.def.fields[f].required;
            }
            Rebuild(shape, to, CopyAll(shape));
          } else {
            b_.ExecuteNative("DROP INDEX " + SqlIdentifier(sqlName), {});
            SyncTriggers(to);
          }
          props_.DeleteItem(kIndexRow, shape.def.name, gone.name);
          props_.Stamp(shape.def.name, false);
        },
        gone.primary);
  }

  // ------------------------------------------------------------ queries

  std::vector<schema::QueryDef> Queries() override {
    std::vector<schema::QueryDef> out;
    const auto rows = props_.Rows(kQueryRow);
    Result r = b_.ExecuteNative(
        "SELECT name, sql FROM sqlite_master WHERE type = 'view' ORDER BY name", {});
    while (r.cursor && r.cursor->Step()) {
      schema::QueryDef q;
      q.name = Text(*r.cursor, 0);
      q.sql = ViewBody(Text(*r.cursor, 1));
      out.push_back(std::move(q));
    }
    for (const SysRow& row : rows) {
      if (row.name != "~SQL") continue;
      auto it = std::find_if(out.begin(), out.end(),
                             [&](const auto& q) { return rt::NameEquals(q.name, row.owner); });
      if (it == out.end()) {
        out.push_back(schema::QueryDef{row.owner, {}, 0, {}});
        it = out.end() - 1;
      }
      it->sql = rt::TextOf(row.value);
    }
    for (auto& q : out) {
      q.type = schema::QueryTypeOf(q.sql);
      for (const SysRow& row : rows) {
        if (rt::NameEquals(row.owner, q.name) && !row.name.starts_with("~")) {
          q.props.push_back(Prop{row.name, row.type, row.value});
        }
      }
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
      return rt::AsciiUpper(a.name) < rt::AsciiUpper(b.name);
    });
    return out;
  }

  // Saves a query; a name in use by a table or query is error 3012.
  void CreateQuery(const schema::QueryDef& q) override {
    RequireFreeName(q.name, true);
    Transaction([&] { WriteQuery(q.name, q.sql); });
  }

  // Drops a saved query; 3265 when there is none.
  void DropQuery(std::string_view name) override {
    const auto q = RequireQuery(name);
    Transaction([&] {
      b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
      props_.DeleteOwner(kQueryRow, q.name);
    });
  }

  // Renames a saved query (a view is made again under the new name).
  void RenameQuery(std::string_view from, std::string_view to) override {
    const auto q = RequireQuery(from);
    if (!rt::NameEquals(from, to)) RequireFreeName(to, true);
    Transaction([&] {
      b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
      props_.RenameOwner(kQueryRow, q.name, to);
      WriteQuery(std::string(to), q.sql);
    });
  }

  // Replaces a saved query's text (and its view).
  void ChangeQuerySql(std::string_view name, const std::string& sql) override {
    const auto q = RequireQuery(name);
    Transaction([&] {
      b_.ExecuteNative("DROP VIEW IF EXISTS main." + SqlIdentifier(q.name), {});
      WriteQuery(q.name, sql);
    });
  }

  // ------------------------------------------------------------ relations

  std::vector<schema::RelationDef> Relations() override {
    std::map<std::string, schema::RelationDef> byName;
    for (const SysRow& row : props_.Rows(kRelationRow)) {
      auto& r = byName[rt::AsciiUpper(row.owner)];
      r.name = row.owner;
      if (row.name == "~Table") r.table = rt::TextOf(row.value);
      if (row.name == "~ForeignTable") r.foreignTable = rt::TextOf(row.value);
      if (row.name == "~Attributes") r.attributes = rt::CLng(row.value);
      if (row.name == "~Fields") r.fields = ParsePairs(rt::TextOf(row.value));
    }
    std::vector<schema::RelationDef> out;
    for (auto& [key, r] : byName) out.push_back(std::move(r));
    // Foreign keys made by plain SQL are relations too, named after their tables.
    for (const auto& entry : Tables()) {
      if (entry.kind != TableKind::Table) continue;
      auto shape = ReadShape(entry.name);
      if (!shape) continue;
      for (const ForeignKey& fk : shape->foreignKeys) {
        if (FindRelationFor(out, shape->def.name, fk)) continue;
        schema::RelationDef r;
        r.name = fk.refTable + shape->def.name;
        r.table = fk.refTable;
        r.foreignTable = shape->def.name;
        r.attributes = fk.attributes;
        for (std::size_t i = 0; i < fk.columns.size(); ++i) {
          r.fields.emplace_back(i < fk.refColumns.size() ? fk.refColumns[i] : fk.columns[i],
                                fk.columns[i]);
        }
        out.push_back(std::move(r));
      }
    }
    return out;
  }

  // Records a relation; an enforced one rebuilds the foreign table with its key.
  void CreateRelation(const schema::RelationDef& r) override {
    for (const auto& existing : Relations()) {
      if (rt::NameEquals(existing.name, r.name)) engerr::ObjectExists(r.name);
    }
    const auto primary = RequireShape(r.table);
    auto foreign = RequireShape(r.foreignTable);
    if (r.fields.empty())
      engerr::Raise(engerr::kNoFields, "No field defined--cannot append Relation.");
    std::vector<std::string> pcols, fcols;
    for (const auto& [p, f] : r.fields) {
      const auto pi = FieldIndex(primary.def, p);
      const auto fi = FieldIndex(foreign.def, f);
      if (!pi || !fi) engerr::ItemNotFound("DAO.Relations");
      pcols.push_back(primary.def.fields[*pi].name);
      fcols.push_back(foreign.def.fields[*fi].name);
    }
    const bool enforce = (r.attributes & schema::kRelationDontEnforce) == 0;
    if (enforce && !HasUniqueIndexOn(primary, pcols)) {
      engerr::Raise(engerr::kNoUniqueIndex,
                    "No unique index found for the referenced field of the primary table.");
    }
    Transaction(
        [&] {
          if (enforce) {
            TableShape to = foreign;
            to.foreignKeys.push_back(ForeignKey{
                primary.def.name, fcols, pcols,
                r.attributes & (schema::kRelationUpdateCascade | schema::kRelationDeleteCascade)});
            Rebuild(foreign, to, CopyAll(foreign));
          }
          std::string pairs;
          for (std::size_t i = 0; i < pcols.size(); ++i) pairs += pcols[i] + "=" + fcols[i] + ";";
          props_.Put(kRelationRow, r.name, "", "~Table", kDbText, rt::Variant(primary.def.name));
          props_.Put(kRelationRow, r.name, "", "~ForeignTable", kDbText,
                     rt::Variant(foreign.def.name));
          props_.Put(kRelationRow, r.name, "", "~Attributes", kDbLong, rt::Variant(r.attributes));
          props_.Put(kRelationRow, r.name, "", "~Fields", kDbMemo, rt::Variant(pairs));
        },
        enforce);
  }

  // Forgets a relation; an enforced one rebuilds the foreign table without it.
  void DropRelation(std::string_view name) override {
    std::optional<schema::RelationDef> found;
    for (auto& r : Relations()) {
      if (rt::NameEquals(r.name, name)) found = r;
    }
    if (!found) engerr::ItemNotFound("DAO.Relations");
    Transaction(
        [&] {
          if (auto foreign = ReadShape(found->foreignTable)) {
            TableShape to = *foreign;
            auto& fks = to.foreignKeys;
            const auto before = fks.size();
            fks.erase(std::remove_if(fks.begin(), fks.end(),
                                     [&](const ForeignKey& fk) { return Matches(*found, fk); }),
                      fks.end());
            if (fks.size() != before) Rebuild(*foreign, to, CopyAll(*foreign));
          }
          props_.DeleteOwner(kRelationRow, found->name);
        },
        true);
  }

  // ------------------------------------------------------------ properties

  std::vector<Prop> Properties(const schema::ObjectPath& path) override {
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
  void PutProperty(const schema::ObjectPath& path, const Prop& prop) override {
    props_.Put(RowKindOf(path.kind), path.owner, path.item, prop.name, prop.type, prop.value);
  }

  // Forgets one of the caller's own properties of an object.
  void DeleteProperty(const schema::ObjectPath& path, std::string_view name) override {
    props_.Delete(RowKindOf(path.kind), path.owner, path.item, name);
  }

  std::int64_t RecordCount(std::string_view table) override {
    Result r = b_.ExecuteNative("SELECT COUNT(*) FROM " + SqlIdentifier(table), {});
    return r.cursor && r.cursor->Step() ? r.cursor->Integer(0) : 0;
  }

  // Sets up one link on this connection; a failure leaves a view that says why.
  void AttachOne(const std::string& name, const std::string& connect, const std::string& source) {
    b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(name), {});
    const auto errorView = [&](const std::string& why) {
      b_.ExecuteNative(
          fmt::format("CREATE TEMP VIEW {} AS SELECT {}({}) AS {}", SqlIdentifier(name),
                      kLinkErrorFunction, Lit(why), SqlIdentifier("Error")),
          {});
    };
    if (IsOdbcConnect(connect)) {
      return errorView("Linked table '" + name +
                       "' reaches an ODBC data source; reading ODBC links is not yet supported.");
    }
    const std::string path = LinkPath(connect);
    std::error_code ec;
    if (path.empty() || !std::filesystem::exists(path, ec)) {
      return errorView("Could not find file '" + path + "' of linked table '" + name + "'.");
    }
    const std::string alias = AliasFor(path);
    b_.ExecuteNative(
        fmt::format("CREATE TEMP VIEW {} AS SELECT * FROM {}.{}", SqlIdentifier(name),
                    SqlIdentifier(alias), SqlIdentifier(source.empty() ? name : source)),
        {});
  }

 private:
  // ------------------------------------------------------------ reading

  // The actual name of a table (not a view), or none.
  std::optional<std::string> ActualTable(std::string_view name) {
    Result r = b_.ExecuteNative(
        "SELECT name FROM sqlite_master WHERE type = 'table' AND name = ? COLLATE NOCASE AND name "
        "<> ?",
        {rt::Variant(name), rt::Variant(std::string(kSystemTable))});
    if (r.cursor && r.cursor->Step()) return Text(*r.cursor, 0);
    return std::nullopt;
  }

  // The stored name of a table, or 3265.
  std::string RequireTable(std::string_view name) {
    auto actual = ActualTable(name);
    if (!actual) engerr::ItemNotFound("DAO.TableDefs");
    return *actual;
  }

  // The shape of a table; 3219 for a link, 3265 when missing.
  TableShape RequireShape(std::string_view name) {
    auto shape = ReadShape(name);
    if (!shape) {
      if (ReadLink(name)) {
        engerr::Raise(engerr::kInvalidOperation,
                      "Cannot modify the design of linked table '" + std::string(name) + "'.");
      }
      engerr::ItemNotFound("DAO.TableDefs");
    }
    return std::move(*shape);
  }

  // The whole description of a table: SQLite's catalogue, then the system table.
  std::optional<TableShape> ReadShape(std::string_view requested) {
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
  std::string MasterSql(std::string_view type, std::string_view name) {
    Result r = b_.ExecuteNative("SELECT sql FROM sqlite_master WHERE type = ? AND name = ?",
                                {rt::Variant(type), rt::Variant(name)});
    return r.cursor && r.cursor->Step() ? Text(*r.cursor, 0) : std::string();
  }

  // Fields from table_info, overlaid with the system table, in ordinal order.
  void ReadFields(TableShape& s, const std::string& upperSql, const std::vector<SysRow>& rows) {
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
  void Overlay(FieldDef& f, const std::vector<SysRow>& rows) {
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
  static std::string DeclaredTypeForDaoOrEmpty(const FieldDef& f) {
    try {
      return DeclaredTypeForDao(f);
    } catch (const rt::PlatformError&) {
      return {};
    }
  }

  // Indexes from index_list, named by the system table; the rowid key too.
  void ReadIndexes(TableShape& s, const std::vector<SysRow>& rows) {
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
  std::string TableSql(const std::string& table) {
    Result r = b_.ExecuteNative("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = ?",
                                {rt::Variant(table)});
    return r.cursor && r.cursor->Step() ? Text(*r.cursor, 0) : std::string();
  }

  // True when `column` is part of the table's primary key.
  bool IsPkColumn(const std::string& table, const std::string& column) {
    Result r = b_.ExecuteNative("SELECT pk FROM pragma_table_info(?) WHERE name = ?",
                                {rt::Variant(table), rt::Variant(column)});
    return r.cursor && r.cursor->Step() && r.cursor->Integer(0) > 0;
  }

  // True when a trigger of that name exists.
  bool HasTrigger(const std::string& name) {
    Result r = b_.ExecuteNative("SELECT 1 FROM sqlite_master WHERE type = 'trigger' AND name = ?",
                                {rt::Variant(name)});
    return r.cursor && r.cursor->Step();
  }

  // The table's foreign keys, grouped by constraint.
  void ReadForeignKeys(TableShape& s) {
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
  void ReadTriggers(TableShape& s) {
    Result r = b_.ExecuteNative(
        "SELECT name, sql FROM sqlite_master WHERE type = 'trigger' AND tbl_name = ? ORDER BY "
        "rowid",
        {rt::Variant(s.def.name)});
    const std::string counterPrefix = s.def.name + "__counter_";
    while (r.cursor && r.cursor->Step()) {
      const std::string name = Text(*r.cursor, 0);
      if (!IsManagedTrigger(s.def.name, name)) {
        s.otherTriggers.push_back(Text(*r.cursor, 1));
      } else if (StartsWithNoCase(name, counterPrefix)) {
        if (auto n = CounterNumbering(Text(*r.cursor, 1))) {
          n->field = name.substr(counterPrefix.size());
          s.numbering.push_back(std::move(*n));
        }
      }
    }
  }

  // The last number of the table's rowid AutoNumber, when SQLite keeps one.
  void ReadSequence(TableShape& s) {
    if (MasterSql("table", "sqlite_sequence").empty()) return;
    Result r = b_.ExecuteNative("SELECT seq FROM sqlite_sequence WHERE name = ?",
                                {rt::Variant(s.def.name)});
    if (r.cursor && r.cursor->Step()) s.sequence = r.cursor->Integer(0);
  }

  // A link recorded in the system table, with its source's fields; none otherwise.
  std::optional<TableDef> ReadLink(std::string_view name) {
    const std::string owner(name);
    for (const std::string& link : LinkNames(b_)) {
      if (!rt::NameEquals(link, name)) continue;
      const std::string actual = link;
      const auto rows = props_.Rows(kTableRow, &actual);
      TableDef def;
      def.name = link;
      def.kind = TableKind::Link;
      def.connect = rt::TextOf(Own(rows, "", "~Connect"));
      def.sourceTable = rt::TextOf(Own(rows, "", "~SourceTableName"));
      const rt::Variant attrs = Own(rows, "", "~Attributes");
      def.attributes =
          (attrs.IsEmpty() ? 0 : rt::CLng(attrs)) |
          (IsOdbcConnect(def.connect) ? schema::kAttachedODBC : schema::kAttachedTable);
      def.dateCreated = Own(rows, "", "~DateCreated");
      def.lastUpdated = Own(rows, "", "~LastUpdated");
      if (def.dateCreated.IsEmpty()) def.dateCreated = rt::Variant::Null();
      if (def.lastUpdated.IsEmpty()) def.lastUpdated = rt::Variant::Null();
      def.props = CallerProps(rows, "");
      ReadLinkFields(def);
      return def;
    }
    return std::nullopt;
  }

  // The fields of a readable link are those of its source table.
  void ReadLinkFields(TableDef& def) {
    if (IsOdbcConnect(def.connect)) return;
    try {
      Result r = b_.ExecuteNative("SELECT name, type FROM pragma_table_info(?, 'temp')",
                                  {rt::Variant(def.name)});
      while (r.cursor && r.cursor->Step()) {
        FieldDef f;
        f.name = Text(*r.cursor, 0);
        const ColumnType t = ColumnTypeForDeclared(Text(*r.cursor, 1));
        f.type = DaoTypeOfAdo(t.adoType);
        f.size = DaoSize(f.type, t.definedSize);
        f.attributes = TypeAttributes(f.type);
        f.ordinal = static_cast<std::int32_t>(def.fields.size());
        def.fields.push_back(std::move(f));
      }
    } catch (const rt::PlatformError&) {
      // An unreadable source leaves the link without fields.
    }
  }

  // ------------------------------------------------------------ checks

  // Refuses a name any table, link or (when `query`) query already has.
  void RequireFreeName(std::string_view name, bool query) {
    if (name.empty()) {
      engerr::Raise(3125,
                    "'' is not a valid name. Make sure that it does not include invalid "
                    "characters or punctuation and that it is not too long.");
    }
    Result r = b_.ExecuteNative(
        "SELECT type FROM sqlite_master WHERE type IN ('table', 'view') AND name = ? COLLATE "
        "NOCASE",
        {rt::Variant(name)});
    bool used = r.cursor && r.cursor->Step();
    for (const std::string& link : LinkNames(b_)) used = used || rt::NameEquals(link, name);
    if (!used && props_.Exists()) {
      for (const SysRow& q : props_.Rows(kQueryRow)) used = used || rt::NameEquals(q.owner, name);
    }
    if (used) {
      if (query) engerr::ObjectExists(name);
      engerr::TableExists(name);
    }
  }

  // Refuses a field type the store cannot hold and duplicate field names.
  void CheckFields(const TableDef& def) {
    for (std::size_t i = 0; i < def.fields.size(); ++i) {
      DeclaredTypeForDao(def.fields[i]);
      for (std::size_t j = 0; j < i; ++j) {
        if (rt::NameEquals(def.fields[i].name, def.fields[j].name)) {
          engerr::Raise(engerr::kFieldExists, "Cannot define field more than once.");
        }
      }
    }
  }

  // Refuses duplicate index names, a second primary key and unknown key fields.
  void CheckIndex(const TableShape& s, const IndexDef& index) {
    if (index.fields.empty()) {
      engerr::Raise(engerr::kNoFields, "No field defined--cannot append TableDef or Index.");
    }
    for (const IndexDef& i : s.def.indexes) {
      if (&i == &index) continue;
      if (rt::NameEquals(i.name, index.name)) {
        engerr::Raise(engerr::kIndexExists, "Index already exists.");
      }
      if (i.primary && index.primary) {
        engerr::Raise(engerr::kPrimaryKeyExists, "Primary key already exists.");
      }
    }
    for (const auto& k : index.fields) {
      if (!FieldIndex(s.def, k.name)) {
        engerr::ItemNotFound("DAO.Indexes");
      }
    }
  }

  // The position of a field by name (any case), or none.
  static std::optional<std::size_t> FieldIndex(const TableDef& def, std::string_view name) {
    for (std::size_t i = 0; i < def.fields.size(); ++i) {
      if (rt::NameEquals(def.fields[i].name, name)) return i;
    }
    return std::nullopt;
  }

  // True when a unique or primary index has exactly `cols` as its key.
  bool HasUniqueIndexOn(const TableShape& s, const std::vector<std::string>& cols) {
    for (const IndexDef& i : s.def.indexes) {
      if (!(i.unique || i.primary) || i.fields.size() != cols.size()) continue;
      bool same = true;
      for (std::size_t k = 0; k < cols.size(); ++k)
        same = same && rt::NameEquals(i.fields[k].name, cols[k]);
      if (same) return true;
    }
    return false;
  }

  // ------------------------------------------------------------ changing

  // Runs `f` in a transaction of its own (a savepoint inside the caller's).
  // When `f` may rebuild a table, foreign keys are not enforced while it runs
  // (enforcement cannot change inside a transaction, and dropping the old
  // table must not touch the rows that refer to it) and are checked before
  // the commit; renames inside a rebuild leave other objects' texts alone.
  void Transaction(const std::function<void()>& f, bool rebuild = false) {
    bool enforcing = false;
    if (rebuild) {
      enforcing = PragmaOn("foreign_keys");
      b_.ExecuteNative("PRAGMA foreign_keys = OFF", {});
      if (enforcing && PragmaOn("foreign_keys")) {
        engerr::Raise(engerr::kInvalidOperation,
                      "Invalid operation: the table must be rebuilt for this change, which cannot "
                      "be done inside a transaction.");
      }
      b_.ExecuteNative("PRAGMA legacy_alter_table = ON", {});
    }
    const auto restore = [&] {
      if (!rebuild) return;
      b_.ExecuteNative("PRAGMA legacy_alter_table = OFF", {});
      if (enforcing) b_.ExecuteNative("PRAGMA foreign_keys = ON", {});
    };
    b_.Begin();
    try {
      f();
      if (rebuild) CheckForeignKeys();
      b_.Commit();
    } catch (...) {
      b_.Rollback();
      restore();
      throw;
    }
    restore();
  }

  // Refuses a change that left a row referring to a missing one.
  void CheckForeignKeys() {
    Result check = b_.ExecuteNative("PRAGMA foreign_key_check", {});
    if (check.cursor && check.cursor->Step()) {
      engerr::Raise(engerr::kRelatedRecordRequired,
                    "You cannot add or change a record because a related record is required in "
                    "table '" +
                        std::string(check.cursor->Text(2)) + "'.");
    }
  }

  // Runs a statement that changes data (an index build), with the engine's errors.
  void RunChange(const std::string& sql) {
    try {
      b_.ExecuteNative(sql, {});
    } catch (const rt::PlatformError& e) {
      RaiseChangeError(e);
    }
  }

  // The rebuild routine: every change SQLite cannot make in place replaces
  // the table by a new one holding every row, index and trigger. It runs
  // inside Transaction(..., true), which rolls everything back on failure.
  void Rebuild(const TableShape& from, const TableShape& wanted,
               const std::vector<std::pair<std::string, std::string>>& copy) {
    // SQLite's own index names (those of UNIQUE constraints) cannot be given
    // to CREATE INDEX, so those indexes get names of their own.
    TableShape to = wanted;
    for (std::size_t i = 0; i < to.def.indexes.size(); ++i) {
      if (StartsWithNoCase(to.indexSqlNames[i], "sqlite_")) {
        to.indexSqlNames[i] =
            UniqueIndexName(to.def.name, to.def.indexes[i].name, to.indexSqlNames);
      }
    }
    for (const std::string& s : RebuildSql(from, to, copy)) RunChange(s);
    for (std::size_t i = 0; i < to.def.indexes.size(); ++i) {
      RecordIndex(to.def.name, to.def.indexes[i], to.indexSqlNames[i]);
    }
  }

  // The value of a Boolean pragma on this connection.
  bool PragmaOn(std::string_view name) {
    Result r = b_.ExecuteNative("PRAGMA " + std::string(name), {});
    return r.cursor && r.cursor->Step() && r.cursor->Integer(0) != 0;
  }

  // Every column of `shape` copied to itself.
  static std::vector<std::pair<std::string, std::string>> CopyAll(const TableShape& shape) {
    std::vector<std::pair<std::string, std::string>> copy;
    for (const FieldDef& f : shape.def.fields) copy.emplace_back(f.name, f.name);
    return copy;
  }

  // The column definition of field `i` as ALTER TABLE ADD COLUMN takes it.
  static std::string ColumnOnly(const TableShape& shape, std::size_t i) {
    TableShape one;
    one.def.name = shape.def.name;
    one.def.fields = {shape.def.fields[i]};
    one.notNull = {false};
    const std::string sql = CreateTableSql(one, "x");
    const auto open = sql.find('(');
    return sql.substr(open + 1, sql.size() - open - 2);
  }

  // Drops the triggers this store generated for `table`.
  void DropManagedTriggers(const std::string& table) {
    Result r =
        b_.ExecuteNative("SELECT name FROM sqlite_master WHERE type = 'trigger' AND tbl_name = ?",
                         {rt::Variant(table)});
    std::vector<std::string> names;
    while (r.cursor && r.cursor->Step()) names.push_back(Text(*r.cursor, 0));
    for (const std::string& n : names) {
      if (IsManagedTrigger(table, n)) b_.ExecuteNative("DROP TRIGGER " + SqlIdentifier(n), {});
    }
  }

  // Replaces the generated triggers of a table by those `shape` calls for.
  void SyncTriggers(const TableShape& shape) {
    DropManagedTriggers(shape.def.name);
    for (const std::string& s : TriggerSql(WithoutOtherTriggers(shape))) b_.ExecuteNative(s, {});
  }

  // The shape without the caller's own triggers (they are still in place).
  static TableShape WithoutOtherTriggers(TableShape s) {
    s.otherTriggers.clear();
    return s;
  }

  // A SQLite index name for engine index `name` of `table`: the name itself
  // when no object of the database has it (so Jet SQL reaches it by name),
  // else one made unique with the table's name.
  std::string UniqueIndexName(const std::string& table, const std::string& name,
                              const std::vector<std::string>& taken) {
    const auto used = [&](const std::string& candidate) {
      for (const auto& t : taken) {
        if (rt::NameEquals(t, candidate)) return true;
      }
      Result r = b_.ExecuteNative("SELECT 1 FROM sqlite_master WHERE name = ? COLLATE NOCASE",
                                  {rt::Variant(candidate)});
      return r.cursor && r.cursor->Step();
    };
    std::string candidate = name;
    for (int n = 2; used(candidate) || rt::NameEquals(candidate, table); ++n) {
      candidate = fmt::format("{}_{}{}", table, name, n == 2 ? "" : std::to_string(n));
    }
    return candidate;
  }

  // Gives every index of a new table its SQLite name.
  void AssignIndexNames(TableShape& shape) {
    shape.indexSqlNames.clear();
    std::vector<std::string> taken;
    for (const IndexDef& i : shape.def.indexes) {
      shape.indexSqlNames.push_back(i.primary ? std::string()
                                              : UniqueIndexName(shape.def.name, i.name, taken));
      taken.push_back(shape.indexSqlNames.back());
    }
  }

  // Records what SQLite cannot hold of a new table, its fields and indexes.
  void RecordTable(const TableShape& shape, bool created) {
    const std::string& t = shape.def.name;
    props_.Stamp(t, created);
    for (const Prop& p : shape.def.props) props_.Put(kTableRow, t, "", p.name, p.type, p.value);
    for (const FieldDef& f : shape.def.fields) RecordField(t, f, true);
    for (std::size_t i = 0; i < shape.def.indexes.size(); ++i) {
      RecordIndex(t, shape.def.indexes[i], shape.indexSqlNames[i]);
    }
  }

  // Records what SQLite cannot hold of a field (and drops removed properties).
  void RecordField(const std::string& t, const FieldDef& f, bool isNew) {
    const std::int32_t own =
        f.attributes & ~(schema::kFixedField | schema::kVariableField | schema::kAutoIncrField);
    props_.Put(kFieldRow, t, f.name, "~Attributes", kDbLong, rt::Variant(own));
    props_.Put(kFieldRow, t, f.name, "~Type", kDbLong, rt::Variant(f.type));
    props_.Put(kFieldRow, t, f.name, "~Required", kDbBoolean, rt::Variant(f.required));
    props_.Put(kFieldRow, t, f.name, "~AllowZeroLength", kDbBoolean,
               rt::Variant(f.allowZeroLength));
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
  void RecordIndex(const std::string& t, const IndexDef& i, const std::string& sqlName) {
    props_.Put(kIndexRow, t, i.name, "~SqlName", kDbText, rt::Variant(sqlName));
    props_.Put(kIndexRow, t, i.name, "~Clustered", kDbBoolean, rt::Variant(i.clustered));
    props_.Put(kIndexRow, t, i.name, "~IgnoreNulls", kDbBoolean, rt::Variant(i.ignoreNulls));
    props_.Put(kIndexRow, t, i.name, "~Foreign", kDbBoolean, rt::Variant(i.foreign));
    for (const Prop& p : i.props) props_.Put(kIndexRow, t, i.name, p.name, p.type, p.value);
  }

  // Records a link and sets it up on this connection.
  void CreateLink(const TableDef& def) {
    Transaction([&] {
      props_.Put(kTableRow, def.name, "", "~Connect", kDbMemo, rt::Variant(def.connect));
      props_.Put(kTableRow, def.name, "", "~SourceTableName", kDbText,
                 rt::Variant(def.sourceTable));
      const std::int32_t own = def.attributes & ~(schema::kAttachedTable | schema::kAttachedODBC);
      props_.Put(kTableRow, def.name, "", "~Attributes", kDbLong, rt::Variant(own));
      for (const Prop& p : def.props) props_.Put(kTableRow, def.name, "", p.name, p.type, p.value);
      props_.Stamp(def.name, true);
    });
    AttachOne(def.name, def.connect, def.sourceTable);
  }

  // The attach alias of a link source file, attaching it on first use.
  std::string AliasFor(const std::string& path) {
    Result r = b_.ExecuteNative("SELECT name, file FROM pragma_database_list", {});
    const std::string wanted = std::filesystem::weakly_canonical(path).string();
    int n = 0;
    while (r.cursor && r.cursor->Step()) {
      ++n;
      std::error_code ec;
      const std::string file = Text(*r.cursor, 1);
      if (!file.empty() && std::filesystem::weakly_canonical(file, ec).string() == wanted) {
        return Text(*r.cursor, 0);
      }
    }
    const std::string alias = fmt::format("link{}", n);
    b_.ExecuteNative("ATTACH DATABASE ? AS " + SqlIdentifier(alias), {rt::Variant(path)});
    return alias;
  }

  // `text` as an SQL text literal.
  static std::string Lit(std::string_view text) {
    std::string out = "'";
    for (char c : text) {
      if (c == '\'') out += '\'';
      out += c;
    }
    return out + "'";
  }

  // A select query becomes a view (usable by name in FROM); every query keeps
  // its Jet text in the system table.
  void WriteQuery(const std::string& name, const std::string& sql) {
    if (!sql.empty() && schema::QueryTypeOf(sql) == schema::kQSelect) {
      const Rewritten r = RewriteJet(sql);
      if (r.statements.size() != 1) {
        engerr::Raise(3129,
                      "Invalid SQL statement; expected 'DELETE', 'INSERT', 'PROCEDURE', "
                      "'SELECT', or 'UPDATE'.");
      }
      b_.ExecuteNative(
          fmt::format("CREATE VIEW {} AS {}", SqlIdentifier(name), r.statements.front()), {});
    }
    props_.Put(kQueryRow, name, "", "~SQL", kDbMemo, rt::Variant(sql));
  }

  // A saved query by name, or 3265.
  schema::QueryDef RequireQuery(std::string_view name) {
    for (auto& q : Queries()) {
      if (rt::NameEquals(q.name, name)) return q;
    }
    engerr::ItemNotFound("DAO.QueryDefs");
  }

  // The SELECT of a CREATE VIEW text.
  static std::string ViewBody(const std::string& sql) {
    const std::string upper = rt::AsciiUpper(sql);
    const auto as = upper.find(" AS ");
    return as == std::string::npos ? sql : sql.substr(as + 4);
  }

  // The field pairs of a relation as recorded: "a=b;c=d;".
  static std::vector<std::pair<std::string, std::string>> ParsePairs(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> out;
    std::size_t i = 0;
    while (i < text.size()) {
      const auto semi = text.find(';', i);
      const std::string piece = text.substr(i, semi == std::string::npos ? semi : semi - i);
      const auto eq = piece.find('=');
      if (eq != std::string::npos) out.emplace_back(piece.substr(0, eq), piece.substr(eq + 1));
      if (semi == std::string::npos) break;
      i = semi + 1;
    }
    return out;
  }

  // True when a foreign key carries the relation's tables and fields.
  static bool Matches(const schema::RelationDef& r, const ForeignKey& fk) {
    if (!rt::NameEquals(r.table, fk.refTable) || r.fields.size() != fk.columns.size()) return false;
    for (std::size_t i = 0; i < fk.columns.size(); ++i) {
      if (!rt::NameEquals(r.fields[i].second, fk.columns[i])) return false;
    }
    return true;
  }

  // True when a recorded relation describes the foreign key.
  static bool FindRelationFor(const std::vector<schema::RelationDef>& rels,
                              const std::string& table, const ForeignKey& fk) {
    for (const auto& r : rels) {
      if (rt::NameEquals(r.foreignTable, table) && Matches(r, fk)) return true;
    }
    return false;
  }

  // Follows a table rename in the recorded relations.
  void RenameInRelations(std::string_view from, std::string_view to) {
    for (const SysRow& row : props_.Rows(kRelationRow)) {
      if ((row.name == "~Table" || row.name == "~ForeignTable") &&
          rt::NameEquals(rt::TextOf(row.value), from)) {
        props_.Put(kRelationRow, row.owner, "", row.name, kDbText, rt::Variant(to));
      }
    }
  }

  // Follows a table rename in the recorded texts of the saved queries, as
  // SQLite's rename does in the views it holds for them.
  void RenameInQueries(std::string_view from, std::string_view to) {
    for (const SysRow& row : props_.Rows(kQueryRow)) {
      if (row.name != "~SQL") continue;
      const std::string text = rt::TextOf(row.value);
      const std::string renamed = RenameInSql(text, from, to);
      if (renamed != text)
        props_.Put(kQueryRow, row.owner, "", "~SQL", kDbMemo, rt::Variant(renamed));
    }
  }

  // Follows a field rename in the recorded relations.
  void RenameFieldInRelations(const std::string& table, const std::string& from,
                              std::string_view to) {
    for (auto r : Relations()) {
      bool changed = false;
      for (auto& [p, f] : r.fields) {
        if (rt::NameEquals(r.table, table) && rt::NameEquals(p, from)) p = to, changed = true;
        if (rt::NameEquals(r.foreignTable, table) && rt::NameEquals(f, from))
          f = to, changed = true;
      }
      if (!changed || props_.Get(kRelationRow, r.name, "", "~Fields").IsEmpty()) continue;
      std::string pairs;
      for (const auto& [p, f] : r.fields) pairs += p + "=" + f + ";";
      props_.Put(kRelationRow, r.name, "", "~Fields", kDbMemo, rt::Variant(pairs));
    }
  }

  Backend& b_;
  SysProps props_;
  int pkColumns_ = 0;       // of the table ReadFields read last
  int ordinalCounter_ = 0;  // the next physical position while reading fields
};

}  // namespace

// See schema.h.
std::unique_ptr<schema::SchemaStore> MakeSchemaStore(Backend& backend) {
  return std::make_unique<Store>(backend);
}

// See schema.h.
std::vector<std::string> LinkNames(Backend& backend) {
  SysProps props(backend);
  std::vector<std::string> out;
  for (const SysRow& r : props.Rows(kTableRow)) {
    if (r.name == "~Connect" && !rt::TextOf(r.value).empty()) out.push_back(r.owner);
  }
  return out;
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
void AttachLinks(Backend& backend) {
  SysProps props(backend);
  if (!props.Exists()) return;
  Store store(backend);
  for (const std::string& name : LinkNames(backend)) {
    try {
      const std::string owner = name;
      const auto rows = props.Rows(kTableRow, &owner);
      store.AttachOne(name, rt::TextOf(Own(rows, "", "~Connect")),
                      rt::TextOf(Own(rows, "", "~SourceTableName")));
    } catch (const rt::PlatformError&) {
      // A link that cannot be set up must not keep the database from opening.
    }
  }
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
