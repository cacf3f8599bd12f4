// The rows of one ODBC result, fetched in blocks into bound column arrays
// (long values are read piecewise), and the further results of a batch.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "api_p.h"
#include "zmdb/dal/backend.h"

namespace zmdb::dal::odbc {

// The primary keys of base tables, asked once per table and kept until the
// caller's statements may have changed them.
class KeyCache {
 public:
  explicit KeyCache(std::shared_ptr<Link> link) : link_(std::move(link)) {}
  // The key columns of `table` in key order; empty when it has none.
  const std::vector<std::string>& Get(const std::string& table);
  // The keys of `table` when already known, without asking the driver.
  const std::vector<std::string>* Known(const std::string& table) const;
  void Clear() { keys_.clear(); }

 private:
  std::shared_ptr<Link> link_;
  std::map<std::string, std::vector<std::string>> keys_;
};

class OdbcCursor : public Cursor {
 public:
  // Describe the current result of `st`; `statement` is the text that made
  // it (a single-table SELECT names the base table when the driver does not).
  OdbcCursor(std::shared_ptr<StatementHandle> st, std::string statement,
             std::shared_ptr<KeyCache> keys);
  ~OdbcCursor() override;

  const std::vector<ColumnInfo>& columns() const override { return columns_; }
  bool Step() override;
  CellType Type(std::size_t column) const override;
  std::int64_t Integer(std::size_t column) const override;
  double Real(std::size_t column) const override;
  std::string_view Text(std::size_t column) const override;
  std::span<const std::uint8_t> Blob(std::size_t column) const override;

  // Read every remaining row into memory; the statement is not read again.
  void BufferRows();

 private:
  enum class Kind { Int, Real, Stamp, Date, Time, Text, Guid, Binary };
  struct Column {
    Kind kind = Kind::Text;
    SQLSMALLINT cType = SQL_C_CHAR;
    std::size_t width = 0;  // bytes per row in `data`
    bool bound = false;     // false: read with SQLGetData
    std::vector<std::uint8_t> data;
    std::vector<SQLLEN> ind;
    std::optional<std::string> longText;  // the current row's value when not bound
    std::optional<std::vector<std::uint8_t>> longBytes;
    std::map<std::size_t, std::string> whole;  // values longer than the buffer, by row
  };

  void Plan();
  bool FetchBlock();
  void ReadUnbound();
  void RecoverTruncated();
  void AtEnd();
  const std::uint8_t* Cell(std::size_t column) const;
  SQL_TIMESTAMP_STRUCT DateCell(std::size_t column) const;
  bool Live() const;

  std::shared_ptr<StatementHandle> st_;
  std::string statement_;
  std::shared_ptr<KeyCache> keys_;
  std::uint32_t generation_;
  std::vector<ColumnInfo> columns_;
  std::vector<Column> cols_;
  SQLULEN blockRows_ = 1;
  SQLULEN fetched_ = 0;
  std::size_t pos_ = 0;
  bool started_ = false;
  bool done_ = false;
  mutable std::vector<std::string> scratch_;

  // Rows read ahead into memory (BufferRows), served after the statement.
  std::unique_ptr<Cursor> buffered_;
};

// The results after the first: a cursor over rows, or a count of rows changed.
class OdbcBatch : public Batch, public std::enable_shared_from_this<OdbcBatch> {
 public:
  OdbcBatch(std::shared_ptr<StatementHandle> st, std::string statement,
            std::shared_ptr<KeyCache> keys)
      : st_(std::move(st)), statement_(std::move(statement)), keys_(std::move(keys)) {}
  bool Next(Result& out) override;

 private:
  std::shared_ptr<StatementHandle> st_;
  std::string statement_;
  std::shared_ptr<KeyCache> keys_;
};

// The current result of `st` after it ran: a cursor over rows, or the
// count of rows changed (after which the statement moves on at once, so a
// lone statement lets go of the connection). `noData` is set when the run
// returned SQL_NO_DATA.
Result CurrentResult(const std::shared_ptr<StatementHandle>& st, const std::string& statement,
                     const std::shared_ptr<KeyCache>& keys, bool noData);

// Move `st` on to its next result: `advanced` when there is one, else the
// statement is finished and freed. A failure of a later statement is raised
// when its result is asked for.
void Advance(StatementHandle& st);

// The table a SELECT reads when it reads exactly one ("SELECT ... FROM
// [dbo].[Staff] s WHERE ..." gives "Staff"); "" for joins, several tables,
// subqueries and anything that is not a SELECT.
std::string SingleSourceTable(std::string_view select);

}  // namespace zmdb::dal::odbc
