#include "zmdb/runtime/convert.h"

#include <fmt/format.h>

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {

std::string AsciiUpper(std::string_view s) {
  std::string out(s);
  for (char& ch : out) {
    if (ch >= 'a' && ch <= 'z') ch = static_cast<char>(ch - 'a' + 'A');
  }
  return out;
}

std::string AsciiLower(std::string_view s) {
  std::string out(s);
  for (char& ch : out) {
    if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
  }
  return out;
}

namespace {

// ------------------------------------------------------------ text helpers

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// `text` without leading and trailing blanks.
std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// ASCII lower case of one character.
char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// ASCII case-insensitive equality.
bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// --------------------------------------------------------- number parsing

// The pieces of decimal number text: sign, the digits of the mantissa without
// the point, and the power of ten that scales those digits to the value.
struct DecimalText {
  bool negative = false;
  std::string digits;  // leading zeros removed; empty for zero
  std::int64_t exp10 = 0;
};

enum class ParseStatus { Ok, Bad, Overflow };

// Splits decimal number text (already trimmed, not hexadecimal) into its
// pieces; false when the text is not a number.
bool SplitDecimal(std::string_view s, DecimalText& out) {
  std::size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) out.negative = s[i++] == '-';
  std::size_t mantissaDigits = 0;
  std::int64_t fractionDigits = 0;
  for (; i < s.size() && IsDigit(s[i]); ++i, ++mantissaDigits) out.digits += s[i];
  if (i < s.size() && s[i] == '.') {
    for (++i; i < s.size() && IsDigit(s[i]); ++i, ++mantissaDigits, ++fractionDigits)
      out.digits += s[i];
  }
  if (mantissaDigits == 0) return false;
  std::int64_t exponent = 0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    bool expNegative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) expNegative = s[i++] == '-';
    if (i >= s.size() || !IsDigit(s[i])) return false;
    for (; i < s.size() && IsDigit(s[i]); ++i) {
      // Cap the exponent; anything this large over- or underflows anyway.
      if (exponent < 100000) exponent = exponent * 10 + (s[i] - '0');
    }
    if (expNegative) exponent = -exponent;
  }
  if (i != s.size()) return false;
  const std::size_t firstNonZero = out.digits.find_first_not_of('0');
  out.digits.erase(0, firstNonZero == std::string::npos ? out.digits.size() : firstNonZero);
  out.exp10 = exponent - fractionDigits;
  return true;
}

// "&H" hexadecimal text: up to 4 digits read as a 16-bit and up to 8 digits as
// a 32-bit two's complement value, as the platform reads hexadecimal literals.
ParseStatus ParseHex(std::string_view s, double& out) {
  s.remove_prefix(2);
  if (s.empty() || s.size() > 8) return ParseStatus::Bad;
  std::uint32_t value = 0;
  for (char c : s) {
    const char l = Lower(c);
    std::uint32_t digit = 0;
    if (IsDigit(l))
      digit = static_cast<std::uint32_t>(l - '0');
    else if (l >= 'a' && l <= 'f')
      digit = static_cast<std::uint32_t>(l - 'a' + 10);
    else
      return ParseStatus::Bad;
    value = value * 16 + digit;
  }
  if (s.size() <= 4)
    out = static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
  else
    out = static_cast<std::int32_t>(value);
  return ParseStatus::Ok;
}

// Numeric text to a double: Bad when it is not a number, Overflow when it is
// beyond the range of a double.
ParseStatus ParseNumberText(std::string_view text, double& out) {
  const std::string_view s = Trim(text);
  if (s.size() >= 2 && s[0] == '&' && (s[1] == 'h' || s[1] == 'H')) return ParseHex(s, out);
  DecimalText dec;
  if (!SplitDecimal(s, dec)) return ParseStatus::Bad;
  if (dec.digits.empty()) {
    out = 0.0;
    return ParseStatus::Ok;
  }
  // Magnitude of the leading digit; decides overflow versus underflow when
  // the text is out of range.
  const std::int64_t leadExp = dec.exp10 + static_cast<std::int64_t>(dec.digits.size()) - 1;
  if (leadExp > 400) return ParseStatus::Overflow;
  if (leadExp < -400) {
    out = 0.0;
    return ParseStatus::Ok;
  }
  const std::string normal = fmt::format("{}{}e{}", dec.negative ? "-" : "", dec.digits, dec.exp10);
  double value = 0.0;
  const auto [ptr, ec] = std::from_chars(normal.data(), normal.data() + normal.size(), value);
  if (ec == std::errc::result_out_of_range) {
    if (leadExp > 0) return ParseStatus::Overflow;
    value = 0.0;
  } else if (ec != std::errc() || ptr != normal.data() + normal.size()) {
    return ParseStatus::Bad;
  }
  out = value;
  return ParseStatus::Ok;
}

// Decimal number text to Currency exactly, rounded half to even at the 4th
// decimal; hexadecimal text goes through its integer value.
ParseStatus ParseCurrencyText(std::string_view text, Currency& out) {
  const std::string_view s = Trim(text);
  if (s.size() >= 2 && s[0] == '&' && (s[1] == 'h' || s[1] == 'H')) {
    double value = 0.0;
    const ParseStatus st = ParseHex(s, value);
    if (st == ParseStatus::Ok) out = Currency{static_cast<std::int64_t>(value) * 10000};
    return st;
  }
  DecimalText dec;
  if (!SplitDecimal(s, dec)) return ParseStatus::Bad;
  const std::int64_t shift = dec.exp10 + 4;  // power of ten applied to the digits
  std::string kept = dec.digits;
  bool roundUp = false;
  if (shift < 0 && static_cast<std::uint64_t>(-shift) > kept.size()) {
    // Every digit lies below half of the last decimal kept: the amount is 0.
    kept.clear();
  } else if (shift < 0) {
    const auto drop = static_cast<std::size_t>(-shift);
    std::string dropped;
    if (drop >= kept.size()) {
      dropped = std::string(drop - kept.size(), '0') + kept;
      kept.clear();
    } else {
      dropped = kept.substr(kept.size() - drop);
      kept.resize(kept.size() - drop);
    }
    const bool restNonZero = dropped.find_first_not_of('0', 1) != std::string::npos;
    const bool lastOdd = !kept.empty() && (kept.back() - '0') % 2 == 1;
    roundUp = dropped[0] > '5' || (dropped[0] == '5' && (restNonZero || lastOdd));
  } else if (!kept.empty()) {
    if (shift > 20) return ParseStatus::Overflow;
    kept.append(static_cast<std::size_t>(shift), '0');
  }
  std::uint64_t magnitude = 0;
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
  for (char c : kept) {
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (magnitude > (kMax - digit) / 10) return ParseStatus::Overflow;
    magnitude = magnitude * 10 + digit;
  }
  if (roundUp) {
    if (magnitude == kMax) return ParseStatus::Overflow;
    ++magnitude;
  }
  constexpr std::uint64_t kMaxPositive = static_cast<std::uint64_t>(INT64_MAX);
  if (dec.negative) {
    if (magnitude > kMaxPositive + 1) return ParseStatus::Overflow;
    out =
        Currency{magnitude == kMaxPositive + 1 ? INT64_MIN : -static_cast<std::int64_t>(magnitude)};
  } else {
    if (magnitude > kMaxPositive) return ParseStatus::Overflow;
    out = Currency{static_cast<std::int64_t>(magnitude)};
  }
  return ParseStatus::Ok;
}

// ----------------------------------------------------------- date parsing

// A cursor over date text.
struct Cursor {
  std::string_view s;
  std::size_t i = 0;

  bool AtEnd() const { return i >= s.size(); }
  char Peek() const { return AtEnd() ? '\0' : s[i]; }
  // Reads 1..maxDigits digits; false (and nothing consumed) when there are none.
  bool Number(int& value, std::size_t& count, std::size_t maxDigits) {
    value = 0;
    count = 0;
    while (!AtEnd() && IsDigit(s[i]) && count < maxDigits) {
      value = value * 10 + (s[i] - '0');
      ++i;
      ++count;
    }
    return count > 0 && (AtEnd() || !IsDigit(s[i]));
  }
  bool Accept(char c) {
    if (Peek() != c) return false;
    ++i;
    return true;
  }
  void SkipBlanks() {
    while (!AtEnd() && IsBlank(s[i])) ++i;
  }
};

bool IsLeapYear(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// True when year/month/day name a calendar day the platform can hold.
bool ValidDay(int year, int month, int day) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
  const int last = month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
  return day <= last;
}

// Reads "h:nn" or "h:nn:ss" with an optional AM/PM; seconds past midnight.
bool ParseTime(Cursor& c, int& seconds) {
  int hour = 0, minute = 0, second = 0;
  std::size_t n = 0;
  if (!c.Number(hour, n, 2) || !c.Accept(':') || !c.Number(minute, n, 2)) return false;
  if (c.Accept(':') && !c.Number(second, n, 2)) return false;
  const std::size_t beforeBlanks = c.i;
  c.SkipBlanks();
  const std::string_view rest = c.s.substr(c.i);
  if (rest.size() >= 2 &&
      (EqualsNoCase(rest.substr(0, 2), "am") || EqualsNoCase(rest.substr(0, 2), "pm"))) {
    const bool pm = Lower(rest[0]) == 'p';
    if (hour < 1 || hour > 12) return false;
    hour = hour % 12 + (pm ? 12 : 0);
    c.i += 2;
  } else {
    c.i = beforeBlanks;
  }
  if (hour > 23 || minute > 59 || second > 59) return false;
  seconds = hour * 3600 + minute * 60 + second;
  return true;
}

// Reads "yyyy-mm-dd", "yyyy/mm/dd" or "m/d/yyyy".
bool ParseDay(Cursor& c, int& year, int& month, int& day) {
  int first = 0;
  std::size_t n = 0;
  if (!c.Number(first, n, 4)) return false;
  const char sep = c.Peek();
  if (n == 4 && (sep == '-' || sep == '/')) {
    ++c.i;
    year = first;
    return c.Number(month, n, 2) && c.Accept(sep) && c.Number(day, n, 2) &&
           ValidDay(year, month, day);
  }
  if (n <= 2 && sep == '/') {
    ++c.i;
    month = first;
    return c.Number(day, n, 2) && c.Accept('/') && c.Number(year, n, 4) && n == 4 &&
           ValidDay(year, month, day);
  }
  return false;
}

// ---------------------------------------------------------- value helpers

// The default value of an object Variant; error 91 for Nothing.
Variant DefaultOf(const Variant& v) {
  const ObjectRef& o = v.AsObject();
  if (!o) Raise(err::kObjectNotSet);
  return o->DefaultValue();
}

// A value as a number for the numeric conversions: exact integers (Boolean
// True is -1), exact Currency, or a double (Single, Double, Date serial, text).
struct Number {
  enum Kind { Integer, Money, Real } kind = Integer;
  std::int64_t integer = 0;  // Integer: the value; Money: the scaled amount
  double real = 0.0;

  double AsDouble() const {
    switch (kind) {
      case Integer:
        return static_cast<double>(integer);
      case Money:
        return Currency{integer}.ToDouble();
      default:
        return real;
    }
  }
};

// The numeric value of `v`: Null raises 94, text that is not a number 13 (6
// when out of range), non-scalar values 13.
Number ToNumber(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
      return {};
    case VarType::Null:
      Raise(err::kInvalidUseOfNull);
    case VarType::Boolean:
      return {Number::Integer, v.AsBoolean() ? -1 : 0, 0.0};
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
      return {Number::Integer, v.AsLong(), 0.0};
    case VarType::Single:
    case VarType::Double:
      return {Number::Real, 0, v.AsDouble()};
    case VarType::Currency:
      return {Number::Money, v.AsCurrency().scaled, 0.0};
    case VarType::Date:
      return {Number::Real, 0, v.AsDate().serial};
    case VarType::String: {
      double d = 0.0;
      switch (ParseNumberText(v.AsString(), d)) {
        case ParseStatus::Ok:
          return {Number::Real, 0, d};
        case ParseStatus::Overflow:
          Raise(err::kOverflow);
        default:
          Raise(err::kTypeMismatch);
      }
    }
    case VarType::Object:
      return ToNumber(DefaultOf(v));
    default:
      Raise(err::kTypeMismatch);
  }
}

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
std::string FloatText(double d, int digits) {
  if (std::isnan(d)) return "NaN";
  if (std::isinf(d)) return d < 0 ? "-Infinity" : "Infinity";
  if (d == 0.0) return "0";
  // "-d.ddddde+XX" rounded to `digits` significant digits.
  const std::string sci = fmt::format("{:.{}e}", d, digits - 1);
  const bool negative = sci[0] == '-';
  const std::size_t ePos = sci.find('e');
  std::string mantissa;
  for (std::size_t i = negative ? 1 : 0; i < ePos; ++i) {
    if (sci[i] != '.') mantissa += sci[i];
  }
  const int exp = std::atoi(sci.c_str() + ePos + 1);
  mantissa.erase(mantissa.find_last_not_of('0') + 1);
  std::string out = negative ? "-" : "";
  if (exp >= digits || exp < -5) {
    out += mantissa[0];
    if (mantissa.size() > 1) out += "." + mantissa.substr(1);
    out += fmt::format("E{}{:02d}", exp < 0 ? '-' : '+', std::abs(exp));
  } else if (exp >= 0) {
    const auto intLen = static_cast<std::size_t>(exp) + 1;
    if (mantissa.size() <= intLen) {
      out += mantissa + std::string(intLen - mantissa.size(), '0');
    } else {
      out += mantissa.substr(0, intLen) + "." + mantissa.substr(intLen);
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

// Three-way comparison of two doubles.
int Order(double a, double b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Three-way comparison of two integers.
int Order(std::int64_t a, std::int64_t b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Numeric comparison, exact when neither side is binary floating point.
int CompareNumbers(const Number& a, const Number& b) {
  if (a.kind != Number::Real && b.kind != Number::Real) {
    const std::int64_t x = a.kind == Number::Money ? a.integer : a.integer * 10000;
    const std::int64_t y = b.kind == Number::Money ? b.integer : b.integer * 10000;
    return Order(x, y);
  }
  return Order(a.AsDouble(), b.AsDouble());
}

// Sides of a comparison after objects are replaced by their default values.
enum class Side { Empty, Null, Text, Numeric };

Side SideOf(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
      return Side::Empty;
    case VarType::Null:
      return Side::Null;
    case VarType::String:
      return Side::Text;
    case VarType::Boolean:
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
    case VarType::Single:
    case VarType::Double:
    case VarType::Currency:
    case VarType::Date:
      return Side::Numeric;
    default:
      Raise(err::kTypeMismatch);
  }
}

// A number (or Date) against text: a Date meets date text as a date; other
// numbers need numeric text, else error 13.
int CompareNumberWithText(const Variant& number, const std::string& text) {
  if (number.Type() == VarType::Date) {
    if (auto d = ParseDate(text)) return Order(number.AsDate().serial, d->serial);
  }
  double parsed = 0.0;
  if (ParseNumberText(text, parsed) != ParseStatus::Ok) Raise(err::kTypeMismatch);
  return CompareNumbers(ToNumber(number), Number{Number::Real, 0, parsed});
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
    if (EqualsNoCase(s, "true")) return true;
    if (EqualsNoCase(s, "false")) return false;
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

// Numeric text to a double; no value when the text is not a number or lies
// beyond the range of a double.
std::optional<double> ParseNumber(std::string_view text) {
  double d = 0.0;
  if (ParseNumberText(text, d) != ParseStatus::Ok) return std::nullopt;
  return d;
}

// Date text (see the header for the forms) to a Date; no value otherwise.
std::optional<Date> ParseDate(std::string_view text) {
  Cursor c{Trim(text)};
  if (c.AtEnd()) return std::nullopt;
  int seconds = 0;
  // A time alone is a time on day 0.
  {
    Cursor t = c;
    if (ParseTime(t, seconds) && t.AtEnd()) return Date{seconds / 86400.0};
  }
  int year = 0, month = 0, day = 0;
  if (!ParseDay(c, year, month, day)) return std::nullopt;
  if (!c.AtEnd()) {
    if (c.Peek() == 'T' || c.Peek() == 't') {
      ++c.i;
    } else {
      if (!IsBlank(c.Peek())) return std::nullopt;
      c.SkipBlanks();
    }
    if (!ParseTime(c, seconds) || !c.AtEnd()) return std::nullopt;
  }
  return MakeDate(year, month, day, seconds / 3600, seconds / 60 % 60, seconds % 60);
}

// True for numbers, Booleans, Empty and numeric text.
bool IsNumeric(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Boolean:
      return true;
    case VarType::String:
      return ParseNumber(v.AsString()).has_value();
    case VarType::Object: {
      const ObjectRef& o = v.AsObject();
      if (!o) return false;
      try {
        return IsNumeric(o->DefaultValue());
      } catch (const PlatformError&) {
        return false;
      }
    }
    default:
      return v.IsNumeric();
  }
}

// True for dates and date text.
bool IsDate(const Variant& v) {
  switch (v.Type()) {
    case VarType::Date:
      return true;
    case VarType::String:
      return ParseDate(v.AsString()).has_value();
    case VarType::Object: {
      const ObjectRef& o = v.AsObject();
      if (!o) return false;
      try {
        return IsDate(o->DefaultValue());
      } catch (const PlatformError&) {
        return false;
      }
    }
    default:
      return false;
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

// ------------------------------------------------------------- comparison

// The platform's comparison (see the header); objects compare by their
// default values; arrays, records and Error values raise 13.
std::optional<int> Compare(const Variant& a, const Variant& b) {
  if (a.IsObject()) return Compare(DefaultOf(a), b);
  if (b.IsObject()) return Compare(a, DefaultOf(b));
  const Side sa = SideOf(a);
  const Side sb = SideOf(b);
  if (sa == Side::Null || sb == Side::Null) return std::nullopt;
  if (sa == Side::Empty && sb == Side::Empty) return 0;
  if (sa == Side::Text || sb == Side::Text) {
    if (sa == Side::Numeric) return CompareNumberWithText(a, b.AsString());
    if (sb == Side::Numeric) return -CompareNumberWithText(b, a.AsString());
    // Text against text or against Empty (""): binary order.
    const std::string_view x = sa == Side::Text ? std::string_view(a.AsString()) : "";
    const std::string_view y = sb == Side::Text ? std::string_view(b.AsString()) : "";
    const int c = x.compare(y);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
  }
  return CompareNumbers(ToNumber(a), ToNumber(b));
}

}  // namespace zmdb::rt
