#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "api_p.h"
#include "zmdb/dal/ado.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::dal::odbc {

namespace {

// A SQLWCHAR pointer over UTF-16 text (SQLWCHAR is 16 bits with unixODBC).
static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));
SQLWCHAR* W(std::u16string& s) {
  return reinterpret_cast<SQLWCHAR*>(s.data());
}
SQLCHAR* N(std::string& s) {
  return reinterpret_cast<SQLCHAR*>(s.data());
}

// `text` with every occurrence of `secret` replaced by "***". Passwords of
// one or two characters are not searched for: they would mask ordinary letters.
std::string Redact(std::string text, const std::string& secret) {
  if (secret.size() < 3) return text;
  for (std::size_t at = text.find(secret); at != std::string::npos;
       at = text.find(secret, at + 3)) {
    text.replace(at, secret.size(), "***");
  }
  return text;
}

// A driver message on one line, without trailing blanks.
std::string OneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  std::replace(text.begin(), text.end(), '\r', ' ');
  while (!text.empty() && (text.back() == ' ' || text.back() == ';')) text.pop_back();
  return text;
}

// Days since 1899-12-30 of a civil date (proleptic Gregorian).
double DaySerial(int y, int m, int d) {
  y -= m <= 2;
  const int era = (y >= 0 ? y : y - 399) / 400;
  const int yoe = y - era * 400;
  const int doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return static_cast<double>(static_cast<long>(era) * 146097 + doe - 719468 + 25569);
}

// The fraction of a day a time of day is.
double TimeFraction(int h, int mi, int s, double fractionSeconds = 0) {
  return (h * 3600 + mi * 60 + s + fractionSeconds) / 86400.0;
}

}  // namespace

SQLHENV Environment() {
  static const SQLHENV env = [] {
    SQLHENV h = SQL_NULL_HENV;
    if (!SQL_SUCCEEDED(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &h))) {
      throw ProviderError({rt::ErrorInfo{rt::err::kUnspecified, kSource,
                                         "The ODBC driver manager could not be started."}});
    }
    SQLSetEnvAttr(h, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    return h;
  }();
  return env;
}

std::vector<Diagnostic> Diagnostics(SQLSMALLINT type, SQLHANDLE handle, bool wide) {
  std::vector<Diagnostic> out;
  for (SQLSMALLINT i = 1;; ++i) {
    Diagnostic d;
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    SQLRETURN rc;
    if (wide) {
      std::u16string state(6, u'\0');
      std::u16string msg(1024, u'\0');
      rc = SQLGetDiagRecW(type, handle, i, W(state), &native, W(msg),
                          static_cast<SQLSMALLINT>(msg.size()), &length);
      if (rc == SQL_SUCCESS_WITH_INFO && length >= static_cast<SQLSMALLINT>(msg.size())) {
        msg.assign(static_cast<std::size_t>(length) + 1, u'\0');
        rc = SQLGetDiagRecW(type, handle, i, W(state), &native, W(msg),
                            static_cast<SQLSMALLINT>(msg.size()), &length);
      }
      if (!SQL_SUCCEEDED(rc)) break;
      d.state = ToUtf8(std::u16string_view(state.data(), 5));
      d.message = ToUtf8(std::u16string_view(
          msg.data(), std::min<std::size_t>(static_cast<std::size_t>(length), msg.size() - 1)));
    } else {
      std::string state(6, '\0');
      std::string msg(2048, '\0');
      rc = SQLGetDiagRec(type, handle, i, N(state), &native, N(msg),
                         static_cast<SQLSMALLINT>(msg.size()), &length);
      if (rc == SQL_SUCCESS_WITH_INFO && length >= static_cast<SQLSMALLINT>(msg.size())) {
        msg.assign(static_cast<std::size_t>(length) + 1, '\0');
        rc = SQLGetDiagRec(type, handle, i, N(state), &native, N(msg),
                           static_cast<SQLSMALLINT>(msg.size()), &length);
      }
      if (!SQL_SUCCEEDED(rc)) break;
      d.state = state.substr(0, 5);
      d.message =
          msg.substr(0, std::min<std::size_t>(static_cast<std::size_t>(length), msg.size() - 1));
    }
    d.native = native;
    out.push_back(std::move(d));
  }
  return out;
}

// Whether the connection of `link` is gone: the driver says so, or a
// record is of the connection-exception class (08) or the server's shutdown
// of the session (57P01). A driver's own step failing on a lost connection
// ("internal SAVEPOINT failed") often says nothing of the cause itself.
static bool ConnectionLost(const std::vector<Diagnostic>& records, const Link& link) {
  for (const Diagnostic& d : records) {
    if (d.state.starts_with("08") || d.state == "57P01") return true;
  }
  if (link.dbc == SQL_NULL_HDBC) return false;
  SQLUINTEGER dead = SQL_CD_FALSE;
  const SQLRETURN rc = SQLGetConnectAttr(link.dbc, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
  return SQL_SUCCEEDED(rc) && dead == SQL_CD_TRUE;
}

void RaiseRecords(const std::vector<Diagnostic>& records, const Link& link,
                  std::string_view statement) {
  std::vector<rt::ErrorInfo> infos;
  std::vector<ErrorDetail> details;
  const bool lost = !records.empty() && ConnectionLost(records, link);
  for (const Diagnostic& d : records) {
    std::string text = OneLine(d.message) + " (SQLSTATE " + d.state + ", native error " +
                       std::to_string(d.native) + ")";
    if (infos.empty() && lost) text = "The connection to the server was lost: " + text;
    if (infos.empty() && !statement.empty()) text += " (in: " + std::string(statement) + ")";
    infos.push_back(rt::ErrorInfo{ErrorNumberFor(d.state), kSource, Redact(text, link.secret)});
    details.push_back(ErrorDetail{d.native, d.state});
  }
  if (infos.empty()) {
    infos.push_back(rt::ErrorInfo{
        rt::err::kUnspecified, kSource,
        "The ODBC driver reported a failure without saying why" +
            (statement.empty() ? std::string() : " (in: " + std::string(statement) + ")")});
    details.push_back(ErrorDetail{});
  }
  throw ProviderError(std::move(infos), std::move(details));
}

void Check(SQLRETURN rc, SQLSMALLINT type, SQLHANDLE handle, const Link& link,
           std::string_view statement) {
  if (SQL_SUCCEEDED(rc) || rc == SQL_NO_DATA) return;
  RaiseRecords(Diagnostics(type, handle, link.profile.wide), link, statement);
}

// ---- StatementHandle ----

// A new statement on the link; the driver's refusal is raised.
StatementHandle::StatementHandle(std::shared_ptr<Link> link) : link_(std::move(link)) {
  const SQLRETURN rc = SQLAllocHandle(SQL_HANDLE_STMT, link_->dbc, &h_);
  if (!SQL_SUCCEEDED(rc)) {
    h_ = SQL_NULL_HSTMT;
    Check(rc, SQL_HANDLE_DBC, link_->dbc, *link_);
    RaiseRecords({}, *link_, {});
  }
}

// The handle is freed with the object.
StatementHandle::~StatementHandle() {
  Release();
}

void StatementHandle::Release() {
  if (h_ == SQL_NULL_HSTMT) return;
  SQLFreeHandle(SQL_HANDLE_STMT, h_);
  h_ = SQL_NULL_HSTMT;
  finished = true;
  letGo = nullptr;
}

// ---- text-carrying calls ----

SQLRETURN ExecDirect(StatementHandle& st, std::string_view sql) {
  if (st.wide()) {
    std::u16string w = ToUtf16(sql);
    return SQLExecDirectW(st.get(), W(w), static_cast<SQLINTEGER>(w.size()));
  }
  std::string n(sql);
  return SQLExecDirect(st.get(), N(n), static_cast<SQLINTEGER>(n.size()));
}

SQLRETURN Tables(StatementHandle& st, const char* catalog, const char* schema, const char* table,
                 const char* type) {
  // A null pointer leaves a pattern out; "" asks for the empty name.
  if (st.wide()) {
    std::u16string c = catalog ? ToUtf16(catalog) : u"", s = schema ? ToUtf16(schema) : u"",
                   t = table ? ToUtf16(table) : u"", y = type ? ToUtf16(type) : u"";
    auto len = [](const char* p, const std::u16string& w) {
      return static_cast<SQLSMALLINT>(p ? w.size() : 0);
    };
    return SQLTablesW(st.get(), catalog ? W(c) : nullptr, len(catalog, c), schema ? W(s) : nullptr,
                      len(schema, s), table ? W(t) : nullptr, len(table, t), type ? W(y) : nullptr,
                      len(type, y));
  }
  std::string c = catalog ? catalog : "", s = schema ? schema : "", t = table ? table : "",
              y = type ? type : "";
  auto len = [](const char* p, const std::string& n) {
    return static_cast<SQLSMALLINT>(p ? n.size() : 0);
  };
  return SQLTables(st.get(), catalog ? N(c) : nullptr, len(catalog, c), schema ? N(s) : nullptr,
                   len(schema, s), table ? N(t) : nullptr, len(table, t), type ? N(y) : nullptr,
                   len(type, y));
}

SQLRETURN PrimaryKeys(StatementHandle& st, std::string_view table) {
  if (st.wide()) {
    std::u16string t = ToUtf16(table);
    return SQLPrimaryKeysW(st.get(), nullptr, 0, nullptr, 0, W(t),
                           static_cast<SQLSMALLINT>(t.size()));
  }
  std::string t(table);
  return SQLPrimaryKeys(st.get(), nullptr, 0, nullptr, 0, N(t), static_cast<SQLSMALLINT>(t.size()));
}

namespace {
// `name` as a catalogue search pattern matching only itself.
std::string Exactly(std::string_view name) {
  std::string out;
  for (char c : name) {
    if (c == '_' || c == '%' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

// A catalogue call with up to three text arguments (null pointer: left out).
template <class Wide, class Narrow>
SQLRETURN CatalogCall(StatementHandle& st, std::vector<std::optional<std::string>> args, Wide wide,
                      Narrow narrow) {
  if (st.wide()) {
    std::vector<std::u16string> w;
    for (const auto& a : args) w.push_back(a ? ToUtf16(*a) : u"");
    auto at = [&](std::size_t i) { return args[i] ? W(w[i]) : nullptr; };
    auto len = [&](std::size_t i) { return static_cast<SQLSMALLINT>(args[i] ? w[i].size() : 0); };
    return wide(at, len);
  }
  std::vector<std::string> n;
  for (const auto& a : args) n.push_back(a ? *a : "");
  auto at = [&](std::size_t i) { return args[i] ? N(n[i]) : nullptr; };
  auto len = [&](std::size_t i) { return static_cast<SQLSMALLINT>(args[i] ? n[i].size() : 0); };
  return narrow(at, len);
}

std::optional<std::string> OrNone(std::string_view s) {
  return s.empty() ? std::nullopt : std::optional<std::string>(s);
}
}  // namespace

SQLRETURN Columns(StatementHandle& st, std::string_view schema, std::string_view table) {
  const SQLHSTMT h = st.get();
  return CatalogCall(
      st, {OrNone(Exactly(schema)), Exactly(table), std::string("%")},
      [&](auto at, auto len) {
        return SQLColumnsW(h, nullptr, 0, at(0), len(0), at(1), len(1), at(2), len(2));
      },
      [&](auto at, auto len) {
        return SQLColumns(h, nullptr, 0, at(0), len(0), at(1), len(1), at(2), len(2));
      });
}

SQLRETURN Statistics(StatementHandle& st, std::string_view schema, std::string_view table) {
  const SQLHSTMT h = st.get();
  return CatalogCall(
      st, {OrNone(schema), std::string(table)},
      [&](auto at, auto len) {
        return SQLStatisticsW(h, nullptr, 0, at(0), len(0), at(1), len(1), SQL_INDEX_ALL,
                              SQL_QUICK);
      },
      [&](auto at, auto len) {
        return SQLStatistics(h, nullptr, 0, at(0), len(0), at(1), len(1), SQL_INDEX_ALL, SQL_QUICK);
      });
}

SQLRETURN ForeignKeys(StatementHandle& st, std::string_view primaryTable,
                      std::string_view foreignTable) {
  const SQLHSTMT h = st.get();
  return CatalogCall(
      st, {OrNone(primaryTable), OrNone(foreignTable)},
      [&](auto at, auto len) {
        return SQLForeignKeysW(h, nullptr, 0, nullptr, 0, at(0), len(0), nullptr, 0, nullptr, 0,
                               at(1), len(1));
      },
      [&](auto at, auto len) {
        return SQLForeignKeys(h, nullptr, 0, nullptr, 0, at(0), len(0), nullptr, 0, nullptr, 0,
                              at(1), len(1));
      });
}

std::vector<std::vector<std::optional<std::string>>> TextRows(StatementHandle& st,
                                                              SQLUSMALLINT columns) {
  std::vector<std::vector<std::optional<std::string>>> rows;
  while (true) {
    const SQLRETURN rc = SQLFetch(st.get());
    if (rc == SQL_NO_DATA) break;
    Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
    std::vector<std::optional<std::string>> row;
    for (SQLUSMALLINT c = 1; c <= columns; ++c) row.push_back(ReadText(st, c));
    rows.push_back(std::move(row));
  }
  return rows;
}

namespace {
// A text attribute of a result column; "" when the driver does not tell.
std::string ColumnText(StatementHandle& st, SQLUSMALLINT column, SQLUSMALLINT field) {
  SQLSMALLINT length = 0;
  if (st.wide()) {
    std::u16string buf(256, u'\0');
    if (!SQL_SUCCEEDED(SQLColAttributeW(st.get(), column, field, buf.data(),
                                        static_cast<SQLSMALLINT>(buf.size() * 2), &length,
                                        nullptr))) {
      return {};
    }
    const std::size_t units = std::min<std::size_t>(static_cast<std::size_t>(length) / 2, 255);
    return ToUtf8(std::u16string_view(buf.data(), units));
  }
  std::string buf(512, '\0');
  if (!SQL_SUCCEEDED(SQLColAttribute(st.get(), column, field, buf.data(),
                                     static_cast<SQLSMALLINT>(buf.size()), &length, nullptr))) {
    return {};
  }
  return buf.substr(0, std::min<std::size_t>(static_cast<std::size_t>(length), 511));
}

// A numeric attribute of a result column; 0 when the driver does not tell.
SQLLEN ColumnNumber(StatementHandle& st, SQLUSMALLINT column, SQLUSMALLINT field) {
  SQLLEN value = 0;
  if (!SQL_SUCCEEDED(SQLColAttribute(st.get(), column, field, nullptr, 0, nullptr, &value))) {
    return 0;
  }
  return value;
}
}  // namespace

DescribedColumn Describe(StatementHandle& st, SQLUSMALLINT column) {
  DescribedColumn c;
  SQLSMALLINT nameLength = 0, sqlType = 0, digits = 0, nullable = SQL_NULLABLE_UNKNOWN;
  SQLULEN size = 0;
  SQLRETURN rc;
  if (st.wide()) {
    std::u16string name(256, u'\0');
    rc = SQLDescribeColW(st.get(), column, W(name), static_cast<SQLSMALLINT>(name.size()),
                         &nameLength, &sqlType, &size, &digits, &nullable);
    c.name = ToUtf8(std::u16string_view(
        name.data(), std::min<std::size_t>(static_cast<std::size_t>(nameLength), 255)));
  } else {
    std::string name(512, '\0');
    rc = SQLDescribeCol(st.get(), column, N(name), static_cast<SQLSMALLINT>(name.size()),
                        &nameLength, &sqlType, &size, &digits, &nullable);
    c.name = name.substr(0, std::min<std::size_t>(static_cast<std::size_t>(nameLength), 511));
  }
  Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
  c.type.sqlType = sqlType;
  c.type.columnSize = size;
  c.type.decimalDigits = digits;
  c.type.typeName = ColumnText(st, column, SQL_DESC_TYPE_NAME);
  c.nullable = nullable != SQL_NO_NULLS;
  c.autoIncrement = ColumnNumber(st, column, SQL_DESC_AUTO_UNIQUE_VALUE) == SQL_TRUE;
  c.baseTable = ColumnText(st, column, SQL_DESC_BASE_TABLE_NAME);
  c.baseColumn = ColumnText(st, column, SQL_DESC_BASE_COLUMN_NAME);
  return c;
}

std::string InfoText(const Link& link, SQLUSMALLINT info) {
  SQLSMALLINT length = 0;
  if (link.profile.wide) {
    std::u16string buf(256, u'\0');
    if (!SQL_SUCCEEDED(SQLGetInfoW(link.dbc, info, buf.data(),
                                   static_cast<SQLSMALLINT>(buf.size() * 2), &length))) {
      return {};
    }
    return ToUtf8(std::u16string_view(
        buf.data(), std::min<std::size_t>(static_cast<std::size_t>(length) / 2, 255)));
  }
  std::string buf(512, '\0');
  if (!SQL_SUCCEEDED(
          SQLGetInfo(link.dbc, info, buf.data(), static_cast<SQLSMALLINT>(buf.size()), &length))) {
    return {};
  }
  return buf.substr(0, std::min<std::size_t>(static_cast<std::size_t>(length), 511));
}

std::string CurrentCatalog(const Link& link) {
  SQLINTEGER length = 0;
  std::string catalog;
  if (link.profile.wide) {
    std::u16string buf(256, u'\0');
    if (SQL_SUCCEEDED(SQLGetConnectAttrW(link.dbc, SQL_ATTR_CURRENT_CATALOG, buf.data(),
                                         static_cast<SQLINTEGER>(buf.size() * 2), &length))) {
      catalog = ToUtf8(std::u16string_view(
          buf.data(), std::min<std::size_t>(static_cast<std::size_t>(length) / 2, 255)));
    }
  } else {
    std::string buf(512, '\0');
    if (SQL_SUCCEEDED(SQLGetConnectAttr(link.dbc, SQL_ATTR_CURRENT_CATALOG, buf.data(),
                                        static_cast<SQLINTEGER>(buf.size()), &length))) {
      catalog = buf.substr(0, std::min<std::size_t>(static_cast<std::size_t>(length), 511));
    }
  }
  return catalog.empty() ? InfoText(link, SQL_DATABASE_NAME) : catalog;
}

// ---- piecewise reads ----

std::optional<std::string> ReadText(StatementHandle& st, SQLUSMALLINT column) {
  if (st.wide()) {
    std::u16string all;
    char16_t buf[4096];
    for (;;) {
      SQLLEN ind = 0;
      const SQLRETURN rc = SQLGetData(st.get(), column, SQL_C_WCHAR, buf, sizeof buf, &ind);
      if (rc == SQL_NO_DATA) break;
      Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
      if (ind == SQL_NULL_DATA) return std::nullopt;
      const std::size_t room = std::size(buf) - 1;
      const bool more = ind == SQL_NO_TOTAL || static_cast<std::size_t>(ind) / 2 > room;
      all.append(buf, more ? room : static_cast<std::size_t>(ind) / 2);
      if (!more) break;
    }
    return ToUtf8(all);
  }
  std::string all;
  char buf[8192];
  for (;;) {
    SQLLEN ind = 0;
    const SQLRETURN rc = SQLGetData(st.get(), column, SQL_C_CHAR, buf, sizeof buf, &ind);
    if (rc == SQL_NO_DATA) break;
    Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
    if (ind == SQL_NULL_DATA) return std::nullopt;
    const std::size_t room = sizeof buf - 1;
    const bool more = ind == SQL_NO_TOTAL || static_cast<std::size_t>(ind) > room;
    all.append(buf, more ? room : static_cast<std::size_t>(ind));
    if (!more) break;
  }
  return all;
}

std::optional<std::vector<std::uint8_t>> ReadBinary(StatementHandle& st, SQLUSMALLINT column) {
  std::vector<std::uint8_t> all;
  std::uint8_t buf[8192];
  for (;;) {
    SQLLEN ind = 0;
    const SQLRETURN rc = SQLGetData(st.get(), column, SQL_C_BINARY, buf, sizeof buf, &ind);
    if (rc == SQL_NO_DATA) break;
    Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
    if (ind == SQL_NULL_DATA) return std::nullopt;
    const bool more = ind == SQL_NO_TOTAL || static_cast<std::size_t>(ind) > sizeof buf;
    all.insert(all.end(), buf, buf + (more ? sizeof buf : static_cast<std::size_t>(ind)));
    if (!more) break;
  }
  return all;
}

// ---- dates ----

SQL_TIMESTAMP_STRUCT ToTimestamp(rt::Date date) {
  // The day and the time of day apart (before day 0 the time still counts
  // forward from midnight), the time to the microsecond: a value read with
  // a fraction of a second must go back as it came, or a row matched by it
  // is not found again.
  double day = std::trunc(date.serial);
  std::int64_t micros = std::llround(std::fabs(date.serial - day) * 86400e6);
  constexpr std::int64_t kDayMicros = 86400LL * 1000000;
  if (micros >= kDayMicros) {
    micros -= kDayMicros;
    day += 1;
  }
  const rt::DateParts p = rt::SplitDate(rt::Date{day});
  SQL_TIMESTAMP_STRUCT ts{};
  ts.year = static_cast<SQLSMALLINT>(p.year);
  ts.month = static_cast<SQLUSMALLINT>(p.month);
  ts.day = static_cast<SQLUSMALLINT>(p.day);
  const std::int64_t seconds = micros / 1000000;
  ts.hour = static_cast<SQLUSMALLINT>(seconds / 3600);
  ts.minute = static_cast<SQLUSMALLINT>(seconds / 60 % 60);
  ts.second = static_cast<SQLUSMALLINT>(seconds % 60);
  ts.fraction = static_cast<SQLUINTEGER>(micros % 1000000 * 1000);
  return ts;
}

double SerialOf(const SQL_TIMESTAMP_STRUCT& ts) {
  const double day = DaySerial(ts.year, ts.month, ts.day);
  const double time = TimeFraction(ts.hour, ts.minute, ts.second, ts.fraction / 1e9);
  // Before day 0 the time still counts forward from midnight, as the platform's dates do.
  return day < 0 ? day - time : day + time;
}

double SerialOf(const SQL_DATE_STRUCT& d) {
  return DaySerial(d.year, d.month, d.day);
}

double SerialOf(const SQL_TIME_STRUCT& t) {
  return TimeFraction(t.hour, t.minute, t.second);
}

// ---- parameters ----

// One slot per parameter, in order; nothing is bound yet.
ParameterBinder::ParameterBinder(std::vector<Request> requests) {
  slots_.reserve(requests.size());
  for (Request& s : requests) {
    Slot slot;
    slot.request = std::move(s);
    slots_.push_back(std::move(slot));
  }
}

namespace {

// Whether a parameter of this direction gets a value back.
bool IsOutput(int direction) {
  return direction == 2 || direction == 3 || direction == 4;
}

// The ADO type a value is sent as when the caller named none.
std::int32_t AdoTypeOfValue(const rt::Variant& v, bool wide) {
  switch (v.Type()) {
    case rt::VarType::Boolean:
      return 11;
    case rt::VarType::Byte:
    case rt::VarType::Integer:
    case rt::VarType::Long:
      return 3;
    case rt::VarType::Single:
    case rt::VarType::Double:
      return 5;
    case rt::VarType::Currency:
      return 6;
    case rt::VarType::Date:
      return 135;
    case rt::VarType::Array:
      return 204;
    default:
      return wide ? 202 : 200;
  }
}

// The digits after the decimal point of a number's text.
SQLSMALLINT ScaleOf(const std::string& text) {
  const auto dot = text.find('.');
  return static_cast<SQLSMALLINT>(dot == std::string::npos ? 0 : text.size() - dot - 1);
}

// A value for an integer column: a text of digits exactly (a double would
// lose digits beyond 2^53), anything else rounded half to even, as the
// platform converts a fraction to an integer type.
std::int64_t WholeNumberOf(const rt::Variant& v) {
  if (v.Type() == rt::VarType::String) {
    const std::string& text = v.AsString();
    std::int64_t n = 0;
    const char* begin = text.data();
    const char* end = begin + text.size();
    const auto [at, ec] = std::from_chars(begin + (text.starts_with('+') ? 1 : 0), end, n);
    if (ec == std::errc() && at == end && !text.empty()) return n;
  }
  const double d = std::nearbyint(rt::CDbl(v));
  if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0)) rt::Raise(rt::err::kOverflow);
  return static_cast<std::int64_t>(d);
}

template <class T>
void Store(std::vector<std::uint8_t>& buffer, const T& value) {
  buffer.resize(sizeof(T));
  std::memcpy(buffer.data(), &value, sizeof(T));
}

template <class T>
T Load(const std::vector<std::uint8_t>& buffer) {
  T value{};
  std::memcpy(&value, buffer.data(), std::min(sizeof(T), buffer.size()));
  return value;
}

}  // namespace

void ParameterBinder::Prepare(Slot& s, bool wide) const {
  const rt::Variant& v = s.request.value;
  const bool null = v.IsNull() || v.IsEmpty() || v.IsMissing();
  const bool out = IsOutput(s.request.direction);
  const bool in = s.request.direction == 1 || s.request.direction == 3;
  std::int32_t ado = s.request.adoType != 0 ? s.request.adoType
                     : null                 ? 0
                                            : AdoTypeOfValue(v, wide);
  s.sqlType = ado ? SqlTypeForAdo(ado) : 0;
  if (s.sqlType == 0) s.sqlType = SQL_VARCHAR;  // an untyped Null; the caller may change it
  s.indicator = in && null ? SQL_NULL_DATA : 0;
  const bool sendValue = in && !null;
  switch (s.sqlType) {
    case SQL_INTEGER:
    case SQL_SMALLINT:
    case SQL_TINYINT:
    case SQL_BIGINT:
      s.cType = SQL_C_SBIGINT;
      Store<std::int64_t>(s.buffer, sendValue ? WholeNumberOf(v) : 0);
      return;
    case SQL_BIT:
      s.cType = SQL_C_BIT;
      Store<unsigned char>(s.buffer, sendValue && rt::CBool(v) ? 1 : 0);
      return;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
      s.cType = SQL_C_DOUBLE;
      Store<double>(s.buffer, sendValue ? rt::CDbl(v) : 0.0);
      return;
    case SQL_DECIMAL:
    case SQL_NUMERIC: {
      // Exact numbers travel as their text, so no digit is lost on the way.
      s.cType = SQL_C_CHAR;
      std::string text =
          sendValue ? (v.Type() == rt::VarType::Currency ? rt::CurrencyToText(v.AsCurrency())
                                                         : rt::CStr(v))
                    : std::string();
      s.columnSize = s.request.precision > 0 ? static_cast<SQLULEN>(s.request.precision)
                     : ado == 6              ? 19
                                             : 28;
      s.digits = s.request.scale > 0 ? static_cast<SQLSMALLINT>(s.request.scale)
                 : ado == 6          ? 4
                                     : ScaleOf(text);
      s.buffer.assign(text.begin(), text.end());
      s.buffer.resize(std::max<std::size_t>(s.buffer.size(), out ? 64 : 1) + 1, 0);
      if (sendValue) s.indicator = static_cast<SQLLEN>(text.size());
      return;
    }
    case SQL_TYPE_TIMESTAMP:
      s.cType = SQL_C_TYPE_TIMESTAMP;
      s.columnSize = 23;
      s.digits = 3;
      Store(s.buffer, sendValue ? ToTimestamp(rt::CDate(v)) : SQL_TIMESTAMP_STRUCT{});
      return;
    case SQL_TYPE_DATE: {
      s.cType = SQL_C_TYPE_DATE;
      s.columnSize = 10;
      const SQL_TIMESTAMP_STRUCT ts =
          sendValue ? ToTimestamp(rt::CDate(v)) : SQL_TIMESTAMP_STRUCT{};
      Store(s.buffer, SQL_DATE_STRUCT{ts.year, ts.month, ts.day});
      return;
    }
    case SQL_TYPE_TIME: {
      s.cType = SQL_C_TYPE_TIME;
      s.columnSize = 8;
      const SQL_TIMESTAMP_STRUCT ts =
          sendValue ? ToTimestamp(rt::CDate(v)) : SQL_TIMESTAMP_STRUCT{};
      Store(s.buffer, SQL_TIME_STRUCT{ts.hour, ts.minute, ts.second});
      return;
    }
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY: {
      s.cType = SQL_C_BINARY;
      s.buffer.clear();
      if (sendValue) {
        if (!v.IsArray()) rt::Raise(rt::err::kTypeMismatch);
        for (const rt::Variant& b : v.AsArray().items()) s.buffer.push_back(rt::CByte(b));
        s.indicator = static_cast<SQLLEN>(s.buffer.size());
      }
      const std::size_t length = s.buffer.size();
      if (s.sqlType == SQL_VARBINARY && length > 8000) s.sqlType = SQL_LONGVARBINARY;
      s.columnSize =
          std::max<SQLULEN>({length, static_cast<SQLULEN>(std::max(s.request.size, 0)), 1});
      if (out) s.buffer.resize(std::max<std::size_t>(s.columnSize, 8000));
      if (s.buffer.empty()) s.buffer.resize(1);
      return;
    }
    default: {
      // Text: UTF-16 to drivers with wide entry points, UTF-8 as it is to the others.
      std::string text = sendValue ? rt::CStr(v) : std::string();
      if (s.sqlType == SQL_GUID && text.size() == 38 && text.front() == '{') {
        text = text.substr(1, 36);
      }
      std::size_t units;
      if (wide) {
        const std::u16string w = ToUtf16(text);
        units = w.size();
        s.cType = SQL_C_WCHAR;
        s.buffer.resize(w.size() * 2);
        if (!w.empty()) std::memcpy(s.buffer.data(), w.data(), w.size() * 2);
      } else {
        units = text.size();
        s.cType = SQL_C_CHAR;
        s.buffer.assign(text.begin(), text.end());
      }
      if (sendValue) s.indicator = static_cast<SQLLEN>(s.buffer.size());
      // The sized types have a largest length; longer text goes as the long type.
      if (s.sqlType == SQL_WVARCHAR && units > 4000) s.sqlType = SQL_WLONGVARCHAR;
      if (s.sqlType == SQL_VARCHAR && units > 8000) s.sqlType = SQL_LONGVARCHAR;
      s.columnSize =
          std::max<SQLULEN>({units, static_cast<SQLULEN>(std::max(s.request.size, 0)), 1});
      if (s.sqlType == SQL_GUID) s.columnSize = 36;
      if (out) {
        const std::size_t room = std::max<std::size_t>(s.columnSize, 4000) + 1;
        s.buffer.resize(room * (wide ? 2 : 1), 0);
      }
      if (s.buffer.empty()) s.buffer.resize(2, 0);
      return;
    }
  }
}

void ParameterBinder::Bind(StatementHandle& st) {
  for (std::size_t i = 0; i < slots_.size(); ++i) {
    Slot& s = slots_[i];
    Prepare(s, st.wide());
    const rt::Variant& v = s.request.value;
    if (s.request.adoType == 0 && (v.IsNull() || v.IsEmpty() || v.IsMissing())) {
      s.sqlType = st.link().profile.nullParamType;
      s.cType = s.sqlType == SQL_VARBINARY ? SQL_C_BINARY : SQL_C_CHAR;
      s.columnSize = 1;
    }
    const SQLSMALLINT io = s.request.direction == 3        ? SQL_PARAM_INPUT_OUTPUT
                           : IsOutput(s.request.direction) ? SQL_PARAM_OUTPUT
                                                           : SQL_PARAM_INPUT;
    const SQLRETURN rc = SQLBindParameter(st.get(), static_cast<SQLUSMALLINT>(i + 1), io, s.cType,
                                          s.sqlType, s.columnSize, s.digits, s.buffer.data(),
                                          static_cast<SQLLEN>(s.buffer.size()), &s.indicator);
    Check(rc, SQL_HANDLE_STMT, st.get(), st.link());
  }
}

rt::Variant ParameterBinder::Output(std::size_t index) const {
  const Slot& s = slots_.at(index);
  if (s.indicator == SQL_NULL_DATA) return rt::Variant::Null();
  const std::int32_t ado = s.request.adoType;
  switch (s.cType) {
    case SQL_C_SBIGINT: {
      const auto n = Load<std::int64_t>(s.buffer);
      if (ado == 2 || ado == 16) return rt::Variant(static_cast<std::int16_t>(n));
      if (ado == 17) return rt::Variant(static_cast<std::uint8_t>(n));
      if (n >= INT32_MIN && n <= INT32_MAX && ado != 20 && ado != 21) {
        return rt::Variant(static_cast<std::int32_t>(n));
      }
      return rt::Variant(static_cast<double>(n));
    }
    case SQL_C_BIT:
      return rt::Variant(Load<unsigned char>(s.buffer) != 0);
    case SQL_C_DOUBLE: {
      const auto d = Load<double>(s.buffer);
      return ado == 4 ? rt::Variant(static_cast<float>(d)) : rt::Variant(d);
    }
    case SQL_C_TYPE_TIMESTAMP:
      return rt::Variant(rt::Date{SerialOf(Load<SQL_TIMESTAMP_STRUCT>(s.buffer))});
    case SQL_C_TYPE_DATE:
      return rt::Variant(rt::Date{SerialOf(Load<SQL_DATE_STRUCT>(s.buffer))});
    case SQL_C_TYPE_TIME:
      return rt::Variant(rt::Date{SerialOf(Load<SQL_TIME_STRUCT>(s.buffer))});
    case SQL_C_BINARY: {
      std::vector<rt::Variant> bytes;
      const std::size_t n = std::min(s.buffer.size(), static_cast<std::size_t>(s.indicator));
      for (std::size_t i = 0; i < n; ++i) bytes.emplace_back(s.buffer[i]);
      return rt::Variant(rt::SafeArray(rt::VarType::Byte, 0, std::move(bytes)));
    }
    case SQL_C_WCHAR: {
      const std::size_t units =
          std::min(s.buffer.size() / 2 - 1, static_cast<std::size_t>(s.indicator) / 2);
      std::u16string w(units, u'\0');
      std::memcpy(w.data(), s.buffer.data(), units * 2);
      return rt::Variant(ToUtf8(w));
    }
    default: {
      const std::size_t n = std::min(s.buffer.size() - 1, static_cast<std::size_t>(s.indicator));
      std::string text(reinterpret_cast<const char*>(s.buffer.data()), n);
      if (s.sqlType == SQL_DECIMAL || s.sqlType == SQL_NUMERIC) {
        if (ado == 6) return rt::Variant(rt::CCur(rt::Variant(text)));
        if (auto d = rt::ParseNumber(text)) return rt::Variant(*d);
      }
      return rt::Variant(std::move(text));
    }
  }
}

}  // namespace zmdb::dal::odbc
