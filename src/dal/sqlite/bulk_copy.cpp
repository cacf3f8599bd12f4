// See bulk_copy_p.h.
#include "bulk_copy_p.h"

#include <fmt/format.h>

#include "coltypes_p.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text.h"

namespace zmdb::dal::sqlite {

namespace {

std::string Bracketed(std::string_view name) {
  return fmt::format("[{}]", name);
}

std::string CellText(Cursor& cursor, std::size_t column) {
  return std::string(cursor.Text(column));
}

}  // namespace

std::optional<std::string> BulkCopyStatement(const BulkCopy& copy, std::string_view alias,
                                             const std::vector<CopyColumn>& from,
                                             const std::vector<CopyColumn>& to) {
  std::string targets, sources;
  for (const CopyColumn& t : to) {
    if (t.counter) continue;
    for (const CopyColumn& f : from) {
      if (!rt::NameEquals(f.name, t.name)) continue;
      if (!rt::NameEquals(f.declared, t.declared)) return std::nullopt;
      targets += (targets.empty() ? "" : ", ") + Bracketed(t.name);
      sources += (sources.empty() ? "" : ", ") + Bracketed(f.name);
      break;
    }
  }
  if (targets.empty()) return std::nullopt;
  std::string statement =
      fmt::format("INSERT INTO {} ({}) SELECT {} FROM {}.{}", Bracketed(copy.targetTable), targets,
                  sources, Bracketed(alias), Bracketed(copy.sourceTable));
  if (!copy.condition.empty()) statement += " WHERE " + copy.condition;
  return statement;
}

std::vector<CopyColumn> BaseTableColumns(Backend& backend, const std::string& alias,
                                         const std::string& table) {
  std::vector<CopyColumn> columns;
  Result kind = backend.ExecuteNative(
      fmt::format("SELECT sql FROM \"{}\".sqlite_master WHERE type = 'table' AND name = ? "
                  "COLLATE NOCASE",
                  alias),
      {rt::Variant(table)});
  if (!kind.cursor || !kind.cursor->Step()) return columns;
  // A table written elsewhere may number its rows with SQLite's own
  // AUTOINCREMENT, which its declared types do not show: such a table is
  // copied row by row, where the column's description tells.
  if (rt::AsciiUpper(CellText(*kind.cursor, 0)).find("AUTOINCREMENT") != std::string::npos) {
    return columns;
  }
  Result info = backend.ExecuteNative("SELECT name, type FROM pragma_table_info(?, ?)",
                                      {rt::Variant(table), rt::Variant(alias)});
  while (info.cursor && info.cursor->Step()) {
    CopyColumn c;
    c.name = CellText(*info.cursor, 0);
    c.declared = CellText(*info.cursor, 1);
    c.counter = ColumnTypeForDeclared(c.declared).autoNumber;
    columns.push_back(std::move(c));
  }
  return columns;
}

}  // namespace zmdb::dal::sqlite
