// Copying rows and recordsets: a disconnected copy of a recordset, a
// recordset's rows appended to a table, and the rows of one table appended to
// another, on the same connection or between any two.
//
// Rows reach a table the way a caller's own AddNew and Update would put them
// there: each value is converted to the target field's type (text to numbers
// and dates, numbers to text ...) and written by the store's own INSERT, so
// the copy needs no literal syntax of either store. Fields are matched by
// name without regard to case; a source field the target lacks is left out,
// a target field the source lacks gets the store's default, and a counter
// field of the target numbers the copied rows itself. Every row goes in one
// transaction on the target: a failure part-way rolls back the rows copied
// before it, and the target stays as it was.
#include <memory>
#include <utility>
#include <vector>

#include "zmdb/connect/dialect.h"
#include "zmdb/dal/ado.h"
#include "zmdb/dal/connection.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/errors.h"

namespace zmdb {

namespace {
using rt::Variant;

// (source column, target column) for each field the two share.
using FieldPairs = std::vector<std::pair<std::size_t, std::size_t>>;

// The resolved connection as the connection object behind it (error 13 for
// anything else).
std::shared_ptr<dal::Connection> ConnectionOf(const Variant& conn) {
  auto connection =
      conn.IsObject() ? std::dynamic_pointer_cast<dal::Connection>(conn.AsObject()) : nullptr;
  if (!connection) rt::Raise(rt::err::kTypeMismatch);
  return connection;
}

// Fields of `from` and `to` with the same name, matched without regard to
// case; counters of the target are left to number the rows themselves.
FieldPairs SharedFields(const std::vector<dal::ColumnInfo>& from,
                        const std::vector<dal::ColumnInfo>& to) {
  FieldPairs pairs;
  for (std::size_t t = 0; t < to.size(); ++t) {
    if (to[t].autoIncrement) continue;
    for (std::size_t f = 0; f < from.size(); ++f) {
      if (rt::NameEquals(from[f].name, to[t].name)) {
        pairs.emplace_back(f, t);
        break;
      }
    }
  }
  return pairs;
}

// Add one row to `target`: the shared fields set from `valueOf(source
// column)`, the others left as the store fills them.
template <class ValueOf>
void AppendRow(dal::Recordset& target, const FieldPairs& pairs, ValueOf&& valueOf) {
  target.AddNew();
  for (const auto& [from, to] : pairs) target.SetValueAt(to, valueOf(from));
  target.Update();
}

// Add every row a reader of `source` would visit (after its filter) to
// `target`. A static source hands its rows over one at a time; a
// forward-only one was read to its end before (`streamed`).
void AppendRows(dal::Recordset& target, dal::Recordset& source,
                const std::vector<std::vector<Variant>>* streamed = nullptr) {
  const FieldPairs pairs = SharedFields(source.columns(), target.columns());
  const auto append = [&](const std::vector<Variant>& row) {
    AppendRow(target, pairs, [&](std::size_t column) -> const Variant& { return row[column]; });
  };
  if (streamed) {
    for (const auto& row : *streamed) append(row);
  } else {
    source.ForEachVisibleRow(append);
  }
}

// Run `copy(target)` with `target` an empty, updatable recordset over `table`
// on `conn`, in a transaction of its own: committed when `copy` returns,
// rolled back when it or the commit fails (the failure goes on to the caller).
template <class Copy>
void CopyIntoTable(const std::string& table, const Variant& conn, Copy&& copy) {
  const auto connection = ConnectionOf(conn);
  auto target = dal::Recordset::Create();
  connection->BeginTrans();
  try {
    target->Open(Variant(connect::AdaptDialect(records::CopyTargetStatement(table), conn)), conn,
                 dal::ado::adOpenStatic, dal::ado::adLockOptimistic, -1);
    // The copied rows go to the table only: the target is closed after.
    target->SetKeepAddedRows(false);
    copy(*target);
    records::CloseAndRelease(target);
    connection->CommitTrans();
  } catch (...) {
    try {
      records::CloseAndRelease(target);
      connection->RollbackTrans();
    } catch (...) {  // the copy's own failure is the one to report
    }
    throw;
  }
}

}  // namespace

// A disconnected copy: the same fields (name, type, size, precision), the
// rows a reader of `rs` would visit (after its filter), updatable, at its
// first row. It shares nothing with `rs`: changing either leaves the other.
rt::ObjectRef clsZMDBFunc::dbCloneRecord(const rt::ObjectRef& rs) {
  return Run("dbCloneRecord", rt::ObjectRef(), [&](rt::ObjectRef& result) {
    const auto source = records::RecordsetArg(rs);
    source->RequireOpen();
    auto clone = dal::Recordset::Create();
    for (dal::ColumnInfo column : source->columns()) {
      column.baseTable.clear();
      column.baseColumn.clear();
      column.autoIncrement = false;
      clone->AppendColumn(std::move(column));
    }
    clone->Open(Variant::Missing(), Variant::Missing(), dal::ado::adOpenStatic,
                dal::ado::adLockBatchOptimistic, -1);
    AppendRows(*clone, *source);
    if (clone->RecordCount() > 0) clone->MoveFirst();
    result = clone;
  });
}

// Every row of `rs` a reader would visit (after its filter) appended to
// table `fsTblName` on `Conn` (the default connection when missing), in one
// transaction. `rs` itself is not moved, unless it is forward-only: then it
// is read to its end.
bool clsZMDBFunc::dbCopyRecordset(const rt::ObjectRef& rs, const std::string& fsTblName,
                                  const rt::Variant& Conn) {
  return Run("dbCopyRecordset", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    const auto source = records::RecordsetArg(rs);
    // A closed source fails, and a forward-only one is read to its end,
    // before the target is touched.
    source->RequireOpen();
    std::vector<std::vector<Variant>> streamed;
    const bool forwardOnly = source->RecordCount() < 0;
    if (forwardOnly) streamed = source->VisibleRows();
    CopyIntoTable(fsTblName, *conn, [&](dal::Recordset& target) {
      AppendRows(target, *source, forwardOnly ? &streamed : nullptr);
    });
    result = true;
  });
}

// The rows of `fsSrcTblName` matching `fsCondition` (every row when empty)
// on `SrcConn` appended to `fsDstTblName` on `DstConn`, in one transaction on
// the target. Each missing connection is the default connection. Both
// statements go through the dialect adapter of their own connection.
bool clsZMDBFunc::dbCopyRows(const std::string& fsSrcTblName, const std::string& fsDstTblName,
                             const std::string& fsCondition, const rt::Variant& SrcConn,
                             const rt::Variant& DstConn) {
  return Run("dbCopyRows", false, [&](bool& result) {
    const auto srcConn = ResolveAdoOnly(SrcConn);
    const auto dstConn = ResolveAdoOnly(DstConn);
    if (!srcConn || !dstConn) return;
    // A store that reads the source table itself copies in one statement
    // when no value needs converting (the file store, from its own file or
    // another one); otherwise the rows go one by one.
    const auto srcConnection = ConnectionOf(*srcConn);
    const auto dstConnection = ConnectionOf(*dstConn);
    const auto trace = [&](std::string_view statement) { dstConnection->Trace(statement); };
    if (dstConnection->backend().CopyRowsFrom(srcConnection->backend(),
                                              {fsSrcTblName, fsCondition, fsDstTblName, trace})) {
      result = true;
      return;
    }
    // Between two connections the source rows stream; on one connection they
    // are read first, so that rows copied into the table being read (or a
    // table its rows depend on) are not read again.
    const bool sameConnection = srcConnection == dstConnection;
    auto source = records::OpenReadOnly(
        connect::AdaptDialect(records::CopySourceStatement(fsSrcTblName, fsCondition), *srcConn),
        *srcConn, sameConnection ? dal::ado::adOpenStatic : dal::ado::adOpenForwardOnly);
    CopyIntoTable(fsDstTblName, *dstConn, [&](dal::Recordset& target) {
      const FieldPairs pairs = SharedFields(source->columns(), target.columns());
      for (; !source->AtEOF(); source->MoveNext()) {
        AppendRow(target, pairs, [&](std::size_t column) { return source->ValueAt(column); });
      }
    });
    records::CloseAndRelease(source);
    result = true;
  });
}

}  // namespace zmdb
