// The one small interface every store implements (the embedded file store on
// SQLite, server stores through ODBC). Everything above it (connections,
// recordsets, filters, bookmarks, write-back) is shared by all backends.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::dal {

namespace schema {
class SchemaStore;
}

// What the data-access layer knows of one result column.
struct ColumnInfo {
  std::string name;
  std::int32_t adoType = 202;  // ADO DataTypeEnum
  std::int32_t definedSize = 0;
  std::int32_t precision = 0;
  std::int32_t scale = 0;
  bool nullable = true;
  bool autoIncrement = false;
  bool key = false;        // part of its base table's primary key
  std::string baseTable;   // the table the column is read from; "" when computed
  std::string baseColumn;  // its name there
};

// The storage class of one cell as the backend delivers it.
enum class CellType { Null, Integer, Real, Text, Blob };

// The rows of one executed statement, read forward once. The current row's
// cells are read with typed getters, so a static recordset can copy them
// without building a Variant per value.
class Cursor {
 public:
  virtual ~Cursor() = default;
  virtual const std::vector<ColumnInfo>& columns() const = 0;
  // Advance to the next row; false at the end.
  virtual bool Step() = 0;
  virtual CellType Type(std::size_t column) const = 0;
  virtual std::int64_t Integer(std::size_t column) const = 0;
  virtual double Real(std::size_t column) const = 0;
  virtual std::string_view Text(std::size_t column) const = 0;
  virtual std::span<const std::uint8_t> Blob(std::size_t column) const = 0;
};

class Batch;

// The outcome of one statement: rows, or the number of rows it changed.
struct Result {
  std::unique_ptr<Cursor> cursor;  // set when the statement returns rows
  std::int64_t rowsAffected = -1;
  // The further results of a batch of statements; none when there are none.
  std::shared_ptr<Batch> batch;
};

// The results that follow the first one of a batch ("SELECT ...; SELECT ...").
class Batch {
 public:
  virtual ~Batch() = default;
  // Move on to the next result (the rows of the current one are dropped);
  // false when there is none.
  virtual bool Next(Result& out) = 0;
};

// One parameter of a command: its ADO type (0: taken from the value), its
// direction (1 input, 2 output, 3 input-output, 4 return value), the largest
// size of text or binary values, and the value (written back for outputs).
struct CommandParameter {
  std::string name;
  std::int32_t adoType = 0;
  int direction = 1;
  std::int32_t size = 0;
  std::int32_t precision = 0;
  std::int32_t scale = 0;
  rt::Variant value;
};

// Rows of one table appended to another table in one statement: the fields
// the two share by name (without regard to case), the target's counters
// left to number the rows.
struct BulkCopy {
  std::string sourceTable;
  std::string condition;  // in the caller dialect; "" for every row
  std::string targetTable;
  // Told the statement before it runs (the connection's statement log).
  std::function<void(std::string_view)> trace;
};

// How a store differs, declared in one place rather than tested in `if`s.
struct Quirks {
  // Quotes around an identifier in statements the layer builds itself.
  std::string_view quoteOpen = "[";
  std::string_view quoteClose = "]";
};

class Backend {
 public:
  virtual ~Backend() = default;
  virtual const Quirks& quirks() const = 0;
  // Run one statement written by a caller, in the store's caller dialect
  // (Jet SQL on the file store).
  virtual Result Execute(std::string_view statement) = 0;
  // Run a statement the layer built itself, with "?" parameters.
  virtual Result ExecuteNative(std::string_view statement,
                               const std::vector<rt::Variant>& params) = 0;
  virtual void Begin() = 0;
  virtual void Commit() = 0;
  virtual void Rollback() = 0;
  // The schema rowset (1 catalogues: CATALOG_NAME; 20 tables: TABLE_NAME,
  // TABLE_TYPE, DATE_CREATED, DATE_MODIFIED), as rows of a cursor.
  virtual Result OpenSchema(std::int32_t schema) = 0;
  // The primary-key columns of a base table (empty when it has none).
  virtual std::vector<std::string> KeyColumns(const std::string& table) = 0;
  // The value the store gave `column` of the row the last INSERT added (an
  // AutoNumber); Null when it cannot tell.
  virtual rt::Variant InsertedValue(const std::string& table, const std::string& column) = 0;
  // Run a command with parameters: `text` holds "?" markers, or names a
  // stored procedure when `procedure` is set. Output values are written back
  // into `params` once every result has been read; rows that come back
  // before them are held in the result's cursor. Stores without parameters
  // or procedures raise 0x800A0CB3.
  virtual Result ExecuteCommand(std::string_view text, bool procedure,
                                std::vector<CommandParameter>& params);
  // Append the rows of `copy.sourceTable` on `source` matching its condition
  // to `copy.targetTable` on this store in one statement of its own, when
  // this store reads the source's tables itself and every shared field has
  // the same type on both sides, so that no value needs converting. It runs
  // in a transaction of its own (a savepoint inside an open one) and
  // answers the number of rows copied; a failure changes nothing and goes on
  // to the caller. No value when the store cannot copy that way (the
  // default): the caller then copies row by row.
  virtual std::optional<std::int64_t> CopyRowsFrom(Backend& source, const BulkCopy& copy);
  // The product the store is, as the connection's "DBMS Name" property gives
  // it ("PostgreSQL", "Microsoft SQL Server", ...); "" when it cannot tell.
  virtual std::string DbmsName() const { return {}; }
  virtual void Close() = 0;
  // The store's schema store (tables, fields, indexes, relations, queries
  // for the DAO and ADOX objects), owned by the backend. A store without one
  // raises error 3251.
  virtual schema::SchemaStore& Schema();
};

}  // namespace zmdb::dal
