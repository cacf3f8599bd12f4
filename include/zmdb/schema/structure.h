// A table's structure as the structure methods carry it between stores: its
// fields (ADO type codes, as a recordset over the table reports them) and its
// indexes, and the server statements that build it. Everything here is pure:
// nothing runs a statement.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zmdb/runtime/variant.h"

namespace zmdb::schema {

// One field: the members of the field-structure record.
struct FieldStructure {
  std::string name;
  std::int32_t type = 202;  // ADO type code
  std::int32_t definedSize = 0;
  std::int32_t attributes = 0;  // DAO field attribute bits (0x10: AutoNumber)
  bool required = false;
  bool allowZeroLength = false;
  std::string defaultValue;  // the engine's text form ("0", "'abc'", "=Date()")
  std::string description;
  std::int32_t ordinalPosition = 0;
  std::int32_t precision = 0;  // decimal and numeric types
  std::int32_t numericScale = 0;

  bool operator==(const FieldStructure&) const = default;
};

struct IndexStructure {
  std::string name;
  std::vector<std::string> fields;
  bool primary = false;
  bool unique = false;

  bool operator==(const IndexStructure&) const = default;
};

struct TableStructure {
  std::vector<FieldStructure> fields;  // in ordinal order
  std::vector<IndexStructure> indexes;
};

// The SQL a server store speaks for DDL.
enum class ServerDialect { PostgreSql, SqlServer };

// The field-structure record ("FieldStruct") of a field, and a field read
// back from one: members missing from the record keep their defaults.
rt::Record ToRecord(const FieldStructure& field);
FieldStructure FromRecord(const rt::Record& record);

// The file store's DAO type for a field, or no value when the file store
// cannot hold its ADO type. A server's NUMERIC(19,4) is a Currency field.
std::optional<std::int32_t> FileStoreDaoType(const FieldStructure& field);
// The column type of a field in a server's DDL ("NVARCHAR(50)", "SERIAL"),
// or no value when the server cannot hold its ADO type.
std::optional<std::string> ServerColumnType(const FieldStructure& field, ServerDialect dialect);

// The first field whose type the target cannot hold, named with its type
// ("Photo: IDispatch, ADO type 9"); empty when every field fits.
std::string FirstUnholdableField(const std::vector<FieldStructure>& fields,
                                 std::optional<ServerDialect> dialect);

// CREATE TABLE on a server: every field with its type, NOT NULL and DEFAULT,
// and the primary key of `primaryKey` (when it has fields) as the constraint
// "pk_" + table. Raises 3259 for a type the server cannot hold.
std::string ServerCreateTableStatement(const std::string& table, const TableStructure& structure,
                                       ServerDialect dialect);
// The name an index of `table` takes on a server, and the index's own name
// read back from one: on PostgreSQL index names belong to the schema, so an
// index is stored as table + "_" + name, and the prefix is taken off again.
std::string ServerIndexName(const std::string& table, const std::string& index,
                            ServerDialect dialect);
std::string IndexNameFromServer(const std::string& table, const std::string& stored,
                                ServerDialect dialect);
// CREATE [UNIQUE] INDEX for an index that is not the primary key.
std::string ServerCreateIndexStatement(const std::string& table, const IndexStructure& index,
                                       ServerDialect dialect);
// DROP TABLE on a server, the table named as the two statements above name it.
std::string ServerDropTableStatement(const std::string& table, ServerDialect dialect);

// The statement that copies rows between two tables of one connection.
std::string CopyTableDataStatement(const std::string& source, const std::string& target,
                                   const std::string& condition);
// A query that reads a table's columns and no rows.
std::string ColumnsOnlyStatement(const std::string& table);

}  // namespace zmdb::schema
