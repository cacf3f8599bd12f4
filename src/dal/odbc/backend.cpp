// The server store over the ODBC C API. Statements the caller writes are
// sent as written (the component translates for SQL Server itself); the
// statements the layer builds use "?" parameters. How the drivers differ is
// read from their profile (types.h), not tested here.
#include <algorithm>

#include "api_p.h"
#include "backend_p.h"
#include "cursor_p.h"
#include "schema_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/odbc/store.h"
#include "zmdb/dal/rows_cursor.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal::odbc {

namespace {

// `text` with every `{key}` replaced by `value`.
std::string Fill(std::string text, std::string_view key, std::string_view value) {
  const std::string marker = "{" + std::string(key) + "}";
  for (std::size_t at = text.find(marker); at != std::string::npos;
       at = text.find(marker, at + value.size())) {
    text.replace(at, marker.size(), value);
  }
  return text;
}

// `text` as an SQL string literal's contents (quotes doubled).
std::string Literal(std::string_view text) {
  std::string out;
  for (char c : text) {
    out += c;
    if (c == '\'') out += '\'';
  }
  return out;
}

// Whether a caller's statement may change tables (and so their keys).
bool ChangesSchema(std::string_view sql) {
  const auto b = sql.find_first_not_of(" \t\r\n");
  if (b == std::string_view::npos) return false;
  std::string head;
  for (std::size_t i = b; i < sql.size() && std::isalpha(static_cast<unsigned char>(sql[i])); ++i) {
    head += static_cast<char>(std::toupper(static_cast<unsigned char>(sql[i])));
  }
  return head == "CREATE" || head == "ALTER" || head == "DROP" || head == "EXEC" ||
         head == "EXECUTE" || head == "CALL" || head == "DO";
}

// A column of a schema rowset.
ColumnInfo Col(std::string name, std::int32_t type, std::int32_t size) {
  ColumnInfo c;
  c.name = std::move(name);
  c.adoType = type;
  c.definedSize = size;
  return c;
}

// What a refused connection's first record says was refused. Drivers report
// a refused login under 08001 as often as under 28000, so the message
// decides between the two.
std::string Refusal(std::string_view state, std::string_view message) {
  auto says = [&](std::string_view word) { return message.find(word) != std::string_view::npos; };
  if (state.starts_with("28") || says("authentication") || says("Login failed") ||
      says("password")) {
    return "the login was refused";
  }
  if (state == "IM002" || says("Can't open lib")) {
    return "no driver or data source of that name is registered, or its library cannot be loaded";
  }
  if (state == "IM003") return "the driver could not be loaded";
  if (state == "HYT00" || state == "HYT01") return "the server did not answer in time";
  if (state.starts_with("08")) return "the server could not be reached";
  return "the connection was refused";
}

// The driver a DSN is registered with (its description in the driver
// manager's list of data sources), or "".
std::string DriverOfDsn(SQLHENV env, const std::string& dsn) {
  SQLCHAR name[SQL_MAX_DSN_LENGTH + 1];
  SQLCHAR driver[512];
  SQLSMALLINT nameLength = 0, driverLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (SQL_SUCCEEDED(SQLDataSources(env, direction, name, sizeof name, &nameLength, driver,
                                      sizeof driver, &driverLength))) {
    direction = SQL_FETCH_NEXT;
    const std::string found(reinterpret_cast<const char*>(name));
    if (found.size() == dsn.size() &&
        std::equal(found.begin(), found.end(), dsn.begin(), [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) ==
                 std::tolower(static_cast<unsigned char>(b));
        })) {
      return reinterpret_cast<const char*>(driver);
    }
  }
  return {};
}

class OdbcBackend : public Backend {
 public:
  explicit OdbcBackend(std::shared_ptr<Link> link)
      : link_(std::move(link)), keys_(std::make_shared<KeyCache>(link_)) {
    quirks_ = link_->profile.quirks;
    if (link_->profile.askQuote) {
      // The driver's own identifier quote; a blank means it has none.
      quote_ = InfoText(*link_, SQL_IDENTIFIER_QUOTE_CHAR);
      if (quote_.empty() || quote_ == " ") quote_ = "\"";
      quirks_ = Quirks{quote_, quote_};
    }
  }
  ~OdbcBackend() override { Close(); }

  const Quirks& quirks() const override { return quirks_; }
  std::string DbmsName() const override { return InfoText(*link_, SQL_DBMS_NAME); }

  Result Execute(std::string_view statement) override {
    if (ChangesSchema(statement)) keys_->Clear();
    return Run(std::string(statement), nullptr);
  }

  Result ExecuteNative(std::string_view statement,
                       const std::vector<rt::Variant>& params) override {
    std::vector<ParameterBinder::Request> requests;
    for (const rt::Variant& v : params) requests.push_back({v});
    ParameterBinder binder(std::move(requests));
    return Run(std::string(statement), &binder);
  }

  Result ExecuteCommand(std::string_view text, bool procedure,
                        std::vector<CommandParameter>& params) override;

  // Nested transactions are savepoints inside the outermost one.
  void Begin() override {
    RequireOpen();
    if (depth_ == 0) {
      SetAutocommit(false);
    } else {
      Savepoint(link_->profile.savepointSql);
    }
    ++depth_;
  }

  void Commit() override {
    RequireOpen();
    if (depth_ == 0) NoTransaction();
    --depth_;
    try {
      if (depth_ == 0) {
        EndTransaction(SQL_COMMIT);
      } else if (*link_->profile.releaseSql) {
        Savepoint(link_->profile.releaseSql);
      }
    } catch (...) {
      // A commit the server refused (a deferred constraint, a lost session)
      // leaves the transaction to the caller's rollback, which finds it still
      // counted and so reports nothing in place of the commit's error.
      ++depth_;
      throw;
    }
  }

  void Rollback() override {
    RequireOpen();
    if (depth_ == 0) NoTransaction();
    --depth_;
    if (depth_ == 0) {
      EndTransaction(SQL_ROLLBACK);
    } else {
      Savepoint(link_->profile.rollbackToSql);
      if (*link_->profile.releaseSql) Savepoint(link_->profile.releaseSql);
    }
  }

  Result OpenSchema(std::int32_t schema) override {
    RequireOpen();
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
    RequireOpen();
    LetGoOfRows();
    return keys_->Get(table);
  }

  rt::Variant InsertedValue(const std::string& table, const std::string& column) override {
    const std::string sql = *link_->profile.insertedValueSql
                                ? Fill(Fill(link_->profile.insertedValueSql, "table",
                                            Literal(QuoteName(table, quirks_))),
                                       "column", Literal(column))
                                : std::string();
    if (sql.empty()) return rt::Variant::Null();
    try {
      Result r = Run(sql, nullptr);
      if (!r.cursor || !r.cursor->Step()) return rt::Variant::Null();
      const Cursor& c = *r.cursor;
      switch (c.Type(0)) {
        case CellType::Integer: {
          const std::int64_t v = c.Integer(0);
          if (v >= INT32_MIN && v <= INT32_MAX) return rt::Variant(static_cast<std::int32_t>(v));
          return rt::Variant(static_cast<double>(v));
        }
        case CellType::Real:
          return rt::Variant(c.Real(0));
        case CellType::Text:
          return rt::Variant(std::string(c.Text(0)));
        default:
          return rt::Variant::Null();
      }
    } catch (const rt::PlatformError&) {
      return rt::Variant::Null();  // the store cannot tell
    }
  }

  schema::SchemaStore& Schema() override {
    RequireOpen();
    if (!schema_) {
      schema_ = NewSchemaStore(
          *this, [this] { return NewStatement(); },
          Ddl(link_->namedSqlServer ? Dialect::SqlServer : DialectOf(link_->profile.family),
              quirks_));
    }
    return *schema_;
  }

  void Close() override {
    if (!link_ || link_->dbc == SQL_NULL_HDBC) return;
    for (auto& weak : link_->statements) {
      if (auto st = weak.lock()) st->Release();
    }
    link_->statements.clear();
    if (depth_ > 0) SQLEndTran(SQL_HANDLE_DBC, link_->dbc, SQL_ROLLBACK);
    depth_ = 0;
    // A server that went away makes the disconnect fail; the handle goes anyway.
    SQLDisconnect(link_->dbc);
    SQLFreeHandle(SQL_HANDLE_DBC, link_->dbc);
    link_->dbc = SQL_NULL_HDBC;
  }

 private:
  void RequireOpen() const {
    if (link_->dbc == SQL_NULL_HDBC) RaiseClosed(kSource);
  }

  [[noreturn]] static void NoTransaction() { rt::RaiseStandard(rt::err::kNoTransaction, kSource); }

  // A driver that runs one statement at a time needs the rows still pending
  // on the connection read into memory before another statement starts.
  void LetGoOfRows() {
    auto& all = link_->statements;
    all.erase(std::remove_if(all.begin(), all.end(),
                             [](const auto& w) {
                               auto st = w.lock();
                               return !st || st->released();
                             }),
              all.end());
    if (!link_->oneActiveStatement) return;
    for (auto& weak : all) {
      auto st = weak.lock();
      if (!st) continue;
      if (st->letGo) {
        auto letGo = st->letGo;
        letGo();
      }
      // Results nobody has asked for yet are dropped with the statement.
      if (!st->released()) st->Release();
    }
  }

  std::shared_ptr<StatementHandle> NewStatement() {
    RequireOpen();
    LetGoOfRows();
    auto st = std::make_shared<StatementHandle>(link_);
    link_->statements.push_back(st);
    return st;
  }

  // Run one statement, with its parameters bound when there are any.
  Result Run(const std::string& sql, ParameterBinder* params) {
    RefuseNulInStatement(sql, kSource);
    auto st = NewStatement();
    if (params) params->Bind(*st);
    const SQLRETURN rc = ExecDirect(*st, sql);
    if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) {
      Check(rc, SQL_HANDLE_STMT, st->get(), *link_, sql);
    }
    return CurrentResult(st, sql, keys_, rc == SQL_NO_DATA);
  }

  void SetAutocommit(bool on) {
    const SQLRETURN rc = SQLSetConnectAttr(link_->dbc, SQL_ATTR_AUTOCOMMIT,
                                           reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(
                                               on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF)),
                                           0);
    Check(rc, SQL_HANDLE_DBC, link_->dbc, *link_);
  }

  void EndTransaction(SQLSMALLINT how) {
    LetGoOfRows();
    const SQLRETURN rc = SQLEndTran(SQL_HANDLE_DBC, link_->dbc, how);
    // Autocommit comes back even when the end failed, so the connection is usable.
    const SQLRETURN back =
        SQLSetConnectAttr(link_->dbc, SQL_ATTR_AUTOCOMMIT,
                          reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(SQL_AUTOCOMMIT_ON)), 0);
    Check(rc, SQL_HANDLE_DBC, link_->dbc, *link_);
    Check(back, SQL_HANDLE_DBC, link_->dbc, *link_);
  }

  void Savepoint(const char* templateSql) {
    if (!*templateSql) {
      rt::Raise(rt::err::kAdoNotSupported,
                std::string("Nested transactions are not supported by the ") + link_->profile.name +
                    " store.",
                kSource);
    }
    const std::string name = QuoteName("zmdb_level" + std::to_string(depth_), quirks_);
    Run(Fill(templateSql, "name", name), nullptr);
  }

  // The catalogues the server holds. Drivers answer the all-catalogues form
  // of SQLTables differently: FreeTDS lists every database, psqlODBC only
  // the current one, and the SQLite driver ignores the form and lists
  // tables without catalogue; a list without names falls back on the
  // current catalogue.
  Result Catalogs() {
    std::vector<std::string> names;
    if (*link_->profile.catalogsSql) {
      Result r = Run(link_->profile.catalogsSql, nullptr);
      while (r.cursor && r.cursor->Step()) names.emplace_back(r.cursor->Text(0));
    } else {
      auto st = NewStatement();
      Check(odbc::Tables(*st, SQL_ALL_CATALOGS, "", "", ""), SQL_HANDLE_STMT, st->get(), *link_);
      for (const auto& row : TextRows(*st, 1)) {
        if (row[0] && !row[0]->empty() &&
            std::find(names.begin(), names.end(), *row[0]) == names.end()) {
          names.push_back(*row[0]);
        }
      }
      st->Release();
    }
    if (names.empty()) names.push_back(CurrentCatalog(*link_));
    std::vector<std::vector<rt::Variant>> rows;
    for (const std::string& n : names) rows.push_back({rt::Variant(n), rt::Variant::Null()});
    std::vector<ColumnInfo> cols = {Col("CATALOG_NAME", 202, 128), Col("DESCRIPTION", 202, 255)};
    return Result{std::make_unique<RowsCursor>(std::move(cols), std::move(rows)), -1, nullptr};
  }

  // Creation and change dates by "schema.name", where the store keeps them.
  std::map<std::string, std::pair<rt::Variant, rt::Variant>> TableDates() {
    std::map<std::string, std::pair<rt::Variant, rt::Variant>> dates;
    if (!*link_->profile.tableDatesSql) return dates;
    Result r = Run(link_->profile.tableDatesSql, nullptr);
    if (!r.cursor) return dates;
    Cursor& c = *r.cursor;
    auto date = [&](std::size_t i) {
      return c.Type(i) == CellType::Null ? rt::Variant::Null() : rt::Variant(rt::Date{c.Real(i)});
    };
    while (c.Step()) {
      const std::string key = std::string(c.Text(0)) + "." + std::string(c.Text(1));
      dates[key] = {date(2), date(3)};
    }
    return dates;
  }

  Result Tables() {
    std::vector<std::vector<std::optional<std::string>>> found;
    {
      auto st = NewStatement();
      Check(odbc::Tables(*st, nullptr, nullptr, "%", nullptr), SQL_HANDLE_STMT, st->get(), *link_);
      found = TextRows(*st, 5);  // TABLE_CAT, TABLE_SCHEM, TABLE_NAME, TABLE_TYPE, REMARKS
      st->Release();
    }
    const auto dates = TableDates();
    auto text = [](const std::optional<std::string>& s) {
      return s ? rt::Variant(*s) : rt::Variant::Null();
    };
    std::vector<std::vector<rt::Variant>> rows;
    for (const auto& f : found) {
      rt::Variant created = rt::Variant::Null(), modified = rt::Variant::Null();
      const auto it = dates.find(f[1].value_or("") + "." + f[2].value_or(""));
      if (it != dates.end()) std::tie(created, modified) = it->second;
      rows.push_back({text(f[0]), text(f[1]), text(f[2]), text(f[3]), rt::Variant::Null(),
                      text(f[4]), rt::Variant::Null(), created, modified});
    }
    std::vector<ColumnInfo> cols = {
        Col("TABLE_CATALOG", 202, 128), Col("TABLE_SCHEMA", 202, 128), Col("TABLE_NAME", 202, 128),
        Col("TABLE_TYPE", 202, 128),    Col("TABLE_GUID", 72, 16),     Col("DESCRIPTION", 202, 255),
        Col("TABLE_PROPID", 19, 4),     Col("DATE_CREATED", 7, 8),     Col("DATE_MODIFIED", 7, 8)};
    return Result{std::make_unique<RowsCursor>(std::move(cols), std::move(rows)), -1, nullptr};
  }

  std::shared_ptr<Link> link_;
  std::shared_ptr<KeyCache> keys_;
  Quirks quirks_;
  std::string quote_;
  int depth_ = 0;
  std::unique_ptr<schema::SchemaStore> schema_;
};

// Read and drop every further result of `st`, so that output parameters
// are filled; a failure among them is raised.
void Drain(StatementHandle& st, const std::string& sql) {
  while (!st.released() && !st.finished) {
    if (st.advanced) {
      st.advanced = false;
      if (!st.pendingError.empty()) {
        const auto error = std::move(st.pendingError);
        st.pendingError.clear();
        RaiseRecords(error, st.link(), sql);
      }
    }
    const SQLRETURN rc = SQLMoreResults(st.get());
    if (rc == SQL_NO_DATA) {
      st.Release();
      return;
    }
    Check(rc, SQL_HANDLE_STMT, st.get(), st.link(), sql);
  }
}

Result OdbcBackend::ExecuteCommand(std::string_view text, bool procedure,
                                   std::vector<CommandParameter>& params) {
  RefuseNulInStatement(text, kSource);
  // The return value's marker comes first in the call escape, wherever the
  // caller appended it.
  std::vector<std::size_t> order;
  const auto ret = std::find_if(params.begin(), params.end(),
                                [](const CommandParameter& p) { return p.direction == 4; });
  const bool returnValue = procedure && ret != params.end();
  if (returnValue) order.push_back(static_cast<std::size_t>(ret - params.begin()));
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (!(returnValue && i == order.front())) order.push_back(i);
  }
  std::vector<ParameterBinder::Request> requests;
  for (std::size_t i : order) {
    const CommandParameter& p = params[i];
    requests.push_back({p.value, p.adoType, p.direction, p.size, p.precision, p.scale});
  }
  ParameterBinder binder(std::move(requests));
  std::string sql = procedure ? CallEscape(text, params.size() - (returnValue ? 1 : 0), returnValue)
                              : std::string(text);
  auto st = NewStatement();
  binder.Bind(*st);
  SQLRETURN rc = ExecDirect(*st, sql);
  if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) {
    auto records = Diagnostics(SQL_HANDLE_STMT, st->get(), st->wide());
    const char* retry = link_->profile.callRetryState;
    if (procedure && !returnValue && *retry && !records.empty() && records[0].state == retry) {
      SQLFreeStmt(st->get(), SQL_CLOSE);
      sql = CallStatement(text, params.size());
      rc = ExecDirect(*st, sql);
      if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) {
        records = Diagnostics(SQL_HANDLE_STMT, st->get(), st->wide());
      }
    }
    if (!SQL_SUCCEEDED(rc) && rc != SQL_NO_DATA) RaiseRecords(records, *link_, sql);
  }
  const bool outputs = std::any_of(params.begin(), params.end(),
                                   [](const CommandParameter& p) { return p.direction != 1; });
  Result result = CurrentResult(st, sql, keys_, rc == SQL_NO_DATA);
  if (!outputs) return result;
  // Output values arrive after the last result: rows that came first are
  // held in memory, the rest is read and dropped.
  if (auto* cursor = dynamic_cast<OdbcCursor*>(result.cursor.get())) cursor->BufferRows();
  Drain(*st, sql);
  result.batch.reset();
  for (std::size_t k = 0; k < order.size(); ++k) {
    CommandParameter& p = params[order[k]];
    if (p.direction != 1) p.value = binder.Output(k);
  }
  return result;
}

}  // namespace

std::unique_ptr<Backend> Open(const Route& route) {
  const SQLHENV env = Environment();
  std::string odbc = route.odbc;
  std::string driver = route.driver;
  if (!route.dsn.empty()) {
    driver = DriverOfDsn(env, route.dsn);
    odbc = OdbcConnectionString(route, driver);
  }
  CheckDriverManagerLimits(odbc, route.driver, route.dsn);
  auto link = std::make_shared<Link>();
  link->profile = ProfileFor(FamilyOfDriver(driver));
  link->secret = route.secret;
  link->namedSqlServer =
      FamilyOfDriver(driver) == DriverFamily::FreeTds || rt::StartsWithNoCase(driver, "SQL Server");
  if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_DBC, env, &link->dbc))) {
    link->dbc = SQL_NULL_HDBC;
    RaiseRecords({}, *link, {});
  }
  SQLSetConnectAttr(link->dbc, SQL_ATTR_LOGIN_TIMEOUT,
                    reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(route.loginTimeout)), 0);
  SQLRETURN rc;
  if (link->profile.wide) {
    std::u16string w = ToUtf16(odbc);
    rc = SQLDriverConnectW(link->dbc, nullptr, reinterpret_cast<SQLWCHAR*>(w.data()),
                           static_cast<SQLSMALLINT>(w.size()), nullptr, 0, nullptr,
                           SQL_DRIVER_NOPROMPT);
  } else {
    rc = SQLDriverConnect(
        link->dbc, nullptr, reinterpret_cast<SQLCHAR*>(const_cast<char*>(odbc.c_str())),
        static_cast<SQLSMALLINT>(odbc.size()), nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT);
  }
  if (!SQL_SUCCEEDED(rc)) {
    auto records = Diagnostics(SQL_HANDLE_DBC, link->dbc, link->profile.wide);
    SQLFreeHandle(SQL_HANDLE_DBC, link->dbc);
    link->dbc = SQL_NULL_HDBC;
    const std::string through = !route.dsn.empty() ? "the data source '" + route.dsn + "'"
                                                   : "the ODBC driver '" + route.driver + "'";
    const std::string who = route.user.empty() ? "" : " as user '" + route.user + "'";
    const std::string summary =
        "Could not connect to '" + route.server + "' through " + through + who + ": " +
        (records.empty() ? Refusal("", "")
                         : Refusal(records.front().state, records.front().message)) +
        ". ";
    if (records.empty()) records.push_back({"08001", 0, ""});
    records.front().message = summary + records.front().message;
    RaiseRecords(records, *link, {});
  }
  // The driver as it names itself decides its profile (a DSN or an unknown
  // name may lead to a known driver).
  const DriverFamily actual = FamilyOfDriver(InfoText(*link, SQL_DRIVER_NAME));
  if (actual != DriverFamily::Other) link->profile = ProfileFor(actual);
  SQLUINTEGER getData = 0;
  SQLGetInfo(link->dbc, SQL_GETDATA_EXTENSIONS, &getData, sizeof getData, nullptr);
  link->getDataBound = (getData & SQL_GD_BOUND) != 0;
  link->getDataBlock = (getData & SQL_GD_BLOCK) != 0;
  link->getDataAnyColumn = (getData & SQL_GD_ANY_COLUMN) != 0;
  SQLUSMALLINT active = 0;
  SQLGetInfo(link->dbc, SQL_MAX_CONCURRENT_ACTIVITIES, &active, sizeof active, nullptr);
  link->oneActiveStatement = active == 1;
  return std::make_unique<OdbcBackend>(std::move(link));
}

std::unique_ptr<Backend> OpenServerStore(const Route& route, const StoreOptions&) {
  return Open(route);
}

}  // namespace zmdb::dal::odbc
