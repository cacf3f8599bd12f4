// The statements the schema methods run, built apart from running them.
// Which names are bracketed differs between statements on purpose: only the
// table probe and the table drops bracket their names.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace zmdb::schema {

// The library's primary-key index name: "pk_" + table.
std::string PrimaryKeyName(std::string_view table);
// A view on SQL Server, looked up in INFORMATION_SCHEMA.VIEWS.
std::string ViewProbeStatement(std::string_view view);
// A saved query through a connection: "SELECT TOP 1 * FROM q" (not bracketed).
std::string QueryProbeStatement(std::string_view query);
// A table through a connection: "SELECT TOP 1 * FROM [t]".
std::string TableProbeStatement(std::string_view table);
// A field through a connection: "SELECT TOP 1 f FROM t" (neither bracketed).
std::string FieldProbeStatement(std::string_view table, std::string_view field);
// An index on SQL Server, by name over the whole database (sysindexes).
std::string IndexProbeStatement(std::string_view index);

// ---- Tables and renames ----

// The source name of a linked table: "dbo." + table.
std::string LinkSourceName(std::string_view table);
// The unique index that makes a keyless link updatable: "CREATE UNIQUE INDEX
// __uniqueindex ON t(cols) WITH DISALLOW NULL;" (the table name unbracketed,
// the column list as given).
std::string VirtualIndexStatement(std::string_view table, std::string_view columns);
// "DROP TABLE dbo.[t]" on SQL Server, else "DROP TABLE [t]".
std::string DropTableStatement(std::string_view table, bool sqlServer);

// The server's rename procedure and its three argument values, in order.
inline constexpr std::string_view kRenameProcedure = "sp_rename";
using RenameArguments = std::array<std::string, 3>;
// A table: "dbo." + old, new, "object".
RenameArguments TableRenameArguments(std::string_view oldName, std::string_view newName);
// A column: "dbo." + table + ".[" + old + "]", new, "column".
RenameArguments ColumnRenameArguments(std::string_view table, std::string_view oldName,
                                      std::string_view newName);

// Field and query statements. Names are not bracketed: a name that needs
// brackets makes the statement fail, as callers expect.
// "ALTER TABLE t DROP COLUMN f".
std::string DropColumnStatement(std::string_view table, std::string_view field);
// "CREATE VIEW dbo.q AS sql" (SQL Server).
std::string CreateViewStatement(std::string_view view, std::string_view sql);
// "DROP VIEW dbo.q" (SQL Server).
std::string DropViewStatement(std::string_view view);
// "CREATE TABLE q AS sql": a query kept as a table on other connections.
std::string CreateTableAsStatement(std::string_view table, std::string_view sql);
// "DROP TABLE q".
std::string DropQueryTableStatement(std::string_view table);

// Catalogue listings on a server, valid on every server (names unbracketed).
// "SELECT * FROM t WHERE 1=0": the table's columns without its rows.
std::string ColumnsStatement(std::string_view table);
// "SELECT COUNT(*) FROM t".
std::string RowCountStatement(std::string_view table);

}  // namespace zmdb::schema
