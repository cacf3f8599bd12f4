// Conversions between Variant subtypes, with one fixed text form that does not
// depend on the process locale:
//   numbers   "." as the decimal point, no thousands separator; Double with up
//             to 15 significant digits, Single with up to 7, no trailing zeros,
//             exponent form ("1E+20", "1.5E-07") outside 1E-05 .. 1E+15
//   Currency  up to 4 decimals, no trailing zeros ("12.5")
//   Boolean   "True" / "False"
//   Date      "yyyy-mm-dd hh:nn:ss", or "yyyy-mm-dd" alone when the time is midnight
// Each Parse* function accepts what the matching text form writes (and a little
// more, as listed), so text written by the library reads back to the same value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The parsers and the comparison are declared apart; conversions use them
// and callers of the conversions reach them (and the text helpers) through here.
#include "zmdb/runtime/date_parse.h"
#include "zmdb/runtime/number_parse.h"
#include "zmdb/runtime/text.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

// CStr: Null raises error 94; Empty is ""; an object gives its default value's
// text; an array or record raises error 13.
std::string CStr(const Variant& v);
// The text a value contributes to a string concatenation: as CStr, but Null is "".
std::string TextOf(const Variant& v);
// CDbl / CSng / CCur: numbers convert; strings parse as numbers (ParseNumber);
// Boolean True is -1; Date is its serial; Empty is 0; Null raises 94; other 13.
double CDbl(const Variant& v);
float CSng(const Variant& v);
Currency CCur(const Variant& v);
// CLng / CInt / CByte: as CDbl, then rounded half to even; error 6 when out of range.
std::int32_t CLng(const Variant& v);
std::int16_t CInt(const Variant& v);
std::uint8_t CByte(const Variant& v);
// CBool: numbers are True unless 0; strings "True"/"False" (any case) or a number.
bool CBool(const Variant& v);
// CDate: Date stays; numbers are serials; strings parse with ParseDate; else 13.
Date CDate(const Variant& v);
// CVar-style conversion to the given subtype (Empty, Null and Variant pass through).
Variant ConvertTo(const Variant& v, VarType type);

// Text forms of single values, as used by CStr.
std::string DoubleToText(double d);
std::string SingleToText(float f);
std::string CurrencyToText(Currency c);
std::string DateToText(Date d);

}  // namespace zmdb::rt
