// dbCreateRelationItem: a one-field relation between two tables of the
// default database, made with the DAO-style objects.
#include "zmdb/frame/component.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/object.h"

namespace zmdb {

bool clsZMDBFunc::dbCreateRelationItem(const std::string& fsFldName, const std::string& fsTblName,
                                       const std::string& fsForeignTable, std::int32_t fAttributes,
                                       const std::string& fsForeignName,
                                       const std::string& fsName) {
  return Run("dbCreateRelationItem", false, [&](bool& result) {
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) return;
    using rt::Variant;
    const std::string name = fsName.empty() ? fsTblName + fsForeignTable : fsName;
    const std::string foreignName = fsForeignName.empty() ? fsFldName : fsForeignName;
    const Variant relation = rt::CallMethod(
        Variant(db), "CreateRelation",
        {Variant(name), Variant(fsTblName), Variant(fsForeignTable), Variant(fAttributes)});
    const Variant field = rt::CallMethod(relation, "CreateField", {Variant(fsFldName)});
    rt::SetProp(field, "ForeignName", Variant(foreignName));
    rt::CallMethod(rt::GetProp(relation, "Fields"), "Append", {field});
    rt::CallMethod(rt::GetProp(Variant(db), "Relations"), "Append", {relation});
    result = true;
  });
}

}  // namespace zmdb
