// The probe statements of the existence tests, built apart from running them.
// Which names are bracketed differs between probes on purpose: only the
// table probe brackets its name.
#pragma once

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
std::string DropTableStatement(std::string_view table);

}  // namespace zmdb::schema
