#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cctype>
#include <limits>

#include "types_p.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::odbc {

namespace {

// SQL Server's extended types, as its drivers report them.
constexpr std::int16_t kSsVariant = -150, kSsXml = -152, kSsTime2 = -154, kSsTimeOffset = -155;

constexpr std::int32_t kLongText = 2147483647;      // text, varchar(max), image
constexpr std::int32_t kLongWideText = 1073741823;  // ntext, nvarchar(max)

// A declared size as an ADO DefinedSize.
std::int32_t Size(std::uint64_t size) {
  return size > static_cast<std::uint64_t>(kLongText) ? kLongText : static_cast<std::int32_t>(size);
}

// Whether an ODBC type holds numbers with a fraction.
bool IsNumeric(std::int16_t t) {
  return t == SQL_DECIMAL || t == SQL_NUMERIC || t == SQL_FLOAT || t == SQL_DOUBLE || t == SQL_REAL;
}

// Whether an ODBC type holds text, narrow or wide.
bool IsText(std::int16_t t) {
  return t == SQL_CHAR || t == SQL_VARCHAR || t == SQL_LONGVARCHAR || t == SQL_WCHAR ||
         t == SQL_WVARCHAR || t == SQL_WLONGVARCHAR;
}

// Types named by the server whatever ODBC type the driver maps them to:
// money is a decimal to ODBC, and older protocol versions deliver the newer
// date types as text.
bool ByTypeName(const ColumnDescription& c, AdoColumnType& out) {
  const std::string name = rt::AsciiLower(c.typeName);
  if ((name == "money" || name == "smallmoney") && IsNumeric(c.sqlType)) {
    out = {6, name == "money" ? 8 : 4, 19, 4, false};
    return true;
  }
  const bool dateLike = c.sqlType == SQL_TYPE_TIMESTAMP || c.sqlType == SQL_TYPE_DATE ||
                        c.sqlType == SQL_DATETIME || IsText(c.sqlType);
  if ((name == "datetime" || name == "smalldatetime" || name == "datetime2") && dateLike) {
    out = {135, 16, 0, 0, false};
    return true;
  }
  if (name == "date" && dateLike) {
    out = {133, 6, 0, 0, false};
    return true;
  }
  return false;
}

}  // namespace

AdoColumnType AdoTypeOf(const ColumnDescription& c) {
  AdoColumnType t;
  if (ByTypeName(c, t)) return t;
  const std::uint64_t n = c.columnSize;
  switch (c.sqlType) {
    case SQL_INTEGER:
      return {3, 4, 10, 0, false};
    case SQL_SMALLINT:
      return {2, 2, 5, 0, false};
    case SQL_TINYINT:
      return {17, 1, 3, 0, false};
    case SQL_BIGINT:
      return {20, 8, 19, 0, false};
    case SQL_BIT:
      return {11, 2, 0, 0, false};
    case SQL_REAL:
      return {4, 4, 7, 0, false};
    case SQL_FLOAT:
    case SQL_DOUBLE:
      return {5, 8, 15, 0, false};
    case SQL_DECIMAL:
    case SQL_NUMERIC:
      return {131, 19, static_cast<std::int32_t>(std::min<std::uint64_t>(n, 38)), c.decimalDigits,
              false};
    // A sized text or binary type with no size (or one past the sized
    // maximum) is its long form: varchar(max) reads as text does.
    case SQL_CHAR:
      return {129, Size(n), 0, 0, false};
    case SQL_VARCHAR:
      if (n == 0 || n > 8000) return {201, kLongText, 0, 0, true};
      return {200, Size(n), 0, 0, false};
    case SQL_LONGVARCHAR:
      return {201, kLongText, 0, 0, true};
    case SQL_WCHAR:
      return {130, Size(n), 0, 0, false};
    case SQL_WVARCHAR:
      if (n == 0 || n > 4000) return {203, kLongWideText, 0, 0, true};
      return {202, Size(n), 0, 0, false};
    case SQL_WLONGVARCHAR:
    case kSsXml:
      return {203, kLongWideText, 0, 0, true};
    case SQL_BINARY:
      return {128, Size(n), 0, 0, false};
    case SQL_VARBINARY:
      if (n == 0 || n > 8000) return {205, kLongText, 0, 0, true};
      return {204, Size(n), 0, 0, false};
    case SQL_LONGVARBINARY:
      return {205, kLongText, 0, 0, true};
    case SQL_GUID:
      return {72, 16, 0, 0, false};
    case SQL_TYPE_TIMESTAMP:
    case SQL_DATETIME:
      return {135, 16, 0, 0, false};
    case SQL_TYPE_DATE:
      return {133, 6, 0, 0, false};
    case SQL_TYPE_TIME:
    case kSsTime2:
      return {134, 6, 0, 0, false};
    case kSsTimeOffset:
      return {202, 34, 0, 0, false};
    case kSsVariant:
      return {12, 8016, 0, 0, true};
    default:
      // Intervals and types of the store's own (arrays, ranges ...) read as text.
      if (n == 0 || n > 4000) return {203, kLongWideText, 0, 0, true};
      return {202, Size(n), 0, 0, false};
  }
}

std::int16_t SqlTypeForAdo(std::int32_t adoType) {
  switch (adoType) {
    case 2:
      return SQL_SMALLINT;
    case 3:
      return SQL_INTEGER;
    case 4:
      return SQL_REAL;
    case 5:
      return SQL_DOUBLE;
    case 6:
    case 14:
      return SQL_DECIMAL;
    case 7:
    case 135:
      return SQL_TYPE_TIMESTAMP;
    case 11:
      return SQL_BIT;
    case 16:
    case 17:
      return SQL_TINYINT;
    case 18:
      return SQL_SMALLINT;
    case 19:
    case 20:
    case 21:
      return SQL_BIGINT;
    case 72:
      return SQL_GUID;
    case 128:
      return SQL_BINARY;
    case 129:
      return SQL_CHAR;
    case 130:
      return SQL_WCHAR;
    case 131:
    case 139:
      return SQL_NUMERIC;
    case 133:
      return SQL_TYPE_DATE;
    case 134:
      return SQL_TYPE_TIME;
    case 8:
    case 200:
      return SQL_VARCHAR;
    case 201:
      return SQL_LONGVARCHAR;
    case 202:
      return SQL_WVARCHAR;
    case 203:
      return SQL_WLONGVARCHAR;
    case 204:
      return SQL_VARBINARY;
    case 205:
      return SQL_LONGVARBINARY;
    default:
      return 0;
  }
}

std::int32_t ErrorNumberFor(std::string_view s) {
  auto is = [&](std::string_view state) { return s == state; };
  auto cls = [&](std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; };
  if (is("42S02") || is("42P01") || is("42S12")) return rt::err::kNoSuchObject;
  if (is("42S22") || is("42703")) return rt::err::kMissingParameter;
  if (is("42501")) return rt::err::kPermissionDenied;
  if (cls("42") || cls("37")) return rt::err::kSyntaxError;
  if (cls("23")) return rt::err::kIntegrityViolation;
  if (is("22001")) return rt::err::kDataTruncated;
  if (cls("22")) return rt::err::kCannotConvert;
  if (is("HYT00") || is("HYT01")) return rt::err::kTimeout;
  return rt::err::kUnspecified;
}

bool DateInRange(int year, int month, int day) {
  return year >= 100 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
         day <= rt::DaysInMonth(year, month);
}

std::optional<SQL_TIMESTAMP_STRUCT> ParseServerTimestamp(std::string_view t) {
  std::size_t at = 0;
  // `n` digits at the cursor into `out`; false (the text is refused) otherwise.
  auto digits = [&](std::size_t n, long& out) {
    if (t.size() - at < n) return false;
    out = 0;
    for (std::size_t end = at + n; at < end; ++at) {
      if (t[at] < '0' || t[at] > '9') return false;
      out = out * 10 + (t[at] - '0');
    }
    return true;
  };
  auto accept = [&](char c) { return at < t.size() && t[at] == c ? (++at, true) : false; };
  long y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
  // Five or more digits of year fail at the first '-'.
  if (!digits(4, y) || !accept('-') || !digits(2, mo) || !accept('-') || !digits(2, d)) {
    return std::nullopt;
  }
  SQLUINTEGER nanos = 0;
  if (accept(' ') || accept('T')) {
    if (!digits(2, h) || !accept(':') || !digits(2, mi) || !accept(':') || !digits(2, s)) {
      return std::nullopt;
    }
    if (accept('.')) {
      // Nanoseconds: the first nine digits, padded on the right.
      int places = 0;
      for (; at < t.size() && t[at] >= '0' && t[at] <= '9'; ++at) {
        if (places++ < 9) nanos = nanos * 10 + static_cast<SQLUINTEGER>(t[at] - '0');
      }
      for (; places < 9; ++places) nanos *= 10;
    }
    if (at < t.size() && (t[at] == '+' || t[at] == '-')) {
      ++at;
      while (at < t.size() && ((t[at] >= '0' && t[at] <= '9') || t[at] == ':')) ++at;
    }
  }
  if (at != t.size() ||
      !DateInRange(static_cast<int>(y), static_cast<int>(mo), static_cast<int>(d)) || h > 23 ||
      mi > 59 || s > 59) {
    return std::nullopt;
  }
  SQL_TIMESTAMP_STRUCT ts{};
  ts.year = static_cast<SQLSMALLINT>(y);
  ts.month = static_cast<SQLUSMALLINT>(mo);
  ts.day = static_cast<SQLUSMALLINT>(d);
  ts.hour = static_cast<SQLUSMALLINT>(h);
  ts.minute = static_cast<SQLUSMALLINT>(mi);
  ts.second = static_cast<SQLUSMALLINT>(s);
  ts.fraction = nanos;
  return ts;
}

namespace {
// "?, ?, ..." with `n` markers.
std::string Markers(std::size_t n) {
  std::string out;
  for (std::size_t i = 0; i < n; ++i) out += i ? ", ?" : "?";
  return out;
}
}  // namespace

std::string CallEscape(std::string_view procedure, std::size_t arguments, bool returnValue) {
  return std::string(returnValue ? "{? = call " : "{call ") + std::string(procedure) + "(" +
         Markers(arguments) + ")}";
}

std::string CallStatement(std::string_view procedure, std::size_t arguments) {
  return "CALL " + std::string(procedure) + "(" + Markers(arguments) + ")";
}

const DriverProfile& ProfileFor(DriverFamily family) {
  static const DriverProfile freeTds = [] {
    DriverProfile p;
    p.name = "SQL Server";
    p.family = DriverFamily::FreeTds;
    p.quirks = Quirks{"[", "]"};
    p.askQuote = false;
    // A parameterised INSERT runs in a scope of its own, so SCOPE_IDENTITY()
    // is Null afterwards; @@IDENTITY is the session's last number.
    p.insertedValueSql = "SELECT @@IDENTITY";
    p.tableDatesSql =
        "SELECT SCHEMA_NAME(schema_id), name, create_date, modify_date FROM sys.objects "
        "WHERE type IN ('U', 'V', 'S')";
    // With autocommit off the driver starts transactions implicitly, and a
    // savepoint is not a statement that starts one.
    p.savepointSql = "IF @@TRANCOUNT = 0 BEGIN TRANSACTION; SAVE TRANSACTION {name}";
    p.rollbackToSql = "ROLLBACK TRANSACTION {name}";
    // Binary converts implicitly to every column type; text does not convert to binary.
    p.nullParamType = SQL_VARBINARY;
    return p;
  }();
  static const DriverProfile postgres = [] {
    DriverProfile p;
    p.name = "PostgreSQL";
    p.family = DriverFamily::PostgreSql;
    p.insertedValueSql = "SELECT currval(pg_get_serial_sequence('{table}', '{column}'))";
    p.savepointSql = "SAVEPOINT {name}";
    p.rollbackToSql = "ROLLBACK TO SAVEPOINT {name}";
    p.releaseSql = "RELEASE SAVEPOINT {name}";
    p.callRetryState = "42809";  // "... is a procedure"
    p.catalogsSql =
        "SELECT datname FROM pg_database WHERE datallowconn AND NOT datistemplate ORDER BY datname";
    p.datesAsText = true;
    return p;
  }();
  static const DriverProfile sqlite = [] {
    DriverProfile p;
    p.name = "SQLite";
    p.family = DriverFamily::Sqlite;
    // The driver has no wide entry points: the driver manager would convert
    // UTF-16 through the process locale (garbling anything beyond ASCII in
    // the C locale), while its narrow calls pass SQLite's UTF-8 unchanged.
    p.wide = false;
    p.insertedValueSql = "SELECT last_insert_rowid()";
    p.savepointSql = "SAVEPOINT {name}";
    p.rollbackToSql = "ROLLBACK TO {name}";
    p.releaseSql = "RELEASE {name}";
    return p;
  }();
  static const DriverProfile other;
  switch (family) {
    case DriverFamily::FreeTds:
      return freeTds;
    case DriverFamily::PostgreSql:
      return postgres;
    case DriverFamily::Sqlite:
      return sqlite;
    case DriverFamily::Other:
      break;
  }
  return other;
}

std::u16string ToUtf16(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  std::size_t i = 0;
  while (i < s.size()) {
    // A byte that does not begin a well-formed sequence becomes U+FFFD.
    char32_t cp = rt::NextCodePoint(s, i);
    if (rt::IsStrayByte(cp)) cp = 0xFFFD;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
  }
  return out;
}

void AppendUtf8(std::string& out, const char16_t* w, std::size_t units) {
  for (std::size_t i = 0; i < units; ++i) {
    char32_t c = w[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < units && w[i + 1] >= 0xDC00 && w[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (w[++i] - 0xDC00);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;  // a lone surrogate
    }
    rt::AppendUtf8(out, c);
  }
}

std::string ToUtf8(std::u16string_view w) {
  std::string out;
  out.reserve(w.size());
  AppendUtf8(out, w.data(), w.size());
  return out;
}

}  // namespace zmdb::dal::odbc
