// Jet's built-in SQL functions on a SQLite connection.
//
// Each function is a plain C++ function from its arguments to an Out value;
// one trampoline per function turns that value into the SQL result and turns
// a PlatformError into an SQL error carrying the run time's description, so
// that a bad argument fails the statement with the text Jet would show.
//
// Null handling follows one rule throughout: when a value a function works
// on (the text, number or date; the counts of Space and String; every part
// of DateSerial and TimeSerial) is NULL the result is NULL, so that one empty
// field does not abort a whole statement; when an argument that steers the
// function (a position, length, interval, first weekday, digit count, compare
// mode) is NULL the call fails with "Invalid use of Null", as the classic
// functions do. The C* conversions fail on NULL too.
//
// Text is UTF-8 and the text functions count characters. A byte that does
// not begin a well-formed UTF-8 sequence counts as one character and passes
// through every function unchanged, so malformed text never crashes a query.
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "functions_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/format.h"

namespace zmdb::dal::sqlite {
namespace {

using rt::Variant;

// ------------------------------------------------------------ UTF-8 text

// Code points past Unicode's range stand for stray bytes: kRawByte + byte.
constexpr char32_t kRawByte = 0x110000;

// One character of a UTF-8 text: its code point and its length in bytes.
struct Char {
  char32_t cp;
  std::size_t len;
};

// The character starting at byte `i` of `s` (i < s.size()). A byte that does
// not begin a well-formed, shortest-form sequence is a character of its own.
Char CharAt(std::string_view s, std::size_t i) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[i + k]); };
  const unsigned char b0 = byte(0);
  if (b0 < 0x80) return {b0, 1};
  const auto cont = [&](std::size_t k, unsigned lo, unsigned hi) {
    return i + k < s.size() && byte(k) >= lo && byte(k) <= hi;
  };
  const auto bits = [&](std::size_t k) { return static_cast<char32_t>(byte(k) & 0x3Fu); };
  if (b0 >= 0xC2 && b0 <= 0xDF && cont(1, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x1Fu) << 6) | bits(1), 2};
  if (b0 >= 0xE0 && b0 <= 0xEF && cont(1, b0 == 0xE0 ? 0xA0 : 0x80, b0 == 0xED ? 0x9F : 0xBF) &&
      cont(2, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x0Fu) << 12) | (bits(1) << 6) | bits(2), 3};
  if (b0 >= 0xF0 && b0 <= 0xF4 && cont(1, b0 == 0xF0 ? 0x90 : 0x80, b0 == 0xF4 ? 0x8F : 0xBF) &&
      cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF))
    return {(static_cast<char32_t>(b0 & 0x07u) << 18) | (bits(1) << 12) | (bits(2) << 6) | bits(3),
            4};
  return {kRawByte + b0, 1};
}

// Appends code point `c` to `out` as UTF-8 (a stray byte as itself).
void AppendChar(std::string& out, char32_t c) {
  const auto put = [&](char32_t v) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(v)));
  };
  if (c >= kRawByte) {
    put(c - kRawByte);
  } else if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6));
    put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | (c >> 18));
    put(0x80 | ((c >> 12) & 0x3F));
    put(0x80 | ((c >> 6) & 0x3F));
    put(0x80 | (c & 0x3F));
  }
}

// The code points of `s`, stray bytes included.
std::u32string Decode(std::string_view s) {
  std::u32string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const Char c = CharAt(s, i);
    out.push_back(c.cp);
    i += c.len;
  }
  return out;
}

// The number of characters in `s`.
std::int64_t CharCount(std::string_view s) {
  std::int64_t n = 0;
  for (std::size_t i = 0; i < s.size(); i += CharAt(s, i).len) ++n;
  return n;
}

// The byte offset just past the first `chars` characters of `s` (its size
// when it has fewer).
std::size_t ByteOffset(std::string_view s, std::int64_t chars) {
  std::size_t i = 0;
  for (; chars > 0 && i < s.size(); --chars) i += CharAt(s, i).len;
  return i;
}

// ------------------------------------------------------------ letter case

// A run of upper-case letters and the distance to their lower-case forms.
// step 1: every code point of [first, last]; step 2: every other one, for the
// blocks where upper and lower case alternate.
struct CaseRun {
  char32_t first, last;
  int delta;
  int step;
};

// Simple one-to-one case pairs: ASCII, Latin-1, Latin Extended-A, Greek,
// Cyrillic and the full-width Latin letters.
constexpr CaseRun kCaseRuns[] = {
    {0x0041, 0x005A, 32, 1}, {0x00C0, 0x00D6, 32, 1},   {0x00D8, 0x00DE, 32, 1},
    {0x0100, 0x012E, 1, 2},  {0x0132, 0x0136, 1, 2},    {0x0139, 0x0147, 1, 2},
    {0x014A, 0x0176, 1, 2},  {0x0178, 0x0178, -121, 1}, {0x0179, 0x017D, 1, 2},
    {0x0386, 0x0386, 38, 1}, {0x0388, 0x038A, 37, 1},   {0x038C, 0x038C, 64, 1},
    {0x038E, 0x038F, 63, 1}, {0x0391, 0x03A1, 32, 1},   {0x03A3, 0x03AB, 32, 1},
    {0x0400, 0x040F, 80, 1}, {0x0410, 0x042F, 32, 1},   {0x0460, 0x0480, 1, 2},
    {0x048A, 0x04BE, 1, 2},  {0x04C0, 0x04C0, 15, 1},   {0x04C1, 0x04CD, 1, 2},
    {0x04D0, 0x052E, 1, 2},  {0xFF21, 0xFF3A, 32, 1},
};

// True when `c` is one of the upper-case letters of `run`.
bool InRun(const CaseRun& run, char32_t c) {
  return c >= run.first && c <= run.last && (c - run.first) % static_cast<char32_t>(run.step) == 0;
}

// The lower-case form of `c`, or `c` itself when it has none in the table.
char32_t ToLower(char32_t c) {
  if (c < 0x80) return c >= 'A' && c <= 'Z' ? c + 32 : c;
  for (const CaseRun& run : kCaseRuns)
    if (InRun(run, c)) return static_cast<char32_t>(static_cast<std::int64_t>(c) + run.delta);
  return c;
}

// The upper-case form of `c`, or `c` itself when it has none in the table.
char32_t ToUpper(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z' ? c - 32 : c;
  if (c == 0x03C2) return 0x03A3;  // final sigma
  for (const CaseRun& run : kCaseRuns) {
    const auto upper = static_cast<char32_t>(static_cast<std::int64_t>(c) - run.delta);
    if (upper < kRawByte && InRun(run, upper)) return upper;
  }
  return c;
}

// `s` with every letter mapped to upper (or lower) case.
std::string MapCase(std::string_view s, bool upper) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const Char c = CharAt(s, i);
    AppendChar(out, upper ? ToUpper(c.cp) : ToLower(c.cp));
    i += c.len;
  }
  return out;
}

// The code points of `s` folded to one case, for comparisons that ignore case.
std::u32string Folded(std::string_view s) {
  std::u32string out = Decode(s);
  for (char32_t& c : out) c = ToUpper(c);
  return out;
}

// --------------------------------------------------------------- LIKE

// One element of a compiled LIKE pattern.
struct LikeToken {
  enum Kind { Star, AnyChar, Digit, Literal, Class } kind = Literal;
  char32_t ch = 0;                                    // Literal, folded to upper case
  std::vector<std::pair<char32_t, char32_t>> ranges;  // Class members as ranges
  bool negated = false;                               // Class written [!...]
};

// A LIKE pattern split into tokens, with the escape character it was compiled for.
struct LikePattern {
  std::vector<LikeToken> tokens;
  char32_t escape = 0;
  bool hasEscape = false;
};

// Compiles `pattern`: * and % match any run, ? and _ one character, # one
// digit, [..] a class; `escape` (when given) makes the next character literal.
// An empty class [] matches nothing and is dropped; a [ without its closing ]
// is an ordinary character.
LikePattern CompileLike(std::string_view pattern, const char32_t* escape) {
  LikePattern out;
  if (escape) {
    out.escape = *escape;
    out.hasEscape = true;
  }
  const std::u32string p = Decode(pattern);
  for (std::size_t i = 0; i < p.size(); ++i) {
    const char32_t c = p[i];
    LikeToken t;
    if (escape && c == *escape && i + 1 < p.size()) {
      t.ch = ToUpper(p[++i]);
    } else if (c == '*' || c == '%') {
      // A run of stars is one star.
      if (!out.tokens.empty() && out.tokens.back().kind == LikeToken::Star) continue;
      t.kind = LikeToken::Star;
    } else if (c == '?' || c == '_') {
      t.kind = LikeToken::AnyChar;
    } else if (c == '#') {
      t.kind = LikeToken::Digit;
    } else if (c == '[' && p.find(U']', i + 1) != std::u32string::npos) {
      const std::size_t close = p.find(U']', i + 1);
      std::size_t k = i + 1;
      t.kind = LikeToken::Class;
      if (k < close && p[k] == '!') {
        t.negated = true;
        ++k;
      }
      for (; k < close; ++k) {
        if (k + 2 < close && p[k + 1] == '-') {
          t.ranges.emplace_back(p[k], p[k + 2]);
          k += 2;
        } else {
          t.ranges.emplace_back(p[k], p[k]);
        }
      }
      i = close;
      if (t.ranges.empty() && !t.negated) continue;  // [] matches nothing
    } else {
      t.ch = ToUpper(c);
    }
    out.tokens.push_back(std::move(t));
  }
  return out;
}

// True when character `c` matches the single-character token `t`.
bool MatchesOne(const LikeToken& t, char32_t c) {
  switch (t.kind) {
    case LikeToken::AnyChar:
      return true;
    case LikeToken::Digit:
      return c >= '0' && c <= '9';
    case LikeToken::Literal:
      return ToUpper(c) == t.ch;
    case LikeToken::Class: {
      const char32_t forms[] = {c, ToUpper(c), ToLower(c)};
      bool in = false;
      for (const auto& [lo, hi] : t.ranges)
        for (char32_t f : forms) in = in || (f >= lo && f <= hi);
      return in != t.negated;
    }
    case LikeToken::Star:
      break;
  }
  return false;
}

// True when all of `text` matches the compiled pattern. Every token but the
// star takes exactly one character, so the classic backtrack to the last star
// is enough (quadratic at worst).
bool MatchLike(const LikePattern& pattern, std::string_view text) {
  const std::u32string t = Decode(text);
  const std::vector<LikeToken>& tok = pattern.tokens;
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::size_t ti = 0, pi = 0, starP = kNone, starT = 0;
  while (ti < t.size()) {
    if (pi < tok.size() && tok[pi].kind == LikeToken::Star) {
      starP = pi++;
      starT = ti;
    } else if (pi < tok.size() && MatchesOne(tok[pi], t[ti])) {
      ++pi;
      ++ti;
    } else if (starP != kNone) {
      pi = starP + 1;
      ti = ++starT;
    } else {
      return false;
    }
  }
  while (pi < tok.size() && tok[pi].kind == LikeToken::Star) ++pi;
  return pi == tok.size();
}

// ------------------------------------------------------------ numbers

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

// ------------------------------------------------------------ dates

constexpr std::int64_t kSecondsPerDay = 86400;

// Days in month `m` (1-12) of year `y`.
int DaysInMonth(int y, int m) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return m == 2 && leap ? 29 : kDays[m - 1];
}

// Floor division (rounds toward minus infinity).
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
  const std::int64_t q = a / b;
  return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

// The serial day number (0 = 1899-12-30) of a calendar date.
std::int64_t DayNumber(int year, int month, int day) {
  return static_cast<std::int64_t>(std::llround(rt::MakeDate(year, month, day).serial));
}

// Whole seconds from 1899-12-30 00:00:00 to `d` (negative before it).
std::int64_t SecondsOf(const rt::DateParts& p) {
  return DayNumber(p.year, p.month, p.day) * kSecondsPerDay + p.hour * 3600 + p.minute * 60 +
         p.second;
}

// The date `seconds` after 1899-12-30 00:00:00; error 5 outside years 100-9999.
rt::Date DateFromSeconds(std::int64_t seconds) {
  static const std::int64_t kFirstDay = DayNumber(100, 1, 1);
  static const std::int64_t kLastDay = DayNumber(9999, 12, 31);
  const std::int64_t day = FloorDiv(seconds, kSecondsPerDay);
  if (day < kFirstDay || day > kLastDay) rt::Raise(rt::err::kInvalidProcCall);
  const double time = static_cast<double>(seconds - day * kSecondsPerDay) / 86400.0;
  // Before the epoch the time is subtracted from the day, as serials store it.
  const auto whole = static_cast<double>(day);
  return rt::Date{day < 0 ? whole - time : whole + time};
}

// `p` moved by `months` calendar months, the day clamped to the new month's
// last day (Jan 31 + 1 month is Feb 28 or 29); error 5 outside years 100-9999.
rt::Date AddMonths(const rt::DateParts& p, std::int64_t months) {
  const std::int64_t total = static_cast<std::int64_t>(p.year) * 12 + (p.month - 1) + months;
  const std::int64_t year = FloorDiv(total, 12);
  if (year < 100 || year > 9999) rt::Raise(rt::err::kInvalidProcCall);
  const int y = static_cast<int>(year);
  const int m = static_cast<int>(total - year * 12) + 1;
  return rt::MakeDate(y, m, std::min(p.day, DaysInMonth(y, m)), p.hour, p.minute, p.second);
}

// The intervals of DateAdd, DateDiff and DatePart.
enum class Interval { Year, Quarter, Month, DayOfYear, Day, Weekday, Week, Hour, Minute, Second };

// The interval named by `s` (any case); error 5 for any other text.
Interval IntervalOf(std::string_view s) {
  static constexpr std::pair<std::string_view, Interval> kNames[] = {
      {"yyyy", Interval::Year},   {"q", Interval::Quarter}, {"m", Interval::Month},
      {"y", Interval::DayOfYear}, {"d", Interval::Day},     {"w", Interval::Weekday},
      {"ww", Interval::Week},     {"h", Interval::Hour},    {"n", Interval::Minute},
      {"s", Interval::Second},
  };
  const std::string lower = MapCase(s, false);
  for (const auto& [name, interval] : kNames)
    if (lower == name) return interval;
  rt::Raise(rt::err::kInvalidProcCall);
}

// The weekday of `p` counted from `firstDay` (1 = Sunday .. 7 = Saturday): 1..7.
int WeekdayFrom(const rt::DateParts& p, int firstDay) {
  return (p.weekday - firstDay + 7) % 7 + 1;
}

// The day number of the first day of the week (starting on `firstDay`) that holds `p`.
std::int64_t WeekStart(const rt::DateParts& p, int firstDay) {
  return DayNumber(p.year, p.month, p.day) - (WeekdayFrom(p, firstDay) - 1);
}

// ------------------------------------------------------------ calls

// A reference to one of the call's own arguments, returned unchanged.
struct ArgRef {
  int index;
};

// What a function hands back: NULL, an integer, a real, text, or an argument.
struct Out {
  std::variant<std::monostate, std::int64_t, double, std::string, ArgRef> v;
  // NULL by default; otherwise the value given.
  Out() = default;
  Out(std::int64_t i) : v(i) {}
  Out(int i) : v(std::int64_t{i}) {}
  Out(double d) : v(d) {}
  Out(std::string s) : v(std::move(s)) {}
  Out(ArgRef a) : v(a) {}
};

// A double as an SQL value: whole numbers that a double holds exactly come
// back as integers (so Int(3.7) reads 3, not 3.0), others as reals.
Out NumberOut(double d) {
  constexpr double kExact = 9007199254740992.0;  // 2^53
  if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) <= kExact)
    return Out(static_cast<std::int64_t>(d));
  return Out(d);
}

// A Boolean as Jet stores it: -1 or 0.
Out BoolOut(bool b) {
  return Out(b ? -1 : 0);
}

// A date as its canonical text.
Out DateOut(rt::Date d) {
  return Out(CanonicalDateText(d));
}

// Raised when a result would exceed the connection's length limit.
struct TooBig {};

// The arguments of one call, with the conversions the functions share.
class Args {
 public:
  Args(sqlite3_context* ctx, int argc, sqlite3_value** argv)
      : ctx_(ctx), argc_(argc), argv_(argv) {}

  // The number of arguments given.
  int count() const { return argc_; }
  // True when argument `i` is SQL NULL.
  bool IsNull(int i) const { return sqlite3_value_type(argv_[i]) == SQLITE_NULL; }
  // True when any of the arguments in [from, to) is NULL.
  bool AnyNull(int from, int to) const {
    for (int i = from; i < to; ++i)
      if (IsNull(i)) return true;
    return false;
  }
  // The storage class of argument `i` (SQLITE_INTEGER ...).
  int Type(int i) const { return sqlite3_value_type(argv_[i]); }
  // Argument `i` as a Variant.
  Variant Value(int i) const { return ValueOf(argv_[i]); }
  // Argument `i` as text: integers in full, reals in the run time's form,
  // text as stored; NULL raises 94, a blob 13.
  std::string Text(int i) const {
    switch (Type(i)) {
      case SQLITE_INTEGER:
        return std::to_string(sqlite3_value_int64(argv_[i]));
      case SQLITE_TEXT: {
        const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(argv_[i]));
        return std::string(p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(argv_[i])));
      }
      default:
        return rt::CStr(Value(i));
    }
  }
  // The 64-bit integer of an INTEGER argument.
  std::int64_t Int64(int i) const { return sqlite3_value_int64(argv_[i]); }
  // Argument `i` as a double (rt::CDbl: NULL raises 94, non-numeric text 13).
  double Number(int i) const { return rt::CDbl(Value(i)); }
  // Argument `i` as a 32-bit whole number, rounded half to even (rt::CLng).
  std::int32_t Long(int i) const { return rt::CLng(Value(i)); }
  // Argument `i` as a date: date text, or a number as a serial (rt::CDate).
  rt::Date DateAt(int i) const { return rt::CDate(Value(i)); }
  // The calendar parts of argument `i` as a date.
  rt::DateParts PartsAt(int i) const { return rt::SplitDate(DateAt(i)); }
  // The first day of the week from argument `i` when given: 0 (system) and
  // 1 mean Sunday .. 7 Saturday; error 5 otherwise. Sunday when absent.
  int FirstDay(int i) const {
    if (i >= argc_) return 1;
    const std::int32_t d = Long(i);
    if (d < 0 || d > 7) rt::Raise(rt::err::kInvalidProcCall);
    return d == 0 ? 1 : d;
  }
  // Fails with SQLITE_TOOBIG when a result of `bytes` would exceed the limit.
  void CheckLength(std::int64_t bytes) const {
    const int limit = sqlite3_limit(sqlite3_context_db_handle(ctx_), SQLITE_LIMIT_LENGTH, -1);
    if (bytes > limit) throw TooBig{};
  }
  // The call's context.
  sqlite3_context* ctx() const { return ctx_; }

 private:
  sqlite3_context* ctx_;
  int argc_;
  sqlite3_value** argv_;
};

using Fn = Out (*)(const Args&);

// Hands `out` to SQLite as the call's result.
void SetResult(sqlite3_context* ctx, sqlite3_value** argv, const Out& out) {
  struct Visitor {
    sqlite3_context* ctx;
    sqlite3_value** argv;
    // One overload per kind of result, each setting it on the context.
    void operator()(std::monostate) const { sqlite3_result_null(ctx); }
    void operator()(std::int64_t i) const { sqlite3_result_int64(ctx, i); }
    void operator()(double d) const { sqlite3_result_double(ctx, d); }
    void operator()(const std::string& s) const {
      sqlite3_result_text64(ctx, s.data(), s.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    void operator()(ArgRef a) const { sqlite3_result_value(ctx, argv[a.index]); }
  };
  std::visit(Visitor{ctx, argv}, out.v);
}

// The SQLite entry point of function F: runs it and reports any failure as
// an SQL error with the run time's description.
template <Fn F>
void Call(sqlite3_context* ctx, int argc, sqlite3_value** argv) noexcept {
  try {
    SetResult(ctx, argv, F(Args(ctx, argc, argv)));
  } catch (const rt::PlatformError& e) {
    sqlite3_result_error(ctx, e.what(), -1);
  } catch (const TooBig&) {
    sqlite3_result_error_toobig(ctx);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(ctx);
  } catch (const std::exception& e) {
    sqlite3_result_error(ctx, e.what(), -1);
  } catch (...) {
    sqlite3_result_error(ctx, "Unknown failure", -1);
  }
}

// ------------------------------------------------------------ text functions

// Mid(s, start[, length]): `length` characters from character `start` (all
// the rest when absent); "" past the end; error 5 for start < 1 or length < 0.
Out FnMid(const Args& a) {
  const std::int32_t start = a.Long(1);
  const std::int32_t length = a.count() > 2 ? a.Long(2) : std::numeric_limits<std::int32_t>::max();
  if (start < 1 || length < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::size_t from = ByteOffset(s, start - 1);
  const std::string_view rest = std::string_view(s).substr(from);
  return std::string(rest.substr(0, ByteOffset(rest, length)));
}

// Left(s, n): the first n characters; error 5 for n < 0.
Out FnLeft(const Args& a) {
  const std::int32_t n = a.Long(1);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  return s.substr(0, ByteOffset(s, n));
}

// Right(s, n): the last n characters; error 5 for n < 0.
Out FnRight(const Args& a) {
  const std::int32_t n = a.Long(1);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::int64_t total = CharCount(s);
  return s.substr(ByteOffset(s, std::max<std::int64_t>(0, total - n)));
}

// Len(s): the number of characters.
Out FnLen(const Args& a) {
  if (a.IsNull(0)) return {};
  return Out(CharCount(a.Text(0)));
}

// InStr([start,] s1, s2[, compare]): the character position of s2 in s1 at
// or after `start`, 0 when absent or start is past the end, `start` for an
// empty s2. compare 0 is binary; 1, 2 and -1 (the default) ignore case.
Out FnInStr(const Args& a) {
  const bool hasStart = a.count() >= 3;
  const int s1 = hasStart ? 1 : 0;
  const std::int32_t start = hasStart ? a.Long(0) : 1;
  if (start < 1) rt::Raise(rt::err::kInvalidProcCall);
  bool ignoreCase = true;
  if (a.count() == 4) {
    const std::int32_t compare = a.Long(3);
    if (compare < -1 || compare > 2) rt::Raise(rt::err::kInvalidProcCall);
    ignoreCase = compare != 0;
  }
  if (a.IsNull(s1) || a.IsNull(s1 + 1)) return {};
  const std::string hay = a.Text(s1), needle = a.Text(s1 + 1);
  const std::u32string h = ignoreCase ? Folded(hay) : Decode(hay);
  const std::u32string n = ignoreCase ? Folded(needle) : Decode(needle);
  if (static_cast<std::size_t>(start) > h.size()) return 0;
  if (n.empty()) return start;
  const std::size_t hit = h.find(n, static_cast<std::size_t>(start) - 1);
  return hit == std::u32string::npos ? Out(0) : Out(static_cast<std::int64_t>(hit) + 1);
}

// UCase(s): upper case.
Out FnUCase(const Args& a) {
  if (a.IsNull(0)) return {};
  return MapCase(a.Text(0), true);
}

// LCase(s): lower case.
Out FnLCase(const Args& a) {
  if (a.IsNull(0)) return {};
  return MapCase(a.Text(0), false);
}

// `s` without leading (`left`) and/or trailing (`right`) spaces; tabs stay.
Out Trimmed(const Args& a, bool left, bool right) {
  if (a.IsNull(0)) return {};
  const std::string s = a.Text(0);
  const std::size_t first = left ? s.find_first_not_of(' ') : 0;
  if (first == std::string::npos) return std::string();
  const std::size_t last = right ? s.find_last_not_of(' ') : s.size() - 1;
  return s.substr(first, last + 1 - first);
}

// Trim(s), LTrim(s), RTrim(s): spaces removed from both ends, the start, the end.
Out FnTrim(const Args& a) {
  return Trimmed(a, true, true);
}
Out FnLTrim(const Args& a) {
  return Trimmed(a, true, false);
}
Out FnRTrim(const Args& a) {
  return Trimmed(a, false, true);
}

// Space(n): n spaces; error 5 for n < 0.
Out FnSpace(const Args& a) {
  if (a.IsNull(0)) return {};
  const std::int32_t n = a.Long(0);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  a.CheckLength(n);
  return std::string(static_cast<std::size_t>(n), ' ');
}

// String(n, ch): n copies of a character: the first character of text, or
// the character with a numeric code point; error 5 for n < 0, empty text or
// a code that is not a Unicode scalar value.
Out FnString(const Args& a) {
  if (a.AnyNull(0, 2)) return {};
  const std::int32_t n = a.Long(0);
  if (n < 0) rt::Raise(rt::err::kInvalidProcCall);
  std::string one;
  if (a.Type(1) == SQLITE_TEXT) {
    const std::string s = a.Text(1);
    if (s.empty()) rt::Raise(rt::err::kInvalidProcCall);
    one = s.substr(0, CharAt(s, 0).len);
  } else {
    const std::int32_t code = a.Long(1);
    if (code < 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
      rt::Raise(rt::err::kInvalidProcCall);
    AppendChar(one, static_cast<char32_t>(code));
  }
  a.CheckLength(static_cast<std::int64_t>(n) * static_cast<std::int64_t>(one.size()));
  std::string out;
  out.reserve(static_cast<std::size_t>(n) * one.size());
  for (std::int32_t i = 0; i < n; ++i) out += one;
  return out;
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

// ------------------------------------------------------------ conversions

// CStr(v): the text of v; error 94 for NULL.
Out FnCStr(const Args& a) {
  return a.Text(0);
}

// CInt(v): a 16-bit whole number, rounded half to even; error 6 out of range.
Out FnCInt(const Args& a) {
  return Out(static_cast<std::int64_t>(rt::CInt(a.Value(0))));
}

// CLng(v): a 32-bit whole number, rounded half to even; error 6 out of range.
Out FnCLng(const Args& a) {
  return Out(static_cast<std::int64_t>(rt::CLng(a.Value(0))));
}

// CDbl(v): a real.
Out FnCDbl(const Args& a) {
  return Out(rt::CDbl(a.Value(0)));
}

// CCur(v): a real rounded half to even at 4 decimals.
Out FnCCur(const Args& a) {
  return Out(rt::CCur(a.Value(0)).ToDouble());
}

// CDate(v): date text or a serial as a canonical date.
Out FnCDate(const Args& a) {
  return DateOut(a.DateAt(0));
}

// CBool(v): -1 or 0.
Out FnCBool(const Args& a) {
  return BoolOut(rt::CBool(a.Value(0)));
}

// ------------------------------------------------------- Null and choice

// Nz(v[, default]): v unless it is NULL, then the default (or "").
Out FnNz(const Args& a) {
  if (!a.IsNull(0)) return ArgRef{0};
  if (a.count() > 1) return ArgRef{1};
  return std::string();
}

// IsNull(v): -1 when v is NULL, else 0.
Out FnIsNull(const Args& a) {
  return BoolOut(a.IsNull(0));
}

// IIf(cond, a, b): a when cond is true, else b (NULL counts as false), each
// returned unchanged; a condition that is not a truth value raises 13.
Out FnIIf(const Args& a) {
  const bool yes = !a.IsNull(0) && rt::CBool(a.Value(0));
  return ArgRef{yes ? 1 : 2};
}

// ------------------------------------------------------------ dates

// Now(): the current local date and time.
Out FnNow(const Args&) {
  return DateOut(rt::Now());
}

// Date(): today at midnight.
Out FnDate(const Args&) {
  const rt::DateParts p = rt::SplitDate(rt::Now());
  return DateOut(rt::MakeDate(p.year, p.month, p.day));
}

// Time(): the current time of day, on day 0 (1899-12-30).
Out FnTime(const Args&) {
  const rt::DateParts p = rt::SplitDate(rt::Now());
  return DateOut(rt::Date{(p.hour * 3600 + p.minute * 60 + p.second) / 86400.0});
}

// Year(d) .. Second(d): one calendar part of a date.
Out FnYear(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).year);
}
Out FnMonth(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).month);
}
Out FnDay(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).day);
}
Out FnHour(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).hour);
}
Out FnMinute(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).minute);
}
Out FnSecond(const Args& a) {
  return a.IsNull(0) ? Out() : Out(a.PartsAt(0).second);
}

// Weekday(d[, firstday]): 1..7, counted from firstday (Sunday by default).
Out FnWeekday(const Args& a) {
  const int first = a.FirstDay(1);
  if (a.IsNull(0)) return {};
  return WeekdayFrom(a.PartsAt(0), first);
}

// DateAdd(interval, n, d): d moved by n intervals (a fraction of n is
// dropped); months and years keep the day, clamped to the month's end; error
// 5 for an unknown interval or a result outside years 100-9999.
Out FnDateAdd(const Args& a) {
  const Interval interval = IntervalOf(a.Text(0));
  const double number = std::trunc(a.Number(1));
  if (a.IsNull(2)) return {};
  // Beyond this no interval can land inside the calendar.
  if (std::fabs(number) > 1e12) rt::Raise(rt::err::kInvalidProcCall);
  const auto n = static_cast<std::int64_t>(number);
  const rt::DateParts p = a.PartsAt(2);
  switch (interval) {
    case Interval::Year:
      return DateOut(AddMonths(p, n * 12));
    case Interval::Quarter:
      return DateOut(AddMonths(p, n * 3));
    case Interval::Month:
      return DateOut(AddMonths(p, n));
    case Interval::DayOfYear:
    case Interval::Day:
    case Interval::Weekday:
      return DateOut(DateFromSeconds(SecondsOf(p) + n * kSecondsPerDay));
    case Interval::Week:
      return DateOut(DateFromSeconds(SecondsOf(p) + n * 7 * kSecondsPerDay));
    case Interval::Hour:
      return DateOut(DateFromSeconds(SecondsOf(p) + n * 3600));
    case Interval::Minute:
      return DateOut(DateFromSeconds(SecondsOf(p) + n * 60));
    case Interval::Second:
      return DateOut(DateFromSeconds(SecondsOf(p) + n));
  }
  return {};
}

// DateDiff(interval, d1, d2[, firstday]): the number of interval boundaries
// from d1 to d2 (negative when d2 is earlier): year, quarter, month, day,
// hour, minute boundaries; 'ww' counts week starts (firstday, Sunday by
// default); 'w' counts whole seven-day spans.
Out FnDateDiff(const Args& a) {
  const Interval interval = IntervalOf(a.Text(0));
  const int first = a.FirstDay(3);
  if (a.AnyNull(1, 3)) return {};
  const rt::DateParts p1 = a.PartsAt(1), p2 = a.PartsAt(2);
  const std::int64_t months1 = static_cast<std::int64_t>(p1.year) * 12 + p1.month - 1;
  const std::int64_t months2 = static_cast<std::int64_t>(p2.year) * 12 + p2.month - 1;
  const std::int64_t days =
      DayNumber(p2.year, p2.month, p2.day) - DayNumber(p1.year, p1.month, p1.day);
  const std::int64_t s1 = SecondsOf(p1), s2 = SecondsOf(p2);
  switch (interval) {
    case Interval::Year:
      return p2.year - p1.year;
    case Interval::Quarter:
      return Out(FloorDiv(months2, 3) - FloorDiv(months1, 3));
    case Interval::Month:
      return Out(months2 - months1);
    case Interval::DayOfYear:
    case Interval::Day:
      return Out(days);
    case Interval::Weekday:
      return Out(days / 7);
    case Interval::Week:
      return Out((WeekStart(p2, first) - WeekStart(p1, first)) / 7);
    case Interval::Hour:
      return Out(FloorDiv(s2, 3600) - FloorDiv(s1, 3600));
    case Interval::Minute:
      return Out(FloorDiv(s2, 60) - FloorDiv(s1, 60));
    case Interval::Second:
      return Out(s2 - s1);
  }
  return {};
}

// DatePart(interval, d[, firstday]): one part of d: year, quarter (1-4),
// month, day of year, day, weekday and week of year (both counted from
// firstday; the week holding January 1 is week 1), hour, minute, second.
Out FnDatePart(const Args& a) {
  const Interval interval = IntervalOf(a.Text(0));
  const int first = a.FirstDay(2);
  if (a.IsNull(1)) return {};
  const rt::DateParts p = a.PartsAt(1);
  switch (interval) {
    case Interval::Year:
      return p.year;
    case Interval::Quarter:
      return (p.month - 1) / 3 + 1;
    case Interval::Month:
      return p.month;
    case Interval::DayOfYear:
      return Out(DayNumber(p.year, p.month, p.day) - DayNumber(p.year, 1, 1) + 1);
    case Interval::Day:
      return p.day;
    case Interval::Weekday:
      return WeekdayFrom(p, first);
    case Interval::Week: {
      const rt::DateParts jan1 = rt::SplitDate(rt::MakeDate(p.year, 1, 1));
      return Out((WeekStart(p, first) - WeekStart(jan1, first)) / 7 + 1);
    }
    case Interval::Hour:
      return p.hour;
    case Interval::Minute:
      return p.minute;
    case Interval::Second:
      return p.second;
  }
  return {};
}

// DateSerial(y, m, d): the date of year y, month m, day d, where months and
// days outside their range carry into the neighbouring months and years
// (month 13 is January of the next year, day 0 the last day of the previous
// month); years 0-29 mean 2000-2029 and 30-99 mean 1930-1999.
Out FnDateSerial(const Args& a) {
  if (a.AnyNull(0, 3)) return {};
  std::int64_t year = rt::CInt(a.Value(0));
  const std::int64_t month = rt::CInt(a.Value(1));
  const std::int64_t day = rt::CInt(a.Value(2));
  if (year >= 0 && year < 30)
    year += 2000;
  else if (year >= 30 && year < 100)
    year += 1900;
  const std::int64_t total = year * 12 + month - 1;
  const std::int64_t y = FloorDiv(total, 12);
  if (y < 100 || y > 9999) rt::Raise(rt::err::kInvalidProcCall);
  const std::int64_t first =
      DayNumber(static_cast<int>(y), static_cast<int>(total - y * 12) + 1, 1);
  return DateOut(DateFromSeconds((first + day - 1) * kSecondsPerDay));
}

// TimeSerial(h, n, s): that time on day 0 (1899-12-30); parts outside their
// range carry (25:00:00 is 01:00 on the next day, negative times fall on
// earlier days).
Out FnTimeSerial(const Args& a) {
  if (a.AnyNull(0, 3)) return {};
  const std::int64_t seconds = static_cast<std::int64_t>(rt::CInt(a.Value(0))) * 3600 +
                               static_cast<std::int64_t>(rt::CInt(a.Value(1))) * 60 +
                               rt::CInt(a.Value(2));
  return DateOut(DateFromSeconds(seconds));
}

// ------------------------------------------------------------ math

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

// ------------------------------------------------------------ Format, LIKE

// Format(v[, pattern]): the run time's Format; NULL stays NULL and a NULL
// pattern is no pattern.
Out FnFormat(const Args& a) {
  if (a.IsNull(0)) return {};
  const std::string pattern = a.count() > 1 && !a.IsNull(1) ? a.Text(1) : std::string();
  return rt::Format(a.Value(0), pattern);
}

// like(pattern, text[, escape]), the function behind `text LIKE pattern`:
// 1 or 0 as JetLike decides, NULL when any operand is NULL. The compiled
// pattern is kept with the statement while the pattern stays constant.
Out FnLike(const Args& a) {
  if (a.AnyNull(0, a.count())) return {};
  char32_t escape = 0;
  const bool hasEscape = a.count() > 2;
  if (hasEscape) {
    const std::u32string e = Decode(a.Text(2));
    if (e.size() != 1)
      throw rt::PlatformError(rt::err::kInvalidProcCall,
                              "ESCAPE expression must be a single character");
    escape = e[0];
  }
  const std::string text = a.Text(1);
  const auto* cached = static_cast<const LikePattern*>(sqlite3_get_auxdata(a.ctx(), 0));
  if (cached && cached->hasEscape == hasEscape && cached->escape == escape)
    return MatchLike(*cached, text) ? 1 : 0;
  LikePattern compiled = CompileLike(a.Text(0), hasEscape ? &escape : nullptr);
  const bool match = MatchLike(compiled, text);
  // SQLite owns the copy from here on (and frees it at once if it cannot keep it).
  sqlite3_set_auxdata(a.ctx(), 0, new LikePattern(std::move(compiled)),
                      [](void* p) { delete static_cast<LikePattern*>(p); });
  return match ? 1 : 0;
}

// One registration: an SQL name, its argument count and its function.
struct Registration {
  const char* name;
  int argc;
  void (*fn)(sqlite3_context*, int, sqlite3_value**);
  bool deterministic;
};

// Every function, once per argument count it takes. Left, Right and IsNull
// are keywords to SQLite's parser and must be called as "Left"(...).
constexpr Registration kFunctions[] = {
    {"Format", 1, Call<FnFormat>, true},
    {"Format", 2, Call<FnFormat>, true},
    {"Mid", 2, Call<FnMid>, true},
    {"Mid", 3, Call<FnMid>, true},
    {"Left", 2, Call<FnLeft>, true},
    {"Right", 2, Call<FnRight>, true},
    {"Len", 1, Call<FnLen>, true},
    {"InStr", 2, Call<FnInStr>, true},
    {"InStr", 3, Call<FnInStr>, true},
    {"InStr", 4, Call<FnInStr>, true},
    {"UCase", 1, Call<FnUCase>, true},
    {"LCase", 1, Call<FnLCase>, true},
    {"Trim", 1, Call<FnTrim>, true},
    {"LTrim", 1, Call<FnLTrim>, true},
    {"RTrim", 1, Call<FnRTrim>, true},
    {"Space", 1, Call<FnSpace>, true},
    {"String", 2, Call<FnString>, true},
    {"Val", 1, Call<FnVal>, true},
    {"Str", 1, Call<FnStr>, true},
    {"CStr", 1, Call<FnCStr>, true},
    {"CInt", 1, Call<FnCInt>, true},
    {"CLng", 1, Call<FnCLng>, true},
    {"CDbl", 1, Call<FnCDbl>, true},
    {"CCur", 1, Call<FnCCur>, true},
    {"CDate", 1, Call<FnCDate>, true},
    {"CBool", 1, Call<FnCBool>, true},
    {"Nz", 1, Call<FnNz>, true},
    {"Nz", 2, Call<FnNz>, true},
    {"IsNull", 1, Call<FnIsNull>, true},
    {"IIf", 3, Call<FnIIf>, true},
    {"Now", 0, Call<FnNow>, false},
    {"Date", 0, Call<FnDate>, false},
    {"Time", 0, Call<FnTime>, false},
    {"Year", 1, Call<FnYear>, true},
    {"Month", 1, Call<FnMonth>, true},
    {"Day", 1, Call<FnDay>, true},
    {"Hour", 1, Call<FnHour>, true},
    {"Minute", 1, Call<FnMinute>, true},
    {"Second", 1, Call<FnSecond>, true},
    {"Weekday", 1, Call<FnWeekday>, true},
    {"Weekday", 2, Call<FnWeekday>, true},
    {"DateAdd", 3, Call<FnDateAdd>, true},
    {"DateDiff", 3, Call<FnDateDiff>, true},
    {"DateDiff", 4, Call<FnDateDiff>, true},
    {"DatePart", 2, Call<FnDatePart>, true},
    {"DatePart", 3, Call<FnDatePart>, true},
    {"DateSerial", 3, Call<FnDateSerial>, true},
    {"TimeSerial", 3, Call<FnTimeSerial>, true},
    {"Int", 1, Call<FnInt>, true},
    {"Fix", 1, Call<FnFix>, true},
    {"Sgn", 1, Call<FnSgn>, true},
    {"Abs", 1, Call<FnAbs>, true},
    {"Round", 1, Call<FnRound>, true},
    {"Round", 2, Call<FnRound>, true},
    {"like", 2, Call<FnLike>, true},
    {"like", 3, Call<FnLike>, true},
};

}  // namespace

// ---------------------------------------------------------------- public

// NULL, INTEGER (Long within 32 bits, else Double), REAL, TEXT and BLOB
// (an array of bytes from index 0) as Variants.
rt::Variant ValueOf(sqlite3_value* v) {
  switch (sqlite3_value_type(v)) {
    case SQLITE_INTEGER: {
      const std::int64_t i = sqlite3_value_int64(v);
      if (i >= std::numeric_limits<std::int32_t>::min() &&
          i <= std::numeric_limits<std::int32_t>::max())
        return Variant(static_cast<std::int32_t>(i));
      return Variant(static_cast<double>(i));
    }
    case SQLITE_FLOAT:
      return Variant(sqlite3_value_double(v));
    case SQLITE_TEXT: {
      const auto* p = reinterpret_cast<const char*>(sqlite3_value_text(v));
      return Variant(std::string(p ? p : "", static_cast<std::size_t>(sqlite3_value_bytes(v))));
    }
    case SQLITE_BLOB: {
      const auto* p = static_cast<const unsigned char*>(sqlite3_value_blob(v));
      const auto n = static_cast<std::size_t>(sqlite3_value_bytes(v));
      std::vector<Variant> items;
      items.reserve(n);
      for (std::size_t i = 0; i < n; ++i) items.emplace_back(static_cast<std::uint8_t>(p[i]));
      return Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(items)));
    }
    default:
      return Variant::Null();
  }
}

// "yyyy-mm-dd hh:nn:ss", always with the time, to the nearest second.
std::string CanonicalDateText(rt::Date d) {
  const rt::DateParts p = rt::SplitDate(d);
  return fmt::format("{:04d}-{:02d}-{:02d} {:02d}:{:02d}:{:02d}", p.year, p.month, p.day, p.hour,
                     p.minute, p.second);
}

// Registers every function of kFunctions; SQLITE_OK or the first failure's code.
// None has side effects, so all are innocuous (usable from views and triggers);
// all but Now, Date and Time are deterministic.
int RegisterJetFunctions(sqlite3* db) {
  for (const Registration& r : kFunctions) {
    const int flags = SQLITE_UTF8 | SQLITE_INNOCUOUS | (r.deterministic ? SQLITE_DETERMINISTIC : 0);
    const int rc = sqlite3_create_function_v2(db, r.name, r.argc, flags, nullptr, r.fn, nullptr,
                                              nullptr, nullptr);
    if (rc != SQLITE_OK) return rc;
  }
  return SQLITE_OK;
}

// True when all of `text` matches the Jet/ANSI wildcard `pattern`, ignoring case.
bool JetLike(std::string_view text, std::string_view pattern) {
  return MatchLike(CompileLike(pattern, nullptr), text);
}

}  // namespace zmdb::dal::sqlite
