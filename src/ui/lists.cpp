// Filling the host's list and combo boxes through the list-control contract
// (late-bound AddItem, ListCount, ItemData). Items are always appended: no
// method clears the control first, and items added before an error stay.
#include "zmdb/ui/lists.h"

#include "zmdb/dal/ado.h"
#include "zmdb/dal/dao/dao.h"
#include "zmdb/frame/component.h"
#include "zmdb/records/open.h"
#include "zmdb/runtime/convert.h"

namespace zmdb {

namespace ui {

std::string ListSourceStatement(std::string_view table, std::string_view condition,
                                std::string_view sort) {
  std::string sql = "SELECT * FROM ";
  sql += table;
  if (!condition.empty()) (sql += " WHERE ") += condition;
  if (!sort.empty()) (sql += " ORDER BY ") += sort;
  return sql;
}

}  // namespace ui

namespace {

// The field named `name` of the current row, as the object AddItem is given
// (its default value is the row's value, which gives the item's text).
rt::Variant FieldOf(dal::Recordset& rs, const std::string& name) {
  return rt::Variant(rt::ObjectRef(rs.fields()->Item(rt::Variant(name))));
}

}  // namespace

bool clsZMDBFunc::dbAddCtrl(rt::Variant& Ctrl, const std::string& fsFldName,
                            const std::string& sSQL, const rt::Variant& Conn) {
  return Run("dbAddCtrl", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    auto rs = records::OpenReadOnly(sSQL, *conn, dal::ado::adOpenStatic);
    const std::int32_t count = rs->RecordCount();
    if (count == 0) return;
    rs->MoveFirst();
    // Null and empty values are skipped; a numeric zero is an item like any other.
    const rt::Variant noDefault{std::string()};
    for (std::int32_t i = 0; i < count; ++i) {
      const rt::Variant field = FieldOf(*rs, fsFldName);
      if (!ValueOrDefault(field, noDefault).empty()) rt::CallMethod(Ctrl, "AddItem", {field});
      rs->MoveNext();
    }
    result = true;
  });
}

bool clsZMDBFunc::dbAddCtrlEx(rt::Variant& Ctrl, const std::string& fsTblName,
                              const std::string& fsFldName, const std::string& fItemData,
                              const std::string& fsSort, const std::string& fsCondition,
                              const std::string& fsFilterData, const rt::Variant& Conn) {
  return Run("dbAddCtrlEx", false, [&](bool& result) {
    const auto conn = ResolveAdoOnly(Conn);
    if (!conn) return;
    auto rs = records::OpenReadOnly(ui::ListSourceStatement(fsTblName, fsCondition, fsSort), *conn,
                                    dal::ado::adOpenStatic);
    // The client-side filter restricts the rows and the count alike.
    if (!fsFilterData.empty()) rs->SetFilter(rt::Variant(fsFilterData));
    const std::int32_t count = rs->RecordCount();
    if (count != 0) {
      rs->MoveFirst();
      const rt::Variant noDefault{std::string()};
      for (std::int32_t i = 0; i < count; ++i) {
        const rt::Variant field = FieldOf(*rs, fsFldName);
        if (!ValueOrDefault(field, noDefault).empty()) {
          rt::CallMethod(Ctrl, "AddItem", {field});
          if (!fItemData.empty()) {
            // The number goes to the last position, taken to be the item just
            // added; a control that sorts its items may have put it elsewhere.
            const std::int32_t last = rt::CLng(rt::GetProp(Ctrl, "ListCount")) - 1;
            rt::SetProp(Ctrl, "ItemData", rs->fields()->Item(rt::Variant(fItemData))->Value(),
                        {rt::Variant(last)});
          }
        }
        rs->MoveNext();
      }
      result = true;
    }
    records::CloseAndRelease(rs);
  });
}

bool clsZMDBFunc::dbAddFieldsName(rt::Variant& Ctrl, const rt::ObjectRef& rs) {
  // The answer is False whatever happens: the fields are walked as DAO
  // fields, which a recordset's own fields are not, so the first of them
  // fails the conversion (error 13) before any name is added. A recordset
  // without fields adds nothing and records nothing.
  return Run("dbAddFieldsName", false, [&](bool&) {
    auto recordset = records::RecordsetArg(rs);
    const auto& fields = recordset->fields();
    for (std::int32_t i = 0; i < fields->Count(); ++i) {
      auto field =
          std::dynamic_pointer_cast<dal::dao::Field>(rt::ObjectRef(fields->Item(rt::Variant(i))));
      if (!field) rt::Raise(rt::err::kTypeMismatch);
      rt::CallMethod(Ctrl, "AddItem", {rt::GetProp(rt::Variant(rt::ObjectRef(field)), "Name")});
    }
  });
}

}  // namespace zmdb
