// Arrays of FieldRec records as the working recordset methods take them, and
// the text of a string array, for tests of those methods on any store.
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::testing {

// One row's description: (table, field, value) triples from index `lbound`.
inline rt::SafeArray FieldRecRow(
    std::vector<std::tuple<std::string, std::string, rt::Variant>> fields,
    std::int32_t lbound = 0) {
  std::vector<rt::Variant> items;
  for (auto& [table, field, value] : fields) {
    FieldRec r;
    r.TableName = table;
    r.FieldName = field;
    r.FieldVal = value;
    items.emplace_back(r.ToRecord());
  }
  return rt::SafeArray(rt::VarType::Record, lbound, std::move(items));
}

// Each element of `a` as text, in order.
inline std::vector<std::string> Texts(const rt::SafeArray& a) {
  std::vector<std::string> out;
  for (const auto& v : a.items()) out.push_back(rt::CStr(v));
  return out;
}

}  // namespace zmdb::testing
