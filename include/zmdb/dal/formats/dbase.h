// Writers of dBase and FoxPro tables: a .dbf file of fixed-width records and,
// when the result has long text, a memo file beside it (.dbt for dBase, .fpt
// for FoxPro) that the table's M fields point into by block number.
#pragma once

#include <memory>
#include <string>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

// The table formats the writer produces. They share the record layout and
// differ in the version byte, the numeric types and the memo file:
//   dBaseIII  version 0x03, 0x83 with memo; .dbt of 512-byte blocks, each
//             memo ended by 0x1A 0x1A; no F type, doubles go to N.
//   dBaseIV   version 0x03, 0x8B with memo; .dbt of 512-byte blocks, each
//             memo behind an 8-byte header that holds its length.
//   FoxPro20/25/26  version 0x03, 0xF5 with memo; .fpt with 64-byte blocks
//             and big-endian headers. The three write the same bytes.
enum class DbfFlavour { dBaseIII, dBaseIV, FoxPro20, FoxPro25, FoxPro26 };

// Creates (or replaces) the table `path` (a .dbf file; its memo file takes the
// same name with .dbt or .fpt). The table declares options.codePage through
// its language-driver byte; a code page without a driver id raises a
// PlatformError, as does a folder that does not exist or a file that cannot
// be written.
//
// Columns map to fields so (width and decimals in brackets):
//   text up to 254 bytes           C(size in bytes: characters x 2 in the
//                                  double-byte code pages 932/936/949/950,
//                                  at most 254)
//   text longer, long text, size 0 M (memo)
//   whole numbers                  N(digits of the type's range, 0)
//   currency                       N(20, 4)
//   decimal, numeric               N(precision + sign and point, scale)
//   single, double                 F(20, 8); N(19, 8) in dBase III
//   Boolean                        L: T / F
//   date, timestamp                D: YYYYMMDD (the time of day is dropped)
//   time                           C(8): hh:nn:ss
//   GUID                           C(38)
//   binary                         M holding the bytes as hexadecimal text
// Nulls are blanks (C, N, F, D, M without a block) and "?" in L fields.
// Field names are the column names in the code page: ASCII letters
// upper-cased; other ASCII characters but digits and "_", and characters the
// code page lacks, turned into "_"; an "F" put before a name that starts with
// a digit or "_"; cut to 10 bytes without splitting a character. A name
// already taken gets "_2", "_3", ... in place of its last characters.
std::unique_ptr<TableWriter> OpenDbaseWriter(const std::string& path, DbfFlavour flavour,
                                             const WriterOptions& options = {});

}  // namespace zmdb::dal::formats
