#include "zmdb/runtime/convert.h"

#include <fmt/format.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "convert_p.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {

namespace conv {

// The default value of an object Variant; error 91 for Nothing.
Variant DefaultOf(const Variant& v) {
  const ObjectRef& o = v.AsObject();
  if (!o) Raise(err::kObjectNotSet);
  return o->DefaultValue();
}

bool DefaultPasses(const Variant& v, bool (*test)(const Variant&)) {
  const ObjectRef& o = v.AsObject();
  if (!o) return false;
  try {
    return test(o->DefaultValue());
  } catch (const PlatformError&) {
    return false;
  }
}

}  // namespace conv

namespace {

using conv::DefaultOf;
using conv::Number;
using conv::ParseCurrencyText;
using conv::ParseStatus;
using conv::ToNumber;
using conv::Trim;

// `d` rounded to a whole number, halves to the even neighbour.
double RoundHalfEven(double d) {
  double whole = std::floor(d);
  const double diff = d - whole;
  if (diff > 0.5 || (diff == 0.5 && std::fmod(whole, 2.0) != 0.0)) whole += 1.0;
  return whole;
}

// `v` rounded half to even into the range [lo, hi]; error 6 outside it.
std::int64_t ToWhole(const Variant& v, std::int64_t lo, std::int64_t hi) {
  const Number n = ToNumber(v);
  std::int64_t result = 0;
  switch (n.kind) {
    case Number::Integer:
      result = n.integer;
      break;
    case Number::Money: {
      std::int64_t q = n.integer / 10000;
      const std::int64_t r = n.integer % 10000;
      const bool odd = q % 2 != 0;
      if (r > 5000 || (r == 5000 && odd)) ++q;
      if (r < -5000 || (r == -5000 && odd)) --q;
      result = q;
      break;
    }
    case Number::Real: {
      if (!std::isfinite(n.real)) Raise(err::kOverflow);
      const double r = RoundHalfEven(n.real);
      if (r < static_cast<double>(lo) || r > static_cast<double>(hi)) Raise(err::kOverflow);
      result = static_cast<std::int64_t>(r);
      break;
    }
  }
  if (result < lo || result > hi) Raise(err::kOverflow);
  return result;
}

// The serial range of the platform's dates: 100-01-01 to 9999-12-31 23:59:59.
bool InDateRange(double serial) {
  return serial > -657435.0 && serial < 2958466.0;
}

// Shared text form of binary floating point: up to `digits` significant
// digits, trailing zeros removed, exponent form from 1E+digits up and below
// 1E-05.
// The significant digits of `d` (no trailing zeros) and the power of ten of
// the first one, rounded to `digits` significant digits. The shortest text
// that reads back as `d` is that rounding whenever it has no more digits than
// asked for: `d` then lies within half a unit of its last binary place (a
// relative 2^-53), and so within half a unit of the `digits`-th digit. Only longer texts need the
// exact (and much slower) rounding of the formatter.
void SignificantDigits(double d, int digits, std::string& mantissa, int& exp) {
  char buf[40];
  const auto shortest =
      std::to_chars(buf, buf + sizeof buf, std::fabs(d), std::chars_format::scientific);
  std::string_view sci(buf, static_cast<std::size_t>(shortest.ptr - buf));
  std::string exact;
  std::size_t ePos = sci.find('e');
  // A subnormal has fewer bits than that argument needs: it takes the exact path.
  if (ePos - (ePos > 1 ? 1 : 0) > static_cast<std::size_t>(digits) ||
      std::fabs(d) < std::numeric_limits<double>::min()) {
    // "d.ddddde+XX" rounded to `digits` significant digits.
    exact = fmt::format("{:.{}e}", std::fabs(d), digits - 1);
    sci = exact;
    ePos = sci.find('e');
  }
  mantissa.clear();
  for (std::size_t i = 0; i < ePos; ++i) {
    if (sci[i] != '.') mantissa += sci[i];
  }
  mantissa.erase(mantissa.find_last_not_of('0') + 1);
  exp = std::atoi(std::string(sci.substr(ePos + 1)).c_str());
}

std::string FloatText(double d, int digits) {
  if (std::isnan(d)) return "NaN";
  if (std::isinf(d)) return d < 0 ? "-Infinity" : "Infinity";
  if (d == 0.0) return "0";
  std::string mantissa;
  int exp = 0;
  SignificantDigits(d, digits, mantissa, exp);
  std::string out = d < 0 ? "-" : "";
  if (exp >= digits || exp < -5) {
    out += mantissa[0];
    if (mantissa.size() > 1) out += "." + mantissa.substr(1);
    out += fmt::format("E{}{:02d}", exp < 0 ? '-' : '+', std::abs(exp));
  } else if (exp >= 0) {
    const auto intLen = static_cast<std::size_t>(exp) + 1;
    if (mantissa.size() <= intLen) {
      out += mantissa + std::string(intLen - mantissa.size(), '0');
    } else {
      out.append(mantissa, 0, intLen).append(1, '.').append(mantissa, intLen);
    }
  } else {
    out += "0." + std::string(static_cast<std::size_t>(-exp - 1), '0') + mantissa;
  }
  return out;
}

// The error number an Error subtype shows as text ("Error 448" for a
// missing argument; run-time codes 0x800Axxxx show their low word).
std::int32_t ErrorNumberOf(std::int32_t scode) {
  if (scode == kParamNotFound) return 448;
  const auto u = static_cast<std::uint32_t>(scode);
  if ((u & 0xFFFF0000u) == 0x800A0000u) return static_cast<std::int32_t>(u & 0xFFFFu);
  return scode;
}

}  // namespace

// ------------------------------------------------------------ conversions

// Text of a value; Null raises 94, arrays and records 13.
std::string CStr(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
      return {};
    case VarType::Null:
      Raise(err::kInvalidUseOfNull);
    case VarType::Boolean:
      return v.AsBoolean() ? "True" : "False";
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
      return std::to_string(v.AsLong());
    case VarType::Single:
      return SingleToText(std::get<float>(v.storage()));
    case VarType::Double:
      return DoubleToText(v.AsDouble());
    case VarType::Currency:
      return CurrencyToText(v.AsCurrency());
    case VarType::Date:
      return DateToText(v.AsDate());
    case VarType::String:
      return v.AsString();
    case VarType::Object:
      return CStr(DefaultOf(v));
    case VarType::Error:
      return fmt::format("Error {}", ErrorNumberOf(v.AsErrorCode()));
    default:
      Raise(err::kTypeMismatch);
  }
}

// CStr, except that Null contributes "".
std::string TextOf(const Variant& v) {
  return v.IsNull() ? std::string() : CStr(v);
}

// The value as a double (see ToNumber for the errors).
double CDbl(const Variant& v) {
  return ToNumber(v).AsDouble();
}

// The value as a Single; error 6 beyond the Single range.
float CSng(const Variant& v) {
  const double d = CDbl(v);
  // Values up to half a unit past the largest Single still round to it.
  constexpr double kLimit = static_cast<double>(FLT_MAX) + 0x1p103;
  if (std::isfinite(d) && std::fabs(d) >= kLimit) Raise(err::kOverflow);
  return static_cast<float>(d);
}

// The value as Currency: text converts exactly, doubles round half to even at
// the 4th decimal; error 6 out of range.
Currency CCur(const Variant& v) {
  if (v.IsString()) {
    Currency c;
    switch (ParseCurrencyText(v.AsString(), c)) {
      case ParseStatus::Ok:
        return c;
      case ParseStatus::Overflow:
        Raise(err::kOverflow);
      default:
        Raise(err::kTypeMismatch);
    }
  }
  if (v.IsObject()) return CCur(DefaultOf(v));
  const Number n = ToNumber(v);
  switch (n.kind) {
    case Number::Integer:
      return Currency{n.integer * 10000};
    case Number::Money:
      return Currency{n.integer};
    default:
      return Currency::FromDouble(n.real);
  }
}

// 32-bit whole number, rounded half to even; error 6 out of range.
std::int32_t CLng(const Variant& v) {
  return static_cast<std::int32_t>(ToWhole(v, INT32_MIN, INT32_MAX));
}

// 16-bit whole number, rounded half to even; error 6 out of range.
std::int16_t CInt(const Variant& v) {
  return static_cast<std::int16_t>(ToWhole(v, INT16_MIN, INT16_MAX));
}

// 0..255, rounded half to even; error 6 out of range.
std::uint8_t CByte(const Variant& v) {
  return static_cast<std::uint8_t>(ToWhole(v, 0, 255));
}

// True unless zero; text is "True"/"False" in any case or a number.
bool CBool(const Variant& v) {
  if (v.IsString()) {
    const std::string_view s = Trim(v.AsString());
    if (NameEquals(s, "true")) return true;
    if (NameEquals(s, "false")) return false;
  }
  if (v.IsObject()) return CBool(DefaultOf(v));
  const Number n = ToNumber(v);
  return n.kind == Number::Real ? n.real != 0.0 : n.integer != 0;
}

// A Date: dates stay, numbers are serials, text parses as a date; error 6 for
// a serial outside years 100-9999, 13 for text that is not a date.
Date CDate(const Variant& v) {
  switch (v.Type()) {
    case VarType::Date:
      return v.AsDate();
    case VarType::Null:
      Raise(err::kInvalidUseOfNull);
    case VarType::String: {
      if (auto d = ParseDate(v.AsString())) return *d;
      Raise(err::kTypeMismatch);
    }
    case VarType::Object:
      return CDate(DefaultOf(v));
    default: {
      const double serial = CDbl(v);
      if (!InDateRange(serial)) Raise(err::kOverflow);
      return Date{serial};
    }
  }
}

// CVar-style conversion: Empty and Null values, and the target Variant, pass
// through unchanged; Object, Error, Array and Record targets accept only a
// value of that kind (error 13 otherwise).
Variant ConvertTo(const Variant& v, VarType type) {
  if (v.IsEmpty() || v.IsNull()) return v;
  switch (type) {
    case VarType::Empty:
      return Variant();
    case VarType::Null:
      return Variant::Null();
    case VarType::Integer:
      return Variant(CInt(v));
    case VarType::Long:
      return Variant(CLng(v));
    case VarType::Single:
      return Variant(CSng(v));
    case VarType::Double:
      return Variant(CDbl(v));
    case VarType::Currency:
      return Variant(CCur(v));
    case VarType::Date:
      return Variant(CDate(v));
    case VarType::String:
      return Variant(CStr(v));
    case VarType::Boolean:
      return Variant(CBool(v));
    case VarType::Byte:
      return Variant(CByte(v));
    case VarType::Variant:
      return v;
    default:
      if (v.Type() != type) Raise(err::kTypeMismatch);
      return v;
  }
}

// ------------------------------------------------------------- text forms

// Up to 15 significant digits, no trailing zeros.
std::string DoubleToText(double d) {
  return FloatText(d, 15);
}

// Up to 7 significant digits, no trailing zeros.
std::string SingleToText(float f) {
  return FloatText(static_cast<double>(f), 7);
}

// Whole amount and up to 4 decimals, no trailing zeros.
std::string CurrencyToText(Currency c) {
  const bool negative = c.scaled < 0;
  const std::uint64_t magnitude =
      negative ? 0 - static_cast<std::uint64_t>(c.scaled) : static_cast<std::uint64_t>(c.scaled);
  std::string out = fmt::format("{}{}", negative ? "-" : "", magnitude / 10000);
  if (const std::uint64_t fraction = magnitude % 10000) {
    std::string digits = fmt::format("{:04d}", fraction);
    digits.erase(digits.find_last_not_of('0') + 1);
    out += "." + digits;
  }
  return out;
}

// "yyyy-mm-dd hh:nn:ss", or "yyyy-mm-dd" at midnight.
std::string DateToText(Date d) {
  const DateParts p = SplitDate(d);
  std::string out = fmt::format("{:04d}-{:02d}-{:02d}", p.year, p.month, p.day);
  if (p.hour != 0 || p.minute != 0 || p.second != 0)
    out += fmt::format(" {:02d}:{:02d}:{:02d}", p.hour, p.minute, p.second);
  return out;
}

}  // namespace zmdb::rt
