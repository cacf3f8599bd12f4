// Reading numbers from text, and the platform's comparison of two values
// (numbers compare numerically, exactly unless binary floating point is
// involved).
#include "zmdb/runtime/number_parse.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

#include "convert_p.h"
#include "zmdb/runtime/error.h"

namespace zmdb::rt {
namespace conv {
namespace {

// The pieces of decimal number text: sign, the digits of the mantissa without
// the point, and the power of ten that scales those digits to the value.
struct DecimalText {
  bool negative = false;
  std::string digits;  // leading zeros removed; empty for zero
  std::int64_t exp10 = 0;
};

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

// The common case read directly: an optional sign, digits and at most one
// decimal point, no exponent, short enough to be in range. Both readings
// round the same decimal value correctly, so the result is the one the
// general path would give. False for anything else, to take that path.
bool ParsePlainDecimal(std::string_view s, double& out) {
  if (s.empty() || s.size() > 40) return false;
  std::size_t i = s[0] == '-' || s[0] == '+' ? 1 : 0;
  const std::size_t start = s[0] == '+' ? 1 : 0;
  bool point = false, digit = false;
  for (; i < s.size(); ++i) {
    if (IsDigit(s[i])) {
      digit = true;
    } else if (s[i] == '.' && !point) {
      point = true;
    } else {
      return false;
    }
  }
  if (!digit) return false;
  double value = 0.0;
  const auto [ptr, ec] = std::from_chars(s.data() + start, s.data() + s.size(), value);
  if (ec != std::errc() || ptr != s.data() + s.size()) return false;
  out = value == 0.0 ? 0.0 : value;  // "-0" reads as zero without a sign
  return true;
}

}  // namespace

// Numeric text to a double: Bad when it is not a number, Overflow when it is
// beyond the range of a double.
ParseStatus ParseNumberText(std::string_view text, double& out) {
  const std::string_view s = Trim(text);
  if (ParsePlainDecimal(s, out)) return ParseStatus::Ok;
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

}  // namespace conv

namespace {

using conv::DefaultOf;
using conv::Number;
using conv::Order;
using conv::ParseNumberText;
using conv::ParseStatus;
using conv::ToNumber;

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
    case VarType::Date:
      return Side::Numeric;
    default:
      if (v.IsNumeric()) return Side::Numeric;
      Raise(err::kTypeMismatch);
  }
}

// A number (or Date) against text: a Date meets date text as a date; other
// numbers need numeric text, else error 13.
int CompareNumberWithText(const Variant& number, const std::string& text) {
  if (number.Type() == VarType::Date) {
    if (auto c = conv::CompareDateWithText(number.AsDate(), text)) return *c;
  }
  double parsed = 0.0;
  if (ParseNumberText(text, parsed) != ParseStatus::Ok) Raise(err::kTypeMismatch);
  return CompareNumbers(ToNumber(number), Number{Number::Real, 0, parsed});
}

}  // namespace

// beyond the range of a double.
std::optional<double> ParseNumber(std::string_view text) {
  double d = 0.0;
  if (ParseNumberText(text, d) != ParseStatus::Ok) return std::nullopt;
  return d;
}

// True for numbers, Booleans, Empty and numeric text.
bool IsNumeric(const Variant& v) {
  switch (v.Type()) {
    case VarType::Empty:
    case VarType::Boolean:
      return true;
    case VarType::String:
      return ParseNumber(v.AsString()).has_value();
    case VarType::Object:
      return conv::DefaultPasses(v, IsNumeric);
    default:
      return v.IsNumeric();
  }
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
