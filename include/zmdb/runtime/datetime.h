// Calendar arithmetic on the platform's serial dates (day 0 is 1899-12-30).
#pragma once

#include <cstdint>

#include "zmdb/runtime/variant.h"

namespace zmdb::rt {

struct DateParts {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
  int weekday = 7;  // 1 = Sunday .. 7 = Saturday, as the platform's Weekday
};

// True for the leap years of the Gregorian calendar (1900 is not, 2000 is).
bool IsLeapYear(int year);
// The number of days in month `month` (1-12) of `year`.
int DaysInMonth(int year, int month);

// Build a date; raises error 5 when the parts are out of range (month 1-12, day
// valid for the month, year 100-9999, hour 0-23, minute and second 0-59).
Date MakeDate(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
// Split a date into its parts, rounded to the nearest second.
DateParts SplitDate(Date d);
// Today and now, in local time.
Date Now();

}  // namespace zmdb::rt
