// Recordset, Fields and Field: rows of a statement or rows built in memory,
// with navigation, bookmarks, a client-side filter, and AddNew / Update /
// Delete written back to the single base table of the source.
//
// Cursor behaviour: a connection with client-side cursors (CursorLocation 3)
// gives static recordsets whatever cursor type is asked for, as client
// cursors do. On server-side cursors a forward-only, read-only recordset
// streams its rows and reports RecordCount -1; every other recordset is
// static: it holds all rows and knows its exact count.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/filter.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {

class Connection;
class Recordset;

// The rows of a static recordset, stored by column in typed arrays, so a
// million rows cost little more than their values. Values come out as
// Variants of the column's ADO type.
class RowStore {
 public:
  explicit RowStore(const std::vector<ColumnInfo>& columns);
  RowStore(const RowStore&) = delete;
  RowStore& operator=(const RowStore&) = delete;
  ~RowStore();

  std::size_t rows() const { return rows_; }
  // Append the cursor's current row.
  void AppendFrom(const Cursor& cursor);
  // Append a row of Nulls; returns its index.
  std::size_t AppendEmpty();
  rt::Variant Get(std::size_t row, std::size_t column) const;
  // Store a value already converted to the column's type.
  void Set(std::size_t row, std::size_t column, const rt::Variant& value);
  std::size_t MemoryUsed() const;
  // Forget every row (the column types stay).
  void Clear();

 private:
  struct Column;
  std::vector<std::unique_ptr<Column>> columns_;
  std::size_t rows_ = 0;
};

// Convert a value for a column of ADO type `adoType` (text to numbers and
// dates, numbers to text ...); a text longer than `definedSize` characters is
// refused for the sized text types. Raises 0x80040E21 with a description that
// names the field and the value.
rt::Variant ConvertForColumn(const rt::Variant& value, const ColumnInfo& column);

class Field : public rt::Object {
 public:
  Field(std::shared_ptr<Recordset> owner, std::size_t index);
  std::string TypeName() const override { return "Field"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant DefaultValue() override { return Value(); }

  const std::string& Name() const;
  std::int32_t Type() const;
  std::int32_t DefinedSize() const;
  std::int32_t ActualSize() const;
  std::int32_t Attributes() const;
  rt::Variant Value() const;
  void SetValue(const rt::Variant& v);

 private:
  std::shared_ptr<Recordset> owner_;
  std::size_t index_;
};

class Fields : public rt::Object {
 public:
  explicit Fields(std::weak_ptr<Recordset> owner) : owner_(std::move(owner)) {}
  std::string TypeName() const override { return "Fields"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  std::int32_t Count() const;
  // A field by position (0-based) or by name without regard to case; error
  // 0x800A0CC1 when there is none.
  std::shared_ptr<Field> Item(const rt::Variant& index) const;
  // Define a field of a recordset that is not open yet.
  void Append(const std::string& name, std::int32_t type, std::int32_t definedSize = 0,
              std::int32_t attributes = -1);

 private:
  std::shared_ptr<Recordset> Owner() const;
  std::weak_ptr<Recordset> owner_;
};

class Recordset : public rt::Object {
 public:
  static std::shared_ptr<Recordset> Create();
  ~Recordset() override;
  std::string TypeName() const override { return "Recordset"; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // Open on a statement or table name (`source`) with a Connection object or a
  // connection string; with neither, open the appended fields as a
  // disconnected recordset. -1 leaves the cursor or lock type as set.
  void Open(const rt::Variant& source = rt::Variant::Missing(),
            const rt::Variant& activeConnection = rt::Variant::Missing(), int cursorType = -1,
            int lockType = -1, int options = -1);
  // Open over the rows of an executed statement (Connection.Execute, OpenSchema).
  void OpenResult(std::shared_ptr<Connection> connection, Result result, int cursorType,
                  int lockType, std::string source);
  // Keep the further results of a batch whose first result had no rows (the
  // recordset stays closed).
  void HoldBatch(std::shared_ptr<Connection> connection, std::shared_ptr<Batch> batch);
  // The next result of the batch that made this recordset: a new recordset,
  // open over rows or closed after a statement without rows (its count in
  // `rowsAffected`); none (nullptr) after the last.
  std::shared_ptr<Recordset> NextRecordset(std::int64_t* rowsAffected = nullptr);
  void Close();
  int State() const { return open_ ? 1 : 0; }
  // rt::err::kObjectClosed (source ADODB.Recordset) when it is not open.
  void RequireOpen() const;
  bool AtEOF() const;
  bool AtBOF() const;
  std::int32_t RecordCount() const;

  // Moving. Every move first writes a pending edit or new row back (as
  // Update does, with its errors) and raises rt::err::kObjectClosed on a
  // closed recordset. A move that finds no row raises rt::err::kAdoBofEof
  // ("Either BOF or EOF is True, ...", source ADODB.Recordset).
  //
  // MoveFirst: kAdoBofEof on an empty recordset (after the filter);
  // on a streamed recordset a no-op before the first MoveNext, and
  // rt::err::kForwardOnly after it.
  void MoveFirst();
  // MoveNext: kAdoBofEof when already past the last row (EOF). After
  // Delete the row that followed the deleted one is current already, so the
  // first MoveNext only leaves the deleted row.
  void MoveNext();
  // MovePrevious: rt::err::kForwardOnly on a streamed recordset;
  // kAdoBofEof when already before the first row (BOF) or empty.
  void MovePrevious();
  // MoveLast: kAdoBofEof on an empty recordset; a streamed recordset
  // reads forward to its last row (none: it stays at EOF).
  void MoveLast();
  rt::Variant Bookmark() const;
  void SetBookmark(const rt::Variant& bookmark);
  rt::Variant FilterValue() const { return filterText_; }
  void SetFilter(const rt::Variant& filter);

  // Changing. AddNew, setting a value and Delete raise rt::err::kObjectClosed
  // on a closed recordset and rt::err::kAdoNotSupported ("Current Recordset
  // does not support updating. ...") on a read-only or streamed one.
  //
  // AddNew: writes a pending edit back first, then starts a new row whose
  // fields are Null until set; the row is written by Update (or a move).
  void AddNew();
  // Update: writes the pending edit or new row back and keeps it in the
  // recordset; nothing happens without one. Only kObjectClosed is raised before
  // the write. Writing back to the source's base table (not for a recordset
  // built in memory): rt::err::kUnspecified ("Insufficient base table
  // information ...") when the columns come from no table or from several;
  // rt::err::kMultipleStep when an edited field is not of the base table;
  // rt::err::kRowChanged ("Row cannot be located for updating. ...") when the
  // UPDATE finds no row or several, and nothing is changed; a store's own
  // errors (a refused value, a duplicate key) as the store raises them. On
  // any failure the edit stays pending.
  void Update();
  void CancelUpdate();
  // Delete: during AddNew, drops the new row (as CancelUpdate). Otherwise
  // kAdoBofEof without a current row; drops a pending edit of the row,
  // deletes the row from the base table with the errors of Update
  // (kRowChanged when the DELETE finds no row or several) and then from the
  // recordset, whose current row stays the deleted one until the next move.
  void Delete();
  int CursorType() const { return cursorType_; }
  int LockType() const { return lockType_; }
  void SetCursorType(int t);
  void SetLockType(int t);
  int EditMode() const { return editMode_; }
  const std::shared_ptr<Fields>& fields();
  const std::vector<ColumnInfo>& columns() const { return columns_; }
  const std::string& Source() const { return source_; }
  std::size_t MemoryUsed() const;
  // The rows a reader of the recordset would visit, in order, after any
  // filter; without moving the current row of a static recordset. A
  // forward-only recordset is read to its end. Late-bound as the read-only
  // property VisibleRows: an array (from 0) of row arrays.
  std::vector<std::vector<rt::Variant>> VisibleRows();
  // The rows VisibleRows gives, handed to `row` one at a time (the values
  // are reused between calls), so that a reader holds one row rather than
  // all of them. A forward-only recordset is read to its end first.
  void ForEachVisibleRow(const std::function<void(const std::vector<rt::Variant>&)>& row);
  // False: a row added by AddNew and Update is written to the base table
  // and not kept among this recordset's rows (loading many rows through a
  // recordset that is closed after). A disconnected recordset keeps its rows.
  void SetKeepAddedRows(bool keep) { keepAddedRows_ = keep; }

  // Used by Field.
  rt::Variant ValueAt(std::size_t column) const;
  void SetValueAt(std::size_t column, const rt::Variant& value);
  void AppendColumn(ColumnInfo column);

 private:
  Recordset() = default;
  void RequireCurrent() const;
  void RequireUpdatable() const;
  std::size_t VisibleCount() const;
  std::size_t PhysicalRow(std::size_t visible) const;
  void Rebuild();  // recompute the visible rows after a filter or a deletion
  void LoadAll(Cursor& cursor);
  void FetchStreamRow();  // the next streamed row, or the end
  void FinishEditBeforeMove();
  // Writing changes back to the base table (recordset_writeback.cpp).
  void WriteBackUpdate(std::size_t row);
  void WriteBackInsert();
  void WriteBackDelete(std::size_t row);
  std::vector<rt::Variant> RowValues(std::size_t row) const;

  bool open_ = false;
  int cursorType_ = 0;  // adOpenForwardOnly until set
  int lockType_ = 1;    // adLockReadOnly until set
  std::string source_;
  std::shared_ptr<Connection> connection_;
  std::shared_ptr<Batch> batch_;  // the results after this one
  std::vector<ColumnInfo> columns_;
  std::shared_ptr<Fields> fields_;

  // Static rows, or a streamed cursor.
  std::unique_ptr<RowStore> store_;
  std::unique_ptr<Cursor> stream_;
  std::unique_ptr<RowStore> streamStore_;  // converts the streamed row's cells
  std::vector<rt::Variant> streamRow_;
  bool streamAtEnd_ = false;
  std::int64_t streamPos_ = 0;

  std::vector<bool> deleted_;                          // by physical row (empty: none deleted)
  std::optional<std::vector<std::uint32_t>> visible_;  // none: every row, in order
  std::int64_t cur_ = 0;                               // position among the visible rows
  bool currentDeleted_ = false;

  rt::Variant filterText_ = rt::Variant(std::string());
  std::shared_ptr<const Filter> filter_;

  int editMode_ = 0;
  std::vector<std::optional<rt::Variant>> pending_;  // edits of the current row
  std::size_t addedRow_ = 0;
  bool keepAddedRows_ = true;

  // The last INSERT built for the base table, reused while the same columns
  // are set (recordset_writeback.cpp).
  std::string insertTable_;
  std::vector<std::size_t> insertColumns_;
  std::string insertSql_;
};

}  // namespace zmdb::dal
