#include "zmdb/runtime/format.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <vector>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"

namespace zmdb::rt {

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
bool IsUpper(char c) {
  return c >= 'A' && c <= 'Z';
}

constexpr const char* kMonthNames[] = {"January",   "February", "March",    "April",
                                       "May",       "June",     "July",     "August",
                                       "September", "October",  "November", "December"};
constexpr const char* kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                     "Thursday", "Friday", "Saturday"};

// ------------------------------------------------------- decimal numbers

// A non-negative decimal number: `digits` without leading or trailing zeros
// (empty for zero), with the decimal point `point` digits from the left
// (negative or beyond the digits as needed): 0.05 is {"5", -1}.
struct Decimal {
  std::string digits;
  int point = 0;

  bool IsZero() const { return digits.empty(); }

  // Removes leading and trailing zeros, keeping the value.
  void Normalize() {
    const std::size_t lead = digits.find_first_not_of('0');
    if (lead == std::string::npos) {
      digits.clear();
      point = 0;
      return;
    }
    digits.erase(0, lead);
    point -= static_cast<int>(lead);
    digits.erase(digits.find_last_not_of('0') + 1);
  }

  // Rounds to `decimals` places after the point, halves away from zero.
  void Round(int decimals) {
    const int keep = point + decimals;
    if (keep >= static_cast<int>(digits.size())) return;
    if (keep < 0) {
      digits.clear();
      point = 0;
      return;
    }
    const bool up = digits[static_cast<std::size_t>(keep)] >= '5';
    digits.resize(static_cast<std::size_t>(keep));
    if (up) {
      std::size_t i = digits.size();
      while (i > 0 && digits[i - 1] == '9') digits[--i] = '0';
      if (i == 0) {
        digits.insert(digits.begin(), '1');
        ++point;
      } else {
        ++digits[i - 1];
      }
    }
    Normalize();
  }

  // The digits before the point, without leading zeros ("" for none).
  std::string IntegerDigits() const {
    if (point <= 0) return {};
    const auto p = static_cast<std::size_t>(point);
    if (p <= digits.size()) return digits.substr(0, p);
    return digits + std::string(p - digits.size(), '0');
  }

  // The digit at `i` places after the point (0 is the first decimal).
  char FractionDigit(int i) const {
    const int pos = point + i;
    if (pos < 0 || pos >= static_cast<int>(digits.size())) return '0';
    return digits[static_cast<std::size_t>(pos)];
  }
};

// The decimal digits of |d| to `significant` digits.
Decimal FromBinary(double d, int significant) {
  Decimal out;
  if (d == 0.0 || !std::isfinite(d)) return out;
  const std::string sci = fmt::format("{:.{}e}", std::fabs(d), significant - 1);
  const std::size_t ePos = sci.find('e');
  for (std::size_t i = 0; i < ePos; ++i) {
    if (sci[i] != '.') out.digits += sci[i];
  }
  out.point = std::atoi(sci.c_str() + ePos + 1) + 1;
  out.Normalize();
  return out;
}

// The decimal digits of |i|.
Decimal FromInteger(std::uint64_t magnitude, int scaleDigits = 0) {
  Decimal out;
  out.digits = std::to_string(magnitude);
  out.point = static_cast<int>(out.digits.size()) - scaleDigits;
  out.Normalize();
  return out;
}

// A number to format: its sign and decimal magnitude.
struct SignedDecimal {
  bool negative = false;
  Decimal magnitude;
};

// The number a value holds for a number pattern; no value for text that is not
// a number (the caller returns such text unchanged).
std::optional<SignedDecimal> NumberOf(const Variant& v) {
  SignedDecimal out;
  auto fromInteger = [&out](std::int64_t i, int scaleDigits) {
    out.negative = i < 0;
    const std::uint64_t m =
        out.negative ? 0 - static_cast<std::uint64_t>(i) : static_cast<std::uint64_t>(i);
    out.magnitude = FromInteger(m, scaleDigits);
  };
  auto fromDouble = [&out](double d, int significant) {
    out.negative = d < 0;
    out.magnitude = FromBinary(d, significant);
  };
  switch (v.Type()) {
    case VarType::Empty:
      break;
    case VarType::Boolean:
      fromInteger(v.AsBoolean() ? -1 : 0, 0);
      break;
    case VarType::Byte:
    case VarType::Integer:
    case VarType::Long:
      fromInteger(v.AsLong(), 0);
      break;
    case VarType::Currency:
      fromInteger(v.AsCurrency().scaled, 4);
      break;
    case VarType::Single:
      fromDouble(v.AsDouble(), 7);
      break;
    case VarType::Double:
      fromDouble(v.AsDouble(), 15);
      break;
    case VarType::Date:
      fromDouble(v.AsDate().serial, 15);
      break;
    case VarType::String: {
      const auto d = ParseNumber(v.AsString());
      if (!d) return std::nullopt;
      fromDouble(*d, 15);
      break;
    }
    default:
      Raise(err::kTypeMismatch);
  }
  if (out.magnitude.IsZero()) out.negative = false;
  return out;
}

// The date a value holds for a date pattern: dates, date text, numeric text
// and numbers (as serials); no value for other text.
std::optional<Date> DateOf(const Variant& v) {
  if (v.IsString()) {
    if (auto d = ParseDate(v.AsString())) return d;
    if (!ParseNumber(v.AsString())) return std::nullopt;
  }
  if (v.IsEmpty()) return Date{};
  return CDate(ConvertTo(v, VarType::Double));
}

// Splits a pattern into its ";" sections, leaving quoted text and "\" escapes
// intact.
std::vector<std::string_view> Sections(std::string_view pattern) {
  std::vector<std::string_view> out;
  std::size_t start = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (c == '"') {
      quoted = !quoted;
    } else if (!quoted && c == '\\') {
      ++i;
    } else if (!quoted && c == ';') {
      out.push_back(pattern.substr(start, i - start));
      start = i + 1;
    }
  }
  out.push_back(pattern.substr(start));
  return out;
}

// ------------------------------------------------------- number patterns

// One element of a parsed number section.
struct NumItem {
  enum Kind { Literal, Digit, Point, Exponent } kind = Literal;
  std::string text;         // Literal: the text
  char placeholder = '0';   // Digit: '0' or '#'
  bool integerPart = true;  // Digit: before the point
  char expLetter = 'E';     // Exponent: "E" or "e" as written
  bool expPlus = false;     // Exponent: "E+" shows the sign of positive exponents
  int expMinDigits = 0;     // Exponent: the count of "0" placeholders
};

// A parsed number section.
struct NumSection {
  std::vector<NumItem> items;
  int intPlaceholders = 0;
  int fracPlaceholders = 0;
  bool grouping = false;   // "," between integer placeholders
  int thousandsScale = 0;  // each "," right after the integer placeholders divides by 1000
  int percents = 0;
  bool scientific = false;
  bool hasPoint = false;
};

// Parses one section of a number pattern.
NumSection ParseNumberSection(std::string_view s) {
  NumSection sec;
  int pendingCommas = 0;
  auto literal = [&sec](std::string_view text) {
    if (!sec.items.empty() && sec.items.back().kind == NumItem::Literal) {
      sec.items.back().text += text;
    } else {
      NumItem item;
      item.text = std::string(text);
      sec.items.push_back(std::move(item));
    }
  };
  auto settleCommas = [&]() {
    sec.thousandsScale += pendingCommas;
    pendingCommas = 0;
  };
  for (std::size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    if (c == '"') {
      const std::size_t end = s.find('"', i + 1);
      const std::size_t stop = end == std::string_view::npos ? s.size() : end;
      literal(s.substr(i + 1, stop - i - 1));
      i = stop;
    } else if (c == '\\') {
      if (i + 1 < s.size()) literal(s.substr(++i, 1));
    } else if (c == '0' || c == '#') {
      NumItem item;
      item.kind = NumItem::Digit;
      item.placeholder = c;
      item.integerPart = !sec.hasPoint;
      if (item.integerPart) {
        if (pendingCommas > 0) sec.grouping = true;
        pendingCommas = 0;
        ++sec.intPlaceholders;
      } else {
        ++sec.fracPlaceholders;
      }
      sec.items.push_back(item);
    } else if (c == '.' && !sec.hasPoint && !sec.scientific) {
      settleCommas();
      sec.hasPoint = true;
      NumItem item;
      item.kind = NumItem::Point;
      sec.items.push_back(item);
    } else if (c == ',' && !sec.hasPoint && sec.intPlaceholders > 0) {
      ++pendingCommas;
    } else if ((c == 'E' || c == 'e') && !sec.scientific && i + 2 < s.size() &&
               (s[i + 1] == '+' || s[i + 1] == '-') && (s[i + 2] == '0' || s[i + 2] == '#')) {
      settleCommas();
      NumItem item;
      item.kind = NumItem::Exponent;
      item.expLetter = c;
      item.expPlus = s[i + 1] == '+';
      i += 2;
      for (; i < s.size() && (s[i] == '0' || s[i] == '#'); ++i) {
        if (s[i] == '0') ++item.expMinDigits;
      }
      --i;
      sec.scientific = true;
      // Later "." characters are literal text.
      sec.hasPoint = true;
      sec.items.push_back(item);
    } else {
      if (c == '%') ++sec.percents;
      literal(s.substr(i, 1));
    }
  }
  settleCommas();
  return sec;
}

// Formats a non-negative number with one section; `isZero` reports whether
// the shown digits are all zero (so that no "-" goes in front).
std::string FormatNumberSection(const NumSection& sec, Decimal value, bool& isZero) {
  value.point += 2 * sec.percents - 3 * sec.thousandsScale;
  int exponent = 0;
  if (sec.scientific) {
    if (!value.IsZero()) {
      exponent = value.point - sec.intPlaceholders;
      value.point = sec.intPlaceholders;
      value.Round(sec.fracPlaceholders);
      // Rounding up may add a digit (9.99 -> 10.0): shift it back into the exponent.
      if (value.point > sec.intPlaceholders) {
        exponent += value.point - sec.intPlaceholders;
        value.point = sec.intPlaceholders;
      }
    }
  } else {
    value.Round(sec.fracPlaceholders);
  }
  isZero = value.IsZero();

  // Integer digits: the first placeholder takes any digits beyond the
  // placeholders; a padding zero shows at a "0" or once digits have started.
  const std::string intDigits = value.IntegerDigits();
  const auto places = static_cast<std::size_t>(sec.intPlaceholders);
  const std::size_t width = std::max(intDigits.size(), places);
  const std::string padded = std::string(width - intDigits.size(), '0') + intDigits;
  const std::size_t firstReal = width - intDigits.size();
  std::vector<std::string> perPlace(places);
  {
    std::size_t k = 0;
    bool started = false;
    for (const NumItem& item : sec.items) {
      if (item.kind != NumItem::Digit || !item.integerPart) continue;
      const std::size_t from = k == 0 ? 0 : width - places + k;
      const std::size_t to = width - places + k;
      for (std::size_t j = from; j <= to; ++j) {
        if (j >= firstReal || started || item.placeholder == '0') {
          perPlace[k] += padded[j];
          started = true;
        }
      }
      ++k;
    }
  }
  std::size_t shown = 0;
  for (const std::string& p : perPlace) shown += p.size();
  // Digits with no integer placeholder to hold them go before the point.
  const bool looseDigits = places == 0 && !intDigits.empty();
  if (looseDigits) shown = intDigits.size();

  // Fraction digits, with trailing zeros at "#" placeholders dropped.
  std::vector<char> fraction;
  std::vector<char> fracHolders;
  for (const NumItem& item : sec.items) {
    if (item.kind == NumItem::Digit && !item.integerPart) fracHolders.push_back(item.placeholder);
  }
  for (std::size_t i = 0; i < fracHolders.size(); ++i)
    fraction.push_back(value.FractionDigit(static_cast<int>(i)));
  std::size_t fracShown = fraction.size();
  while (fracShown > 0 && fracHolders[fracShown - 1] == '#' && fraction[fracShown - 1] == '0')
    --fracShown;

  std::string out;
  std::size_t emitted = 0;
  auto emitDigits = [&](const std::string& digits) {
    for (char d : digits) {
      out += d;
      ++emitted;
      const std::size_t left = shown - emitted;
      if (sec.grouping && left > 0 && left % 3 == 0) out += ',';
    }
  };
  std::size_t intIndex = 0;
  std::size_t fracIndex = 0;
  bool looseDone = !looseDigits;
  for (const NumItem& item : sec.items) {
    switch (item.kind) {
      case NumItem::Literal:
        out += item.text;
        break;
      case NumItem::Digit:
        if (item.integerPart) {
          emitDigits(perPlace[intIndex++]);
        } else {
          if (!looseDone) {
            emitDigits(intDigits);
            looseDone = true;
          }
          if (fracIndex < fracShown) out += fraction[fracIndex];
          ++fracIndex;
        }
        break;
      case NumItem::Point:
        if (!looseDone) {
          emitDigits(intDigits);
          looseDone = true;
        }
        out += '.';
        break;
      case NumItem::Exponent: {
        if (!looseDone) {
          emitDigits(intDigits);
          looseDone = true;
        }
        out += item.expLetter;
        if (exponent < 0)
          out += '-';
        else if (item.expPlus)
          out += '+';
        out += fmt::format("{:0{}d}", std::abs(exponent), std::max(item.expMinDigits, 1));
        break;
      }
    }
  }
  return out;
}

// Formats a number with a number pattern of up to three sections (positive;
// negative; zero). With one section a negative number gets a leading "-".
std::string FormatNumber(const SignedDecimal& n, std::string_view pattern) {
  const std::vector<std::string_view> sections = Sections(pattern);
  bool isZero = false;
  if (n.magnitude.IsZero() && sections.size() >= 3 && !sections[2].empty())
    return FormatNumberSection(ParseNumberSection(sections[2]), n.magnitude, isZero);
  if (n.negative && sections.size() >= 2 && !sections[1].empty())
    return FormatNumberSection(ParseNumberSection(sections[1]), n.magnitude, isZero);
  std::string text = FormatNumberSection(ParseNumberSection(sections[0]), n.magnitude, isZero);
  return n.negative && !isZero ? "-" + text : text;
}

// --------------------------------------------------------- date patterns

// One element of a parsed date pattern.
struct DateItem {
  enum Kind {
    Literal,
    Year,
    Month,
    Day,
    Hour,
    Minute,
    Second,
    Weekday,
    Quarter,
    AmPm,
    General
  } kind = Literal;
  int count = 1;              // run length: "yyyy" is 4
  std::string text;           // Literal text
  bool upper = true;          // AmPm: upper-case output
  bool singleLetter = false;  // AmPm: "A/P" rather than "AM/PM"
};

// Parses a date pattern into its elements. "m"/"mm" after an hour or before
// a second means minutes.
std::vector<DateItem> ParseDatePattern(std::string_view s) {
  std::vector<DateItem> items;
  auto literal = [&items](std::string_view text) {
    if (!items.empty() && items.back().kind == DateItem::Literal) {
      items.back().text += text;
    } else {
      DateItem item;
      item.text = std::string(text);
      items.push_back(std::move(item));
    }
  };
  for (std::size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    const char l = Lower(c);
    if (c == '"') {
      const std::size_t end = s.find('"', i + 1);
      const std::size_t stop = end == std::string_view::npos ? s.size() : end;
      literal(s.substr(i + 1, stop - i - 1));
      i = stop;
      continue;
    }
    if (c == '\\') {
      if (i + 1 < s.size()) literal(s.substr(++i, 1));
      continue;
    }
    const std::string_view rest = s.substr(i);
    if (StartsWithNoCase(rest, "am/pm") || StartsWithNoCase(rest, "a/p")) {
      DateItem item;
      item.kind = DateItem::AmPm;
      item.upper = IsUpper(c);
      item.singleLetter = !StartsWithNoCase(rest, "am/pm");
      i += item.singleLetter ? 2 : 4;
      items.push_back(item);
      continue;
    }
    DateItem::Kind kind = DateItem::Literal;
    switch (l) {
      case 'y':
        kind = DateItem::Year;
        break;
      case 'm':
        kind = DateItem::Month;
        break;
      case 'd':
        kind = DateItem::Day;
        break;
      case 'h':
        kind = DateItem::Hour;
        break;
      case 'n':
        kind = DateItem::Minute;
        break;
      case 's':
        kind = DateItem::Second;
        break;
      case 'w':
        kind = DateItem::Weekday;
        break;
      case 'q':
        kind = DateItem::Quarter;
        break;
      case 'c':
        kind = DateItem::General;
        break;
      default:
        break;
    }
    if (kind == DateItem::Literal) {
      literal(s.substr(i, 1));
      continue;
    }
    DateItem item;
    item.kind = kind;
    item.count = 1;
    while (i + 1 < s.size() && Lower(s[i + 1]) == l) {
      ++i;
      ++item.count;
    }
    items.push_back(item);
  }
  // Month tokens of one or two letters next to hours or seconds are minutes.
  for (std::size_t k = 0; k < items.size(); ++k) {
    if (items[k].kind != DateItem::Month || items[k].count > 2) continue;
    std::size_t p = k;
    while (p > 0 && items[p - 1].kind == DateItem::Literal) --p;
    const bool afterHour = p > 0 && items[p - 1].kind == DateItem::Hour;
    std::size_t q = k + 1;
    while (q < items.size() && items[q].kind == DateItem::Literal) ++q;
    const bool beforeSecond = q < items.size() && items[q].kind == DateItem::Second;
    if (afterHour || beforeSecond) items[k].kind = DateItem::Minute;
  }
  return items;
}

// Day of the year (1 = January 1st).
int DayOfYear(const DateParts& p) {
  const double serial = MakeDate(p.year, p.month, p.day).serial;
  const double jan1 = MakeDate(p.year, 1, 1).serial;
  return static_cast<int>(std::lround(serial - jan1)) + 1;
}

// Formats a date with a parsed date pattern.
std::string FormatDate(Date d, const std::vector<DateItem>& items) {
  const DateParts p = SplitDate(d);
  const bool twelveHour = std::any_of(items.begin(), items.end(),
                                      [](const DateItem& i) { return i.kind == DateItem::AmPm; });
  auto two = [](int v, int count) {
    return count >= 2 ? fmt::format("{:02d}", v) : fmt::format("{}", v);
  };
  std::string out;
  for (const DateItem& item : items) {
    switch (item.kind) {
      case DateItem::Literal:
        out += item.text;
        break;
      case DateItem::Year:
        if (item.count == 1)
          out += fmt::format("{}", DayOfYear(p));
        else if (item.count == 2)
          out += fmt::format("{:02d}", p.year % 100);
        else
          out += fmt::format("{:04d}", p.year);
        break;
      case DateItem::Month:
        if (item.count <= 2)
          out += two(p.month, item.count);
        else if (item.count == 3)
          out += std::string_view(kMonthNames[p.month - 1]).substr(0, 3);
        else
          out += kMonthNames[p.month - 1];
        break;
      case DateItem::Day:
        if (item.count <= 2)
          out += two(p.day, item.count);
        else if (item.count == 3)
          out += std::string_view(kDayNames[p.weekday - 1]).substr(0, 3);
        else if (item.count == 4)
          out += kDayNames[p.weekday - 1];
        else if (item.count == 5)
          out += fmt::format("{:04d}-{:02d}-{:02d}", p.year, p.month, p.day);
        else
          out += fmt::format("{:04d}-{:02d}-{:02d} {}", p.year, p.month, p.day,
                             kDayNames[p.weekday - 1]);
        break;
      case DateItem::Hour: {
        int h = p.hour;
        if (twelveHour) h = h % 12 == 0 ? 12 : h % 12;
        out += two(h, item.count);
        break;
      }
      case DateItem::Minute:
        out += two(p.minute, item.count);
        break;
      case DateItem::Second:
        out += two(p.second, item.count);
        break;
      case DateItem::Weekday:
        if (item.count == 1) {
          out += fmt::format("{}", p.weekday);
        } else {
          // Week of the year, weeks starting on Sunday, January 1st in week 1.
          const int jan1Weekday = SplitDate(MakeDate(p.year, 1, 1)).weekday;
          out += fmt::format("{}", (DayOfYear(p) + jan1Weekday - 2) / 7 + 1);
        }
        break;
      case DateItem::Quarter:
        out += fmt::format("{}", (p.month - 1) / 3 + 1);
        break;
      case DateItem::AmPm: {
        const bool pm = p.hour >= 12;
        std::string mark = item.singleLetter ? (pm ? "P" : "A") : (pm ? "PM" : "AM");
        if (!item.upper) std::transform(mark.begin(), mark.end(), mark.begin(), Lower);
        out += mark;
        break;
      }
      case DateItem::General:
        out += DateToText(d);
        break;
    }
  }
  return out;
}

// True when the pattern is a date pattern: no digit placeholders, and a date
// or time letter (or AM/PM) outside quotes and escapes.
bool IsDatePattern(std::string_view s) {
  bool dateLetter = false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const char c = s[i];
    if (c == '"') {
      const std::size_t end = s.find('"', i + 1);
      i = end == std::string_view::npos ? s.size() : end;
    } else if (c == '\\') {
      ++i;
    } else if (c == '0' || c == '#') {
      return false;
    } else {
      switch (Lower(c)) {
        case 'y':
        case 'm':
        case 'd':
        case 'h':
        case 'n':
        case 's':
        case 'w':
        case 'q':
          dateLetter = true;
          break;
        case 'a':
          if (StartsWithNoCase(s.substr(i), "am/pm") || StartsWithNoCase(s.substr(i), "a/p"))
            dateLetter = true;
          break;
        default:
          break;
      }
    }
  }
  return dateLetter;
}

// Formats with a date pattern; text that is neither a date nor a number comes
// back unchanged.
std::string FormatWithDatePattern(const Variant& v, std::string_view pattern) {
  const std::optional<Date> d = DateOf(v);
  if (!d) return v.AsString();
  return FormatDate(*d, ParseDatePattern(pattern));
}

// Formats with a number pattern; text that is not a number comes back unchanged.
std::string FormatWithNumberPattern(const Variant& v, std::string_view pattern) {
  const std::optional<SignedDecimal> n = NumberOf(v);
  if (!n) return v.AsString();
  return FormatNumber(*n, pattern);
}

// The named formats; no value when `name` is not one of them.
std::optional<std::string> FormatNamed(const Variant& v, std::string_view name) {
  struct Alias {
    const char* name;
    const char* pattern;
    bool date;
  };
  static constexpr Alias kAliases[] = {
      {"Long Date", "yyyy-mm-dd dddd", true},
      {"Medium Date", "dd-mmm-yy", true},
      {"Short Date", "yyyy-mm-dd", true},
      {"Long Time", "hh:nn:ss", true},
      {"Medium Time", "hh:nn AM/PM", true},
      {"Short Time", "hh:nn", true},
      {"Fixed", "0.00", false},
      {"Standard", "#,##0.00", false},
      {"Currency", "#,##0.00", false},
      {"Percent", "0.00%", false},
      {"Scientific", "0.00E+00", false},
  };
  for (const Alias& a : kAliases) {
    if (!NameEquals(name, a.name)) continue;
    return a.date ? FormatWithDatePattern(v, a.pattern) : FormatWithNumberPattern(v, a.pattern);
  }
  if (NameEquals(name, "General Date")) {
    const std::optional<Date> d = DateOf(v);
    return d ? DateToText(*d) : v.AsString();
  }
  if (NameEquals(name, "General Number")) {
    if (v.IsString()) {
      const auto d = ParseNumber(v.AsString());
      return d ? DoubleToText(*d) : v.AsString();
    }
    if (v.IsNumeric()) return CStr(v);
    return DoubleToText(CDbl(v));
  }
  static constexpr std::pair<const char*, const char*> kTwoWay[] = {
      {"Yes", "No"}, {"True", "False"}, {"On", "Off"}};
  for (const auto& [yes, no] : kTwoWay) {
    if (!NameEquals(name, fmt::format("{}/{}", yes, no))) continue;
    const std::optional<SignedDecimal> n = NumberOf(v);
    if (!n) return v.AsString();
    return n->magnitude.IsZero() ? no : yes;
  }
  return std::nullopt;
}

}  // namespace

// Format(value, pattern): see the header for the patterns. Objects format
// their default value; Null gives "".
std::string Format(const Variant& value, std::string_view pattern) {
  if (value.IsNull()) return {};
  if (value.IsObject()) {
    const ObjectRef& o = value.AsObject();
    if (!o) Raise(err::kObjectNotSet);
    return Format(o->DefaultValue(), pattern);
  }
  if (pattern.empty()) return CStr(value);
  if (auto named = FormatNamed(value, pattern)) return *named;
  if (IsDatePattern(pattern)) return FormatWithDatePattern(value, pattern);
  return FormatWithNumberPattern(value, pattern);
}

}  // namespace zmdb::rt
