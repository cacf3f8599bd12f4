// Read-only recordsets for single answers.
#include "zmdb/records/open.h"

#include "zmdb/dal/ado.h"
#include "zmdb/runtime/error.h"

namespace zmdb::records {

std::shared_ptr<dal::Recordset> OpenReadOnly(const std::string& source, const rt::Variant& conn,
                                             int cursorType) {
  auto rs = dal::Recordset::Create();
  rs->Open(rt::Variant(source), conn, cursorType, dal::ado::adLockReadOnly, -1);
  return rs;
}

std::shared_ptr<dal::Recordset> RecordsetArg(const rt::ObjectRef& rs) {
  if (!rs) rt::Raise(rt::err::kObjectRequired);
  auto recordset = std::dynamic_pointer_cast<dal::Recordset>(rs);
  if (!recordset) rt::Raise(rt::err::kTypeMismatch);
  return recordset;
}

void CloseAndRelease(std::shared_ptr<dal::Recordset>& rs) {
  if (rs && rs->State() == 1) rs->Close();
  rs.reset();
}

}  // namespace zmdb::records
