// The ODBC C API as the server store uses it: the process's environment,
// connection and statement handles that free themselves, diagnostics turned
// into the layer's errors, and the calls that carry text, through the wide
// (UTF-16) or the narrow (UTF-8) entry points as the driver needs.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "types_p.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::dal::odbc {

inline constexpr const char* kSource = "ZMDB Server Store";

// One diagnostic record of a handle.
struct Diagnostic {
  std::string state;
  std::int32_t native = 0;
  std::string message;
};

// The process's ODBC environment (ODBC 3 behaviour), made on first use.
// ODBCSYSINI and the other driver-manager settings are read then.
SQLHENV Environment();

class StatementHandle;

// One open connection and what its driver told of itself.
struct Link {
  SQLHDBC dbc = SQL_NULL_HDBC;
  DriverProfile profile;
  std::string secret;             // the password, kept out of every message
  bool getDataBound = false;      // SQLGetData on a bound column (SQL_GD_BOUND)
  bool getDataBlock = false;      // SQLGetData within a block of rows (SQL_GD_BLOCK)
  bool getDataAnyColumn = false;  // SQLGetData before a bound column (SQL_GD_ANY_COLUMN)
  // The driver runs one statement at a time on a connection: a statement
  // still holding rows must let go of them before the next one runs.
  bool oneActiveStatement = false;
  // The connect string names a driver "SQL Server ...": the schema objects
  // write SQL Server's DDL whatever driver answers, as the component sends
  // such a connection SQL Server's dialect.
  bool namedSqlServer = false;
  // Statements open on the connection, freed before it disconnects.
  std::vector<std::weak_ptr<StatementHandle>> statements;
};

// The diagnostic records of a handle, in order.
std::vector<Diagnostic> Diagnostics(SQLSMALLINT type, SQLHANDLE handle, bool wide);
// The layer's error for diagnostic records: Number from the SQLSTATE,
// Description the driver's message with the SQLSTATE and native number, and,
// for the first record, the statement that failed. The password is never shown.
[[noreturn]] void RaiseRecords(const std::vector<Diagnostic>& records, const Link& link,
                               std::string_view statement);
// Raise the diagnostics of `handle` when `rc` is a failure (SQL_NO_DATA is none).
void Check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const Link& link,
           std::string_view statement = {});

// A statement handle shared by the cursor over its current result and the
// batch that moves on to the next one.
class StatementHandle {
 public:
  explicit StatementHandle(std::shared_ptr<Link> link);
  ~StatementHandle();
  StatementHandle(const StatementHandle&) = delete;
  StatementHandle& operator=(const StatementHandle&) = delete;

  SQLHSTMT get() const { return h_; }
  Link& link() const { return *link_; }
  bool wide() const { return link_->profile.wide; }
  // Free the handle now (the connection is closing); later calls see none.
  void Release();
  bool released() const { return h_ == SQL_NULL_HSTMT; }

  // Which result of the batch the statement is on; a cursor over an earlier
  // one reads no further.
  std::uint32_t generation = 0;
  // Already moved on to a further result that nobody has taken yet.
  bool advanced = false;
  // No further results.
  bool finished = false;
  // The failure of a later statement of the batch, raised when its result
  // is asked for.
  std::vector<Diagnostic> pendingError;
  // Set while a cursor reads rows from the statement: reads its remaining
  // rows into memory, so that the connection is free for another statement.
  std::function<void()> letGo;

 private:
  std::shared_ptr<Link> link_;
  SQLHSTMT h_ = SQL_NULL_HSTMT;
};

// Calls carrying text, through the entry points the link's driver wants.
SQLRETURN ExecDirect(StatementHandle& st, std::string_view sql);
SQLRETURN Tables(StatementHandle& st, const char* catalog, const char* schema, const char* table,
                 const char* type);
SQLRETURN PrimaryKeys(StatementHandle& st, std::string_view table);
// The catalogue of one table, named exactly (in its schema when given): its
// columns (SQLColumns), its indexes (SQLStatistics, every index) and the
// foreign keys that refer to it or that it holds (SQLForeignKeys; "" leaves
// that side open).
SQLRETURN Columns(StatementHandle& st, std::string_view schema, std::string_view table);
SQLRETURN Statistics(StatementHandle& st, std::string_view schema, std::string_view table);
SQLRETURN ForeignKeys(StatementHandle& st, std::string_view primaryTable,
                      std::string_view foreignTable);
// Every remaining row of the statement's current result, the first
// `columns` cells of each as text (nullopt for Null).
std::vector<std::vector<std::optional<std::string>>> TextRows(StatementHandle& st,
                                                              SQLUSMALLINT columns);

// A result column as the driver describes it.
struct DescribedColumn {
  std::string name;
  ColumnDescription type;
  bool nullable = true;
  bool autoIncrement = false;
  std::string baseTable;
  std::string baseColumn;
};
DescribedColumn Describe(StatementHandle& st, SQLUSMALLINT column);

// A text answer of SQLGetInfo; "" when the driver gives none.
std::string InfoText(const Link& link, SQLUSMALLINT info);
// The database the connection is in (SQL_ATTR_CURRENT_CATALOG, else SQL_DATABASE_NAME).
std::string CurrentCatalog(const Link& link);

// The whole value of a column of the current row, read piecewise with
// SQLGetData: text as UTF-8, binary as bytes; nullopt for Null.
std::optional<std::string> ReadText(StatementHandle& st, SQLUSMALLINT column);
std::optional<std::vector<std::uint8_t>> ReadBinary(StatementHandle& st, SQLUSMALLINT column);

// How a date crosses the API.
SQL_TIMESTAMP_STRUCT ToTimestamp(rt::Date date);
double SerialOf(const SQL_TIMESTAMP_STRUCT& ts);
double SerialOf(const SQL_DATE_STRUCT& d);
double SerialOf(const SQL_TIME_STRUCT& t);

// Values bound as statement parameters; the storage stays put until the
// statement has run (and, for output parameters, its results are drained).
class ParameterBinder {
 public:
  struct Request {
    rt::Variant value;
    std::int32_t adoType = 0;  // 0: from the value
    int direction = 1;         // 1 in, 2 out, 3 in-out, 4 return value
    std::int32_t size = 0;     // text and binary: the largest length
    std::int32_t precision = 0;
    std::int32_t scale = 0;
  };
  explicit ParameterBinder(std::vector<Request> requests);
  // Bind every parameter to `st`; a value that cannot be sent raises.
  void Bind(StatementHandle& st);
  // The value an output parameter holds after the statement ran.
  rt::Variant Output(std::size_t index) const;
  std::size_t size() const { return slots_.size(); }

 private:
  struct Slot {
    Request request;
    SQLSMALLINT cType = SQL_C_CHAR;
    SQLSMALLINT sqlType = SQL_VARCHAR;
    SQLULEN columnSize = 0;
    SQLSMALLINT digits = 0;
    std::vector<std::uint8_t> buffer;
    SQLLEN indicator = 0;
  };
  void Prepare(Slot& slot, bool wide) const;
  std::vector<Slot> slots_;
};

}  // namespace zmdb::dal::odbc
