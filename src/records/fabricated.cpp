// The fabricated recordset: an empty, updatable recordset that belongs to no
// database, its columns described by the caller's field-structure records.
#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"

namespace zmdb {

rt::ObjectRef clsZMDBFunc::dbCreateVRecord(const rt::SafeArray& fTFieldStruct) {
  return Run("dbCreateVRecord", rt::ObjectRef(), [&](rt::ObjectRef& result) {
    auto rs = dal::Recordset::Create();
    // Reading the bounds first: an array never dimensioned fails here (error 9).
    const std::int32_t first = fTFieldStruct.LBound();
    const std::int32_t last = fTFieldStruct.UBound();
    for (std::int32_t i = first; i <= last; ++i) {
      // Only the name, the ADO type number and the defined size are read.
      const rt::Record& field = fTFieldStruct.at(i).AsRecord();
      rs->fields()->Append(rt::CStr(field["Name"]), rt::CLng(field["Type"]),
                           rt::CLng(field["DefinedSize"]), dal::ado::adFldUnspecified);
    }
    rs->SetCursorType(dal::ado::adOpenStatic);
    rs->SetLockType(dal::ado::adLockOptimistic);
    rs->Open(rt::Variant::Missing(), rt::Variant::Missing(), -1, -1, -1);
    result = rs;
  });
}

}  // namespace zmdb
