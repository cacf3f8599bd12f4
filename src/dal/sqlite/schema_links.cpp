// Links of the file store: a link is recorded in the system table and made
// a virtual table of the link module (links.cpp) in the file's own schema,
// so every connection to the file reads and writes it by the link's name. A
// link whose source cannot be reached when it is set up on a file that has
// no virtual table for it yet becomes a view that raises a clear error.
#include <fmt/format.h>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "links_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

namespace {

// True for a connect string that leads to an ODBC data source.
bool IsOdbcConnect(std::string_view connect) {
  return rt::StartsWithNoCase(connect, "ODBC;");
}

// The name of the one link-error function the backend registers.
constexpr std::string_view kLinkErrorFunction = "zmdb_link_error";

// The fields of a virtual index as the system table keeps them ("A\tB").
std::vector<std::string> VirtualKeys(const rt::Variant& text) {
  std::vector<std::string> out;
  std::string item;
  for (const char c : rt::TextOf(text)) {
    if (c == '\t') {
      out.push_back(std::move(item));
      item.clear();
    } else {
      item += c;
    }
  }
  if (!item.empty()) out.push_back(std::move(item));
  return out;
}

}  // namespace

// Records a link's new connect string, source and attributes and sets it up again.
void FileSchemaStore::ChangeLink(std::string_view table, const std::string& connect,
                                 const std::string& source, std::int32_t attributes) {
  auto link = ReadLink(table);
  if (!link) rt::RaiseStandard(rt::err::kInvalidOperation);
  const bool save = (attributes & schema::kAttachSavePwd) != 0;
  Transaction([&] {
    props_.Put(kTableRow, link->name, "", "~Connect", kDbMemo,
               rt::Variant(LinkConnectToKeep(connect, save)));
    props_.Put(kTableRow, link->name, "", "~SourceTableName", kDbText, rt::Variant(source));
    props_.Put(kTableRow, link->name, "", "~Attributes", kDbLong, rt::Variant(attributes));
    props_.Stamp(link->name, false);
    AttachOne(link->name, connect, source);
  });
}

// The statement that made a link's virtual table, in the file or on this
// connection only; "" when it has none.
std::string FileSchemaStore::LinkTableSqlOf(const std::string& name) {
  Result r = b_.ExecuteNative(
      "SELECT sql FROM sqlite_master WHERE name = ?1 COLLATE NOCASE AND NOT " +
          std::string(kNotLinkSql) +
          " UNION ALL SELECT sql FROM sqlite_temp_master WHERE name = ?1 COLLATE NOCASE AND NOT " +
          std::string(kNotLinkSql),
      {rt::Variant(name)});
  return r.cursor && r.cursor->Step() ? Text(*r.cursor, 0) : std::string();
}

// Removes whatever stands for a link on this connection and in the file.
void FileSchemaStore::DropLinkTable(const std::string& name) {
  b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(name), {});
  for (const char* schema : {"temp", "main"}) {
    Result r = b_.ExecuteNative(fmt::format("SELECT 1 FROM {}.sqlite_master WHERE name = ? COLLATE "
                                            "NOCASE AND NOT {}",
                                            schema, kNotLinkSql),
                                {rt::Variant(name)});
    const bool there = r.cursor && r.cursor->Step();
    r.cursor.reset();
    if (there) b_.ExecuteNative(fmt::format("DROP TABLE {}.{}", schema, SqlIdentifier(name)), {});
  }
}

// Makes a link's virtual table in the file, or on this connection alone when
// the file cannot be written.
void FileSchemaStore::MakeLinkTable(const std::string& name, const LinkShape& shape) {
  DropLinkTable(name);
  try {
    b_.ExecuteNative(LinkTableSql("main", name, shape), {});
  } catch (const rt::PlatformError& e) {
    if (e.number() != rt::err::kPermissionDenied) throw;
    b_.ExecuteNative(LinkTableSql("temp", name, shape), {});
  }
}

// Reads a link's source (its name there, columns and key) and makes the
// link's virtual table with the virtual index the link has.
void FileSchemaStore::AttachOne(const std::string& name, const std::string& connect,
                                const std::string& source) {
  auto from = OpenLinkSource(connect);
  LinkShape shape = DescribeLinkSource(*from, connect, source.empty() ? name : source);
  from->Close();
  const auto rows = props_.Rows(kTableRow, &name);
  // The link reaches its source later with the connect string kept in the file.
  shape.connect = rt::TextOf(Own(rows, "", "~Connect"));
  shape.virtualKeys = VirtualKeys(Own(rows, "", "~VirtualIndex"));
  MakeLinkTable(name, shape);
}

// A link that cannot be set up on this connection reads as an error.
void FileSchemaStore::AttachError(const std::string& name, const std::string& why) {
  b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(name), {});
  b_.ExecuteNative(fmt::format("CREATE TEMP VIEW {} AS SELECT {}({}) AS {}", SqlIdentifier(name),
                               kLinkErrorFunction, SqlLiteral(why), SqlIdentifier("Error")),
                   {});
}

// Records the virtual index of a link: the link finds its rows by those
// fields from then on. A link has one; a new one replaces it.
void FileSchemaStore::CreateLinkIndex(const TableDef& link, const IndexDef& index) {
  if (!index.unique && !index.primary) {
    engerr::Raise(rt::err::kInvalidOperation,
                  "An index on linked table '" + link.name +
                      "' must be unique: it is the key the link finds its rows by.");
  }
  LinkShape shape = LinkShapeOfSql(LinkTableSqlOf(link.name));
  std::vector<std::string> keys;
  for (const auto& f : index.fields) {
    const auto at = std::find_if(shape.columns.begin(), shape.columns.end(),
                                 [&](const auto& c) { return rt::NameEquals(c.name, f.name); });
    if (at == shape.columns.end()) {
      engerr::Raise(rt::err::kItemNotFound,
                    "'" + f.name + "' is not a field of linked table '" + link.name + "'.");
    }
    keys.push_back(at->name);
  }
  shape.virtualKeys = keys;
  std::string text;
  for (const std::string& k : keys) text += (text.empty() ? "" : "\t") + k;
  Transaction([&] {
    props_.Put(kTableRow, link.name, "", "~VirtualIndex", kDbMemo, rt::Variant(text));
    props_.Put(kTableRow, link.name, "", "~VirtualIndexName", kDbText, rt::Variant(index.name));
    MakeLinkTable(link.name, shape);
  });
}

// Forgets the virtual index of a link (3265 when it has none of that name).
void FileSchemaStore::DropLinkIndex(const TableDef& link, std::string_view name) {
  const auto it = std::find_if(link.indexes.begin(), link.indexes.end(),
                               [&](const IndexDef& i) { return rt::NameEquals(i.name, name); });
  if (it == link.indexes.end()) engerr::ItemNotFound("DAO.Indexes");
  LinkShape shape = LinkShapeOfSql(LinkTableSqlOf(link.name));
  shape.virtualKeys.clear();
  Transaction([&] {
    props_.Delete(kTableRow, link.name, "", "~VirtualIndex");
    props_.Delete(kTableRow, link.name, "", "~VirtualIndexName");
    MakeLinkTable(link.name, shape);
  });
}

// A link recorded in the system table, with its source's fields; none otherwise.
std::optional<TableDef> FileSchemaStore::ReadLink(std::string_view name) {
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
    def.attributes = (attrs.IsEmpty() ? 0 : rt::CLng(attrs)) |
                     (IsOdbcConnect(def.connect) ? schema::kAttachedODBC : schema::kAttachedTable);
    def.dateCreated = Own(rows, "", "~DateCreated");
    def.lastUpdated = Own(rows, "", "~LastUpdated");
    if (def.dateCreated.IsEmpty()) def.dateCreated = rt::Variant::Null();
    if (def.lastUpdated.IsEmpty()) def.lastUpdated = rt::Variant::Null();
    def.props = CallerProps(rows, "");
    const std::vector<std::string> keys = VirtualKeys(Own(rows, "", "~VirtualIndex"));
    if (!keys.empty()) {
      IndexDef index;
      index.name = rt::TextOf(Own(rows, "", "~VirtualIndexName"));
      for (const std::string& k : keys) index.fields.push_back({k, false});
      index.unique = true;
      index.required = true;
      def.indexes.push_back(std::move(index));
    }
    ReadLinkFields(def);
    return def;
  }
  return std::nullopt;
}

// The fields of a readable link are those of its source table.
void FileSchemaStore::ReadLinkFields(TableDef& def) {
  try {
    Result r =
        b_.ExecuteNative("SELECT name, type FROM pragma_table_info(?)", {rt::Variant(def.name)});
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

// Records a link and makes its virtual table (the source's error when it
// cannot be reached, and nothing is recorded).
void FileSchemaStore::CreateLink(const TableDef& def) {
  const bool save = (def.attributes & schema::kAttachSavePwd) != 0;
  Transaction([&] {
    props_.Put(kTableRow, def.name, "", "~Connect", kDbMemo,
               rt::Variant(LinkConnectToKeep(def.connect, save)));
    props_.Put(kTableRow, def.name, "", "~SourceTableName", kDbText, rt::Variant(def.sourceTable));
    const std::int32_t own = def.attributes & ~(schema::kAttachedTable | schema::kAttachedODBC);
    props_.Put(kTableRow, def.name, "", "~Attributes", kDbLong, rt::Variant(own));
    for (const Prop& p : def.props) props_.Put(kTableRow, def.name, "", p.name, p.type, p.value);
    props_.Stamp(def.name, true);
    AttachOne(def.name, def.connect, def.sourceTable);
  });
}

}  // namespace zmdb::dal::sqlite::detail

namespace zmdb::dal::sqlite {

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
void AttachLinks(Backend& backend) {
  SysProps props(backend);
  if (!props.Exists()) return;
  detail::FileSchemaStore store(backend);
  for (const std::string& name : LinkNames(backend)) {
    // A link with its virtual table needs nothing; one recorded without it
    // (by an earlier version, or on a file opened for reading) gets it now.
    if (!store.LinkTableSqlOf(name).empty()) continue;
    try {
      const std::string owner = name;
      const auto rows = props.Rows(kTableRow, &owner);
      store.AttachOne(name, rt::TextOf(detail::Own(rows, "", "~Connect")),
                      rt::TextOf(detail::Own(rows, "", "~SourceTableName")));
    } catch (const rt::PlatformError& e) {
      // A link that cannot be set up must not keep the database from opening.
      try {
        store.AttachError(name, e.what());
      } catch (const rt::PlatformError&) {
      }
    }
  }
}

}  // namespace zmdb::dal::sqlite
