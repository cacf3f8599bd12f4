// What conversions, number parsing and date parsing share inside the run
// time: blank and digit tests, the numeric view of a value, and the parsers'
// status codes. Not for applications.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "zmdb/runtime/object.h"
#include "zmdb/runtime/variant.h"

namespace zmdb::rt::conv {

inline bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// `text` without leading and trailing blanks.
inline std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// ASCII lower case of one character.
inline char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The outcome of reading number text.
enum class ParseStatus { Ok, Bad, Overflow };

// Numeric text to a double: Bad when it is not a number, Overflow when it is
// beyond the range of a double.
ParseStatus ParseNumberText(std::string_view text, double& out);
// Decimal number text to Currency exactly, rounded half to even at the 4th
// decimal; hexadecimal text goes through its integer value.
ParseStatus ParseCurrencyText(std::string_view text, Currency& out);

// The default value of an object Variant; error 91 for Nothing.
Variant DefaultOf(const Variant& v);

// True when `v` is an object whose default value passes `test`; false for
// Nothing and when reading the default value fails.
bool DefaultPasses(const Variant& v, bool (*test)(const Variant&));

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
Number ToNumber(const Variant& v);

// Three-way comparison of two doubles.
inline int Order(double a, double b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Date `d` against date text: -1, 0 or 1, or no value when the text is not a date.
std::optional<int> CompareDateWithText(Date d, std::string_view text);

}  // namespace zmdb::rt::conv
