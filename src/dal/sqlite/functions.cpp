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

#include <cstdint>
#include <exception>
#include <initializer_list>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "jetfn_p.h"
#include "zmdb/runtime/format.h"

namespace zmdb::dal::sqlite {
namespace jetfn {

namespace {

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

}  // namespace

void Run(sqlite3_context* ctx, int argc, sqlite3_value** argv, Fn f) noexcept {
  try {
    SetResult(ctx, argv, f(Args(ctx, argc, argv)));
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

namespace {

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

// ------------------------------------------------------------ Format, LIKE

// Format(v[, pattern]): the run time's Format; NULL stays NULL and a NULL
// pattern is no pattern.
Out FnFormat(const Args& a) {
  if (a.IsNull(0)) return {};
  const std::string pattern = a.count() > 1 && !a.IsNull(1) ? a.Text(1) : std::string();
  return rt::Format(a.Value(0), pattern);
}

// Format, the C* conversions, Nz, IsNull and IIf.
constexpr Registration kOthers[] = {
    {"Format", 1, Call<FnFormat>, true}, {"Format", 2, Call<FnFormat>, true},
    {"CStr", 1, Call<FnCStr>, true},     {"CInt", 1, Call<FnCInt>, true},
    {"CLng", 1, Call<FnCLng>, true},     {"CDbl", 1, Call<FnCDbl>, true},
    {"CCur", 1, Call<FnCCur>, true},     {"CDate", 1, Call<FnCDate>, true},
    {"CBool", 1, Call<FnCBool>, true},   {"Nz", 1, Call<FnNz>, true},
    {"Nz", 2, Call<FnNz>, true},         {"IsNull", 1, Call<FnIsNull>, true},
    {"IIf", 3, Call<FnIIf>, true},
};

}  // namespace
}  // namespace jetfn

// ---------------------------------------------------------------- public

using rt::Variant;

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

// Registers every function of every group; SQLITE_OK or the first failure's
// code. None has side effects, so all are innocuous (usable from views and
// triggers); all but Now, Date and Time are deterministic.
int RegisterJetFunctions(sqlite3* db) {
  using namespace jetfn;
  for (const std::span<const Registration> group :
       {std::span<const Registration>(kOthers), TextFunctions(), NumberFunctions(), DateFunctions(),
        LikeFunctions()}) {
    for (const Registration& r : group) {
      const int flags =
          SQLITE_UTF8 | SQLITE_INNOCUOUS | (r.deterministic ? SQLITE_DETERMINISTIC : 0);
      const int rc = sqlite3_create_function_v2(db, r.name, r.argc, flags, nullptr, r.fn, nullptr,
                                                nullptr, nullptr);
      if (rc != SQLITE_OK) return rc;
    }
  }
  return SQLITE_OK;
}

}  // namespace zmdb::dal::sqlite
