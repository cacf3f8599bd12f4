// SELECT ... INTO a foreign target: the statement form the data engine runs
// through its installable drivers rather than the store,
//   SELECT <fields> INTO [<driver>;database=<path>].<table> FROM ...
// and the drivers it knows by their connect prefix ("dBase IV;", "Text;",
// "ODBC;DRIVER=...", ";database=file" for a file-store file ...).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zmdb::dal::dao {

// The installable drivers, by the target they write.
enum class ForeignDriver {
  FileStore,  // "" : a file-store file
  DbaseIII,
  DbaseIV,
  FoxPro20,
  FoxPro25,
  FoxPro26,
  Paradox3,
  Paradox4,
  Btrieve,
  Excel,  // "Excel 3.0", "Excel 4.0", "Excel 5.0" ...: all written as Excel 5.0
  Text,
  Odbc,
  Unknown,  // a prefix no driver answers to
};

// The driver a connect prefix names ("dBase IV", "paradox 4.x", "ODBC" ...;
// without regard to case or surrounding blanks).
ForeignDriver DriverNamed(std::string_view prefix);

// The driver of a connect string as OpenDatabase receives it ("Dbase IV;",
// "Excel 5.0;HDR=YES", "ODBC;DSN=..."); nullopt for the file store's own
// (empty, ";PWD=..." or "MS Access;...").
std::optional<ForeignDriver> DriverOfConnect(std::string_view connect);

// True for the drivers whose database is a folder holding one file per table.
bool IsFolderDriver(ForeignDriver driver);

// What a SELECT ... INTO [<driver>;...].<table> statement asks for.
struct ForeignInto {
  ForeignDriver driver = ForeignDriver::Unknown;
  std::string driverName;  // as written, trimmed ("dBase IV")
  std::string connect;     // the whole text between the brackets
  std::string database;    // the value of "database=" (a file or a folder)
  std::string password;    // the value of "PWD=" ("" when none)
  int codePage = 0;        // the value of "CodePage=" (0: the writer's default)
  std::string table;       // the target table, without brackets
  std::string select;      // the statement with its INTO clause taken out
};

// The foreign target of `statement`, or nullopt when it is not a SELECT whose
// INTO names a bracketed connect prefix (a plain "SELECT ... INTO t" or
// "INTO [My Table]" is the store's own). Brackets around field names and
// quoted literals are skipped while looking for INTO.
std::optional<ForeignInto> ParseForeignInto(std::string_view statement);

}  // namespace zmdb::dal::dao
