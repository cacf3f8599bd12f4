// The installable drivers (foreign_p.h): SELECT ... INTO a foreign target
// streams the source's rows into the format writer the driver names, and a
// database opened through a driver lists and deletes its table files.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "foreign_p.h"
#include "zmdb/dal/engine_errors.h"
#include "zmdb/dal/formats/dbase.h"
#include "zmdb/dal/formats/excel.h"
#include "zmdb/dal/formats/paradox.h"
#include "zmdb/dal/formats/targets.h"
#include "zmdb/dal/formats/text.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::dao {

namespace {

namespace fs = std::filesystem;
using rt::NameEquals;

// Rows between two progress reports.
constexpr std::int64_t kProgressEvery = 1000;

// The file of a table in a folder database and the files that go with it.
struct TableFiles {
  std::string_view extension;
  std::vector<std::string_view> companions;
};

TableFiles FilesOf(ForeignDriver driver) {
  switch (driver) {
    case ForeignDriver::Paradox3:
    case ForeignDriver::Paradox4:
      return {".db", {".mb", ".px"}};
    case ForeignDriver::Text:
      return {".txt", {}};
    default:
      return {".dbf", {".dbt", ".fpt"}};
  }
}

// The file name of table `table`: "#" stands for "." ("staff#txt"), and the
// format's extension is added unless the name has it.
std::string TableFileName(ForeignDriver driver, std::string table) {
  std::replace(table.begin(), table.end(), '#', '.');
  const std::string_view ext = FilesOf(driver).extension;
  if (!rt::EndsWithNoCase(table, ext)) table += ext;
  return table;
}

// The file of `folder` named `name` without regard to case, if any.
std::optional<fs::path> FindFile(const fs::path& folder, const std::string& name) {
  std::error_code ec;
  if (fs::is_regular_file(folder / name, ec)) return folder / name;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    if (it->is_regular_file(ec) && NameEquals(it->path().filename().string(), name)) {
      return it->path();
    }
  }
  return std::nullopt;
}

// Raises 3170 for a driver no writer answers to.
void RequireWriter(ForeignDriver driver) {
  if (driver == ForeignDriver::Btrieve) {
    rt::RaiseDetailed(rt::err::kInstallableIsam, "no writer exists for Btrieve files");
  }
  if (driver == ForeignDriver::Unknown) {
    rt::RaiseDetailed(rt::err::kInstallableIsam, "no driver answers to this connect prefix");
  }
}

// Refuses a target that exists already: 3010 for the table file or the sheet.
// A workbook that exists without the sheet is refused too, since the writer
// makes a new workbook and would lose the sheets already there.
void RefuseExistingTarget(const ForeignInto& into) {
  if (IsFolderDriver(into.driver)) {
    if (FindFile(into.database, TableFileName(into.driver, into.table))) {
      engerr::TableExists(into.table);
    }
    return;
  }
  std::error_code ec;
  if (into.driver != ForeignDriver::Excel || !fs::exists(into.database, ec)) return;
  for (const std::string& sheet : formats::WorkbookSheets(into.database)) {
    if (NameEquals(sheet, into.table)) engerr::TableExists(into.table);
  }
  rt::RaiseDetailed(rt::err::kInvalidOperation,
                    "the workbook " + into.database + " exists; a sheet cannot be added to it");
}

formats::DbfFlavour FlavourOf(ForeignDriver driver) {
  switch (driver) {
    case ForeignDriver::DbaseIII:
      return formats::DbfFlavour::dBaseIII;
    case ForeignDriver::FoxPro20:
      return formats::DbfFlavour::FoxPro20;
    case ForeignDriver::FoxPro25:
      return formats::DbfFlavour::FoxPro25;
    case ForeignDriver::FoxPro26:
      return formats::DbfFlavour::FoxPro26;
    default:
      return formats::DbfFlavour::dBaseIV;
  }
}

// The writer of the target `into` names.
std::unique_ptr<formats::TableWriter> OpenTarget(const ForeignInto& into,
                                                 const formats::WriterOptions& options) {
  const fs::path file = fs::path(into.database) / TableFileName(into.driver, into.table);
  switch (into.driver) {
    case ForeignDriver::FileStore:
      return formats::OpenFileStoreWriter(into.database, into.password, into.table, options);
    case ForeignDriver::Odbc:
      // The connect text without its "ODBC;" is the data source's connection string.
      return formats::OpenOdbcWriter(into.connect.substr(into.connect.find(';') + 1), into.table,
                                     options);
    case ForeignDriver::Excel:
      return formats::OpenExcelWriter(into.database, options, into.table);
    case ForeignDriver::Text:
      return formats::OpenTextWriter(into.database, file.filename().string(), options);
    case ForeignDriver::Paradox3:
    case ForeignDriver::Paradox4:
      return formats::OpenParadoxWriter(file.string(),
                                        into.driver == ForeignDriver::Paradox3
                                            ? formats::ParadoxVersion::v3
                                            : formats::ParadoxVersion::v4,
                                        options);
    default:
      return formats::OpenDbaseWriter(file.string(), FlavourOf(into.driver), options);
  }
}

}  // namespace

void CheckForeignDatabase(ForeignDriver driver, const std::string& path) {
  RequireWriter(driver);
  if (driver == ForeignDriver::FileStore || driver == ForeignDriver::Odbc) return;
  const fs::path folder = IsFolderDriver(driver) ? fs::path(path) : fs::path(path).parent_path();
  std::error_code ec;
  if (path.empty() || (!folder.empty() && !fs::is_directory(folder, ec))) {
    rt::RaiseStandard(rt::err::kNotValidPath, nullptr, folder.string());
  }
}

std::int64_t WriteForeignInto(Backend& source, const ForeignInto& into) {
  CheckForeignDatabase(into.driver, into.database);
  RefuseExistingTarget(into);
  formats::WriterOptions options;
  if (into.codePage != 0) options.codePage = into.codePage;

  // The source runs first, so a statement that fails touches no target.
  Result result = source.Execute(into.select);
  if (!result.cursor) rt::RaiseStandard(rt::err::kInvalidOperation);
  Cursor& cursor = *result.cursor;
  const std::vector<ColumnInfo>& info = cursor.columns();
  std::vector<formats::Column> columns;
  columns.reserve(info.size());
  for (const ColumnInfo& c : info) {
    columns.push_back({c.name, c.adoType, c.definedSize, c.precision, c.scale});
  }

  std::unique_ptr<formats::TableWriter> writer = OpenTarget(into, options);
  writer->Begin(columns);
  // One row at a time through a one-row store, which turns the cells into
  // values of their columns' types as a recordset would.
  RowStore row(info);
  std::vector<rt::Variant> values(info.size());
  std::int64_t written = 0;
  while (cursor.Step()) {
    row.AppendFrom(cursor);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = row.Get(0, i);
    row.Clear();
    writer->Row(values);
    if (++written % kProgressEvery == 0) formats::NotifyRowsWritten(written);
  }
  writer->Finish();
  formats::NotifyRowsWritten(written);
  return written;
}

std::vector<std::string> ForeignTables(const ForeignFolder& folder) {
  if (!folder.open) engerr::ObjectInvalid();
  std::error_code ec;
  if (folder.driver == ForeignDriver::Excel) {
    if (!fs::exists(folder.path, ec)) return {};
    return formats::WorkbookSheets(folder.path);
  }
  const std::string_view ext = FilesOf(folder.driver).extension;
  std::vector<std::string> names;
  for (fs::directory_iterator it(folder.path, ec), end; !ec && it != end; it.increment(ec)) {
    const fs::path& p = it->path();
    if (it->is_regular_file(ec) && NameEquals(p.extension().string(), ext)) {
      names.push_back(p.stem().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

void DeleteForeignTable(const ForeignFolder& folder, const std::string& name) {
  if (!folder.open) engerr::ObjectInvalid();
  std::error_code ec;
  if (folder.driver == ForeignDriver::Excel) {
    // A workbook written here holds one table, its rows going on into
    // "<name>_2", "<name>_3" ...: deleting the table deletes the workbook.
    const std::vector<std::string> sheets = ForeignTables(folder);
    if (std::none_of(sheets.begin(), sheets.end(),
                     [&](const std::string& s) { return NameEquals(s, name); })) {
      engerr::ItemNotFound("DAO.TableDefs");
    }
    for (const std::string& s : sheets) {
      if (!NameEquals(s, name) && !(s.size() > name.size() + 1 &&
                                    NameEquals(std::string_view(s).substr(0, name.size()), name) &&
                                    s[name.size()] == '_')) {
        rt::RaiseDetailed(rt::err::kInvalidOperation,
                          "the workbook holds other sheets; one cannot be taken out of it");
      }
    }
    fs::remove(folder.path, ec);
    return;
  }
  const std::optional<fs::path> file = FindFile(folder.path, TableFileName(folder.driver, name));
  if (!file) engerr::ItemNotFound("DAO.TableDefs");
  if (!fs::remove(*file, ec) || ec) {
    rt::Raise(rt::err::kPathFileAccess, "Cannot delete " + file->string() + ": " + ec.message());
  }
  for (std::string_view companion : FilesOf(folder.driver).companions) {
    const std::string other = file->stem().string() + std::string(companion);
    if (auto found = FindFile(folder.path, other)) fs::remove(*found, ec);
  }
  if (folder.driver == ForeignDriver::Text) {
    formats::RemoveSchemaEntry(folder.path, file->filename().string());
  }
}

}  // namespace zmdb::dal::dao
