// The items of an array as text, for tests that compare a listing or a row
// of values with the texts they expect.
#pragma once

#include <string>
#include <vector>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::testing {

inline std::vector<std::string> Texts(const rt::SafeArray& a) {
  std::vector<std::string> out;
  for (const rt::Variant& v : a.items()) out.push_back(rt::CStr(v));
  return out;
}

}  // namespace zmdb::testing
