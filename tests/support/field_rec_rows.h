// Arrays of FieldRec records as the working recordset methods take them, for
// tests of those methods on any store (with the text of a string array).
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "listing_texts.h"
#include "zmdb/frame/component.h"

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

}  // namespace zmdb::testing
