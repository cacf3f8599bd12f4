// The file store over SQLite: Jet SQL is rewritten into SQLite statements,
// Jet's functions are registered on every connection, and column metadata
// carries the Jet types the columns were created with.
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#if defined(_WIN32)
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "backend_p.h"
#include "bulk_copy_p.h"
#include "cipher_p.h"
#include "coltypes_p.h"
#include "functions_p.h"
#include "jetsql_p.h"
#include "links_p.h"
#include "schema_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/rows_cursor.h"
#include "zmdb/dal/sqlite/store.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::sqlite {

namespace {

constexpr const char* kSource = "ZMDB File Store";

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// The name inside a message such as "no such table: main.Staff".
std::string NameAfterColon(std::string_view msg) {
  const auto colon = msg.rfind(": ");
  std::string name(colon == std::string_view::npos ? msg : msg.substr(colon + 2));
  if (name.starts_with("main.")) name.erase(0, 5);
  return name;
}

// A prepared statement that finalizes itself.
struct Stmt {
  sqlite3_stmt* p = nullptr;
  Stmt() = default;
  Stmt(const Stmt&) = delete;
  Stmt& operator=(const Stmt&) = delete;
  ~Stmt() { sqlite3_finalize(p); }
};

// The rows of one SQLite statement. The first row is fetched when the cursor
// is made, so that computed columns can take their type from it.
class StatementCursor : public Cursor {
 public:
  StatementCursor(sqlite3* db, sqlite3_stmt* stmt, std::string sql)
      : db_(db), stmt_(stmt), sql_(std::move(sql)) {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) {
      pending_ = true;
    } else if (rc != SQLITE_DONE) {
      sqlite3_finalize(stmt_);
      stmt_ = nullptr;
      RaiseSqliteError(db_, rc, sql_);
    }
    Describe();
  }
  ~StatementCursor() override { sqlite3_finalize(stmt_); }

  const std::vector<ColumnInfo>& columns() const override { return columns_; }

  bool Step() override {
    if (done_) return false;
    if (pending_) {
      pending_ = false;
      return true;
    }
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    done_ = true;
    if (rc != SQLITE_DONE) RaiseSqliteError(db_, rc, sql_);
    return false;
  }

  CellType Type(std::size_t c) const override {
    switch (sqlite3_column_type(stmt_, static_cast<int>(c))) {
      case SQLITE_INTEGER:
        return CellType::Integer;
      case SQLITE_FLOAT:
        return CellType::Real;
      case SQLITE_TEXT:
        return CellType::Text;
      case SQLITE_BLOB:
        return CellType::Blob;
      default:
        return CellType::Null;
    }
  }
  std::int64_t Integer(std::size_t c) const override {
    return sqlite3_column_int64(stmt_, static_cast<int>(c));
  }
  double Real(std::size_t c) const override {
    return sqlite3_column_double(stmt_, static_cast<int>(c));
  }
  std::string_view Text(std::size_t c) const override {
    const auto* t = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, static_cast<int>(c)));
    return {t ? t : "", static_cast<std::size_t>(sqlite3_column_bytes(stmt_, static_cast<int>(c)))};
  }
  std::span<const std::uint8_t> Blob(std::size_t c) const override {
    const auto* b =
        static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, static_cast<int>(c)));
    return {b, static_cast<std::size_t>(sqlite3_column_bytes(stmt_, static_cast<int>(c)))};
  }

 private:
  void Describe() {
    const int n = sqlite3_column_count(stmt_);
    for (int i = 0; i < n; ++i) {
      ColumnInfo c;
      c.name = sqlite3_column_name(stmt_, i);
      const char* table = sqlite3_column_table_name(stmt_, i);
      const char* origin = sqlite3_column_origin_name(stmt_, i);
      const char* decl = sqlite3_column_decltype(stmt_, i);
      if (table && origin) {
        c.baseTable = table;
        c.baseColumn = origin;
        const char* declared = nullptr;
        int notNull = 0, pk = 0, autoinc = 0;
        if (sqlite3_table_column_metadata(db_, sqlite3_column_database_name(stmt_, i), table,
                                          origin, &declared, nullptr, &notNull, &pk,
                                          &autoinc) == SQLITE_OK) {
          c.nullable = notNull == 0;
          c.key = pk != 0;
          c.autoIncrement = autoinc != 0;
        }
      }
      if (decl) {
        const ColumnType t = ColumnTypeForDeclared(decl);
        c.adoType = t.adoType;
        c.definedSize = t.definedSize;
        c.precision = t.precision;
        c.scale = t.scale;
        c.autoIncrement = c.autoIncrement || t.autoNumber;
      } else {
        // A computed column takes its type from the first row's value.
        switch (pending_ ? sqlite3_column_type(stmt_, i) : SQLITE_NULL) {
          case SQLITE_INTEGER:
            c.adoType = 3, c.definedSize = 4;
            break;
          case SQLITE_FLOAT:
            c.adoType = 5, c.definedSize = 8;
            break;
          case SQLITE_BLOB:
            c.adoType = 205, c.definedSize = 1073741823;
            break;
          default:
            c.adoType = 202, c.definedSize = 255;
            break;
        }
      }
      columns_.push_back(std::move(c));
    }
  }

  sqlite3* db_;
  sqlite3_stmt* stmt_;
  std::string sql_;
  std::vector<ColumnInfo> columns_;
  bool pending_ = false;
  bool done_ = false;
};

class SqliteBackend : public Backend {
 public:
  SqliteBackend(sqlite3* db, std::string path, cipher::KeyRef key)
      : db_(db), path_(std::move(path)), key_(std::move(key)) {}
  ~SqliteBackend() override { Close(); }

  const Quirks& quirks() const override {
    static const Quirks q{};
    return q;
  }
  std::string DbmsName() const override { return "MS Jet"; }

  Result Execute(std::string_view statement) override {
    RefuseNulInStatement(statement, kSource);
    const Rewritten rewritten = RewriteJet(statement);
    if (rewritten.index && IsLink(rewritten.index->table)) return IndexOnLink(*rewritten.index);
    Result result;
    if (rewritten.primaryKey) {
      AddPrimaryKey(*rewritten.primaryKey);
    } else if (DroppedPrimaryKey(rewritten)) {
      Schema().DropIndex(rewritten.droppedIndex->table, rewritten.droppedIndex->index);
    } else {
      for (std::size_t i = 0; i < rewritten.statements.size(); ++i) {
        result = Run(rewritten.statements[i], {}, statement);
      }
    }
    if (!result.cursor) NoteStatement(*this, statement);
    return result;
  }

  // A primary key added by Jet DDL is built as the schema objects build one
  // (the table rebuilt with the key, in one transaction), so that it reads
  // back as the table's primary key.
  void AddPrimaryKey(const Rewritten::PrimaryKey& pk) {
    schema::IndexDef index;
    index.name = pk.index;
    index.primary = index.unique = index.required = true;
    for (const std::string& c : pk.columns) index.fields.push_back({c, false});
    Schema().CreateIndex(pk.table, index);
  }

  // True when the statement drops the primary key of its table.
  bool DroppedPrimaryKey(const Rewritten& r) {
    if (!r.droppedIndex) return false;
    const auto table = Schema().Table(r.droppedIndex->table);
    if (!table) return false;
    for (const schema::IndexDef& i : table->indexes) {
      if (i.primary && rt::NameEquals(i.name, r.droppedIndex->index)) return true;
    }
    return false;
  }

  schema::SchemaStore& Schema() override {
    if (!db_) RaiseClosed(kSource);
    if (!schema_) schema_ = MakeSchemaStore(*this);
    return *schema_;
  }

  // A Jet statement with "?" parameters, which bind to its last SQLite
  // statement (the one a rewrite adds its helpers before). The file store
  // has no stored procedures and no output parameters.
  Result ExecuteCommand(std::string_view text, bool procedure,
                        std::vector<CommandParameter>& params) override {
    if (procedure) {
      rt::Raise(
          rt::err::kAdoNotSupported,
          "The file store has no stored procedures: '" + std::string(text) + "' cannot be called.",
          kSource);
    }
    RefuseNulInStatement(text, kSource);
    std::vector<rt::Variant> values;
    for (const CommandParameter& p : params) {
      if (p.direction != 1) {
        rt::Raise(rt::err::kAdoNotSupported,
                  "The file store takes input parameters only (parameter '" + p.name + "').",
                  kSource);
      }
      if (p.value.IsEmpty() || p.value.IsMissing() || p.value.IsNull()) {
        values.push_back(rt::Variant::Null());
        continue;
      }
      // A declared type converts the value as the platform would before it
      // is sent (2.5 for an integer goes as 2); an undeclared one goes as it is.
      ColumnInfo declared;
      declared.name = p.name;
      declared.adoType = p.adoType;
      values.push_back(p.adoType != 0 ? ConvertForColumn(p.value, declared) : p.value);
    }
    const Rewritten rewritten = RewriteJet(text);
    Result result;
    if (rewritten.primaryKey) {
      AddPrimaryKey(*rewritten.primaryKey);
      return result;
    }
    for (std::size_t i = 0; i < rewritten.statements.size(); ++i) {
      const bool last = i + 1 == rewritten.statements.size();
      result = Run(rewritten.statements[i], last ? values : std::vector<rt::Variant>{}, text);
    }
    return result;
  }

  // Statements the layer builds repeat (one per recordset and kind of
  // change), so their prepared forms are kept and reused.
  Result ExecuteNative(std::string_view statement,
                       const std::vector<rt::Variant>& params) override {
    sqlite3_stmt* st = Cached(statement);
    if (sqlite3_column_count(st) > 0) return Run(std::string(statement), params, statement);
    sqlite3_reset(st);
    sqlite3_clear_bindings(st);
    // The statement runs to its end here, while `params` lives: its texts are
    // bound where they are, without a copy, and unbound before returning.
    for (std::size_t i = 0; i < params.size(); ++i)
      Bind(st, static_cast<int>(i + 1), params[i], true);
    const int rc = sqlite3_step(st);
    sqlite3_reset(st);
    sqlite3_clear_bindings(st);
    if (rc != SQLITE_DONE && rc != SQLITE_ROW) RaiseSqliteError(db_, rc, statement);
    return Result{nullptr, sqlite3_changes64(db_), nullptr};
  }

  // Nested transactions are savepoints inside the outermost one.
  void Begin() override {
    // A transaction the engine ended by itself (after an I/O error) and the
    // caller never rolled back counts no more.
    if (sqlite3_get_autocommit(db_)) depth_ = 0;
    Simple(depth_ == 0 ? "BEGIN" : "SAVEPOINT level" + std::to_string(depth_));
    ++depth_;
  }

  void Commit() override {
    if (depth_ == 0) NoTransaction();
    --depth_;
    try {
      Simple(depth_ == 0 ? "COMMIT" : "RELEASE level" + std::to_string(depth_));
    } catch (...) {
      // A commit that failed leaves the transaction to the caller's
      // rollback, which finds it still counted.
      ++depth_;
      throw;
    }
  }

  void Rollback() override {
    if (depth_ == 0) NoTransaction();
    --depth_;
    // An I/O error or a full disk makes the engine roll the whole
    // transaction back by itself: nothing is left to undo, and the error
    // that caused it stays the one the caller sees.
    if (sqlite3_get_autocommit(db_)) return;
    if (depth_ == 0) {
      Simple("ROLLBACK");
    } else {
      Simple("ROLLBACK TO level" + std::to_string(depth_));
      Simple("RELEASE level" + std::to_string(depth_));
    }
  }

  Result OpenSchema(std::int32_t schema) override {
    switch (schema) {
      case ado::adSchemaCatalogs:
        return Catalogs();
      case ado::adSchemaTables:
        return Tables();
      default:
        rt::RaiseStandard(rt::err::kAdoNotSupported, kSource);
    }
  }

  std::vector<std::string> KeyColumns(const std::string& table) override {
    Stmt st;
    Prepare("SELECT name, pk FROM pragma_table_info(?) WHERE pk > 0 ORDER BY pk", st);
    sqlite3_bind_text(st.p, 1, table.c_str(), -1, SQLITE_TRANSIENT);
    std::vector<std::string> keys;
    while (sqlite3_step(st.p) == SQLITE_ROW) {
      keys.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st.p, 0)));
    }
    return keys;
  }

  rt::Variant InsertedValue(const std::string& table, const std::string& column) override {
    sqlite3_stmt* st = Cached("SELECT " + Quote(column) + " FROM " + Quote(table) +
                              " WHERE rowid = last_insert_rowid()");
    sqlite3_reset(st);
    rt::Variant v = rt::Variant::Null();
    if (sqlite3_step(st) == SQLITE_ROW) v = ValueOf(sqlite3_column_value(st, 0));
    sqlite3_reset(st);
    return v;
  }

  // Another file is attached for the one statement, under a name of its
  // own, and detached again. Rows the source has not committed are seen
  // only through its own connection, and no file can be attached inside a
  // transaction: either way the copy goes row by row.
  std::optional<std::int64_t> CopyRowsFrom(Backend& source, const BulkCopy& copy) override {
    auto* from = dynamic_cast<SqliteBackend*>(&source);
    if (!from || !db_ || !from->db_) return std::nullopt;
    const bool same = from == this;
    if (!same && (depth_ > 0 || from->depth_ > 0)) return std::nullopt;
    static constexpr const char* kAlias = "zmdb_copy_source";
    if (!same) {
      Stmt attach;
      Prepare(std::string("ATTACH DATABASE ? AS ") + kAlias, attach);
      sqlite3_bind_text(attach.p, 1, from->path_.c_str(), -1, SQLITE_TRANSIENT);
      // An encrypted source is read with its key; attaching one to a
      // connection without the cipher's file layer fails, and the copy
      // goes row by row.
      const cipher::KeyForOpen sourceKey(from->key_);
      if (sqlite3_step(attach.p) != SQLITE_DONE) return std::nullopt;
    }
    struct Detach {
      sqlite3* db;
      bool attached;
      ~Detach() {
        if (attached) {
          sqlite3_exec(db, "DETACH DATABASE zmdb_copy_source", nullptr, nullptr, nullptr);
        }
      }
    } detach{db_, !same};
    const std::string alias = same ? "main" : kAlias;
    const auto statement =
        BulkCopyStatement(copy, alias, BaseTableColumns(*this, alias, copy.sourceTable),
                          BaseTableColumns(*this, "main", copy.targetTable));
    if (!statement) return std::nullopt;
    if (copy.trace) copy.trace(*statement);
    Begin();
    try {
      const Result done = Execute(*statement);
      Commit();
      return done.rowsAffected;
    } catch (...) {
      try {
        Rollback();
      } catch (...) {  // the copy's own failure is the one to report
      }
      throw;
    }
  }

  void Close() override {
    schema_.reset();
    for (auto& [sql, st] : cache_) sqlite3_finalize(st);
    cache_.clear();
    if (db_) {
      sqlite3_close_v2(db_);
      db_ = nullptr;
    }
  }

 private:
  bool IsLink(std::string_view table) {
    for (const std::string& link : LinkNames(*this)) {
      if (rt::NameEquals(link, table)) return true;
    }
    return false;
  }

  // An index cannot be made on a link's source: CREATE INDEX on a link
  // records the link's virtual index, which the link finds rows by.
  Result IndexOnLink(const Rewritten::Index& index) {
    schema::IndexDef def;
    def.name = index.name;
    for (const std::string& k : index.keys) def.fields.push_back({k, false});
    def.unique = index.unique;
    def.primary = index.primary;
    def.required = index.primary || index.disallowNull;
    def.ignoreNulls = index.ignoreNull;
    Schema().CreateIndex(index.table, def);
    return Result{nullptr, 0, nullptr};
  }

  static std::string Quote(std::string_view name) {
    std::string out = "\"";
    for (char c : name) {
      if (c == '"') out += '"';
      out += c;
    }
    return out + "\"";
  }

  [[noreturn]] static void NoTransaction() { rt::RaiseStandard(rt::err::kNoTransaction, kSource); }

  // The prepared form of a statement the layer builds, from the cache. The
  // cache is dropped whole when it grows past a few dozen statements.
  sqlite3_stmt* Cached(std::string_view sql) {
    const auto it = cache_.find(sql);
    if (it != cache_.end()) return it->second;
    RefuseNulInStatement(sql, kSource);
    if (cache_.size() >= 64) {
      for (auto& [text, st] : cache_) sqlite3_finalize(st);
      cache_.clear();
    }
    sqlite3_stmt* st = nullptr;
    const int rc = sqlite3_prepare_v2(db_, sql.data(), static_cast<int>(sql.size()), &st, nullptr);
    if (rc != SQLITE_OK) RaiseSqliteError(db_, rc, sql);
    cache_.emplace(std::string(sql), st);
    return st;
  }

  void Prepare(const std::string& sql, Stmt& st) {
    const int rc =
        sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &st.p, nullptr);
    if (rc != SQLITE_OK) RaiseSqliteError(db_, rc, sql);
  }

  void Simple(const std::string& sql) {
    char* msg = nullptr;
    const int rc = sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &msg);
    sqlite3_free(msg);
    if (rc != SQLITE_OK) RaiseSqliteError(db_, rc, sql);
  }

  // `borrow`: a text value is bound in place (the caller keeps `v` until the
  // statement is reset and its bindings cleared).
  void Bind(sqlite3_stmt* st, int i, const rt::Variant& v, bool borrow = false) {
    if (borrow && v.IsString()) {
      const std::string& t = v.AsString();
      sqlite3_bind_text(st, i, t.data(), static_cast<int>(t.size()), SQLITE_STATIC);
      return;
    }
    switch (v.Type()) {
      case rt::VarType::Empty:
      case rt::VarType::Null:
        sqlite3_bind_null(st, i);
        return;
      case rt::VarType::Boolean:
        sqlite3_bind_int(st, i, v.AsBoolean() ? -1 : 0);
        return;
      case rt::VarType::Byte:
      case rt::VarType::Integer:
      case rt::VarType::Long:
        sqlite3_bind_int(st, i, v.AsLong());
        return;
      case rt::VarType::Single:
      case rt::VarType::Double:
        sqlite3_bind_double(st, i, v.AsDouble());
        return;
      case rt::VarType::Currency:
        sqlite3_bind_double(st, i, v.AsCurrency().ToDouble());
        return;
      case rt::VarType::Date: {
        const std::string t = CanonicalDateText(v.AsDate());
        sqlite3_bind_text(st, i, t.c_str(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
        return;
      }
      case rt::VarType::Array: {
        std::vector<std::uint8_t> bytes;
        for (const rt::Variant& b : v.AsArray().items()) bytes.push_back(rt::CByte(b));
        sqlite3_bind_blob(st, i, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
        return;
      }
      default: {
        const std::string t = rt::CStr(v);
        sqlite3_bind_text(st, i, t.c_str(), static_cast<int>(t.size()), SQLITE_TRANSIENT);
        return;
      }
    }
  }

  // Prepare, bind and run one SQLite statement; `shown` is the caller's text
  // for error messages.
  Result Run(const std::string& sql, const std::vector<rt::Variant>& params,
             std::string_view shown) {
    if (!db_) rt::RaiseStandard(rt::err::kObjectClosed, kSource);
    sqlite3_stmt* st = nullptr;
    const char* tail = nullptr;
    int rc = sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &st, &tail);
    if (rc != SQLITE_OK) RaiseSqliteError(db_, rc, shown);
    if (!st) return Result{nullptr, 0, nullptr};  // only blanks or a comment
    for (std::size_t i = 0; i < params.size(); ++i) Bind(st, static_cast<int>(i + 1), params[i]);
    Result result;
    // ALTER TABLE ADD of a column with a CHECK reports the columns of the
    // check it runs inside; it is still a statement without rows, and
    // stepping it again through a cursor would add the column twice.
    if (sqlite3_column_count(st) > 0 && !ChangesSchema(sql)) {
      result.cursor = std::make_unique<StatementCursor>(db_, st, std::string(shown));
      return result;
    }
    rc = sqlite3_step(st);
    sqlite3_finalize(st);
    if (rc != SQLITE_DONE && rc != SQLITE_ROW) RaiseSqliteError(db_, rc, shown);
    // The count of changed rows belongs to INSERT, UPDATE and DELETE; after
    // any other statement SQLite would still report the previous one's.
    result.rowsAffected = ChangesRows(sql) ? sqlite3_changes64(db_) : 0;
    return result;
  }

  // The statement's first word, in capitals.
  static std::string HeadWord(std::string_view sql) {
    const auto b = sql.find_first_not_of(" \t\r\n(");
    if (b == std::string_view::npos) return {};
    std::string head;
    for (std::size_t i = b; i < sql.size() && std::isalpha(static_cast<unsigned char>(sql[i]));
         ++i) {
      head += static_cast<char>(std::toupper(static_cast<unsigned char>(sql[i])));
    }
    return head;
  }

  static bool ChangesRows(std::string_view sql) {
    const std::string head = HeadWord(sql);
    return head == "INSERT" || head == "UPDATE" || head == "DELETE" || head == "REPLACE" ||
           head == "WITH";
  }

  static bool ChangesSchema(std::string_view sql) {
    const std::string head = HeadWord(sql);
    return head == "ALTER" || head == "CREATE" || head == "DROP";
  }

  static ColumnInfo Col(std::string name, std::int32_t type, std::int32_t size) {
    ColumnInfo c;
    c.name = std::move(name);
    c.adoType = type;
    c.definedSize = size;
    return c;
  }

  Result Catalogs() {
    std::vector<ColumnInfo> cols = {Col("CATALOG_NAME", 202, 128), Col("DESCRIPTION", 202, 255)};
    std::vector<std::vector<rt::Variant>> rows;
    rows.push_back({rt::Variant(path_), rt::Variant::Null()});
    return Result{std::make_unique<RowsCursor>(std::move(cols), std::move(rows)), -1, nullptr};
  }

  Result Tables() {
    std::vector<ColumnInfo> cols = {
        Col("TABLE_CATALOG", 202, 128), Col("TABLE_SCHEMA", 202, 128), Col("TABLE_NAME", 202, 128),
        Col("TABLE_TYPE", 202, 128),    Col("TABLE_GUID", 72, 16),     Col("DESCRIPTION", 202, 255),
        Col("TABLE_PROPID", 19, 4),     Col("DATE_CREATED", 7, 8),     Col("DATE_MODIFIED", 7, 8)};
    std::vector<std::vector<rt::Variant>> rows;
    std::vector<std::pair<std::string, std::string>> listed;
    {
      Stmt st;
      Prepare("SELECT name, type FROM sqlite_master WHERE type IN ('table','view') AND name <> '" +
                  std::string(kSystemTable) + "' AND " + std::string(kNotLinkSql),
              st);
      while (sqlite3_step(st.p) == SQLITE_ROW) {
        listed.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st.p, 0)),
                            reinterpret_cast<const char*>(sqlite3_column_text(st.p, 1)));
      }
    }
    for (std::string& link : LinkNames(*this)) listed.emplace_back(std::move(link), "link");
    std::sort(listed.begin(), listed.end());
    const std::vector<TableDates> dates = RecordedDates(*this);
    for (const auto& [name, type] : listed) {
      const bool system = name.starts_with("sqlite_") || name.starts_with("MSys");
      rt::Variant created = rt::Variant::Null(), modified = rt::Variant::Null();
      for (const TableDates& d : dates) {
        if (d.name == name) created = d.created, modified = d.modified;
      }
      rows.push_back({rt::Variant::Null(), rt::Variant::Null(), rt::Variant(name),
                      rt::Variant(system           ? "SYSTEM TABLE"
                                  : type == "view" ? "VIEW"
                                  : type == "link" ? "LINK"
                                                   : "TABLE"),
                      rt::Variant::Null(), rt::Variant::Null(), rt::Variant::Null(), created,
                      modified});
    }
    return Result{std::make_unique<RowsCursor>(std::move(cols), std::move(rows)), -1, nullptr};
  }

  sqlite3* db_;
  std::string path_;
  cipher::KeyRef key_;  // the key of an encrypted file
  int depth_ = 0;
  std::unique_ptr<schema::SchemaStore> schema_;
  std::map<std::string, sqlite3_stmt*, std::less<>> cache_;
};

// Whether the file starts like a Jet or ACE database (which this store reads
// through another reader, not SQLite).
bool LooksLikeJet(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  char head[32] = {};
  f.read(head, sizeof head);
  const std::string_view h(head, sizeof head);
  return Contains(h, "Standard Jet DB") || Contains(h, "Standard ACE DB");
}

// Whether this process may write the file and the directory it is in (by
// its effective identity and capabilities, as the writes would be made).
bool WritableFileAndFolder(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::absolute(fs::path(path)).parent_path();
#if defined(_WIN32)
  return _access(path.c_str(), 2) == 0;
#else
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 &&
         faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) == 0;
#endif
}

// The URI that opens `path` for reading only. Without a write-ahead log
// beside it the file is opened as immutable: no lock, no log and no index
// are made, so nothing is left behind (an index made by a reader would keep
// the reader's permissions and stop a later writer).
std::string ReadOnlyUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      static constexpr char kHex[] = "0123456789ABCDEF";
      const auto u = static_cast<unsigned char>(c);
      uri += '%', uri += kHex[u >> 4], uri += kHex[u & 15];
    } else {
      uri += c;
    }
  }
  std::error_code ec;
  const bool logged = std::filesystem::exists(path + "-wal", ec);
  return uri + (logged ? "?mode=ro" : "?mode=ro&immutable=1");
}

// The function a link's view calls when the link cannot be read: it fails
// the statement with the text it is given.
void LinkError(sqlite3_context* context, int, sqlite3_value** argv) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(argv[0]));
  sqlite3_result_error(context, text ? text : "The linked table cannot be read.", -1);
}

// True when `tableDotColumn` ("T.C", as a NOT NULL failure names it) is a
// column of its table's primary key: a Null there is refused as the engine
// refuses a Null in a key.
bool KeyColumn(sqlite3* db, const std::string& tableDotColumn) {
  const auto dot = tableDotColumn.find('.');
  if (!db || dot == std::string::npos) return false;
  sqlite3_stmt* st = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT pk FROM pragma_table_info(?) WHERE name = ?", -1, &st,
                         nullptr) != SQLITE_OK) {
    return false;
  }
  const std::string table = tableDotColumn.substr(0, dot);
  const std::string column = tableDotColumn.substr(dot + 1);
  sqlite3_bind_text(st, 1, table.c_str(), -1, SQLITE_TRANSIENT);
  sqlite3_bind_text(st, 2, column.c_str(), -1, SQLITE_TRANSIENT);
  const bool key = sqlite3_step(st) == SQLITE_ROW && sqlite3_column_int(st, 0) > 0;
  sqlite3_finalize(st);
  return key;
}

}  // namespace

// Whether the file of `db` is no longer at its name (removed, or renamed
// and perhaps replaced) since the connection opened it.
static bool FileMoved(sqlite3* db) {
  int moved = 0;
  return sqlite3_file_control(db, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved;
}

// A change about to be committed to a file that is gone from its name
// would be lost with it when the connection closes: the commit is turned
// into a rollback, which the statement reports.
static int RefuseCommitToMovedFile(void* db) {
  return FileMoved(static_cast<sqlite3*>(db)) ? 1 : 0;
}

void RaiseSqliteError(sqlite3* db, int code, std::string_view statement) {
  const std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(code);
  if (auto linkError = LinkErrorOf(msg)) throw ProviderError({*linkError});
  const int primary = code & 0xFF;
  const std::string where = statement.empty() ? "" : " (in: " + std::string(statement) + ")";
  std::int32_t number = rt::err::kUnspecified;
  std::string text;
  if (Contains(msg, "no such table") || Contains(msg, "no such view")) {
    number = rt::err::kNoSuchObject;
    text = rt::ErrorText(rt::err::kNoInputTable, NameAfterColon(msg));
  } else if (Contains(msg, "no such column")) {
    number = rt::err::kMissingParameter;
    text = "No value given for one or more required parameters: the name '" + NameAfterColon(msg) +
           "' is not a field.";
  } else if (Contains(msg, "no such index") || Contains(msg, "no such trigger")) {
    number = rt::err::kNoSuchObject;
    text = rt::ErrorText(rt::err::kNoSuchObject, NameAfterColon(msg));
  } else if (Contains(msg, "syntax error") || Contains(msg, "incomplete input") ||
             Contains(msg, "unrecognized token") || Contains(msg, "no such function") ||
             Contains(msg, "already exists") || Contains(msg, "wrong number of arguments")) {
    number = rt::err::kSyntaxError;
    text = "Syntax error in statement: " + msg + ".";
  } else if (code == SQLITE_IOERR_DATA || primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
    text = "The database file is damaged: a page failed its integrity check (" + msg + ").";
  } else if (primary == SQLITE_READONLY || primary == SQLITE_PERM || primary == SQLITE_AUTH) {
    number = rt::err::kPermissionDenied;
    text = "Permission denied: " + msg + ".";
  } else if (code == SQLITE_CONSTRAINT_COMMITHOOK && FileMoved(db)) {
    text = "The database file '" + std::string(sqlite3_db_filename(db, "main")) +
           "' was moved or deleted while it was open; the change was not saved.";
  } else if (primary == SQLITE_CONSTRAINT && Contains(msg, "NOT NULL constraint failed: ") &&
             KeyColumn(db, NameAfterColon(msg))) {
    number = rt::err::kNullInIndex;
    text = rt::ErrorText(rt::err::kNullInIndex);
  } else if (primary == SQLITE_CONSTRAINT) {
    number = rt::err::kIntegrityViolation;
    text = Contains(msg, "CHECK constraint failed: length(")
               ? "The field is too small to accept the amount of data you attempted to add (" +
                     msg + ")."
               : "The change was refused by the table's rules: " + msg + ".";
  } else if (primary == SQLITE_BUSY || primary == SQLITE_LOCKED) {
    text = "The database is in use by another connection and stayed locked: " + msg + ".";
  } else {
    text = msg + ".";
  }
  throw ProviderError({rt::ErrorInfo{number, kSource, text + where}});
}

// The key a database is read and written with: for an encrypted file, the
// password's key once it opens page 1 (else error "Not a valid password.",
// and nothing is written); for a new or empty file given a password, a new
// key; otherwise none (a plain file ignores the password, as the engine
// ignores one given for a database that has none).
cipher::KeyRef KeyForFile(const std::string& path, const std::string& password) {
  std::ifstream f(path, std::ios::binary);
  std::vector<std::uint8_t> page(cipher::kPlainHeader);
  f.read(reinterpret_cast<char*>(page.data()), static_cast<std::streamsize>(page.size()));
  const auto got = static_cast<std::size_t>(f ? page.size() : static_cast<std::size_t>(f.gcount()));
  if (got == 0) return password.empty() ? nullptr : cipher::NewKey(password);
  const auto header = cipher::ParseHeader({page.data(), got});
  if (!header || !header->encrypted) return nullptr;
  auto refuse = [&] {
    throw ProviderError({rt::ErrorInfo{rt::err::kPasswordRefused, kSource,
                                       rt::ErrorText(rt::err::kPasswordRefused)}});
  };
  if (password.empty()) refuse();
  page.resize(header->pageSize);
  f.read(reinterpret_cast<char*>(page.data() + got),
         static_cast<std::streamsize>(page.size() - got));
  const std::uint32_t iterations = cipher::IterationsOfPage1(page);
  // A count past any the library writes is no file of its own; refusing it
  // keeps a doctored header from holding the caller for hours.
  if (!f || iterations == 0 || iterations > 100 * cipher::kDefaultIterations) refuse();
  auto key = cipher::DeriveKey(password, header->salt, iterations);
  if (!cipher::OpenPage(*key, cipher::FileKind::Main, 0, page)) refuse();
  return key;
}

std::unique_ptr<Backend> OpenDatabase(const OpenOptions& options) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!options.create && !fs::exists(options.path, ec)) {
    throw ProviderError({rt::ErrorInfo{rt::err::kUnspecified, kSource,
                                       "Could not find file '" + options.path + "'."}});
  }
  if (fs::exists(options.path, ec) && LooksLikeJet(options.path)) {
    throw ProviderError(
        {rt::ErrorInfo{rt::err::kUnspecified, kSource,
                       "Unrecognized database format '" + options.path +
                           "': a Jet or ACE file is read through the legacy reader, "
                           "not opened as a file store."}});
  }
  // A file this process cannot write, or one in a directory it cannot write
  // (where the log and its index would go), opens for reading only.
  const bool readOnly =
      options.readOnly || (!options.create && !WritableFileAndFolder(options.path));
  sqlite3* db = nullptr;
  int flags = readOnly ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
  if (options.create) flags |= SQLITE_OPEN_CREATE;
  const std::string name = readOnly ? ReadOnlyUri(options.path) : options.path;
  cipher::KeyRef key = KeyForFile(options.path, options.password);
  int rc = SQLITE_OK;
  {
    const cipher::KeyForOpen withKey(key);
    rc = sqlite3_open_v2(name.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX,
                         key ? cipher::VfsName() : nullptr);
  }
  if (rc != SQLITE_OK) {
    const std::string msg = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    sqlite3_close_v2(db);
    throw ProviderError({rt::ErrorInfo{rt::err::kUnspecified, kSource,
                                       "Could not open '" + options.path + "': " + msg + "."}});
  }
  auto backend = std::make_unique<SqliteBackend>(db, options.path, key);
  if (key) {
    // A new file leaves every page the bytes of its seal (an existing one
    // keeps what it was made with), and temporary tables, sorts and
    // statement journals stay in memory rather than in plain files.
    int reserve = cipher::kReserve;
    sqlite3_file_control(db, "main", SQLITE_FCNTL_RESERVE_BYTES, &reserve);
    sqlite3_exec(db, "PRAGMA temp_store=MEMORY", nullptr, nullptr, nullptr);
  }
  sqlite3_busy_timeout(db, options.busyTimeoutMs);
  sqlite3_extended_result_codes(db, 1);
  // Reading the schema tells a database from any other file.
  rc = sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
  if (rc != SQLITE_OK) {
    throw ProviderError({rt::ErrorInfo{rt::err::kUnspecified, kSource,
                                       "Unrecognized database format '" + options.path + "'."}});
  }
  if (!readOnly) {
    // Readers and one writer work side by side in write-ahead logging.
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    // A commit is appended to the log before it returns, so a killed process
    // loses no committed row; only the log's checkpoints wait for the disk,
    // which keeps a commit per row cheap. A power loss may lose the last
    // commits unless every commit is asked to reach the disk as well.
    sqlite3_exec(db, options.fullSync ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL",
                 nullptr, nullptr, nullptr);
  }
  rc = RegisterJetFunctions(db);
  if (rc == SQLITE_OK) {
    rc = RegisterLinkModule(db);
  }
  if (rc == SQLITE_OK) {
    rc = sqlite3_create_function_v2(db, "zmdb_link_error", 1, SQLITE_UTF8, nullptr, LinkError,
                                    nullptr, nullptr, nullptr);
  }
  if (rc != SQLITE_OK) RaiseSqliteError(db, rc, {});
  sqlite3_commit_hook(db, RefuseCommitToMovedFile, db);
  // Relations are enforced, as the engine enforces them.
  sqlite3_exec(db, "PRAGMA foreign_keys=ON", nullptr, nullptr, nullptr);
  AttachLinks(*backend);
  return backend;
}

std::unique_ptr<Backend> OpenFileStore(const Route& route, const StoreOptions& options) {
  OpenOptions open;
  open.path = route.dataSource;
  open.create = options.create;
  open.readOnly = options.readOnly;
  open.fullSync = route.fullSync;
  open.password = route.password;
  return OpenDatabase(open);
}

}  // namespace zmdb::dal::sqlite
