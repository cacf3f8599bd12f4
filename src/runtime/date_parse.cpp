// Reading dates from text: "yyyy-mm-dd", "yyyy/mm/dd" and "m/d/yyyy", each
// with an optional time, or a time alone.
#include "zmdb/runtime/date_parse.h"

#include "convert_p.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::rt {
namespace {

using conv::IsBlank;
using conv::IsDigit;
using conv::Lower;
using conv::Trim;

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

// True when year/month/day name a calendar day the platform can hold.
bool ValidDay(int year, int month, int day) {
  return year >= 100 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
         day <= DaysInMonth(year, month);
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
      (NameEquals(rest.substr(0, 2), "am") || NameEquals(rest.substr(0, 2), "pm"))) {
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

}  // namespace

namespace conv {

std::optional<int> CompareDateWithText(Date d, std::string_view text) {
  if (auto parsed = ParseDate(text)) return Order(d.serial, parsed->serial);
  return std::nullopt;
}

}  // namespace conv

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

// True for dates and date text.
bool IsDate(const Variant& v) {
  switch (v.Type()) {
    case VarType::Date:
      return true;
    case VarType::String:
      return ParseDate(v.AsString()).has_value();
    case VarType::Object:
      return conv::DefaultPasses(v, IsDate);
    default:
      return false;
  }
}

}  // namespace zmdb::rt
