// Statements of the existence probes and of the table and field methods.
#include "zmdb/schema/statements.h"

#include <fmt/format.h>

namespace zmdb::schema {

std::string PrimaryKeyName(std::string_view table) {
  return fmt::format("pk_{}", table);
}

std::string ViewProbeStatement(std::string_view view) {
  return fmt::format("SELECT TABLE_NAME FROM INFORMATION_SCHEMA.VIEWS WHERE TABLE_NAME ='{}'",
                     view);
}

std::string QueryProbeStatement(std::string_view query) {
  return fmt::format("SELECT TOP 1 * FROM {}", query);
}

std::string TableProbeStatement(std::string_view table) {
  return fmt::format("SELECT TOP 1 * FROM [{}]", table);
}

std::string FieldProbeStatement(std::string_view table, std::string_view field) {
  return fmt::format("SELECT TOP 1 {} FROM {}", field, table);
}

std::string IndexProbeStatement(std::string_view index) {
  return fmt::format("SELECT name FROM sysindexes WHERE name = '{}'", index);
}

std::string LinkSourceName(std::string_view table) {
  return fmt::format("dbo.{}", table);
}

std::string VirtualIndexStatement(std::string_view table, std::string_view columns) {
  return fmt::format("CREATE UNIQUE INDEX __uniqueindex ON {}({}) WITH DISALLOW NULL;", table,
                     columns);
}

std::string DropTableStatement(std::string_view table, bool sqlServer) {
  return fmt::format("DROP TABLE {}[{}]", sqlServer ? "dbo." : "", table);
}

RenameArguments TableRenameArguments(std::string_view oldName, std::string_view newName) {
  return {fmt::format("dbo.{}", oldName), std::string(newName), "object"};
}

RenameArguments ColumnRenameArguments(std::string_view table, std::string_view oldName,
                                      std::string_view newName) {
  return {fmt::format("dbo.{}.[{}]", table, oldName), std::string(newName), "column"};
}

std::string DropColumnStatement(std::string_view table, std::string_view field) {
  return fmt::format("ALTER TABLE {} DROP COLUMN {}", table, field);
}

std::string CreateViewStatement(std::string_view view, std::string_view sql) {
  return fmt::format("CREATE VIEW dbo.{} AS {}", view, sql);
}

std::string DropViewStatement(std::string_view view) {
  return fmt::format("DROP VIEW dbo.{}", view);
}

std::string CreateTableAsStatement(std::string_view table, std::string_view sql) {
  return fmt::format("CREATE TABLE {} AS {}", table, sql);
}

std::string DropQueryTableStatement(std::string_view table) {
  return fmt::format("DROP TABLE {}", table);
}

std::string ColumnsStatement(std::string_view table) {
  return fmt::format("SELECT * FROM {} WHERE 1=0", table);
}

std::string RowCountStatement(std::string_view table) {
  return fmt::format("SELECT COUNT(*) FROM {}", table);
}

}  // namespace zmdb::schema
