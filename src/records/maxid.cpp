// Next-ID generation: the largest identifier now in a table, in a form the
// caller increments, or a run of zeros of the identifier's width.
#include "zmdb/dal/ado.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/format.h"

namespace zmdb {

std::string clsZMDBFunc::dbGetMaxID(const std::string& fsTblName, const std::string& fsIDFld,
                                    const rt::Variant& Conn, bool fbIsStr, std::int32_t flLen,
                                    bool bIsSQL, const std::string& fsConditionSQL) {
  return Run("dbGetMaxID", std::string(), [&](std::string& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    const std::string mask = records::ZeroMask(flLen);
    std::string statement =
        records::MaxIdStatement(fsTblName, fsIDFld, fbIsStr, flLen, fsConditionSQL);
    if (bIsSQL) statement = dbCSql(statement);
    auto rs = records::OpenReadOnly(statement, *conn, dal::ado::adOpenForwardOnly);
    // A forward-only cursor need not know its count, so the first row is
    // tested instead: the answer is the same wherever the count is known.
    const rt::Variant zero("0");
    result = rs->AtEOF()
                 ? rt::CStr(zero)
                 : ValueOrDefault(
                       rt::Variant(rt::ObjectRef(rs->fields()->Item(rt::Variant("MaxID")))), zero);
    records::CloseAndRelease(rs);
    if (result == "0") result = rt::Format(zero, mask);
  });
}

}  // namespace zmdb
