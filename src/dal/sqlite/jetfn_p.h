// What the files of the Jet SQL functions share: the value a function hands
// back, its arguments with the conversions they share, the trampoline that
// turns a C++ function into an SQLite one, and each file's registrations.
#pragma once

#include <sqlite3.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <variant>

#include "functions_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::sqlite::jetfn {

using rt::Variant;

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
inline Out NumberOut(double d) {
  constexpr double kExact = 9007199254740992.0;  // 2^53
  if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) <= kExact)
    return Out(static_cast<std::int64_t>(d));
  return Out(d);
}

// A Boolean as Jet stores it: -1 or 0.
inline Out BoolOut(bool b) {
  return Out(b ? -1 : 0);
}

// A date as its canonical text.
inline Out DateOut(rt::Date d) {
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

// Runs `f` on the call's arguments and hands its value to SQLite; any failure
// becomes an SQL error with the run time's description.
void Run(sqlite3_context* ctx, int argc, sqlite3_value** argv, Fn f) noexcept;

// The SQLite entry point of function F.
template <Fn F>
void Call(sqlite3_context* ctx, int argc, sqlite3_value** argv) noexcept {
  Run(ctx, argc, argv, F);
}

// One registration: an SQL name, its argument count and its function. Left,
// Right and IsNull are keywords to SQLite's parser and must be called as
// "Left"(...).
struct Registration {
  const char* name;
  int argc;
  void (*fn)(sqlite3_context*, int, sqlite3_value**);
  bool deterministic;
};

// The registrations of each group of functions, once per argument count a
// function takes.
std::span<const Registration> TextFunctions();
std::span<const Registration> NumberFunctions();
std::span<const Registration> DateFunctions();
std::span<const Registration> LikeFunctions();

}  // namespace zmdb::dal::sqlite::jetfn
