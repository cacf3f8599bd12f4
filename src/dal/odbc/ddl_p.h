// The statements the server store's schema store sends, built apart from
// running them, in each server's dialect, and how a server column reads as a
// DAO field type. Nothing here needs a server.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "types_p.h"
#include "zmdb/dal/backend.h"
#include "zmdb/dal/schema_store.h"

namespace zmdb::dal::odbc {

// The DDL a server speaks: SQL Server (sp_rename, IDENTITY, nvarchar),
// PostgreSQL (ALTER ... RENAME, serial, COMMENT ON), or plain SQL for the
// other drivers (SQLite's ALTER TABLE ... RENAME).
enum class Dialect { SqlServer, Postgres, Plain };

Dialect DialectOf(DriverFamily family);
const char* DialectName(Dialect dialect);

// Writes names and statements for one dialect with the driver's quote.
class Ddl {
 public:
  Ddl(Dialect dialect, Quirks quirks) : dialect_(dialect), quirks_(std::move(quirks)) {}
  Dialect dialect() const { return dialect_; }

  // The name a new object is given: PostgreSQL folds a plain identifier to
  // lower case, exactly as it does an unquoted name, so that statements
  // callers write without quotes reach the same object. Existing objects
  // are named as the catalogue spells them.
  std::string Stored(std::string_view name) const;
  // The name a new index of `table` is given, and an index's own name read
  // back. Where an index's name belongs to the schema, not the table (every
  // index on PostgreSQL, a primary key's constraint on SQL Server), it is
  // stored as table + "__" + name and the prefix taken off again. The double
  // underscore keeps names the server gave itself ("staff_pkey",
  // "staff_name_idx") as they are.
  static constexpr std::string_view kIndexNameJoint = "__";
  std::string IndexName(std::string_view table, std::string_view index, bool primary) const;
  std::string IndexNameRead(std::string_view table, std::string_view stored, bool primary) const;
  // A name quoted with the driver's quote, as given.
  std::string Name(std::string_view name) const;

  // The column type of a DAO field; error 3259 naming the type for one the
  // server cannot hold.
  std::string ColumnType(const schema::FieldDef& field) const;
  // "name type [NOT NULL] [DEFAULT value]": a default only when it is a
  // literal, True/False or a date function, which the server's text gives.
  std::string Column(const schema::FieldDef& field) const;

  // CREATE TABLE with the fields and the primary key (the other indexes are
  // made by CreateIndex after it).
  std::string CreateTable(const schema::TableDef& table) const;
  std::string DropTable(std::string_view table) const;
  std::string RenameTable(std::string_view from, std::string_view to) const;
  std::string AddColumn(std::string_view table, const schema::FieldDef& field) const;
  std::string DropColumn(std::string_view table, std::string_view field) const;
  std::string RenameColumn(std::string_view table, std::string_view from,
                           std::string_view to) const;
  // A primary index becomes a PRIMARY KEY constraint of that name.
  std::string CreateIndex(std::string_view table, const schema::IndexDef& index) const;
  std::string DropIndex(std::string_view table, const schema::IndexDef& index) const;
  std::string CreateView(std::string_view name, std::string_view select) const;
  std::string DropView(std::string_view name) const;
  std::string RenameView(std::string_view from, std::string_view to) const;
  std::string AddForeignKey(const schema::RelationDef& relation) const;
  std::string DropConstraint(std::string_view table, std::string_view name) const;
  // COMMENT ON TABLE / COLUMN (PostgreSQL only; `field` empty for the
  // table); an empty text removes the comment.
  std::string Comment(std::string_view table, std::string_view field, std::string_view text) const;

 private:
  std::string Literal(std::string_view text) const;
  bool SchemaWideName(bool primary) const;
  Dialect dialect_;
  Quirks quirks_;
};

// The DAO type, size and attributes of a server column as the driver
// describes it in its catalogue (SQLColumns' DATA_TYPE, TYPE_NAME,
// COLUMN_SIZE, DECIMAL_DIGITS and COLUMN_DEF).
schema::FieldDef FieldOfColumn(const ColumnDescription& column, std::string_view defaultText);

}  // namespace zmdb::dal::odbc
