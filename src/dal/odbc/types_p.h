// The server store's knowledge that needs no server: how a driver's column
// types read as ADO type codes, which SQL type a parameter is sent as, how
// SQLSTATEs become the layer's error numbers, how procedure calls are
// written, and how the drivers differ (one table, by driver family).
#pragma once

#include <sql.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/router.h"

namespace zmdb::dal::odbc {

// What a driver says of one result column (SQLDescribeCol, SQL_DESC_TYPE_NAME).
struct ColumnDescription {
  std::int16_t sqlType = 0;
  std::string typeName;
  std::uint64_t columnSize = 0;
  std::int16_t decimalDigits = 0;
};

// The ADO view of a column: the type code and DefinedSize SQL Server's OLE
// DB provider gives the same server type, and whether the values are long
// (read piecewise rather than into fixed buffers).
struct AdoColumnType {
  std::int32_t adoType = 202;
  std::int32_t definedSize = 0;
  std::int32_t precision = 0;
  std::int32_t scale = 0;
  bool isLong = false;
};

// The ADO type of a described column. The type name tells apart what one
// ODBC type covers (money from decimal, the datetime family); other drivers
// fall back on the ODBC type.
AdoColumnType AdoTypeOf(const ColumnDescription& column);

// The ODBC SQL type a parameter of ADO type `adoType` is declared as
// (adInteger -> SQL_INTEGER, adVarWChar -> SQL_WVARCHAR, ...); 0 for
// adEmpty and codes without an ODBC counterpart.
std::int16_t SqlTypeForAdo(std::int32_t adoType);

// The layer's error number for a SQLSTATE: missing tables 0x80040E37,
// missing columns 0x80040E10, other statement errors 0x80040E14, permission
// 0x80040E09, integrity 0x80040E2F, truncation 0x80040E57, conversion
// 0x80040E07, timeouts 0x80040E31, the rest (connections, logins) 0x80004005.
std::int32_t ErrorNumberFor(std::string_view sqlState);

// "{call name(?, ?)}", or "{? = call name(?, ?)}" when the first marker is
// the procedure's return value; `arguments` counts the markers inside the
// parentheses.
std::string CallEscape(std::string_view procedure, std::size_t arguments, bool returnValue);
// "CALL name(?, ?)": the plain statement, for stores whose procedures the
// escape does not reach.
std::string CallStatement(std::string_view procedure, std::size_t arguments);

// Whether a calendar day lies in the range of the Date type (years 100 to
// 9999, a real day of its month).
bool DateInRange(int year, int month, int day);
// A date or timestamp as the server writes it: "yyyy-mm-dd", then optionally
// " hh:mm:ss" with a fraction of a second and a zone offset (dropped: the
// time is already the session's wall clock). None for any other text (an
// infinity, a date of another era) and for a day outside DateInRange.
std::optional<SQL_TIMESTAMP_STRUCT> ParseServerTimestamp(std::string_view text);

// How one driver family differs. Statement templates hold {name}, {table}
// and {column} where the layer puts a quoted name.
struct DriverProfile {
  const char* name = "ODBC";
  DriverFamily family = DriverFamily::Other;
  Quirks quirks{"\"", "\""};
  // Ask the driver for its identifier quote (SQL_IDENTIFIER_QUOTE_CHAR)
  // rather than take the one above.
  bool askQuote = true;
  // Talk through the wide (UTF-16) entry points; false for drivers that
  // have only the narrow ones, which then carry UTF-8 as it is.
  bool wide = true;
  // The value a column got from the last INSERT ("" when unknown).
  const char* insertedValueSql = "";
  // Creation and change dates of tables: rows (schema, name, created,
  // modified); "" when the store keeps none.
  const char* tableDatesSql = "";
  // The databases of the server, one name a row; "" to ask the driver's
  // catalogue function (which some drivers answer with the current one only).
  const char* catalogsSql = "";
  // Nested transactions as savepoints; "" when the store has none.
  const char* savepointSql = "";
  const char* rollbackToSql = "";
  const char* releaseSql = "";
  // The SQL type a Null parameter is declared as: one the store converts
  // implicitly to any column type.
  std::int16_t nullParamType = 12;  // SQL_VARCHAR
  // A procedure that the call escape cannot reach (a PostgreSQL procedure,
  // as opposed to a function) fails with this SQLSTATE and is run again as
  // a plain CALL statement.
  const char* callRetryState = "";
  // Read dates and timestamps as text and convert them here: into a date
  // structure the driver turns values it cannot place (infinities, years
  // past 9999) into today's date instead of failing, while its text shows
  // them (as a zero date, or with the era of a timestamp before year 1).
  bool datesAsText = false;
};

// The profile of a driver family.
const DriverProfile& ProfileFor(DriverFamily family);

// Text between UTF-8 and UTF-16 (what SQLWCHAR holds on this platform);
// invalid sequences become U+FFFD.
std::u16string ToUtf16(std::string_view utf8);
std::string ToUtf8(std::u16string_view utf16);
void AppendUtf8(std::string& out, const char16_t* utf16, std::size_t units);

}  // namespace zmdb::dal::odbc
