// The hidden system table of a file-store database: one row per property of a
// schema object that SQLite's catalogue cannot hold. A row is keyed by the
// object's kind, its owner (table, query or relation name), the item inside
// it (field or index name, "" for the owner itself) and the property name.
// Properties the store keeps for itself are named with a leading "~"; the
// rest are the caller's own (Description, and whatever CreateProperty made).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "zmdb/dal/backend.h"
#include "zmdb/dal/schema_store.h"

namespace zmdb::dal::sqlite {

// Row kinds.
inline constexpr char kTableRow = 'T', kFieldRow = 'F', kIndexRow = 'I', kQueryRow = 'Q',
                      kRelationRow = 'R', kDatabaseRow = 'D';

struct SysRow {
  char kind = kTableRow;
  std::string owner, item, name;
  std::int32_t type = 10;
  rt::Variant value;
};

// The store's row kind of a schema object kind.
char RowKindOf(schema::ObjectKind kind);

class SysProps {
 public:
  explicit SysProps(Backend& backend) : backend_(backend) {}

  // Whether the table exists in the file (another connection may create it).
  bool Exists();
  // Create the table when it is missing.
  void Ensure();

  // Every row of one owner (all its items), or of one kind when `owner` is null.
  std::vector<SysRow> Rows(char kind, const std::string* owner = nullptr);
  // The value of one property, or Empty when it is not recorded.
  rt::Variant Get(char kind, std::string_view owner, std::string_view item, std::string_view name);
  void Put(char kind, std::string_view owner, std::string_view item, std::string_view name,
           std::int32_t type, const rt::Variant& value);
  void Delete(char kind, std::string_view owner, std::string_view item, std::string_view name);
  // Forget one item (a field or an index) with all its properties.
  void DeleteItem(char kind, std::string_view owner, std::string_view item);
  // Forget an owner; for a table also its fields and indexes.
  void DeleteOwner(char kind, std::string_view owner);
  void RenameOwner(char kind, std::string_view from, std::string_view to);
  void RenameItem(char kind, std::string_view owner, std::string_view from, std::string_view to);
  // Set the modification date of a table (and its creation date when `created`).
  void Stamp(std::string_view table, bool created);

 private:
  Backend& backend_;
  bool known_ = false;  // the table was seen to exist
};

}  // namespace zmdb::dal::sqlite
