// The virtual-table module of linked tables: rows are read from the source
// through the store registry's backend, and INSERT, UPDATE and DELETE are
// sent to the source, UPDATE and DELETE finding the row by the link's key.
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>

#include "coltypes_p.h"
#include "functions_p.h"
#include "jetsql_p.h"
#include "links_p.h"
#include "schema_store_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/router.h"
#include "zmdb/dal/sqlite/store.h"
#include "zmdb/dal/store_registry.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/errors.h"

namespace zmdb::dal::sqlite {

namespace {

std::function<void(std::string_view)>& StatementHook() {
  static std::function<void(std::string_view)> hook;
  return hook;
}

// Runs one statement on a link's source, telling the hook first.
Result RunOnSource(Backend& source, const std::string& sql,
                   const std::vector<rt::Variant>& params) {
  if (StatementHook()) StatementHook()(sql);
  return source.ExecuteNative(sql, params);
}

std::string Quoted(const LinkShape& s, std::string_view name) {
  return s.quoteOpen + std::string(name) + s.quoteClose;
}

// The value after "DATABASE=" in a connect string, or "".
std::string DatabaseKey(std::string_view connect) {
  const std::string upper = rt::AsciiUpper(connect);
  const auto at = upper.find("DATABASE=");
  if (at == std::string::npos) return {};
  const auto end = connect.find(';', at);
  return std::string(connect.substr(at + 9, end == std::string_view::npos ? end : end - at - 9));
}

// Splits "a\tb\tc" ("" gives none).
std::vector<std::string> SplitTabs(const std::string& text) {
  std::vector<std::string> out;
  if (text.empty()) return out;
  std::size_t from = 0;
  for (;;) {
    const auto tab = text.find('\t', from);
    out.push_back(text.substr(from, tab == std::string::npos ? tab : tab - from));
    if (tab == std::string::npos) return out;
    from = tab + 1;
  }
}

std::string JoinTabs(const std::vector<std::string>& items) {
  std::string out;
  for (const std::string& i : items) out += (out.empty() ? "" : "\t") + i;
  return out;
}

// The SQL text literals of an argument list, unquoted, in order.
std::vector<std::string> Literals(std::string_view text) {
  std::vector<std::string> out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\'') continue;
    std::string value;
    for (++i; i < text.size(); ++i) {
      if (text[i] == '\'') {
        if (i + 1 < text.size() && text[i + 1] == '\'') {
          value += '\'';
          ++i;
          continue;
        }
        break;
      }
      value += text[i];
    }
    out.push_back(std::move(value));
  }
  return out;
}

// One cell read from the source, kept with the row it belongs to.
struct Cell {
  CellType type = CellType::Null;
  std::int64_t integer = 0;
  double real = 0;
  std::string bytes;  // text or blob
};

Cell CellOf(const Cursor& c, std::size_t i) {
  Cell cell;
  cell.type = c.Type(i);
  switch (cell.type) {
    case CellType::Integer:
      cell.integer = c.Integer(i);
      break;
    case CellType::Real:
      cell.real = c.Real(i);
      break;
    case CellType::Text:
      cell.bytes = std::string(c.Text(i));
      break;
    case CellType::Blob: {
      const auto b = c.Blob(i);
      cell.bytes.assign(reinterpret_cast<const char*>(b.data()), b.size());
      break;
    }
    case CellType::Null:
      break;
  }
  return cell;
}

// A date a source gives as a serial number is kept as the file store keeps
// its own dates, so that comparisons with date literals hold.
void AsDateText(Cell& c) {
  if (c.type != CellType::Real && c.type != CellType::Integer) return;
  const double serial = c.type == CellType::Real ? c.real : static_cast<double>(c.integer);
  c.bytes = CanonicalDateText(rt::Date{serial});
  c.type = CellType::Text;
}

rt::Variant VariantOf(const Cell& c) {
  switch (c.type) {
    case CellType::Integer:
      if (c.integer >= std::numeric_limits<std::int32_t>::min() &&
          c.integer <= std::numeric_limits<std::int32_t>::max()) {
        return rt::Variant(static_cast<std::int32_t>(c.integer));
      }
      return rt::Variant(static_cast<double>(c.integer));
    case CellType::Real:
      return rt::Variant(c.real);
    case CellType::Text:
      return rt::Variant(c.bytes);
    case CellType::Blob: {
      std::vector<rt::Variant> items;
      for (const char b : c.bytes) items.emplace_back(static_cast<std::uint8_t>(b));
      return rt::Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(items)));
    }
    case CellType::Null:
      break;
  }
  return rt::Variant::Null();
}

// Whether a new value equals the cell it would replace.
bool Same(sqlite3_value* v, const Cell& c) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_NULL:
      return c.type == CellType::Null;
    case SQLITE_INTEGER:
      return (c.type == CellType::Integer && c.integer == sqlite3_value_int64(v)) ||
             (c.type == CellType::Real && c.real == sqlite3_value_double(v));
    case SQLITE_FLOAT:
      return (c.type == CellType::Real && c.real == sqlite3_value_double(v)) ||
             (c.type == CellType::Integer &&
              static_cast<double>(c.integer) == sqlite3_value_double(v));
    default: {
      const auto* p = static_cast<const char*>(sqlite3_value_blob(v));
      const std::string_view bytes(p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(v)));
      return (c.type == CellType::Text || c.type == CellType::Blob) && bytes == c.bytes;
    }
  }
}

// One link on one connection. The source is opened on first use and let go
// after a failure, so a source that comes back is reached again. Rows read
// are kept by the row id they were given until no statement can still
// change them: UPDATE and DELETE find their row's key there.
struct LinkTable : sqlite3_vtab {
  std::string name;
  LinkShape shape;
  std::vector<std::size_t> keyColumns;  // positions of Keys() in shape.columns
  std::vector<bool> dates;              // which columns hold dates
  std::unique_ptr<Backend> source;
  std::map<sqlite3_int64, std::vector<Cell>> rows;
  sqlite3_int64 lastRow = 0;
  int cursors = 0;
  bool writing = false;

  Backend& Source() {
    if (!source) source = OpenLinkSource(shape.connect);
    return *source;
  }
  void Forget() { rows.clear(); }
};

struct LinkCursor : sqlite3_vtab_cursor {
  std::vector<sqlite3_int64> ids;
  std::size_t at = 0;
};

// The message of a link's failure: its number in front, so that the
// statement's error keeps it (see LinkErrorOf).
std::string LinkErrorText(const rt::PlatformError& e) {
  return fmt::format("{}{}{}{}", kLinkErrorMark, e.number(), kLinkErrorMark, e.what());
}

LinkTable& TableOf(sqlite3_vtab* v) {
  return *static_cast<LinkTable*>(v);
}

// Runs `f`, turning a raised error into the link's error message; a failed
// source is let go.
template <class F>
int Guard(LinkTable& t, F&& f) {
  try {
    f();
    return SQLITE_OK;
  } catch (const rt::PlatformError& e) {
    t.source.reset();
    sqlite3_free(t.zErrMsg);
    t.zErrMsg = sqlite3_mprintf("%s", LinkErrorText(e).c_str());
    return SQLITE_ERROR;
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  }
}

int Connect(sqlite3* db, void*, int argc, const char* const* argv, sqlite3_vtab** out, char** err) {
  std::string args;
  for (int i = 3; i < argc; ++i) args += std::string(argv[i]) + ",";
  try {
    auto t = std::make_unique<LinkTable>();
    t->name = argv[2];
    t->shape = LinkShapeOfSql("USING " + std::string(kLinkModule) + "(" + args + ")");
    std::string decl = "CREATE TABLE x(";
    for (std::size_t i = 0; i < t->shape.columns.size(); ++i) {
      const auto& c = t->shape.columns[i];
      decl += (i ? ", " : "") + SqlIdentifier(c.name) + " " + c.declared;
    }
    decl += ")";
    for (const auto& c : t->shape.columns)
      t->dates.push_back(rt::NameEquals(c.declared, "DATETIME"));
    for (const std::string& k : t->shape.Keys()) {
      std::size_t i = 0;
      while (i < t->shape.columns.size() && !rt::NameEquals(t->shape.columns[i].name, k)) ++i;
      if (i == t->shape.columns.size()) {
        engerr::Raise(
            rt::err::kItemNotFound,
            "The key field '" + k + "' is not a field of linked table '" + t->name + "'.");
      }
      t->keyColumns.push_back(i);
    }
    const int rc = sqlite3_declare_vtab(db, decl.c_str());
    if (rc != SQLITE_OK) return rc;
    *out = t.release();
    return SQLITE_OK;
  } catch (const rt::PlatformError& e) {
    *err = sqlite3_mprintf("%s", LinkErrorText(e).c_str());
    return SQLITE_ERROR;
  }
}

int Disconnect(sqlite3_vtab* v) {
  delete &TableOf(v);
  return SQLITE_OK;
}

// Every row is read and SQLite applies the conditions.
int BestIndex(sqlite3_vtab*, sqlite3_index_info* info) {
  info->estimatedCost = 1e6;
  return SQLITE_OK;
}

int Open(sqlite3_vtab* v, sqlite3_vtab_cursor** out) {
  auto* c = new LinkCursor();
  ++TableOf(v).cursors;
  *out = c;
  return SQLITE_OK;
}

int Close(sqlite3_vtab_cursor* c) {
  --TableOf(c->pVtab).cursors;
  delete static_cast<LinkCursor*>(c);
  return SQLITE_OK;
}

int Filter(sqlite3_vtab_cursor* cur, int, const char*, int, sqlite3_value**) {
  auto& c = *static_cast<LinkCursor*>(cur);
  LinkTable& t = TableOf(cur->pVtab);
  // Rows kept for an earlier statement can go once nothing else reads them.
  if (t.cursors == 1 && !t.writing) t.Forget();
  c.ids.clear();
  c.at = 0;
  return Guard(t, [&] {
    Result r = RunOnSource(t.Source(), LinkSelectSql(t.shape), {});
    while (r.cursor && r.cursor->Step()) {
      std::vector<Cell> row;
      for (std::size_t i = 0; i < t.shape.columns.size(); ++i) {
        row.push_back(CellOf(*r.cursor, i));
        if (t.dates[i]) AsDateText(row.back());
      }
      t.rows.emplace(++t.lastRow, std::move(row));
      c.ids.push_back(t.lastRow);
    }
  });
}

int Next(sqlite3_vtab_cursor* cur) {
  ++static_cast<LinkCursor*>(cur)->at;
  return SQLITE_OK;
}

int Eof(sqlite3_vtab_cursor* cur) {
  const auto& c = *static_cast<LinkCursor*>(cur);
  return c.at >= c.ids.size();
}

int Column(sqlite3_vtab_cursor* cur, sqlite3_context* ctx, int i) {
  const auto& c = *static_cast<LinkCursor*>(cur);
  const Cell& cell = TableOf(cur->pVtab).rows.at(c.ids[c.at]).at(static_cast<std::size_t>(i));
  switch (cell.type) {
    case CellType::Integer:
      sqlite3_result_int64(ctx, cell.integer);
      break;
    case CellType::Real:
      sqlite3_result_double(ctx, cell.real);
      break;
    case CellType::Text:
      sqlite3_result_text64(ctx, cell.bytes.data(), cell.bytes.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8);
      break;
    case CellType::Blob:
      sqlite3_result_blob64(ctx, cell.bytes.data(), cell.bytes.size(), SQLITE_TRANSIENT);
      break;
    case CellType::Null:
      sqlite3_result_null(ctx);
      break;
  }
  return SQLITE_OK;
}

int Rowid(sqlite3_vtab_cursor* cur, sqlite3_int64* out) {
  const auto& c = *static_cast<LinkCursor*>(cur);
  *out = c.ids[c.at];
  return SQLITE_OK;
}

// DELETE (one argument), INSERT (no old row id) or UPDATE.
int Update(sqlite3_vtab* v, int argc, sqlite3_value** argv, sqlite3_int64* newRow) {
  LinkTable& t = TableOf(v);
  return Guard(t, [&] {
    const bool insert = argc > 1 && sqlite3_value_type(argv[0]) == SQLITE_NULL;
    if (!insert && t.keyColumns.empty()) {
      rt::RaiseStandard(rt::err::kLinkNotUpdatable, "DAO.Database", t.name);
    }
    std::vector<rt::Variant> params;
    std::vector<std::size_t> columns;
    const std::vector<Cell>* old = nullptr;
    if (!insert) {
      const auto it = t.rows.find(sqlite3_value_int64(argv[0]));
      if (it == t.rows.end()) rt::RaiseStandard(rt::err::kRowChanged, "DAO.Database");
      old = &it->second;
    }
    for (std::size_t i = 0; argc > 1 && i < t.shape.columns.size(); ++i) {
      sqlite3_value* value = argv[i + 2];
      // An insert leaves out what it does not give (the source's defaults
      // and counters fill it); an update sends only what changed.
      if (insert ? sqlite3_value_type(value) == SQLITE_NULL : Same(value, old->at(i))) continue;
      columns.push_back(i);
      params.push_back(ValueOf(value));
    }
    std::string sql;
    if (insert) {
      sql = LinkInsertSql(t.shape, columns);
      *newRow = ++t.lastRow;
    } else {
      if (argc > 1 && columns.empty()) return;
      for (std::size_t k : t.keyColumns) params.push_back(VariantOf(old->at(k)));
      sql = argc == 1 ? LinkDeleteSql(t.shape) : LinkUpdateSql(t.shape, columns);
    }
    const Result r = RunOnSource(t.Source(), sql, params);
    if (!insert && r.rowsAffected == 0) rt::RaiseStandard(rt::err::kRowChanged, "DAO.Database");
  });
}

int Begin(sqlite3_vtab* v) {
  LinkTable& t = TableOf(v);
  if (t.cursors == 0) t.Forget();
  t.writing = true;
  return SQLITE_OK;
}

int End(sqlite3_vtab* v) {
  TableOf(v).writing = false;
  return SQLITE_OK;
}

int Sync(sqlite3_vtab*) {
  return SQLITE_OK;
}

int Rename(sqlite3_vtab* v, const char* name) {
  TableOf(v).name = name;
  return SQLITE_OK;
}

sqlite3_module MakeModule() {
  sqlite3_module m{};
  m.iVersion = 1;
  m.xCreate = Connect;
  m.xConnect = Connect;
  m.xBestIndex = BestIndex;
  m.xDisconnect = Disconnect;
  m.xDestroy = Disconnect;
  m.xOpen = Open;
  m.xClose = Close;
  m.xFilter = Filter;
  m.xNext = Next;
  m.xEof = Eof;
  m.xColumn = Column;
  m.xRowid = Rowid;
  m.xUpdate = Update;
  m.xBegin = Begin;
  m.xSync = Sync;
  m.xCommit = End;
  m.xRollback = End;
  m.xRename = Rename;
  return m;
}

}  // namespace

std::string LinkSelectSql(const LinkShape& s) {
  std::string cols;
  for (const auto& c : s.columns) cols += (cols.empty() ? "" : ", ") + Quoted(s, c.name);
  return "SELECT " + cols + " FROM " + s.source;
}

std::string LinkInsertSql(const LinkShape& s, const std::vector<std::size_t>& columns) {
  if (columns.empty()) return "INSERT INTO " + s.source + " DEFAULT VALUES";
  std::string names, marks;
  for (std::size_t i : columns) {
    names += (names.empty() ? "" : ", ") + Quoted(s, s.columns.at(i).name);
    marks += marks.empty() ? "?" : ", ?";
  }
  return "INSERT INTO " + s.source + " (" + names + ") VALUES (" + marks + ")";
}

namespace {
std::string KeyCondition(const LinkShape& s) {
  std::string where;
  for (const std::string& k : s.Keys()) {
    where += (where.empty() ? " WHERE " : " AND ") + Quoted(s, k) + " = ?";
  }
  return where;
}
}  // namespace

std::string LinkUpdateSql(const LinkShape& s, const std::vector<std::size_t>& columns) {
  std::string set;
  for (std::size_t i : columns) {
    set += (set.empty() ? "" : ", ") + Quoted(s, s.columns.at(i).name) + " = ?";
  }
  return "UPDATE " + s.source + " SET " + set + KeyCondition(s);
}

std::string LinkDeleteSql(const LinkShape& s) {
  return "DELETE FROM " + s.source + KeyCondition(s);
}

std::string LinkTableSql(std::string_view schema, std::string_view name, const LinkShape& s) {
  std::vector<std::string> columns;
  for (const auto& c : s.columns) columns.push_back(c.name + "\t" + c.declared);
  std::string args =
      fmt::format("{}, {}, {}, {}, {}", SqlLiteral(s.connect), SqlLiteral(s.source),
                  SqlLiteral(s.quoteOpen + "\t" + s.quoteClose), SqlLiteral(JoinTabs(s.sourceKeys)),
                  SqlLiteral(JoinTabs(s.virtualKeys)));
  for (const std::string& c : columns) args += ", " + SqlLiteral(c);
  return fmt::format("CREATE VIRTUAL TABLE {}.{} USING {}({})", schema, SqlIdentifier(name),
                     kLinkModule, args);
}

LinkShape LinkShapeOfSql(std::string_view createSql) {
  const auto at = createSql.find(std::string(kLinkModule) + "(");
  const std::vector<std::string> items =
      at == std::string_view::npos ? std::vector<std::string>{} : Literals(createSql.substr(at));
  if (items.size() < 5) {
    engerr::Raise(rt::err::kInvalidOperation, "The definition of a linked table is damaged.");
  }
  LinkShape s;
  s.connect = items[0];
  s.source = items[1];
  const auto quotes = SplitTabs(items[2]);
  s.quoteOpen = quotes.empty() ? "" : quotes[0];
  s.quoteClose = quotes.size() < 2 ? "" : quotes[1];
  s.sourceKeys = SplitTabs(items[3]);
  s.virtualKeys = SplitTabs(items[4]);
  for (std::size_t i = 5; i < items.size(); ++i) {
    const auto parts = SplitTabs(items[i]);
    s.columns.push_back({parts.empty() ? "" : parts[0], parts.size() < 2 ? "" : parts[1]});
  }
  return s;
}

std::vector<std::string> LinkSourceCandidates(std::string_view sourceTable,
                                              std::string_view quoteOpen,
                                              std::string_view quoteClose) {
  std::vector<std::string_view> parts;
  std::size_t from = 0;
  for (;;) {
    const auto dot = sourceTable.find('.', from);
    parts.push_back(sourceTable.substr(from, dot == std::string_view::npos ? dot : dot - from));
    if (dot == std::string_view::npos) break;
    from = dot + 1;
  }
  const auto join = [&](std::size_t first, bool quote) {
    std::string out;
    for (std::size_t i = first; i < parts.size(); ++i) {
      if (!out.empty()) out += ".";
      out += quote ? std::string(quoteOpen) + std::string(parts[i]) + std::string(quoteClose)
                   : std::string(parts[i]);
    }
    return out;
  };
  std::vector<std::string> out{join(0, true)};
  const bool dbo = parts.size() == 2 && rt::NameEquals(parts[0], "dbo");
  if (dbo) out.push_back(join(1, true));
  out.push_back(join(0, false));
  if (dbo) out.push_back(join(1, false));
  return out;
}

std::unique_ptr<Backend> OpenLinkSource(const std::string& connect) {
  if (rt::StartsWithNoCase(connect, "ODBC;")) {
    return OpenStore(RouteConnection(std::string_view(connect).substr(5)));
  }
  const std::string path = DatabaseKey(connect);
  std::error_code ec;
  if (path.empty() || !std::filesystem::exists(path, ec)) {
    rt::RaiseStandard(rt::err::kCouldNotFindFile, "DAO.Database", path);
  }
  return OpenStore(FileRoute(path, FilePassword(connect)));
}

std::string LinkConnectToKeep(std::string_view connect, bool savePassword) {
  if (savePassword) return std::string(connect);
  // Parts are split at semicolons outside braces, so a braced value that
  // holds one stays whole.
  std::string out;
  std::size_t from = 0;
  while (from <= connect.size()) {
    std::size_t end = from;
    for (int depth = 0; end < connect.size() && (depth > 0 || connect[end] != ';'); ++end) {
      if (connect[end] == '{') ++depth;
      if (connect[end] == '}' && depth > 0) --depth;
    }
    const std::string_view part = connect.substr(from, end - from);
    std::string key = rt::AsciiUpper(part.substr(0, part.find('=')));
    std::erase(key, ' ');
    const bool secret =
        part.find('=') != std::string_view::npos && (key == "PWD" || key == "PASSWORD");
    if (!secret) out += std::string(part) + (end < connect.size() ? ";" : "");
    from = end + 1;
  }
  return out;
}

LinkShape DescribeLinkSource(Backend& source, const std::string& connect,
                             const std::string& sourceTable) {
  LinkShape s;
  s.connect = connect;
  s.quoteOpen = std::string(source.quirks().quoteOpen);
  s.quoteClose = std::string(source.quirks().quoteClose);
  Result found;
  std::optional<rt::PlatformError> first;
  for (const std::string& name : LinkSourceCandidates(sourceTable, s.quoteOpen, s.quoteClose)) {
    try {
      found = RunOnSource(source, "SELECT * FROM " + name + " WHERE 1 = 0", {});
      s.source = name;
      break;
    } catch (const rt::PlatformError& e) {
      if (!first) first = e;
    }
  }
  if (!found.cursor) {
    if (first) throw *first;
    engerr::Raise(rt::err::kNoSuchObject, "The source table '" + sourceTable + "' gives no rows.");
  }
  for (const ColumnInfo& c : found.cursor->columns()) {
    schema::FieldDef f;
    f.name = c.name;
    f.type = detail::DaoTypeOfAdo(c.adoType);
    f.size = detail::DaoSize(f.type, c.definedSize);
    std::string declared;
    try {
      declared = DeclaredTypeForDao(f);
    } catch (const rt::PlatformError&) {
      declared = "MEMO";  // a type the file store has no name for is read as text
    }
    s.columns.push_back({c.name, declared});
  }
  found.cursor.reset();
  // The key: the source's primary key, else its first unique index.
  std::string bare;
  for (const char ch : s.source) {
    if (s.quoteOpen.find(ch) == std::string::npos && s.quoteClose.find(ch) == std::string::npos)
      bare += ch;
  }
  try {
    s.sourceKeys = source.KeyColumns(bare);
    if (s.sourceKeys.empty()) s.sourceKeys = source.KeyColumns(rt::AsciiLower(bare));
    if (s.sourceKeys.empty()) {
      if (auto def = source.Schema().Table(bare)) {
        for (const schema::IndexDef& i : def->indexes) {
          if (!(i.unique || i.primary) || !s.sourceKeys.empty()) continue;
          for (const auto& f : i.fields) s.sourceKeys.push_back(f.name);
        }
      }
    }
  } catch (const rt::PlatformError&) {
    // A source that cannot tell its keys leaves the link without one.
  }
  return s;
}

int RegisterLinkModule(sqlite3* db) {
  static const sqlite3_module module = MakeModule();
  return sqlite3_create_module_v2(db, std::string(kLinkModule).c_str(), &module, nullptr, nullptr);
}

std::optional<rt::ErrorInfo> LinkErrorOf(std::string_view message) {
  if (!message.starts_with(kLinkErrorMark)) return std::nullopt;
  const auto end = message.find(kLinkErrorMark, kLinkErrorMark.size());
  if (end == std::string_view::npos) return std::nullopt;
  rt::ErrorInfo info;
  info.Number = static_cast<std::int32_t>(
      std::stol(std::string(message.substr(kLinkErrorMark.size(), end - kLinkErrorMark.size()))));
  info.Source = "ZMDB File Store";
  info.Description = std::string(message.substr(end + kLinkErrorMark.size()));
  return info;
}

void SetLinkStatementHook(std::function<void(std::string_view)> hook) {
  StatementHook() = std::move(hook);
}

}  // namespace zmdb::dal::sqlite
