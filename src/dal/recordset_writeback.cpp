// Writing a recordset's changes back to its base table: AddNew becomes an
// INSERT, an edit of a row an UPDATE and Delete a DELETE, each found by the
// columns RowMatch chooses and built apart from running it (writeback.h).
#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/writeback.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::dal {

using rt::NameEquals;

namespace {

// Runs an UPDATE or DELETE that must touch exactly the row it was built for.
// It runs in a transaction of its own (a savepoint inside the caller's), so
// that a match that found no row or several changes nothing: several rows
// can match when the values that find the row are not exact (a table without
// a key, or a key read less precisely than it is stored). Raises
// rt::err::kRowChanged when the statement did not change exactly one row.
void ChangeOneRow(Connection& connection, const Statement& st) {
  Backend& backend = connection.backend();
  connection.Guarded([&] {
    backend.Begin();
    std::int64_t affected = -1;
    try {
      connection.Trace(st.sql);
      affected = backend.ExecuteNative(st.sql, st.params).rowsAffected;
    } catch (...) {
      backend.Rollback();
      throw;
    }
    if (affected != 1) {
      backend.Rollback();
      rt::RaiseStandard(rt::err::kRowChanged, kAdoSource);
    }
    backend.Commit();
  });
}

}  // namespace

// Inserts the new row's set values, then reads back the number the store
// gave each AutoNumber column of the base table into the pending values.
void Recordset::WriteBackInsert() {
  const std::string table = BaseTableOf(columns_);
  std::vector<std::size_t> set;
  std::vector<rt::Variant> params;
  params.reserve(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!NameEquals(columns_[i].baseTable, table) || !pending_[i]) continue;
    set.push_back(i);
    params.push_back(*pending_[i]);
  }
  Backend& backend = connection_->backend();
  // Rows added one after another set the same columns: their statement is
  // built once.
  if (set != insertColumns_ || table != insertTable_ || insertSql_.empty()) {
    std::vector<ColumnValue> columns;
    for (std::size_t i : set) columns.push_back({columns_[i].baseColumn, rt::Variant()});
    insertSql_ = BuildInsert(table, columns, backend.quirks()).sql;
    insertTable_ = table;
    insertColumns_ = std::move(set);
  }
  connection_->Guarded([&] {
    connection_->Trace(insertSql_);
    return backend.ExecuteNative(insertSql_, params).rowsAffected;
  });
  if (!keepAddedRows_) return;  // the row is not kept, so neither are its numbers
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].autoIncrement && !pending_[i] && NameEquals(columns_[i].baseTable, table)) {
      pending_[i] =
          ConvertForColumn(backend.InsertedValue(table, columns_[i].baseColumn), columns_[i]);
    }
  }
}

// Writes the pending edits of physical row `row`; nothing when none was
// made. An edited column read from another table (or computed) is
// rt::err::kMultipleStep.
void Recordset::WriteBackUpdate(std::size_t row) {
  const std::string table = BaseTableOf(columns_);
  std::vector<ColumnValue> values;
  std::vector<bool> changed(columns_.size(), false);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!pending_[i]) continue;
    changed[i] = true;
    if (!NameEquals(columns_[i].baseTable, table)) {
      rt::RaiseDetailed(rt::err::kMultipleStep, "Field '" + columns_[i].name + "' is not updatable",
                        kAdoSource);
    }
    values.push_back({columns_[i].baseColumn, *pending_[i]});
  }
  if (values.empty()) return;
  Backend& backend = connection_->backend();
  const auto match = RowMatch(columns_, RowValues(row), backend.KeyColumns(table), table, changed);
  ChangeOneRow(*connection_, BuildUpdate(table, values, match, backend.quirks()));
}

// Deletes physical row `row` from the base table.
void Recordset::WriteBackDelete(std::size_t row) {
  const std::string table = BaseTableOf(columns_);
  Backend& backend = connection_->backend();
  const auto match = RowMatch(columns_, RowValues(row), backend.KeyColumns(table), table);
  ChangeOneRow(*connection_, BuildDelete(table, match, backend.quirks()));
}

}  // namespace zmdb::dal
