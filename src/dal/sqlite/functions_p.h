// Jet's SQL functions on SQLite, with Jet's semantics: Format, Mid, Left,
// Right, Len, InStr, UCase, LCase, Trim, LTrim, RTrim, Space, String, Val,
// Str, CStr, CInt, CLng, CDbl, CCur, CDate, CBool, Nz, IsNull, IIf, Now,
// Date, Time, Year, Month, Day, Hour, Minute, Second, Weekday, DateAdd,
// DateDiff, DatePart, DateSerial, TimeSerial, Int, Fix, Sgn, Abs, Round.
// Text functions count characters, not bytes. Dates travel as the canonical
// text "yyyy-mm-dd hh:nn:ss"; Booleans as -1 and 0. LIKE is replaced by a
// matcher that takes Jet's wildcards (* ? # [..]) and ANSI ones (% _) alike
// and ignores case.
#pragma once

struct sqlite3;
struct sqlite3_value;

#include <string>

#include "zmdb/runtime/variant.h"

namespace zmdb::dal::sqlite {

// Register every function above on a connection. Returns SQLITE_OK or the
// first error code.
int RegisterJetFunctions(sqlite3* db);

// The value of an SQL argument as a Variant: NULL is Null, integers Long (or
// Double beyond 32 bits), reals Double, text String, blobs an array of bytes.
rt::Variant ValueOf(sqlite3_value* v);

// The canonical text of a date, as stored in DATETIME columns.
std::string CanonicalDateText(rt::Date d);

// Jet's LIKE: `pattern` with * ? # [a-z] [!a-z] and % _ wildcards, case-insensitive.
bool JetLike(std::string_view text, std::string_view pattern);

}  // namespace zmdb::dal::sqlite
