// What the schema methods say only to SQL Server: the index statements on
// schema dbo, built apart from running them, and the reading of the index
// help procedure's rows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::schema {

// The index help procedure for one table: "sp_MShelpindex 'dbo.T', NULL, 1".
std::string IndexHelpStatement(std::string_view table);

// The key columns of "ID, Name" (split at ","; blank parts dropped; each
// kept as written) and their key list "[ID],[Name]".
std::vector<std::string> KeyColumns(std::string_view fields);
std::string KeyList(const std::vector<std::string>& columns);

// The column type text of a CREATE or ALTER statement: " [word] " for the
// types that take no size, else " [word] (size) ". The words compare exactly
// as the type vocabulary writes them.
std::string ColumnTypeText(std::string_view typeWord, std::int32_t definedSize);

// The statements that force a primary key onto a table that has rows: per
// key column the rows with a Null key are deleted and the column made NOT
// NULL (with `typeTexts[i]`, its ColumnTypeText), then the named constraint
// is added without checking the rows already there.
std::vector<std::string> PrimaryKeyStatements(std::string_view table, std::string_view name,
                                              const std::vector<std::string>& columns,
                                              const std::vector<std::string>& typeTexts,
                                              bool clustered, std::string_view group);
// The constraint alone: "ALTER TABLE [dbo].T WITH NOCHECK ADD CONSTRAINT [n]
// PRIMARY KEY CLUSTERED([ID]) ON [PRIMARY]".
std::string AddPrimaryKeyStatement(std::string_view table, std::string_view name,
                                   const std::vector<std::string>& columns, bool clustered,
                                   std::string_view group);
// Any other index; no UNIQUE keyword is ever written on this path.
std::string CreateIndexStatement(std::string_view table, std::string_view name,
                                 const std::vector<std::string>& columns, bool clustered,
                                 std::string_view group);
// "DROP INDEX dbo.T.name", and the retry for an index that is a constraint.
std::string DropIndexStatement(std::string_view table, std::string_view name);
std::string DropConstraintStatement(std::string_view table, std::string_view name);

// One row of the index help procedure as an index record: Name, the non-empty
// IndCol1..IndCol16 joined with ",", SegName as the group, and Unique,
// Primary and Clustered from the Status bits 2, 2048 and 16 (Required and
// IgnoreNulls stay False). `rs` is a recordset positioned on the row.
rt::Record IndexRecordFromHelpRow(const rt::Variant& rs);

}  // namespace zmdb::schema

namespace zmdb::schema {

// The type text of column `field` of `table` as the server reports it
// through `conn` (a one-row query; its ADO type named by the type
// vocabulary, and its defined size). Errors of the query reach the caller.
std::string FieldSqlStr(const rt::Variant& conn, std::string_view table, std::string_view field);

}  // namespace zmdb::schema
