// The single-value record operations: does a row exist, read one value,
// delete rows, set one value, count rows. Each builds one statement by
// concatenation and runs it on an ADO connection.
#include "zmdb/connect/dialect.h"
#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/convert.h"

namespace zmdb {

namespace {
using rt::Variant;

// Run `statement` on `conn` with the records-affected argument left out and
// options -1.
void ExecuteStatement(const Variant& conn, const std::string& statement) {
  rt::CallMethod(conn, "Execute", {Variant(statement), Variant::Missing(), Variant(-1)});
}

// The value of field `name` of the recordset's current row.
Variant FieldValue(dal::Recordset& rs, const std::string& name) {
  return rs.fields()->Item(Variant(name))->Value();
}
}  // namespace

bool clsZMDBFunc::dbIsExist(const std::string& fsTblName, const std::string& fsFldName,
                            const std::string& fItemData, std::int32_t fType,
                            const std::string& fsCondition, const rt::Variant& Conn) {
  return Run("dbIsExist", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    auto rs = records::OpenReadOnly(
        records::IsExistStatement(fsTblName, fsFldName, fItemData, fType, fsCondition), *conn,
        dal::ado::adOpenStatic);
    // A second, client-side test, quoted whatever the field's type.
    rs->SetFilter(Variant(records::IsExistFilter(fsFldName, fItemData)));
    result = !rs->AtEOF();
    records::CloseAndRelease(rs);
  });
}

bool clsZMDBFunc::dbGetValue(const std::string& fsTblName, const std::string& fsFldName,
                             const std::string& fsCondition, std::string& fItemData,
                             const rt::Variant& Conn) {
  return Run("dbGetValue", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    auto rs = records::OpenReadOnly(records::GetValueStatement(fsTblName, fsCondition), *conn,
                                    dal::ado::adOpenStatic);
    if (!rs->AtEOF()) {
      // A Null cannot become text: that error ends the method, fItemData unchanged.
      fItemData = rt::CStr(FieldValue(*rs, fsFldName));
      result = true;
    }
    records::CloseAndRelease(rs);
  });
}

bool clsZMDBFunc::dbDeleteItem(const std::string& fsTblName, const std::string& fsCondition,
                               const rt::Variant& Conn) {
  return Run("dbDeleteItem", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    ExecuteStatement(
        *conn, connect::AdaptDialect(records::DeleteItemStatement(fsTblName, fsCondition), *conn));
    result = true;
  });
}

bool clsZMDBFunc::dbModifyItem(const std::string& fsTblName, const std::string& fsFldName,
                               const std::string& fNewItemData, const std::string& fsCondition,
                               const rt::Variant& Conn) {
  // The answer is False whether or not the row changed; callers look at the data.
  return Run("dbModifyItem", false, [&](bool&) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    ExecuteStatement(*conn,
                     records::ModifyItemStatement(fsTblName, fsFldName, fNewItemData, fsCondition));
  });
}

std::int32_t clsZMDBFunc::dbRecordCounts(const std::string& fsTblName, const rt::Variant& Conn,
                                         const std::string& fsCondition) {
  return Run("dbRecordCounts", std::int32_t{0}, [&](std::int32_t& result) {
    auto rs = records::OpenReadOnly(records::RecordCountsStatement(fsTblName, fsCondition), Conn,
                                    dal::ado::adOpenStatic);
    result = rt::CLng(FieldValue(*rs, "Counts"));
    records::CloseAndRelease(rs);
  });
}

}  // namespace zmdb
