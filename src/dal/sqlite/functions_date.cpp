// The date functions of Jet SQL. Dates come back as their canonical text;
// calendar arithmetic works on whole seconds from 1899-12-30 so that it is
// exact, and fails with error 5 outside years 100-9999.
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "jetfn_p.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::sqlite::jetfn {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

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
  return rt::MakeDate(y, m, std::min(p.day, rt::DaysInMonth(y, m)), p.hour, p.minute, p.second);
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
  const std::string lower = rt::LowerCase(s);
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

// Now, Date, Time (which change between calls), and the deterministic rest.
constexpr Registration kDates[] = {
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
};

}  // namespace

std::span<const Registration> DateFunctions() {
  return kDates;
}

}  // namespace zmdb::dal::sqlite::jetfn
