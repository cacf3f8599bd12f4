// Column types on the file store. A Jet type in DDL becomes one canonical
// SQLite declared type that keeps the Jet type and size and gives SQLite the
// right affinity; reading a column back turns its declared type into the ADO
// type code and defined size that the Jet provider reports.
//
//   Jet DDL type                                   declared type          ADO  size
//   TEXT(n) VARCHAR(n) CHAR(n) ... (n default 255)  VARCHAR(n) COLLATE NOCASE  202  n
//   MEMO LONGTEXT LONGCHAR NOTE                     LONGTEXT COLLATE NOCASE    203  536870910
//   LONG INTEGER INT INTEGER4                       INTEGER                3    4
//   SHORT SMALLINT INTEGER2                         SMALLINT               2    2
//   BYTE TINYINT INTEGER1                           TINYINT                17   1
//   COUNTER AUTOINCREMENT (AutoNumber)              COUNTER (see jetsql.h) 3    4
//   CURRENCY MONEY                                  CURRENCY               6    8
//   SINGLE REAL FLOAT4 IEEESINGLE                   FLOAT4                 4    4
//   DOUBLE FLOAT FLOAT8 NUMBER IEEEDOUBLE           DOUBLE                 5    8
//   DATETIME DATE TIME TIMESTAMP                    DATETIME               7    8
//   YESNO BIT LOGICAL LOGICAL1 BOOLEAN              BIT                    11   2
//   GUID UNIQUEIDENTIFIER                           GUID                   72   16
//   BINARY(n) VARBINARY(n) (n default 510)          BINARY(n)              128  n
//   LONGBINARY OLEOBJECT GENERAL IMAGE              LONGBINARY             205  1073741823
//   DECIMAL(p,s) NUMERIC(p,s) (default 18,0)        DECIMAL(p,s)           131  19
// Text columns compare without regard to case (NOCASE), as Jet's do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zmdb::dal::sqlite {

struct ColumnType {
  std::int32_t adoType = 0;
  std::int32_t definedSize = 0;
  std::int32_t precision = 0;  // DECIMAL only
  std::int32_t scale = 0;      // DECIMAL only
  bool autoNumber = false;
};

// The canonical declared type for a Jet type name with its size arguments
// (size, or precision and scale); no value for a name Jet does not know.
std::optional<std::string> DeclaredTypeForJet(std::string_view jetType,
                                              std::optional<std::int32_t> size = {},
                                              std::optional<std::int32_t> scale = {});

// The ADO type of a declared type as SQLite reports it (sqlite3_column_decltype,
// PRAGMA table_info). Canonical names map by the table above; other declared
// types (files written elsewhere) map by SQLite's affinity rules: INT -> 3,
// CHAR/CLOB/TEXT -> 202 (size 255) or 203, BLOB or none -> 205, REAL/FLOA/DOUB
// -> 5, anything else -> 131.
ColumnType ColumnTypeForDeclared(std::string_view declared);

}  // namespace zmdb::dal::sqlite
