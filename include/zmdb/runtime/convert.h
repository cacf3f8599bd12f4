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

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

// `s` with the ASCII letters in upper (lower) case and every other byte as it
// is, whatever the process locale: UTF-8 sequences keep their bytes, so every
// position in the text stays the same byte position.
std::string AsciiUpper(std::string_view s);
std::string AsciiLower(std::string_view s);

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

// Numeric text: optional sign, digits with an optional "." fraction, optional
// exponent; leading and trailing blanks allowed; "&H" hexadecimal too.
std::optional<double> ParseNumber(std::string_view text);
// Date text: "yyyy-mm-dd", "yyyy/mm/dd", "m/d/yyyy" (month first), each
// optionally followed by a time "h:nn", "h:nn:ss" with an optional AM/PM, or a
// time alone (day 0); the ISO form "yyyy-mm-ddThh:nn:ss" too.
std::optional<Date> ParseDate(std::string_view text);
// The platform's IsNumeric and IsDate.
bool IsNumeric(const Variant& v);
bool IsDate(const Variant& v);

// Text forms of single values, as used by CStr.
std::string DoubleToText(double d);
std::string SingleToText(float f);
std::string CurrencyToText(Currency c);
std::string DateToText(Date d);

// The platform's "=" / "<" comparison of two Variants: -1, 0 or 1, or no value
// when either side is Null. Numbers compare numerically, strings binary, a
// number with a numeric string numerically; Empty is 0 or "". Raises 13 when a
// number meets a string that is not numeric.
std::optional<int> Compare(const Variant& a, const Variant& b);

}  // namespace zmdb::rt
