// The working recordset: one updatable recordset per object that new rows are
// appended to (dbSetRecordset, dbCreateRecord, dbCloseRecordset), and the
// read-side companion that copies one column into an array (dbGetRecord).
#include <memory>
#include <vector>

#include "zmdb/dal/ado.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/records/statements.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"

namespace zmdb {

namespace {
using rt::Variant;

// The working recordset as a recordset of the data-access layer.
std::shared_ptr<dal::Recordset> AsRecordset(const rt::ObjectRef& o) {
  auto rs = std::dynamic_pointer_cast<dal::Recordset>(o);
  if (!rs) rt::Raise(rt::err::kTypeMismatch);
  return rs;
}

// The array's elements as field records, from the lower to the upper bound.
std::vector<FieldRec> FieldRecs(const rt::SafeArray& array) {
  std::vector<FieldRec> recs;
  for (std::int32_t i = array.LBound(); i <= array.UBound(); ++i) {
    recs.push_back(FieldRec::FromVariant(array.at(i)));
  }
  return recs;
}

// The statement that opens the working recordset for `recs`: their field
// names in order, and the last non-empty table name.
std::string StatementFor(const std::vector<FieldRec>& recs) {
  std::vector<std::string> names;
  std::string table;
  for (const auto& r : recs) {
    names.push_back(r.FieldName);
    if (!r.TableName.empty()) table = r.TableName;
  }
  return records::WorkingRecordsetStatement(names, table);
}
}  // namespace

rt::Record FieldRec::ToRecord() const {
  return rt::Record("FieldRec", {{"TableName", Variant(TableName)},
                                 {"TabelDesc", Variant(TabelDesc)},
                                 {"FieldName", Variant(FieldName)},
                                 {"FieldDesc", Variant(FieldDesc)},
                                 {"FieldSize", Variant(FieldSize)},
                                 {"FieldType", Variant(FieldType)},
                                 {"FieldVal", FieldVal}});
}

FieldRec FieldRec::FromVariant(const rt::Variant& v) {
  if (!v.IsRecord()) rt::Raise(rt::err::kTypeMismatch);
  const rt::Record& r = v.AsRecord();
  FieldRec f;
  const auto text = [&](std::string_view name) {
    return r.Has(name) ? rt::CStr(r[name]) : std::string();
  };
  const auto number = [&](std::string_view name) {
    return r.Has(name) ? rt::CLng(r[name]) : std::int32_t{0};
  };
  f.TableName = text("TableName");
  f.TabelDesc = text("TabelDesc");
  f.FieldName = text("FieldName");
  f.FieldDesc = text("FieldDesc");
  f.FieldSize = number("FieldSize");
  f.FieldType = number("FieldType");
  if (r.Has("FieldVal")) f.FieldVal = r["FieldVal"];
  return f;
}

bool clsZMDBFunc::dbSetRecordset(const std::string& sSource, std::int32_t CursorType,
                                 std::int32_t LockType) {
  return Run("dbSetRecordset", false, [&](bool& result) {
    if (!defaultConnection_) return;
    // The previous recordset is dropped, not closed.
    auto rs = dal::Recordset::Create();
    workingRecordset_ = rs;
    if (CursorType != 0) rs->SetCursorType(CursorType);
    if (LockType != 0) rs->SetLockType(LockType);
    // The explicit arguments win over the properties: static and read-only,
    // whatever the caller asked for, so dbCreateRecord cannot add rows to it.
    rs->Open(Variant(sSource), Variant(defaultConnection_), dal::ado::adOpenStatic,
             dal::ado::adLockReadOnly, -1);
    result = true;
  });
}

bool clsZMDBFunc::dbCloseRecordset() {
  return Run("dbCloseRecordset", false, [&](bool& result) {
    workingRecordset_.reset();
    result = true;
  });
}

bool clsZMDBFunc::dbCreateRecord(const rt::SafeArray& TFieldRec, const rt::Variant& Conn) {
  return Run("dbCreateRecord", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    const std::vector<FieldRec> recs = FieldRecs(TFieldRec);
    if (!workingRecordset_) {
      auto opened = dal::Recordset::Create();
      opened->Open(Variant(StatementFor(recs)), *conn, dal::ado::adOpenStatic,
                   dal::ado::adLockOptimistic, -1);
      workingRecordset_ = opened;
    }
    // An existing working recordset is used as it is, whatever table the
    // array names.
    auto rs = AsRecordset(workingRecordset_);
    rs->AddNew();
    const auto& fields = rs->fields();
    for (std::int32_t i = 0; i < fields->Count(); ++i) {
      auto field = fields->Item(Variant(i));
      const std::string name = rt::UpperCase(field->Name());
      // A later element naming the same field overwrites an earlier one;
      // elements naming no field are ignored.
      for (const auto& r : recs) {
        if (rt::UpperCase(r.FieldName) == name) field->SetValue(r.FieldVal);
      }
    }
    try {
      rs->Update();
    } catch (...) {
      // The row that was refused is dropped, so that the next call adds its
      // own row and not this one again.
      rs->CancelUpdate();
      throw;
    }
    result = true;
  });
}

rt::SafeArray clsZMDBFunc::dbGetRecord(const std::string& fsTblName, const std::string& fsFldName,
                                       std::int32_t& flCount, const std::string& sSQL,
                                       const rt::Variant& Conn) {
  rt::SafeArray start(rt::VarType::String, 0, {Variant(std::string())});
  return Run("dbGetRecord", std::move(start), [&](rt::SafeArray& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    auto rs =
        records::OpenReadOnly(sSQL.empty() ? records::ColumnStatement(fsTblName, fsFldName) : sSQL,
                              *conn, dal::ado::adOpenForwardOnly);
    // A cursor that does not know its count reports -1: nothing is copied.
    flCount = rs->RecordCount();
    if (flCount > 0) {
      // Filled in place, so that a failing row leaves the rows before it.
      result = rt::SafeArray(
          rt::VarType::String, 1,
          std::vector<Variant>(static_cast<std::size_t>(flCount), Variant(std::string())));
      const auto field = rs->fields()->Item(Variant(fsFldName));
      for (std::int32_t i = 1; i <= flCount; ++i) {
        // A Null cannot become text: the copy stops there with error 94.
        result.at(i) = Variant(rt::CStr(field->Value()));
        rs->MoveNext();
      }
    }
    records::CloseAndRelease(rs);
  });
}

}  // namespace zmdb
