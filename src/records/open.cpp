// Read-only recordsets for single answers.
#include "zmdb/records/open.h"

#include "zmdb/dal/ado.h"

namespace zmdb::records {

std::shared_ptr<dal::Recordset> OpenReadOnly(const std::string& source, const rt::Variant& conn,
                                             int cursorType) {
  auto rs = dal::Recordset::Create();
  rs->Open(rt::Variant(source), conn, cursorType, dal::ado::adLockReadOnly, -1);
  return rs;
}

void CloseAndRelease(std::shared_ptr<dal::Recordset>& rs) {
  if (rs && rs->State() == 1) rs->Close();
  rs.reset();
}

}  // namespace zmdb::records
