// The numeric functions of Jet SQL: Val and Str between numbers and text,
// and Int, Fix, Sgn, Abs and Round. Integer arguments stay integers where the
// function allows it.
#include <fmt/format.h>
#include <sqlite3.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "jetfn_p.h"

namespace zmdb::dal::sqlite::jetfn {
namespace {

// `d` rounded half to even at `digits` decimals, working on its 15-digit
// decimal form so that 2.675 (stored as 2.67499999...) rounds as written.
double RoundDecimal(double d, std::int64_t digits) {
  if (!std::isfinite(d) || d == 0.0) return d;
  char buf[64];
  const auto res =
      std::to_chars(buf, buf + sizeof buf, std::fabs(d), std::chars_format::scientific, 14);
  const std::string_view sci(buf, static_cast<std::size_t>(res.ptr - buf));  // d.ddddde+XX
  const std::string mantissa = std::string(1, sci[0]) + std::string(sci.substr(2, 14));
  int exponent = 0;
  std::string_view exp = sci.substr(sci.find('e') + 1);
  if (exp.front() == '+') exp.remove_prefix(1);
  std::from_chars(exp.data(), exp.data() + exp.size(), exponent);
  const std::int64_t keep = exponent + 1 + digits;  // mantissa digits left of the cut
  if (keep >= 15) return d;
  if (keep < 0) return 0.0;
  std::int64_t kept = 0;
  for (std::int64_t k = 0; k < keep; ++k)
    kept = kept * 10 + (mantissa[static_cast<std::size_t>(k)] - '0');
  const char next = mantissa[static_cast<std::size_t>(keep)];
  const bool restNonZero =
      mantissa.find_first_not_of('0', static_cast<std::size_t>(keep) + 1) != std::string::npos;
  if (next > '5' || (next == '5' && (restNonZero || kept % 2 != 0))) ++kept;
  const std::string text = fmt::format("{}e{}", kept, -digits);
  double r = 0.0;
  std::from_chars(text.data(), text.data() + text.size(), r);
  return std::signbit(d) ? -r : r;
}

// Val: the number at the start of `s`, ignoring blanks anywhere; "&H" and
// "&O" prefixes read hexadecimal and octal (16- and 32-bit values wrap to
// negative as the classic Val does); no number at all is 0.
double ValOf(std::string_view s) {
  std::string t;
  for (char c : s)
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') t.push_back(c);
  if (t.size() >= 2 && t[0] == '&') {
    const char kind = static_cast<char>(t[1] | 0x20);
    const int base = kind == 'h' ? 16 : 8;
    const std::size_t from = kind == 'h' || kind == 'o' ? 2 : 1;
    std::uint64_t v = 0;
    const auto res = std::from_chars(t.data() + from, t.data() + t.size(), v, base);
    if (res.ec == std::errc::result_out_of_range) rt::Raise(rt::err::kOverflow);
    if (v <= 0xFFFF) return static_cast<std::int16_t>(static_cast<std::uint16_t>(v));
    if (v <= 0xFFFFFFFF) return static_cast<std::int32_t>(static_cast<std::uint32_t>(v));
    return static_cast<double>(v);
  }
  // The longest prefix of the form [+-]digits[.digits][(e|d)[+-]digits].
  std::string number;
  std::size_t i = 0;
  const auto digitsAt = [&](std::size_t& k) {
    const std::size_t start = k;
    while (k < t.size() && t[k] >= '0' && t[k] <= '9') number.push_back(t[k++]);
    return k - start;
  };
  if (i < t.size() && (t[i] == '+' || t[i] == '-')) number.push_back(t[i++]);
  std::size_t mantissaDigits = digitsAt(i);
  if (i < t.size() && t[i] == '.') {
    number.push_back(t[i++]);
    mantissaDigits += digitsAt(i);
  }
  if (mantissaDigits == 0) return 0.0;
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E' || t[i] == 'd' || t[i] == 'D')) {
    std::size_t k = i + 1;
    std::string exponent = "e";
    if (k < t.size() && (t[k] == '+' || t[k] == '-')) exponent.push_back(t[k++]);
    if (k < t.size() && t[k] >= '0' && t[k] <= '9') {
      number += exponent;
      digitsAt(k);
    }
  }
  const char* first = number.data();
  if (*first == '+') ++first;
  double d = 0.0;
  const auto res = std::from_chars(first, number.data() + number.size(), d);
  if (res.ec == std::errc::result_out_of_range) rt::Raise(rt::err::kOverflow);
  return d;
}

// Val(s): the number at the start of the text (see ValOf).
Out FnVal(const Args& a) {
  if (a.IsNull(0)) return {};
  return NumberOut(ValOf(a.Text(0)));
}

// Str(n): the number's text, with a leading space when it is not negative.
Out FnStr(const Args& a) {
  if (a.IsNull(0)) return {};
  std::string text;
  bool negative = false;
  if (a.Type(0) == SQLITE_INTEGER) {
    negative = a.Int64(0) < 0;
    text = std::to_string(a.Int64(0));
  } else {
    const double d = a.Number(0);
    negative = d < 0;
    text = rt::DoubleToText(d);
  }
  return negative ? text : " " + text;
}

// Int(n): the largest whole number not above n.
Out FnInt(const Args& a) {
  if (a.IsNull(0)) return {};
  if (a.Type(0) == SQLITE_INTEGER) return ArgRef{0};
  return NumberOut(std::floor(a.Number(0)));
}

// Fix(n): n without its fraction (toward zero).
Out FnFix(const Args& a) {
  if (a.IsNull(0)) return {};
  if (a.Type(0) == SQLITE_INTEGER) return ArgRef{0};
  return NumberOut(std::trunc(a.Number(0)));
}

// Sgn(n): -1, 0 or 1.
Out FnSgn(const Args& a) {
  if (a.IsNull(0)) return {};
  if (a.Type(0) == SQLITE_INTEGER) return a.Int64(0) < 0 ? -1 : (a.Int64(0) > 0 ? 1 : 0);
  const double d = a.Number(0);
  return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

// Abs(n): the magnitude of n; integers stay integers (the most negative one
// becomes a real).
Out FnAbs(const Args& a) {
  if (a.IsNull(0)) return {};
  if (a.Type(0) == SQLITE_INTEGER) {
    const std::int64_t i = a.Int64(0);
    if (i == std::numeric_limits<std::int64_t>::min()) return Out(-static_cast<double>(i));
    return Out(i < 0 ? -i : i);
  }
  if (a.Type(0) == SQLITE_FLOAT) return Out(std::fabs(a.Number(0)));
  return NumberOut(std::fabs(a.Number(0)));
}

// Round(n[, digits]): n rounded half to even at `digits` decimals (0 when
// absent); error 5 for negative digits.
Out FnRound(const Args& a) {
  const std::int32_t digits = a.count() > 1 ? a.Long(1) : 0;
  if (digits < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  if (a.Type(0) == SQLITE_INTEGER) return ArgRef{0};
  return NumberOut(RoundDecimal(a.Number(0), digits));
}

// Val, Str, Int, Fix, Sgn, Abs, Round.
constexpr Registration kNumbers[] = {
    {"Val", 1, Call<FnVal>, true},     {"Str", 1, Call<FnStr>, true},
    {"Int", 1, Call<FnInt>, true},     {"Fix", 1, Call<FnFix>, true},
    {"Sgn", 1, Call<FnSgn>, true},     {"Abs", 1, Call<FnAbs>, true},
    {"Round", 1, Call<FnRound>, true}, {"Round", 2, Call<FnRound>, true},
};

}  // namespace

std::span<const Registration> NumberFunctions() {
  return kNumbers;
}

}  // namespace zmdb::dal::sqlite::jetfn
