#include "zmdb/files/export_plan.h"

#include <array>

#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/text.h"

namespace zmdb::files {

namespace {

constexpr std::array<DataType, 14> kTypes{{
    {eDT_MSACCESS, "Access MDB", "[;database=", "", TargetPath::File},
    {eDT_DBASEIV, "Dbase IV", "[dBase IV;database=", "Dbase IV;", TargetPath::Folder},
    {eDT_DBASEIII, "Dbase III", "[dBase III;database=", "Dbase III;", TargetPath::Folder},
    {eDT_FOXPRO26, "FoxPro 2.6", "[FoxPro 2.6;database=", "FoxPro 2.6;", TargetPath::Folder},
    {eDT_FOXPRO25, "FoxPro 2.5", "[FoxPro 2.5;database=", "FoxPro 2.5;", TargetPath::Folder},
    {eDT_FOXPRO20, "FoxPro 2.0", "[FoxPro 2.0;database=", "FoxPro 2.0;", TargetPath::Folder},
    {eDT_PARADOX4X, "Paradox 4.X", "[Paradox 4.X;database=", "Paradox 4.X;", TargetPath::Folder},
    {eDT_PARADOX3X, "Paradox 3.X", "[Paradox 3.X;database=", "Paradox 3.X;", TargetPath::Folder},
    {eDT_BTRIEVE, "Btrieve", "[Btrieve;database=", "Btrieve;", TargetPath::File},
    // The three Excel entries share the Excel 5.0 driver: 4.0 and 3.0 are
    // offered but written as Excel 5.0.
    {eDT_EXCEL50, "Excel 5.0", "[Excel 5.0;database=", "Excel 5.0;", TargetPath::File},
    {eDT_EXCEL40, "Excel 4.0", "[Excel 5.0;database=", "Excel 5.0;", TargetPath::File},
    {eDT_EXCEL30, "Excel 3.0", "[Excel 5.0;database=", "Excel 5.0;", TargetPath::File},
    {eDT_TEXTFILE, "Text", "[Text;database=", "Text;", TargetPath::Folder},
    {eDT_SQLDB, "ODBC", "[", "odbc;", TargetPath::Prompt},
}};

// The file dialog's settings by type range.
struct DialogRow {
  std::int32_t first, last;
  const char* filter;
  const char* title;  // the override, or nullptr to keep the given title
  int flags;
  const char* defaultExt;
};

constexpr std::array<DialogRow, 6> kDialogs{{
    {0, 0, "Microsoft Access (*.mdb)|*.mdb|所有文件(*.*)|*.*", "选择 Microsoft Access 数据库", 4,
     "mdb"},
    {1, 5, "Xbase (*.dbf)|*.dbf", nullptr, 6, "dbf"},
    {6, 7, "Paradox (*.db)|*.db", nullptr, 6, "db"},
    {8, 8, "Btrieve (FILE.DDF)|FILE.DDF", nullptr, 4, "DDF"},
    {9, 11, "Excel (*.xls)|*.xls", nullptr, 6, "xls"},
    {12, 12, "文本文件(*.txt)|*.txt|所有文件(*.*)|*.*", "选择文本文件", 6, "txt"},
}};

constexpr const char* kExportDialogTitle = "请选择导出的数据文件";
constexpr int kHideReadOnly = 4;

std::string TrimBlanks(const std::string& s) {
  const auto first = s.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return s.substr(first, s.find_last_not_of(' ') - first + 1);
}

// Byte offset of the first "FROM" in any case, or npos.
std::size_t FindFrom(const std::string& sql) {
  return rt::AsciiUpper(sql).find("FROM");
}

// The number of characters before byte `offset` of `s`.
std::size_t CharsBefore(const std::string& s, std::size_t offset) {
  std::size_t chars = 0;
  for (std::size_t i = 0; i < offset;) {
    rt::NextCodePoint(s, i);
    ++chars;
  }
  return chars;
}

// The byte offset of character `index` (from 0) of `s`, or s.size().
std::size_t ByteOfChar(const std::string& s, std::size_t index) {
  std::size_t i = 0;
  for (std::size_t n = 0; n < index && i < s.size(); ++n) rt::NextCodePoint(s, i);
  return i;
}

// The text after the last "\" or "/" of a path.
std::string NameOf(const std::string& path) {
  const auto slash = path.find_last_of("\\/");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::span<const DataType> DataTypes() {
  return kTypes;
}

const DataType* FindDataType(std::int32_t value) {
  if (value < 0 || value >= static_cast<std::int32_t>(kTypes.size())) return nullptr;
  return &kTypes[static_cast<std::size_t>(value)];
}

std::vector<std::string> DataTypeListTexts() {
  std::vector<std::string> texts;
  for (const DataType& t : kTypes) texts.emplace_back(t.listText);
  return texts;
}

rt::FileDialogView PrepareFileDialog(std::int32_t type, const std::string& title) {
  rt::FileDialogView view;
  view.title = title;
  for (const DialogRow& row : kDialogs) {
    if (type < row.first || type > row.last) continue;
    view.filter = row.filter;
    if (row.title) view.title = row.title;
    view.flags = row.flags;
    view.defaultExt = row.defaultExt;
  }
  view.filterIndex = 1;
  view.fileName.clear();
  view.cancelError = true;
  return view;
}

rt::FileDialogView ExportFileDialog(std::int32_t type, const std::string& defaultFile) {
  rt::FileDialogView view = PrepareFileDialog(type, kExportDialogTitle);
  // Every type but Access and Btrieve goes back to hiding the read-only
  // option without the overwrite prompt.
  if (type != eDT_MSACCESS && type != eDT_BTRIEVE) view.flags = kHideReadOnly;
  if (!defaultFile.empty()) view.fileName = defaultFile;
  return view;
}

std::string SourceTableName(const std::string& sql) {
  const auto from = rt::AsciiUpper(sql).find(" FROM");
  if (from == std::string::npos) return {};
  const std::string rest = TrimBlanks(sql.substr(from + 5));
  const auto blank = rest.find(' ');
  if (blank == std::string::npos) return {};
  return TrimBlanks(rest.substr(0, blank));
}

std::string FieldList(const std::string& sql) {
  const auto from = FindFrom(sql);
  constexpr std::size_t kListStart = 7;  // the 8th character, after "SELECT "
  if (from == std::string::npos || CharsBefore(sql, from) < kListStart) {
    rt::RaiseDetailed(rt::err::kInvalidProcCall,
                      "the statement has no field list before a FROM: " + sql);
  }
  const std::size_t start = ByteOfChar(sql, kListStart);
  std::string list = sql.substr(start, from - start);
  return list.empty() ? std::string("*") : list;
}

std::string FromPart(const std::string& sql) {
  const auto from = FindFrom(sql);
  if (from == std::string::npos) {
    rt::RaiseDetailed(rt::err::kInvalidProcCall, "the statement has no FROM: " + sql);
  }
  return " " + sql.substr(from);
}

std::string FolderOf(const std::string& path) {
  const auto slash = path.find_last_of("\\/");
  if (slash == std::string::npos) return ".";
  if (slash == 0) return path.substr(0, 1);
  return path.substr(0, slash);
}

std::string TargetTableName(std::int32_t type, const std::string& file) {
  const DataType* t = FindDataType(type);
  std::string name;
  if (t && t->path == TargetPath::Folder) {
    name = NameOf(file);
    name = name.substr(0, name.find('.'));
  }
  return name.empty() ? std::string("Output") : name;
}

std::string IntoTarget(std::int32_t type, const std::string& file, const std::string& odbcConnect) {
  const DataType* t = FindDataType(type);
  if (!t) {
    rt::RaiseDetailed(rt::err::kInvalidProcCall,
                      "no export type has the value " + std::to_string(type));
  }
  switch (t->path) {
    case TargetPath::File:
      return t->prefix + file + "].";
    case TargetPath::Folder:
      return t->prefix + FolderOf(file) + "].";
    case TargetPath::Prompt:
      break;
  }
  return t->prefix + odbcConnect + "].";
}

std::string ExportStatement(const std::string& sql, const std::string& intoTarget,
                            const std::string& table) {
  return "SELECT " + FieldList(sql) + " INTO " + intoTarget + table + FromPart(sql);
}

}  // namespace zmdb::files
