// What an export runs, worked out apart from running it: the export types
// with their list texts, driver prefixes and connect strings, the file
// dialog's settings for a type, and the pieces of the one SELECT ... INTO
// statement that copies a query's rows into the target.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "zmdb/runtime/host.h"

namespace zmdb::files {

// gnDataTypes: the export targets. eDT_NONE is the cancelled choice.
enum gnDataTypes : std::int32_t {
  eDT_NONE = -1,
  eDT_MSACCESS = 0,
  eDT_DBASEIV = 1,
  eDT_DBASEIII = 2,
  eDT_FOXPRO26 = 3,
  eDT_FOXPRO25 = 4,
  eDT_FOXPRO20 = 5,
  eDT_PARADOX4X = 6,
  eDT_PARADOX3X = 7,
  eDT_BTRIEVE = 8,
  eDT_EXCEL50 = 9,
  eDT_EXCEL40 = 10,
  eDT_EXCEL30 = 11,
  eDT_TEXTFILE = 12,
  eDT_SQLDB = 13,
};

// What the INTO target's `database=` names.
enum class TargetPath {
  File,    // the file itself (file store, Btrieve, Excel)
  Folder,  // the file's folder; the table is a file in it
  Prompt,  // nothing: the data source comes from the ODBC prompt
};

struct DataType {
  gnDataTypes value;
  const char* listText;  // as the type dialog lists it
  const char* prefix;    // the INTO target up to its path
  const char* connect;   // connect string for opening the target
  TargetPath path;
};

// The fourteen types in value order (list index = value).
std::span<const DataType> DataTypes();
// The type of `value`, or nullptr for a value outside 0..13.
const DataType* FindDataType(std::int32_t value);
// The dialog's list texts in value order.
std::vector<std::string> DataTypeListTexts();

// The file dialog prepared for `type` under `title`: the type's filter,
// title override, flags and default extension, then filter index 1, no file
// name and cancel-raises-error set. A type without a row keeps the title only.
rt::FileDialogView PrepareFileDialog(std::int32_t type, const std::string& title);
// The dialog the export shows: PrepareFileDialog under "请选择导出的数据文件",
// flags forced back to 4 for every type but 0 and 8, and `defaultFile` as the
// preset file name when it is not empty.
rt::FileDialogView ExportFileDialog(std::int32_t type, const std::string& defaultFile);

// The source table: the text after the first " FROM" (any case), trimmed and
// cut before its first blank. Empty when no blank follows the table name (or
// there is no " FROM"), which only turns the index copy off.
std::string SourceTableName(const std::string& sql);
// The characters from the 8th up to just before the first "FROM" (any case);
// "*" when that is empty. Error 5 when there is no "FROM" or it starts
// before the 8th character.
std::string FieldList(const std::string& sql);
// One blank and the text from the first "FROM" to the end. Error 5 without "FROM".
std::string FromPart(const std::string& sql);
// The text before the last "\" or "/"; "." for a bare name, "/" for a file
// in the root.
std::string FolderOf(const std::string& path);
// The target table: for the folder types the file's base name (after the
// last "\" or "/", up to the first "."), for the others "Output"; "Output"
// when that comes out empty.
std::string TargetTableName(std::int32_t type, const std::string& file);
// The INTO target up to the table name: the type's prefix, the file or its
// folder and "]."; for ODBC "[" + the target database's Connect + "].".
// Error 5 for a type outside 0..13.
std::string IntoTarget(std::int32_t type, const std::string& file,
                       const std::string& odbcConnect = {});
// "SELECT " + field list + " INTO " + target + table + FROM part.
std::string ExportStatement(const std::string& sql, const std::string& intoTarget,
                            const std::string& table);

}  // namespace zmdb::files
