// The schema store on the file store. SQLite's own catalogue holds the tables,
// columns, indexes, foreign keys and views; what it cannot hold (Jet's field
// attributes, AllowZeroLength, descriptions, per-table index names, links,
// action queries, creation dates ...) lives in a hidden system table of the
// same file. Changes SQLite cannot make in place rebuild the table inside one
// transaction. The statements of a rebuild are built apart from running them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/schema_store.h"

namespace zmdb::dal::sqlite {

// The hidden system table; no listing shows it.
inline constexpr std::string_view kSystemTable = "MSysZmdbSchema";

// The condition (on sqlite_master) that leaves out the virtual tables links
// are made of: a link is listed as a link, not as a table.
inline constexpr std::string_view kNotLinkSql =
    "coalesce(sql, '') NOT LIKE 'CREATE VIRTUAL TABLE%'";

// A foreign key of a table as SQLite holds it.
struct ForeignKey {
  std::string refTable;
  std::vector<std::string> columns;     // in the table itself
  std::vector<std::string> refColumns;  // in refTable
  std::int32_t attributes = 0;          // relation cascade bits
};

// Everything a rebuild must reproduce of one table.
struct TableShape {
  schema::TableDef def;
  std::vector<bool> notNull;               // per field: NOT NULL in the table's definition
  std::vector<std::string> indexSqlNames;  // per index: the SQLite name ("" for the primary key)
  std::vector<ForeignKey> foreignKeys;
  std::vector<std::string> otherTriggers;  // trigger texts this store did not generate
  // The seed and step of each AutoNumber numbered by a trigger (1, 1 when absent).
  struct Numbering {
    std::string field;
    std::int64_t seed = 1, step = 1;
  };
  std::vector<Numbering> numbering;
  // The last number a rowid AutoNumber gave out (its sqlite_sequence entry).
  std::optional<std::int64_t> sequence;
};

// The canonical declared type of a DAO field; error 3259 for a type the store
// cannot hold.
std::string DeclaredTypeForDao(const schema::FieldDef& field);
// The SQLite DEFAULT expression for an engine default-value text ("" when none).
std::string DefaultSql(std::string_view defaultValue);

// CREATE TABLE for `shape` under the name `name`.
std::string CreateTableSql(const TableShape& shape, std::string_view name);
// The indexes (other than the primary key) of `shape`, on shape.def.name.
std::vector<std::string> IndexSql(const TableShape& shape);
// The triggers of `shape`: AutoNumber numbering, Null refusal of required
// indexes, the Required and AllowZeroLength rules, then the caller's own.
std::vector<std::string> TriggerSql(const TableShape& shape);
// True for the name of a trigger this store generates for `table`.
bool IsManagedTrigger(std::string_view table, std::string_view trigger);

// The statements that rebuild `from` as `to`: create the new table under a
// temporary name, copy the rows (`copy` pairs an old column with the new one
// it fills), drop the old table, rename, carry a rowid AutoNumber's last
// number over, recreate indexes and triggers.
std::vector<std::string> RebuildSql(const TableShape& from, const TableShape& to,
                                    const std::vector<std::pair<std::string, std::string>>& copy);

// The schema store over an open file-store backend.
std::unique_ptr<schema::SchemaStore> MakeSchemaStore(Backend& backend);

// Set up the links of the database on a connection (run when a file is
// opened): a file link becomes a temporary view of its attached source; a
// link the store cannot read yet becomes a view that raises a clear error.
void AttachLinks(Backend& backend);

// Keep the system table in step with a statement a caller ran: creation and
// modification dates for CREATE/ALTER TABLE, the recorded properties of a
// dropped table removed.
void NoteStatement(Backend& backend, std::string_view jetStatement);

// The recorded creation and modification dates of every table, by name.
struct TableDates {
  std::string name;
  rt::Variant created, modified;
};
std::vector<TableDates> RecordedDates(Backend& backend);
// The names of the links recorded in the database.
std::vector<std::string> LinkNames(Backend& backend);

}  // namespace zmdb::dal::sqlite
