// Dates read from text.
#pragma once

#include <optional>
#include <string_view>

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

// Date text: "yyyy-mm-dd", "yyyy/mm/dd", "m/d/yyyy" (month first), each
// optionally followed by a time "h:nn", "h:nn:ss" with an optional AM/PM, or a
// time alone (day 0); the ISO form "yyyy-mm-ddThh:nn:ss" too.
std::optional<Date> ParseDate(std::string_view text);
// The platform's IsDate.
bool IsDate(const Variant& v);

}  // namespace zmdb::rt
