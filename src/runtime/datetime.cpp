#include "zmdb/runtime/datetime.h"

#include <cmath>
#include <ctime>

#include "zmdb/runtime/error.h"

namespace zmdb::rt {

namespace {

// Days from 1970-01-01 to the given proleptic Gregorian date (any year).
constexpr std::int64_t DaysFromCivil(std::int64_t y, int m, int d) {
  y -= m <= 2 ? 1 : 0;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yoe = y - era * 400;
  const std::int64_t mp = (m + 9) % 12;
  const std::int64_t doy = (153 * mp + 2) / 5 + d - 1;
  const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// The proleptic Gregorian date `z` days after 1970-01-01.
void CivilFromDays(std::int64_t z, int& year, int& month, int& day) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const std::int64_t doe = z - era * 146097;
  const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const std::int64_t mp = (5 * doy + 2) / 153;
  const std::int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const std::int64_t m = mp < 10 ? mp + 3 : mp - 9;
  year = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
  month = static_cast<int>(m);
  day = static_cast<int>(d);
}

// 1899-12-30 counted from 1970-01-01; a constant so that dates built during
// static initialisation in other files see it.
constexpr std::int64_t kEpochDays = DaysFromCivil(1899, 12, 30);

// The serial of day number `day` (relative to 1899-12-30) at `seconds` past
// midnight: before the epoch the time is subtracted, as the platform stores it.
double Serial(std::int64_t day, int seconds) {
  const double time = seconds / 86400.0;
  return day < 0 ? static_cast<double>(day) - time : static_cast<double>(day) + time;
}

}  // namespace

bool IsLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

// A validated date; error 5 for parts out of range.
Date MakeDate(int year, int month, int day, int hour, int minute, int second) {
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59)
    Raise(err::kInvalidProcCall);
  const std::int64_t serialDay = DaysFromCivil(year, month, day) - kEpochDays;
  return Date{Serial(serialDay, hour * 3600 + minute * 60 + second)};
}

// Calendar parts of a serial, rounded to the nearest second (23:59:59.6 is the
// next day's midnight); error 6 for a serial that is not a finite number or
// lies far outside the calendar.
DateParts SplitDate(Date d) {
  // About +-27 million years: enough for any stored value, small enough for int.
  if (!std::isfinite(d.serial) || std::fabs(d.serial) > 1e10) Raise(err::kOverflow);
  const double whole = std::trunc(d.serial);
  auto day = static_cast<std::int64_t>(whole);
  const double fraction = std::fabs(d.serial - whole);
  auto seconds = static_cast<int>(std::llround(fraction * 86400.0));
  if (seconds >= 86400) {
    seconds -= 86400;
    day += 1;
  }
  DateParts p;
  CivilFromDays(day + kEpochDays, p.year, p.month, p.day);
  p.hour = seconds / 3600;
  p.minute = seconds / 60 % 60;
  p.second = seconds % 60;
  // Day 0 (1899-12-30) was a Saturday (7); day 1 a Sunday (1).
  const std::int64_t w = ((day % 7) + 7) % 7;  // 0 = Saturday
  p.weekday = w == 0 ? 7 : static_cast<int>(w);
  return p;
}

// The current local date and time, to the second.
Date Now() {
  const std::time_t t = std::time(nullptr);
  std::tm tm{};
#if defined(_WIN32)
  localtime_s(&tm, &t);
#else
  localtime_r(&t, &tm);
#endif
  const std::int64_t day = DaysFromCivil(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday) - kEpochDays;
  // A leap second (tm_sec 60) is folded into the minute's last second.
  const int sec = tm.tm_sec > 59 ? 59 : tm.tm_sec;
  return Date{Serial(day, tm.tm_hour * 3600 + tm.tm_min * 60 + sec)};
}

}  // namespace zmdb::rt
