// A table's structure as the structure methods carry it between stores: its
// fields (ADO type codes, as a recordset over the table reports them) and its
// indexes. Everything here is pure: nothing runs a statement.
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

// The kind of store a structure is made on: the file store, or a server,
// which holds longer text and binary columns and a time of day.
enum class TargetStore { File, Server };

// The field-structure record ("FieldStruct") of a field, and a field read
// back from one: members missing from the record keep their defaults.
rt::Record ToRecord(const FieldStructure& field);
FieldStructure FromRecord(const rt::Record& record);

// The DAO type a field of this ADO type takes on the target store, or no
// value when no store can hold it. A NUMERIC(19,4) is a Currency field.
std::optional<std::int32_t> DaoTypeOf(const FieldStructure& field, TargetStore target);

// The first field whose type no store can hold, named with its type
// ("Photo: IDispatch, ADO type 9"); empty when every field fits.
std::string FirstUnholdableField(const std::vector<FieldStructure>& fields);

// The statement that copies rows between two tables of one connection.
std::string CopyTableDataStatement(const std::string& source, const std::string& target,
                                   const std::string& condition);

}  // namespace zmdb::schema
