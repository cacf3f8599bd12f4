// Links of the file store: a link is recorded in the system table and set
// up on each connection as a temporary view of its attached source file; a
// link that cannot be read becomes a view that raises a clear error.
#include <fmt/format.h>

#include <filesystem>

#include "coltypes_p.h"
#include "jetsql_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite::detail {

namespace {

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
  return rt::StartsWithNoCase(connect, "ODBC;");
}

// The name of the one link-error function the backend registers.
constexpr std::string_view kLinkErrorFunction = "zmdb_link_error";

}  // namespace

// Records a link's new connect string, source and attributes and sets it up again.
void FileSchemaStore::ChangeLink(std::string_view table, const std::string& connect,
                                 const std::string& source, std::int32_t attributes) {
  auto link = ReadLink(table);
  if (!link) rt::RaiseStandard(rt::err::kInvalidOperation);
  Transaction([&] {
    props_.Put(kTableRow, link->name, "", "~Connect", kDbMemo, rt::Variant(connect));
    props_.Put(kTableRow, link->name, "", "~SourceTableName", kDbText, rt::Variant(source));
    props_.Put(kTableRow, link->name, "", "~Attributes", kDbLong, rt::Variant(attributes));
    props_.Stamp(link->name, false);
  });
  AttachOne(link->name, connect, source);
}

// Sets up one link on this connection; a failure leaves a view that says why.
void FileSchemaStore::AttachOne(const std::string& name, const std::string& connect,
                                const std::string& source) {
  b_.ExecuteNative("DROP VIEW IF EXISTS temp." + SqlIdentifier(name), {});
  const auto errorView = [&](const std::string& why) {
    b_.ExecuteNative(fmt::format("CREATE TEMP VIEW {} AS SELECT {}({}) AS {}", SqlIdentifier(name),
                                 kLinkErrorFunction, SqlLiteral(why), SqlIdentifier("Error")),
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
  b_.ExecuteNative(fmt::format("CREATE TEMP VIEW {} AS SELECT * FROM {}.{}", SqlIdentifier(name),
                               SqlIdentifier(alias), SqlIdentifier(source.empty() ? name : source)),
                   {});
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
    ReadLinkFields(def);
    return def;
  }
  return std::nullopt;
}

// The fields of a readable link are those of its source table.
void FileSchemaStore::ReadLinkFields(TableDef& def) {
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

// Records a link and sets it up on this connection.
void FileSchemaStore::CreateLink(const TableDef& def) {
  Transaction([&] {
    props_.Put(kTableRow, def.name, "", "~Connect", kDbMemo, rt::Variant(def.connect));
    props_.Put(kTableRow, def.name, "", "~SourceTableName", kDbText, rt::Variant(def.sourceTable));
    const std::int32_t own = def.attributes & ~(schema::kAttachedTable | schema::kAttachedODBC);
    props_.Put(kTableRow, def.name, "", "~Attributes", kDbLong, rt::Variant(own));
    for (const Prop& p : def.props) props_.Put(kTableRow, def.name, "", p.name, p.type, p.value);
    props_.Stamp(def.name, true);
  });
  AttachOne(def.name, def.connect, def.sourceTable);
}

// The attach alias of a link source file, attaching it on first use.
std::string FileSchemaStore::AliasFor(const std::string& path) {
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
    try {
      const std::string owner = name;
      const auto rows = props.Rows(kTableRow, &owner);
      store.AttachOne(name, rt::TextOf(detail::Own(rows, "", "~Connect")),
                      rt::TextOf(detail::Own(rows, "", "~SourceTableName")));
    } catch (const rt::PlatformError&) {
      // A link that cannot be set up must not keep the database from opening.
    }
  }
}

}  // namespace zmdb::dal::sqlite
