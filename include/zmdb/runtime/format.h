// The run time's Format(value, pattern), for the patterns the library and its
// callers use. Shared by the component object and the file store's SQL Format.
//
// Number patterns: "0" digit placeholders (zero-padded), "#" optional digits,
// "." decimal point, "," thousands separator, "%" percent, literal text in
// quotes or after "\"; up to two sections separated by ";" (positive; negative).
// A value that is numeric text ("57") is formatted as a number.
//
// Date patterns: yyyy yy m mm mmm mmmm d dd ddd dddd h hh n nn s ss, AM/PM,
// "/" "-" ":" and blanks as literals; "mm" right after h/hh means minutes.
//
// Named formats (any case), in one fixed, locale-free form:
//   "General Date" the Date text form of CStr      "Long Date"   "yyyy-mm-dd dddd"
//   "Short Date"   "yyyy-mm-dd"                    "Medium Date" "dd-mmm-yy"
//   "Long Time"    "hh:nn:ss"                      "Medium Time" "hh:nn AM/PM"
//   "Short Time"   "hh:nn"                         "General Number" CStr of the number
//   "Fixed" "0.00", "Standard" "#,##0.00", "Currency" "#,##0.00", "Percent" "0.00%",
//   "Scientific" "0.00E+00", "Yes/No", "True/False", "On/Off".
// Null formats as ""; an empty pattern gives CStr of the value.
#pragma once

#include <string>
#include <string_view>

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

std::string Format(const Variant& value, std::string_view pattern = {});

}  // namespace zmdb::rt
