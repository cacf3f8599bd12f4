// Numbers read from text, and the platform's comparison of two values.
#pragma once

#include <optional>
#include <string_view>

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

// Numeric text: optional sign, digits with an optional "." fraction, optional
// exponent; leading and trailing blanks allowed; "&H" hexadecimal too.
std::optional<double> ParseNumber(std::string_view text);
// The platform's IsNumeric.
bool IsNumeric(const Variant& v);

// The platform's "=" / "<" comparison of two Variants: -1, 0 or 1, or no value
// when either side is Null. Numbers compare numerically, strings binary, a
// number with a numeric string numerically; Empty is 0 or "". Raises 13 when a
// number meets a string that is not numeric.
std::optional<int> Compare(const Variant& a, const Variant& b);

}  // namespace zmdb::rt
